#include "KvProgramContext_p.h"

#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <QtCore/QUrlQuery>

const QString ProgramInfo::ICON_PROVIDER = QStringLiteral("app");
const QString ProgramInfo::SCHEME_MANAGED_APP = QStringLiteral("uwp");
const QString ProgramInfo::SCHEME_DESKTOP_APP = QStringLiteral("file");

namespace {

constexpr QLatin1String IconScheme("image");
constexpr QLatin1String IndexItem("i");
constexpr QLatin1String VersionItem("v");

QUrlQuery indexQuery(int index)
{
    QUrlQuery query;
    query.addQueryItem(IndexItem, QString::number(index));
    return query;
}

ProgramInfo::Type typeOf(const QUrl &target)
{
    if (target.isLocalFile())
        return ProgramInfo::TypeDesktop;
    if (target.scheme() == ProgramInfo::SCHEME_MANAGED_APP)
        return ProgramInfo::TypeManaged;
    return target.isValid() ? ProgramInfo::TypeWeb : ProgramInfo::TypeNone;
}

} // namespace

ProgramInfo::ProgramInfo(QObject *parent)
    : QObject(parent)
{}

ProgramInfo::~ProgramInfo() = default;

ProgramInfo::Type ProgramInfo::type() const
{
    return m_type;
}

QString ProgramInfo::displayName() const
{
    return m_displayName;
}

void ProgramInfo::setDisplayName(const QString &displayName)
{
    if (m_displayName == displayName)
        return;
    m_displayName = displayName;
    Q_EMIT displayNameChanged();
}

QString ProgramInfo::description() const
{
    return m_description;
}

void ProgramInfo::setDescription(const QString &description)
{
    if (m_description == description)
        return;
    m_description = description;
    Q_EMIT descriptionChanged();
}

QString ProgramInfo::productName() const
{
    return m_productName;
}

void ProgramInfo::setProductName(const QString &productName)
{
    if (m_productName == productName)
        return;
    m_productName = productName;
    Q_EMIT productNameChanged();
}

QString ProgramInfo::publisherName() const
{
    return m_publisherName;
}

void ProgramInfo::setPublisherName(const QString &publisherName)
{
    if (m_publisherName == publisherName)
        return;
    m_publisherName = publisherName;
    Q_EMIT publisherNameChanged();
}

QString ProgramInfo::version() const
{
    return m_version;
}

void ProgramInfo::setVersion(const QString &version)
{
    if (m_version == version)
        return;
    m_version = version;
    Q_EMIT versionChanged();
    if (!m_iconUrl.isValid())
        return;
    QUrlQuery query(m_iconUrl);
    query.removeQueryItem(VersionItem);
    // A null text would leave the item without its equals sign.
    query.addQueryItem(VersionItem, m_version.isNull() ? QString(QLatin1String("")) : m_version);
    m_iconUrl.setQuery(query);
    Q_EMIT iconChanged();
}

QString ProgramInfo::arguments() const
{
    return m_arguments;
}

void ProgramInfo::setArguments(const QString &arguments)
{
    if (m_arguments == arguments)
        return;
    m_arguments = arguments;
    Q_EMIT argumentsChanged();
}

QString ProgramInfo::workingDir() const
{
    return m_workingDir;
}

QUrl ProgramInfo::workingDirUrl() const
{
    return WindowsPath::toUrl(m_workingDir);
}

void ProgramInfo::setWorkingDir(const QString &workingDir)
{
    const QString path = WindowsPath::fromNativeSeparators(workingDir);
    if (m_workingDir == path)
        return;
    m_workingDir = path;
    Q_EMIT workingDirChanged();
}

QString ProgramInfo::shell() const
{
    return m_shell;
}

void ProgramInfo::setShell(const QString &shell)
{
    if (m_shell == shell)
        return;
    m_shell = shell;
    Q_EMIT shellChanged();
}

QUrl ProgramInfo::targetUrl() const
{
    return m_targetUrl;
}

void ProgramInfo::setTargetUrl(const QUrl &targetUrl)
{
    if (m_targetUrl == targetUrl)
        return;
    m_targetUrl = targetUrl;
    Q_EMIT targetChanged();
    const Type type = typeOf(m_targetUrl);
    if (m_type == type)
        return;
    m_type = type;
    Q_EMIT typeChanged();
}

QString ProgramInfo::desktopTarget() const
{
    return m_type == TypeDesktop ? WindowsPath::fromUrl(m_targetUrl) : QString();
}

void ProgramInfo::setDesktopTarget(const QString &path, bool updateIcon)
{
    const QString resolved = WindowsPath::isRelative(path) ? KvProgramContext::appInstalledPath(path)
                                                           : WindowsPath::fromNativeSeparators(path);
    setTargetUrl(WindowsPath::toUrl(resolved));
    if (updateIcon)
        setIconFile(resolved, 0);
}

QString ProgramInfo::managedTarget() const
{
    return m_type == TypeManaged ? m_targetUrl.path(QUrl::FullyDecoded) : QString();
}

int ProgramInfo::managedTargetAppIndex() const
{
    return m_type == TypeManaged ? m_targetUrl.query().toInt() : 0;
}

void ProgramInfo::setManagedTarget(const QString &id, int appIndex)
{
    QUrl url;
    url.setScheme(SCHEME_MANAGED_APP);
    url.setPath(id, QUrl::DecodedMode);
    if (appIndex > 0)
        url.setQuery(QString::number(appIndex));
    setTargetUrl(url);

    url.setScheme(IconScheme);
    url.setHost(ICON_PROVIDER, QUrl::DecodedMode);
    url.setPath(QLatin1Char('/') + SCHEME_MANAGED_APP + QLatin1Char(':') + id, QUrl::DecodedMode);
    if (appIndex > 0)
        url.setQuery(indexQuery(appIndex));
    setIconUrl(url);
}

QUrl ProgramInfo::iconUrl() const
{
    return m_iconUrl;
}

void ProgramInfo::setIconUrl(const QUrl &iconUrl)
{
    QUrl url = iconUrl;
    if (!m_version.isEmpty()) {
        QUrlQuery query(url);
        if (!query.hasQueryItem(VersionItem)) {
            query.addQueryItem(VersionItem, m_version);
            url.setQuery(query);
        }
    }
    if (m_iconUrl == url)
        return;
    m_iconUrl = url;
    Q_EMIT iconChanged();
}

void ProgramInfo::setIconFile(const QString &path, int index)
{
    if (path.isEmpty()) {
        setIconUrl(QUrl());
        return;
    }
    QUrl url = WindowsPath::toUrl(WindowsPath::fromNativeSeparators(path));
    url.setScheme(IconScheme);
    url.setHost(ICON_PROVIDER, QUrl::DecodedMode);
    if (index > 0)
        url.setQuery(indexQuery(index));
    setIconUrl(url);
}
