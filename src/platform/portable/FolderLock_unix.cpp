#include "platform/portable/FolderLock.h"

#include <QtCore/QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace KvPlatform {

namespace {

/** A lock of the kernel's: it leaves no file behind, and ends with a process that is killed. */
class KernelLock final : public FolderLock
{
public:
    explicit KernelLock(int folder)
        : m_folder(folder)
    {}

    ~KernelLock() override { ::close(m_folder); }

    bool lock() const { return ::flock(m_folder, LOCK_EX | LOCK_NB) == 0; }

private:
    const int m_folder;
};

} // namespace

std::unique_ptr<FolderLock> FolderLock::tryLock(const QString &folder, bool *isTaken)
{
    *isTaken = false;
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    auto lock = std::make_unique<KernelLock>(descriptor);
    if (lock->lock())
        return lock;
    *isTaken = errno == EWOULDBLOCK || errno == EINTR;
    return nullptr;
}

} // namespace KvPlatform
