#include "KvProgramContext_p.h"

#include "platform/Environment.h"
#include "platform/ShellLinks.h"
#include "platform/WindowsPath.h"

namespace {

constexpr qsizetype TextCapacity = 8192;      // Of the buffers that a link's texts are read into, in UTF-16 units.
constexpr quint32 ResolveFlags = 0x01 | 0x80; // SLR_NO_UI, SLR_INVOKE_MSI

/** A text of a link as it comes out of a buffer of that capacity, whose last unit is the terminating zero. */
QString linkText(const std::optional<QString> &text)
{
    return text.value_or(QString()).left(TextCapacity - 1);
}

/** The link's target path; nothing if it can't be had. */
std::optional<QString> linkTarget(const KvPlatform::ShellLink &link)
{
    if (std::optional<QString> path = link.idListPath())
        return path;
    if (const std::optional<QString> path = link.rawPath())
        return expandEnvironment(linkText(path));
    return std::nullopt;
}

} // namespace

QString expandEnvironment(const QString &text)
{
    if (!text.contains(QLatin1Char('%')))
        return text;
    const int capacity = static_cast<int>(text.size() + TextCapacity - 1);
    return KvPlatform::Platform::current()->environment->expand(text, capacity);
}

bool ProgramInfo::loadFromLinkFile(const QString &path)
{
    m_linkFile = path;
    const QString nativePath = WindowsPath::toNativeSeparators(path);
    const std::shared_ptr<KvPlatform::ShellLinks> links = KvPlatform::Platform::current()->links;
    const std::unique_ptr<KvPlatform::ShellLink> link = links->create();
    if (!link || !link->load(nativePath) || !link->resolve(ResolveFlags))
        return false;
    const std::optional<QString> target = linkTarget(*link);
    if (!target)
        return false;
    setDesktopTarget(*target, true);
    if (const std::optional<QString> name = links->displayName(nativePath))
        setDisplayName(*name);
    if (m_displayName.isEmpty())
        setDisplayName(WindowsPath::baseName(path));
    setDescription(linkText(link->description()));
    setArguments(expandEnvironment(linkText(link->arguments())));
    setWorkingDir(expandEnvironment(linkText(link->workingDirectory())));
    loadVersionInfo();
    return true;
}

void ProgramInfo::loadVersionInfo()
{
    const QMap<QString, QString> info = KvProgramContext::appVersionInfo(desktopTarget(), {});
    setProductName(info.value(QStringLiteral("ProductName")));
    setPublisherName(info.value(QStringLiteral("CompanyName")));
    setVersion(info.value(QStringLiteral("ProductVersion")));
}

bool ProgramInfo::loadTarget(const QMap<QString, QVariant> &properties)
{
    const auto desktop = properties.find(QStringLiteral("desktopTarget"));
    if (desktop != properties.end()) {
        setDesktopTarget(expandEnvironment(desktop->toString()), true);
        setDisplayName(WindowsPath::baseName(desktopTarget()));
        return true;
    }
    const auto managed = properties.find(QStringLiteral("managedTarget"));
    if (managed != properties.end()) {
        setManagedTarget(managed->toString(), properties.value(QStringLiteral("managedTargetAppIndex")).toInt());
        return true;
    }
    const auto target = properties.find(QStringLiteral("target"));
    if (target == properties.end())
        return false;
    setTargetUrl(target->toUrl());
    setDisplayName(m_targetUrl.fileName(QUrl::FullyDecoded));
    return true;
}

bool ProgramInfo::loadFromProperties(const QMap<QString, QVariant> &properties)
{
    if (!loadTarget(properties))
        return false;
    const auto displayName = properties.find(QStringLiteral("displayName"));
    if (displayName != properties.end())
        setDisplayName(displayName->toString());
    const auto icon = properties.find(QStringLiteral("icon"));
    if (icon != properties.end())
        setIconUrl(icon->toUrl());
    setDescription(properties.value(QStringLiteral("description")).toString());
    setProductName(properties.value(QStringLiteral("productName")).toString());
    setPublisherName(properties.value(QStringLiteral("publisherName")).toString());
    setVersion(properties.value(QStringLiteral("version")).toString());
    setArguments(expandEnvironment(properties.value(QStringLiteral("arguments")).toString()));
    setShell(properties.value(QStringLiteral("shell")).toString());
    const auto workingDir = properties.find(QStringLiteral("workingDir"));
    const auto workingFolder = properties.find(QStringLiteral("workingFolder"));
    if (workingDir != properties.end())
        setWorkingDir(expandEnvironment(workingDir->toString()));
    else if (workingFolder != properties.end())
        setWorkingDir(WindowsPath::fromUrl(workingFolder->toUrl()));
    return true;
}
