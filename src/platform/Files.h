#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

namespace KvPlatform {

/** Walks the link files of a folder, one at a time. Used on one thread. */
class LinkWalk
{
public:
    virtual ~LinkWalk();

    /** Whether another file follows. */
    virtual bool hasNext() const = 0;

    /** Steps on and gives that file's path with forward slashes; call it only after hasNext() gave true. */
    virtual QString next() = 0;
};

/** The computer's files. Paths are Windows paths with either separator; a path without a drive is the host system's. */
class Files
{
public:
    virtual ~Files();

    /**
     * The path under which Qt's own file classes reach the file called `path`. It exists only if the file does. The
     * safe answer is `path` itself.
     */
    virtual QString hostPath(const QString &path) const;

    /** Whether a file or folder of that path exists. An empty path does not. */
    virtual bool exists(const QString &path) const;

    /** Whether a folder of that path exists, as QDir::exists tells. */
    virtual bool isFolder(const QString &path) const;

    /**
     * The names of the files in `folder`, without folders and hidden files, sorted by QDir's default: by name and
     * without regard to letter case. A folder that doesn't exist or can't be read has none.
     */
    virtual QStringList fileNames(const QString &folder) const;

    /** `path` with forward slashes, absolute and clean, as QDir::absolutePath gives it. Nothing need exist there. */
    virtual QString absolutePath(const QString &path) const;

    /** The absolute and clean path of the folder that holds `path`, as QFileInfo::absolutePath gives it; empty for an
     *  empty path. Nothing need exist there. */
    virtual QString folderOf(const QString &path) const;

    /** Whether `path` exists and the system would start it as a program, as QFileInfo::isExecutable tells on Windows.
     */
    virtual bool isExecutable(const QString &path) const;

    /**
     * Walks the files below `folder` whose names end in ".lnk" in any letter case, at any depth and in the order of the
     * file system. Links to folders are not followed. A folder that doesn't exist has none. Never null.
     */
    virtual std::unique_ptr<LinkWalk> walkLinks(const QString &folder) const;
};

} // namespace KvPlatform
