#pragma once

#include "kvprogram_export.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

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
     * Begins to watch the key `path`, and with `watchSubtree` all keys below it. Gives whether the watch stands;
     * prefix() tells the path in either case. No watch can be had from the platform yet, so this gives false.
     */
    bool bind(const QString &path, bool watchSubtree);

    /** Like bind, for a key that may not exist yet. */
    void bindForever(const QString &path, bool watchSubtree);

    /** Ends the watch. prefix() stays. */
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
    /** Something changed in the bound key. */
    void valueChanged();

private:
    QString m_prefix;
};
