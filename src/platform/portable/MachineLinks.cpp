#include "platform/portable/MachineLinks.h"

#include "formats/ShellLinkFile.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/portable/HostStatus.h"
#include "platform/portable/MachineDrives.h"
#include "platform/WindowsPath.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace KvPlatform {

namespace {

/** Every text in a link is counted in 16 bits, so that real ones stay far below; anything larger is no link. */
constexpr qint64 MaximumLinkSize = 1024 * 1024;

/** As much as the callers of the system's own link object have room for. */
constexpr int MaximumPathLength = 8192;

class MachineLink final : public ShellLink
{
public:
    MachineLink(std::shared_ptr<const Files> files, std::shared_ptr<const Environment> environment)
        : m_files(std::move(files))
        , m_environment(std::move(environment))
    {}

    bool load(const QString &nativePath) override
    {
        m_path = WindowsPath::fromNativeSeparators(nativePath);
        m_link.reset();
        const QString hostPath = m_files->hostPath(nativePath);
        // Opening a pipe or a device could wait for ever.
        if (hostPath.isEmpty() || !plainInfo(QFileInfo(hostPath)).isFile())
            return false;
        QFile file(hostPath);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QByteArray bytes = file.read(MaximumLinkSize + 1);
        if (bytes.size() <= MaximumLinkSize)
            m_link = ShellLinkFile::parse(bytes);
        return m_link.has_value();
    }

    bool resolve(quint32) override
    {
        if (!m_link)
            return false;
        const QString path = target();
        return !MachineDrives::isOfMachine(path) || m_files->exists(path);
    }

    std::optional<QString> idListPath() const override { return m_link ? m_link->idListPath : std::nullopt; }

    std::optional<QString> rawPath() const override
    {
        if (!m_link)
            return std::nullopt;
        for (const std::optional<QString> &path : {m_link->environmentPath, m_link->linkInfoPath, m_link->idListPath}) {
            if (path)
                return path;
        }
        return QString();
    }

    std::optional<QString> description() const override { return field(&ShellLinkFile::description); }
    std::optional<QString> arguments() const override { return field(&ShellLinkFile::arguments); }
    std::optional<QString> workingDirectory() const override { return field(&ShellLinkFile::workingDirectory); }

private:
    std::optional<QString> field(QString ShellLinkFile::*member) const
    {
        return m_link ? std::optional<QString>(*m_link.*member) : std::nullopt;
    }

    /** The target in the file system; empty for a virtual one, and for a link without any. */
    QString target() const
    {
        if (m_link->environmentPath)
            return m_environment->expand(*m_link->environmentPath, MaximumPathLength);
        if (m_link->idListPath)
            return *m_link->idListPath;
        if (m_link->linkInfoPath)
            return *m_link->linkInfoPath;
        if (m_link->hasIdList || m_link->relativePath.isEmpty())
            return QString();
        return m_path.left(m_path.lastIndexOf(u'/') + 1) + m_link->relativePath;
    }

    std::shared_ptr<const Files> m_files;
    std::shared_ptr<const Environment> m_environment;
    QString m_path;
    std::optional<ShellLinkFile> m_link;
};

} // namespace

MachineLinks::MachineLinks(std::shared_ptr<const Files> files, std::shared_ptr<const Environment> environment)
    : m_files(std::move(files))
    , m_environment(std::move(environment))
{}

std::unique_ptr<ShellLink> MachineLinks::create() const
{
    return std::make_unique<MachineLink>(m_files, m_environment);
}

std::optional<QString> MachineLinks::displayName(const QString &nativePath) const
{
    constexpr qsizetype SuffixLength = 4;
    QString name = WindowsPath::fileName(nativePath);
    if (name.isEmpty() || !m_files->exists(nativePath))
        return std::nullopt;
    if (name.size() > SuffixLength && name.endsWith(u".lnk", Qt::CaseInsensitive))
        name.chop(SuffixLength);
    return name;
}

} // namespace KvPlatform
