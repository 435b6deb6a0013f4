#include "platform/portable/FolderLock.h"

#include <QtCore/QLockFile>

namespace KvPlatform {

namespace {

class FileLock final : public FolderLock
{
public:
    explicit FileLock(const QString &path)
        : file(path)
    {}

    QLockFile file;
};

} // namespace

std::unique_ptr<FolderLock> FolderLock::tryLock(const QString &folder, bool *isTaken)
{
    auto lock = std::make_unique<FileLock>(folder + QStringLiteral(".lock"));
    if (lock->file.tryLock(0)) {
        *isTaken = false;
        return lock;
    }
    *isTaken = lock->file.error() == QLockFile::LockFailedError;
    return nullptr;
}

} // namespace KvPlatform
