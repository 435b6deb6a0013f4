#include "platform/portable/MachineFiles.h"

#include "platform/portable/HostStatus.h"
#include "platform/portable/MachineDrives.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QList>

#include <algorithm>
#include <vector>

namespace KvPlatform {

namespace {

bool hasProgramSuffix(const QString &path)
{
    static constexpr const char16_t *Suffixes[] = {u".exe", u".com", u".bat", u".cmd", u".pif", u".scr"};
    return std::any_of(std::begin(Suffixes), std::end(Suffixes),
                       [&path](QStringView suffix) { return path.endsWith(suffix, Qt::CaseInsensitive); });
}

/**
 * Reads one folder at a time, whole, so that a deep tree holds no more than one of the host's handles. Both paths grow
 * and shrink in place, since a copy at each level would add up.
 */
class MachineLinkWalk final : public LinkWalk
{
public:
    MachineLinkWalk(std::shared_ptr<const MachineDrives> drives, bool isConfined, const QString &folder,
                    const QString &hostFolder)
        : m_drives(std::move(drives))
        , m_isConfined(isConfined)
        , m_path(folder)
        , m_hostPath(hostFolder)
    {
        enter();
        advance();
    }

    bool hasNext() const override { return !m_next.isNull(); }

    QString next() override
    {
        QString current = m_next;
        advance();
        return current;
    }

private:
    struct Name
    {
        QString text;
        bool isFolder;
    };

    struct Level
    {
        qsizetype pathLength;
        qsizetype hostPathLength;
        QList<Name> names;
        qsizetype next = 0;
    };

    void enter()
    {
        Level level{m_path.size(), m_hostPath.size(), {}, 0};
        QDirIterator entries(m_hostPath, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        while (entries.hasNext()) {
            entries.next();
            const QString name = entries.fileName();
            const bool isLinkFile = name.endsWith(u".lnk", Qt::CaseInsensitive);
            const QFileInfo info = plainInfo(entries.fileInfo());
            const bool isSymbolic = info.isSymLink();
            if (info.isDir() ? !isSymbolic : isLinkFile && info.isFile() && (!isSymbolic || isAllowed(info)))
                level.names.append({name, info.isDir()});
        }
        m_levels.push_back(std::move(level));
    }

    bool isAllowed(const QFileInfo &symbolic) const { return !m_isConfined || m_drives->isInside(symbolic.filePath()); }

    void advance()
    {
        while (!m_levels.empty()) {
            Level &level = m_levels.back();
            m_path.truncate(level.pathLength);
            m_hostPath.truncate(level.hostPathLength);
            if (level.next == level.names.size()) {
                m_levels.pop_back();
                continue;
            }
            const Name name = level.names.at(level.next++);
            m_path += u'/' + name.text;
            if (!name.isFolder) {
                m_next = m_path;
                return;
            }
            m_hostPath += u'/' + name.text;
            enter();
        }
        m_next = QString();
    }

    std::shared_ptr<const MachineDrives> m_drives;
    bool m_isConfined;
    QString m_path;
    QString m_hostPath;
    QString m_next;
    std::vector<Level> m_levels;
};

class NoLinks final : public LinkWalk
{
public:
    bool hasNext() const override { return false; }
    QString next() override { return QString(); }
};

} // namespace

MachineFiles::MachineFiles(std::shared_ptr<const MachineDrives> drives)
    : m_drives(std::move(drives))
{}

QString MachineFiles::hostPath(const QString &path) const
{
    return m_drives->hostPath(path);
}

bool MachineFiles::exists(const QString &path) const
{
    return MachineDrives::isOfMachine(path) ? m_drives->find(path).has_value() : Files::exists(path);
}

bool MachineFiles::isFolder(const QString &path) const
{
    if (!MachineDrives::isOfMachine(path))
        return Files::isFolder(path);
    const std::optional<QString> found = m_drives->find(path);
    return found && QFileInfo(*found).isDir();
}

QStringList MachineFiles::fileNames(const QString &folder) const
{
    if (!MachineDrives::isOfMachine(folder))
        return Files::fileNames(folder);
    const std::optional<QString> found = m_drives->find(folder);
    QStringList names;
    if (!found)
        return names;
    const QDir::SortFlags order = QDir::Name | QDir::IgnoreCase;
    for (const QFileInfo &info : QDir(*found).entryInfoList(QDir::Files | QDir::Hidden, order)) {
        if (!info.isSymLink() || m_drives->isInside(info.filePath()))
            names.append(info.fileName());
    }
    return names;
}

QString MachineFiles::absolutePath(const QString &path) const
{
    return MachineDrives::isOfMachine(path) ? WindowsPath::cleanPath(path) : Files::absolutePath(path);
}

QString MachineFiles::folderOf(const QString &path) const
{
    if (!MachineDrives::isOfMachine(path))
        return Files::folderOf(path);
    const QString clean = WindowsPath::cleanPath(path);
    if (path.endsWith(u'/') || path.endsWith(u'\\'))
        return clean;
    const qsizetype nameLength = WindowsPath::fileName(clean).size();
    return WindowsPath::cleanPath(clean.chopped(nameLength));
}

bool MachineFiles::isExecutable(const QString &path) const
{
    if (!MachineDrives::isOfMachine(path))
        return Files::isExecutable(path);
    if (!hasProgramSuffix(path))
        return false;
    const std::optional<QString> found = m_drives->find(path);
    return found && QFileInfo(*found).isFile();
}

std::unique_ptr<LinkWalk> MachineFiles::walkLinks(const QString &folder) const
{
    const bool isOfMachine = MachineDrives::isOfMachine(folder);
    QString path = WindowsPath::fromNativeSeparators(folder);
    while (path.endsWith(u'/'))
        path.chop(1);
    const std::optional<QString> hostFolder = isOfMachine ? m_drives->find(folder) : std::optional<QString>(folder);
    if (folder.isEmpty() || !hostFolder || !QFileInfo(*hostFolder).isDir())
        return std::make_unique<NoLinks>();
    QString hostPath = *hostFolder;
    while (hostPath.endsWith(u'/'))
        hostPath.chop(1);
    return std::make_unique<MachineLinkWalk>(m_drives, isOfMachine, path, hostPath);
}

} // namespace KvPlatform
