#pragma once

#include "platform/Files.h"

#include <memory>

namespace KvPlatform {

class MachineDrives;

/** The files in the drives of a machine folder, and those of the host system. May be called from any thread. */
class MachineFiles final : public Files
{
public:
    explicit MachineFiles(std::shared_ptr<const MachineDrives> drives);

    QString hostPath(const QString &path) const override;
    bool exists(const QString &path) const override;
    bool isFolder(const QString &path) const override;

    /** In a drive no name makes a file hidden, and symbolic links count as what they lead to in the machine folder. */
    QStringList fileNames(const QString &folder) const override;

    /** A path with a drive but no root stays as it is: the machine has no current folders. */
    QString absolutePath(const QString &path) const override;
    QString folderOf(const QString &path) const override;

    /** By the file's suffix in a drive; as the host system decides for its own files. */
    bool isExecutable(const QString &path) const override;

    /** Ends where a path becomes longer than the host system can reach. Symbolic links count as what they lead to. */
    std::unique_ptr<LinkWalk> walkLinks(const QString &folder) const override;

private:
    std::shared_ptr<const MachineDrives> m_drives;
};

} // namespace KvPlatform
