#pragma once

#include "platform/portable/HostStatus.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <memory>
#include <mutex>
#include <optional>

namespace KvPlatform {

/**
 * Finds the host system's files behind Windows paths: "C:/a/b" is the file "C/a/b" in the machine folder.
 *
 * Names are compared without regard to letter case; where several differ in nothing else, the one written exactly as
 * asked for goes first. Shares don't exist, nor does what a symbolic link finds outside of the machine folder. A path
 * with neither drive nor share is the host system's own. May be called from any thread.
 *
 * A scan asks for the same folders again and again. So what a folder's path leads to, and the names in it, are kept,
 * and used only while the folder on the disk is still the same and unchanged.
 */
class MachineDrives
{
public:
    /** `folder` is the machine folder's host path; it need not exist. */
    explicit MachineDrives(const QString &folder);

    /** Whether `path` names a drive or a share, and so is not the host system's. */
    static bool isOfMachine(const QString &path);

    /** The host path of a file or folder of the machine, or nothing if there is none of that path. */
    std::optional<QString> find(const QString &path) const;

    /** As find(); a path under which nothing exists if there is none, and the path itself if it is the host system's.
     */
    QString hostPath(const QString &path) const;

    /** Whether all symbolic links in a host path end in the machine folder. */
    bool isInside(const QString &hostPath) const;

private:
    struct Place
    {
        QString hostPath;
        HostStatus status;
    };

    struct Listing
    {
        QHash<QString, QString> names; ///< By upper-cased name.
        HostStatus folder;
        bool settled = false;
    };

    std::optional<Place> folderAt(const QString &relative) const;
    std::optional<Place> walkTo(const QString &relative) const;
    std::optional<Place> entry(const Place &folder, const QString &name) const;
    std::shared_ptr<const Listing> listing(const Place &folder) const;
    std::shared_ptr<const Listing> readListing(const QString &hostPath) const;

    QString m_folder;
    QString m_canonicalFolder;

    mutable std::mutex m_mutex; ///< Guards what follows; never held while the host system works.
    mutable QHash<QString, Place> m_folders;
    mutable QHash<QString, std::shared_ptr<const Listing>> m_listings;
    mutable qsizetype m_listedNames = 0;
};

} // namespace KvPlatform
