#pragma once

#include <QtCore/QFileInfo>
#include <QtCore/QString>

namespace KvPlatform {

/** What the host system says of one of its files, in one call. What is neither file, folder nor link does not exist. */
struct HostStatus
{
    bool exists = false;
    bool isFolder = false;
    bool isLink = false;
    quint64 device = 0; ///< With `file` the file's identity; both are 0 on systems that tell none.
    quint64 file = 0;
    qint64 changed = 0; ///< When its content changed, in nanoseconds since 1970.

    bool isSameFile(const HostStatus &other) const { return device == other.device && file == other.file; }

    /** Of the file itself, even if it is a symbolic link. */
    static HostStatus of(const QString &path);

    /** Of what a symbolic link leads to in the end. */
    static HostStatus ofTarget(const QString &path);
};

/**
 * The same file, looked at itself: on Windows QFileInfo takes a shell link for a symbolic one and tells of the file
 * that it leads to.
 */
QFileInfo plainInfo(const QFileInfo &info);

} // namespace KvPlatform
