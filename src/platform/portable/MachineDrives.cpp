#include "platform/portable/MachineDrives.h"

#include "platform/portable/WindowsNames.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>

#include <chrono>

namespace KvPlatform {

namespace {

constexpr qsizetype MostFolders = 50'000;
constexpr qsizetype MostListedNames = 1'000'000;
constexpr qint64 SettlingTime = 50'000'000; // nanoseconds

bool isSeparator(QChar unit)
{
    return unit == u'/' || unit == u'\\';
}

bool isAsciiLetter(QChar unit)
{
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

qint64 now()
{
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

/** The place in the machine folder that a cleaned path with a drive names; null if no file can have that path. */
QString relativePath(const QString &clean)
{
    if (!isAsciiLetter(clean[0]) || clean.contains(QChar::Null) || !QStringView(clean).isValidUtf16())
        return QString();
    QStringView rest = QStringView(clean).sliced(2);
    // Nothing is above a drive's root.
    while (rest.startsWith(u"/..") && (rest.size() == 3 || rest[3] == u'/'))
        rest = rest.sliced(3);
    if (rest.startsWith(u'/'))
        rest = rest.sliced(1);
    return rest.isEmpty() ? clean.left(1) : clean.left(1) + u'/' + rest.toString();
}

} // namespace

MachineDrives::MachineDrives(const QString &folder)
    : m_folder(QDir(folder).absolutePath())
    , m_canonicalFolder(QFileInfo(m_folder).canonicalFilePath())
{}

bool MachineDrives::isOfMachine(const QString &path)
{
    if (path.size() < 2)
        return false;
    return path[1] == u':' || (isSeparator(path[0]) && (isSeparator(path[1]) || path.startsWith(u"\\??\\")));
}

std::optional<QString> MachineDrives::find(const QString &path) const
{
    const QString clean = WindowsPath::cleanPath(path);
    if (clean.size() < 2 || clean[1] != u':')
        return std::nullopt;
    const QString relative = relativePath(clean);
    if (relative.isNull() || m_canonicalFolder.isEmpty())
        return std::nullopt;
    const qsizetype slash = relative.lastIndexOf(u'/');
    const std::optional<Place> folder = folderAt(slash < 0 ? QString() : relative.left(slash));
    if (!folder)
        return std::nullopt;
    std::optional<Place> found = entry(*folder, relative.mid(slash + 1));
    // A drive is a folder.
    if (!found || (slash < 0 && !found->status.isFolder))
        return std::nullopt;
    return std::move(found->hostPath);
}

QString MachineDrives::hostPath(const QString &path) const
{
    if (!isOfMachine(path))
        return path;
    // No drive is called ":", so that nothing of the machine stands there.
    return find(path).value_or(m_folder + QStringLiteral("/:"));
}

bool MachineDrives::isInside(const QString &hostPath) const
{
    const QString canonical = QFileInfo(hostPath).canonicalFilePath();
    return canonical.startsWith(m_canonicalFolder) &&
           (canonical.size() == m_canonicalFolder.size() || canonical[m_canonicalFolder.size()] == u'/');
}

std::optional<MachineDrives::Place> MachineDrives::folderAt(const QString &relative) const
{
    Place known;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        known = m_folders.value(relative);
    }
    if (!known.hostPath.isEmpty()) {
        const HostStatus status = HostStatus::ofTarget(known.hostPath);
        if (status.isFolder && status.isSameFile(known.status))
            return Place{known.hostPath, status};
    }
    std::optional<Place> found = walkTo(relative);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_folders.size() >= MostFolders)
        m_folders.clear();
    if (found)
        m_folders.insert(relative, *found);
    else
        m_folders.remove(relative);
    return found;
}

std::optional<MachineDrives::Place> MachineDrives::walkTo(const QString &relative) const
{
    std::optional<Place> place = Place{m_folder, HostStatus::ofTarget(m_folder)};
    for (const QStringView name : QStringView(relative).tokenize(u'/', Qt::SkipEmptyParts)) {
        place = entry(*place, name.toString());
        if (!place)
            return std::nullopt;
    }
    return place->status.isFolder ? place : std::nullopt;
}

std::optional<MachineDrives::Place> MachineDrives::entry(const Place &folder, const QString &name) const
{
    Place place{folder.hostPath + u'/' + name, HostStatus()};
    place.status = HostStatus::of(place.hostPath);
    if (!place.status.exists) {
        const QString other = listing(folder)->names.value(upperCased(name));
        if (other.isNull())
            return std::nullopt;
        place.hostPath = folder.hostPath + u'/' + other;
        place.status = HostStatus::of(place.hostPath);
    }
    if (place.status.isLink) {
        if (!isInside(place.hostPath))
            return std::nullopt;
        place.status = HostStatus::ofTarget(place.hostPath);
    }
    return place.status.exists ? std::optional<Place>(std::move(place)) : std::nullopt;
}

std::shared_ptr<const MachineDrives::Listing> MachineDrives::listing(const Place &folder) const
{
    std::shared_ptr<const Listing> former;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        former = m_listings.value(folder.hostPath);
    }
    const HostStatus &status = folder.status;
    if (former && former->settled && former->folder.changed == status.changed && former->folder.isSameFile(status))
        return former;
    const std::shared_ptr<const Listing> latest = readListing(folder.hostPath);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_listedNames + latest->names.size() > MostListedNames) {
        m_listings.clear();
        m_listedNames = 0;
    }
    std::shared_ptr<const Listing> &kept = m_listings[folder.hostPath];
    m_listedNames += latest->names.size() - (kept ? kept->names.size() : 0);
    kept = latest;
    return latest;
}

std::shared_ptr<const MachineDrives::Listing> MachineDrives::readListing(const QString &hostPath) const
{
    auto listing = std::make_shared<Listing>();
    listing->folder = HostStatus::ofTarget(hostPath);
    // The host's clock for folders ticks coarsely: what comes right after this reading might not change the time.
    listing->settled = qAbs(now() - listing->folder.changed) > SettlingTime;
    QDirIterator names(hostPath, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (names.hasNext()) {
        names.next();
        const QString name = names.fileName();
        QString &kept = listing->names[upperCased(name)];
        if (kept.isNull() || name < kept)
            kept = name;
    }
    return listing;
}

} // namespace KvPlatform
