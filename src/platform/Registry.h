#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

namespace KvPlatform {

/**
 * Registry keys and values, as QSettings in its native format gives them.
 *
 * A key is a full path that begins with a root's long name ("HKEY_LOCAL_MACHINE\\SOFTWARE\\..."). A key that doesn't
 * exist has no children, no values and no texts. Text values come as QString, lists of texts as QStringList, 32-bit
 * numbers as int and 64-bit ones as qint64. "Default" and "." name a key's default value.
 */
class Registry
{
public:
    virtual ~Registry();

    /** Whether `key` has a value called `name`, as QSettings::contains tells; a child key does not count. */
    virtual bool contains(const QString &key, const QString &name) const;

    /** The value called `name`, or `defaultValue` when it is absent. An empty name gives an invalid value. */
    virtual QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const;

    /** Sets a value and makes the key where it is missing. A refusal is silent. An empty name sets nothing. */
    virtual void setValue(const QString &key, const QString &name, const QVariant &value);

    /**
     * Removes the value `name` and the child key `name` with all below; with an empty name, all that is in the key and,
     * as QSettings::clear does, the key itself. Roots and users' hives are only emptied.
     */
    virtual void remove(const QString &key, const QString &name);

    /** The names of the child keys, in the registry's order. */
    virtual QStringList childGroups(const QString &key) const;

    /** The names of the values in the key and, with their path, in the keys below it, as QSettings::allKeys lists them.
     */
    virtual QStringList allKeys(const QString &key) const;
};

} // namespace KvPlatform
