#pragma once

#include "kvprogram_export.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

namespace KvPlatform {
class RegistryWatch;
}

/**
 * Registry paths, one-shot operations on values, and the watch over one key.
 *
 * A path is one text with backslashes. Its first component is a root in any letter case: `HKLM`, `HKCU`, `HKCR`,
 * `HKCC`, `HKU`, one of their long names, or `@HKCU`, which is the hive of the user at the console whoever this process
 * runs as. Its last component is the name of a value; what stands between is the key.
 *
 * The static functions may be called from any thread; they neither log nor report a failure. An instance belongs to the
 * thread that made it.
 */
class KVPROGRAM_EXPORT KvRegistrySpy : public QObject
{
    Q_OBJECT

public:
    explicit KvRegistrySpy(QObject *parent);
    ~KvRegistrySpy() override;

    /**
     * Begins to watch the key `path`, and with `watchSubtree` all keys below it, in place of what was watched before.
     * Gives whether the watch stands; a refusal is logged with the system's error code. prefix() tells the path in
     * either case. On Windows the key is that of the 64-bit registry.
     */
    bool bind(const QString &path, bool watchSubtree);

    /**
     * Like bind, for a key that may not exist yet: it is tried again every two seconds until it can be watched, and
     * `@HKCU` is looked up anew each time. Only the first failure is logged. That the key has come is not signalled.
     */
    void bindForever(const QString &path, bool watchSubtree);

    /**
     * Ends the watch. prefix() stays. Before bindForever() has found its key there is no watch to end, and the search
     * goes on.
     */
    void unbind();

    /** The value that is named like the bound key, in the key's parent; invalid if nothing was ever bound. */
    QVariant value(const QVariant &defaultValue) const;

    /** A value by a full path with a root's name, or by its name inside the bound key; invalid for a name if nothing
     * was ever bound. */
    QVariant keyValue(const QString &name, const QVariant &defaultValue) const;

    /** The path last given to bind or bindForever, in normal form. */
    QString prefix() const;

    /**
     * The normal form of `path`: the root's long name in capitals, a backslash, and the rest as it is. `@HKCU` becomes
     * "HKEY_USERS\\" and the SID of the user at the console. Touches no registry.
     */
    static QString hkey(const QString &path);

    /** Whether the value exists. */
    static bool containsKey(const QString &path);

    /** The value, or `defaultValue` if it is absent. */
    static QVariant readValue(const QString &path, const QVariant &defaultValue);

    /** Sets the value. */
    static void writeValue(const QString &path, const QVariant &value);

    /** Removes the value, or the child key, that the last component names. */
    static void removeKey(const QString &path);

Q_SIGNALS:
    /**
     * Something changed in the bound key: a value, or the existence of a child key; with the subtree, in any key below
     * as well. Changes that come together give one signal, and what changes while it is handled gives another.
     *
     * The deletion of the key is the last change that is told: a key that is made anew has to be bound anew.
     */
    void valueChanged();

private:
    bool arm(bool watchSubtree);
    void onChanged(bool watchSubtree);
    void tellFailure(const char *what, quint32 error) const;

    QString m_prefix;
    std::unique_ptr<KvPlatform::RegistryWatch> m_watch; // The event and the key.
    bool m_isNotified = false;                          // Changes reach onChanged().
    bool m_isForever = false;                           // bindForever() is trying again; failures are not told.
};
