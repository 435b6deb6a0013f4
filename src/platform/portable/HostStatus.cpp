#include "platform/portable/HostStatus.h"

#ifdef Q_OS_UNIX
#include <QtCore/QFile>
#include <sys/stat.h>
#else
#include <QtCore/QDateTime>
#endif

namespace KvPlatform {

#ifdef Q_OS_UNIX

namespace {

constexpr qint64 NanosecondsPerSecond = 1'000'000'000;

HostStatus fromNative(int result, const struct stat &native)
{
    HostStatus status;
    // Windows keeps pipes, sockets and devices elsewhere, and who opens one here may wait forever.
    if (result != 0 || !(S_ISREG(native.st_mode) || S_ISDIR(native.st_mode) || S_ISLNK(native.st_mode)))
        return status;
    status.exists = true;
    status.isFolder = S_ISDIR(native.st_mode);
    status.isLink = S_ISLNK(native.st_mode);
    status.device = quint64(native.st_dev);
    status.file = quint64(native.st_ino);
#ifdef Q_OS_DARWIN
    status.changed = qint64(native.st_mtimespec.tv_sec) * NanosecondsPerSecond + qint64(native.st_mtimespec.tv_nsec);
#else
    status.changed = qint64(native.st_mtim.tv_sec) * NanosecondsPerSecond + qint64(native.st_mtim.tv_nsec);
#endif
    return status;
}

} // namespace

HostStatus HostStatus::of(const QString &path)
{
    struct stat native = {};
    return fromNative(::lstat(QFile::encodeName(path).constData(), &native), native);
}

HostStatus HostStatus::ofTarget(const QString &path)
{
    struct stat native = {};
    return fromNative(::stat(QFile::encodeName(path).constData(), &native), native);
}

QFileInfo plainInfo(const QFileInfo &info)
{
    return info;
}

#else

HostStatus HostStatus::of(const QString &path)
{
    const QFileInfo info = plainInfo(QFileInfo(path));
    HostStatus status = ofTarget(path);
    status.isLink = info.isSymLink() || info.isJunction();
    status.exists = status.exists || status.isLink;
    return status;
}

HostStatus HostStatus::ofTarget(const QString &path)
{
    const QFileInfo info = plainInfo(QFileInfo(path));
    HostStatus status;
    status.exists = info.exists();
    status.isFolder = info.isDir();
    if (status.exists)
        status.changed = info.lastModified().toMSecsSinceEpoch() * 1'000'000;
    return status;
}

QFileInfo plainInfo(const QFileInfo &info)
{
    constexpr QLatin1String Suffix(".lnk");
    const QString path = info.filePath();
    // Letter case makes no difference to the system, but Qt knows links by this very suffix.
    return path.endsWith(Suffix) ? QFileInfo(path.chopped(Suffix.size()) + QLatin1String(".LNK")) : info;
}

#endif

} // namespace KvPlatform
