#pragma once

#include "platform/portable/FolderLock.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QMap>
#include <QtCore/QString>

#include <functional>
#include <memory>

namespace KvPlatform {

/**
 * The registry texts of a machine folder: reads them, tells whether they have changed since, and replaces the one that
 * is written to, zz-written.reg. Without a folder there are none. Without locks, as any other value.
 */
class RegistryFiles
{
public:
    explicit RegistryFiles(const QString &folder);

    struct File
    {
        QString path;
        QByteArray content;
        bool isWritten = false; ///< It is zz-written.reg.
        bool isNew = false;     ///< It wasn't read in this state before.
    };

    QString folder() const { return m_folder; }
    QString writtenPath() const;

    /** The paths of all `*.reg` files in name order, whatever the letters' case. */
    static QStringList paths(const QString &folder);

    /** Whether a file of the folder was emptied just now, as it is before it gets another content. */
    static bool isBeingWritten(const QString &folder);

    /** Reads all files in name order. A file that can't be read, or is larger than 256 MiB, is left out with a warning.
     */
    void read(const std::function<void(const File &)> &visit);

    /** Whether the files are as they were when they were last read or written here. */
    bool areCurrent();

    /** Makes the folder, and waits until no other process writes, ten seconds at most; null on failure. */
    std::unique_ptr<FolderLock> lock() const;

    /** Replaces zz-written.reg as a whole; gives what is wrong, or an empty text. */
    QString write(const QByteArray &content);

private:
    /** By what a file is known again. */
    struct State
    {
        qint64 size = -1;
        QDateTime modified;
        QByteArray hash; ///< Only while the times alone could miss a change; see isSettled().
    };

    static State stateOf(const QString &path);
    static bool isSettled(const QDateTime &modified);
    static bool isCurrent(const QString &path, State &state);
    void keepState(const QString &path, State state, const QByteArray &content);

    QString m_folder;
    QMap<QString, State> m_states; // By path.
};

} // namespace KvPlatform
