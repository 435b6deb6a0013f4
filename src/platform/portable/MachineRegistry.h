#pragma once

#include "platform/portable/RegistryJournal.h"
#include "platform/portable/RegistryTree.h"
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
 * outside of the hives of known users. May be called from any thread.
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

private:
    using Path = QStringList;

    /** A value's key, and its name in there. */
    struct Address
    {
        Path key;
        QString name;
    };

    std::optional<Path> pathOf(const QString &key) const;
    std::optional<Address> addressOf(const QString &key, const QString &name) const;
    std::optional<QVariant> read(const QString &key, const QString &name) const;
    bool isWritable(const Path &path) const;
    bool removeKey(const Path &path);

    void loadAll();
    void loadFile(const QString &path, bool isOwn);
    bool apply(const RegistryText::Entry &entry, bool isOwn);

    void changed();
    void save(const QByteArray &text);

    QString m_folder;
    QString m_processHive;
    QSet<QString> m_userHives; ///< Upper-cased SIDs of users who have a hive before anything is in it.

    mutable std::mutex m_mutex; ///< Guards the members up to m_revision; never held while files are read or written.
    RegistryTree m_tree;
    RegistryJournal m_journal;
    quint64 m_revision = 0;

    std::mutex m_saveMutex; ///< Guards what follows, and keeps the saves in the order of the changes.
    quint64 m_savedRevision = 0;
    bool m_hasWarned = false;
};

} // namespace KvPlatform
