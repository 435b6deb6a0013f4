#pragma once

#include "platform/portable/RegistryFiles.h"
#include "platform/portable/RegistryJournal.h"
#include "platform/portable/RegistryTree.h"
#include "platform/portable/WatchedKeys.h"
#include "platform/Registry.h"

#include <QtCore/QSet>

#include <mutex>
#include <optional>

namespace KvPlatform {

struct MachineFacts;

/**
 * A registry in memory, filled from the text files of a machine folder.
 *
 * Names with separators address keys below, lists and numbers come back as they were stored, and texts that begin with
 * "@" are escaped, all as QSettings does it in its native format. HKEY_CURRENT_USER is the process user's hive, that of
 * ".DEFAULT" if the facts give that user no SID. Writing fails silently outside of the roots and, below HKEY_USERS,
 * outside of the hives of known users. A value that is written as it stands changes nothing. May be called from any
 * thread.
 *
 * Several processes may use one folder. Each change is saved before the call returns, on top of what others have saved
 * by then; the folder is locked meanwhile. What others have changed is taken in before each save, when a key is opened
 * to be watched, and by refresh(), which the watches call when files change; reading a value doesn't look at the files.
 * Changes that could not be saved stay in force here, and are tried again with the next one.
 */
class MachineRegistry final : public Registry
{
public:
    /**
     * Loads all `*.reg` files of `folder` in name order, with one warning per line that can't be understood. What is
     * written goes to its file zz-written.reg. With an empty `folder` the registry starts empty and stays in memory.
     */
    MachineRegistry(const QString &folder, const MachineFacts &facts);

    bool contains(const QString &key, const QString &name) const override;
    QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const override;
    void setValue(const QString &key, const QString &name, const QVariant &value) override;
    void remove(const QString &key, const QString &name) override;
    QStringList childGroups(const QString &key) const override;
    QStringList allKeys(const QString &key) const override;

    /** The folder of the files; empty if the registry is in memory only. */
    QString folder() const { return m_files.folder(); }

    /** Takes in what others have changed in the files. */
    void refresh();

    /** Fills in the path and begins to watch; gives false if there is no such key. `watched` stays the caller's. */
    bool openKey(const QString &key, WatchedKey *watched);

    /** Takes back a notice that waits, and asks for the next one to the key's receiver; false if the key is deleted. */
    bool armKey(WatchedKey *watched, bool withSubtree);

    /** Whether an event of the receiver's is a notice that counts. To be asked before anything else about the event. */
    bool takeNotice(WatchedKey *watched, const QEvent &event);

    /** No notice is posted to the receiver after this. */
    void closeKey(WatchedKey *watched);

private:
    using Path = QStringList;

    /** What the files hold. */
    struct Content
    {
        RegistryTree tree;
        RegistryJournal written; ///< By any process, as the file zz-written.reg has it.
    };

    /** A value's key, and its name in there. */
    struct Address
    {
        Path key;
        QString name;
    };

    std::optional<Path> pathOf(const QString &key) const;
    std::optional<Address> addressOf(const QString &key, const QString &name) const;
    std::optional<QVariant> read(const QString &key, const QString &name) const;
    bool isPermanent(const Path &path) const;
    bool isWritable(const Path &path) const;
    void setInTree(const Path &key, const RegistryValue &value);
    void removeKey(const Path &path);
    void note(const RegistryText::Entry &entry);

    void reload();
    void reloadFiles();
    Content load();
    void loadFile(const RegistryFiles::File &file, Content *content) const;

    void saveChanges();
    bool save(const RegistryJournal &changes);
    void keepUnsaved(RegistryJournal former);
    void warnOnce(const QString &problem);

    QString m_processHive;
    QSet<QString> m_userHives; ///< Upper-cased SIDs of users who have a hive before anything is in it.

    mutable std::mutex m_mutex; ///< Guards the members up to m_watched; never held while files are read or written.
    RegistryTree m_tree;
    RegistryJournal m_unsaved; ///< Changes in m_tree that the files don't have.
    WatchedKeys m_watched;

    std::mutex m_fileMutex; ///< Guards what follows, and keeps reading and saving in one order. Locked before m_mutex.
    RegistryFiles m_files;
    RegistryJournal m_written;
    bool m_hasWarned = false;
};

} // namespace KvPlatform
