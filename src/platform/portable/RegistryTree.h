#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <map>
#include <memory>

namespace KvPlatform {

/** A value as the registry keeps it: QString, QStringList, int, qint64, or a QByteArray for anything else. */
struct RegistryValue
{
    QString name; ///< As it was first written; empty for the default value.
    QVariant data;
    bool isExpandable = false; ///< The text is REG_EXPAND_SZ.

    /** Whether both hold the same, whatever their names. */
    bool hasSameData(const RegistryValue &other) const;
};

/** A key with all below it. Both maps go by upper-cased name, which is the registry's order. */
struct RegistryKey
{
    QString name; ///< As it was first written.
    std::map<QString, std::unique_ptr<RegistryKey>> children;
    std::map<QString, RegistryValue> values;
};

/** A registry in memory. Paths are lists of names, the root's first. Without locks, as any other value. */
class RegistryTree
{
public:
    /** The key, or null if there is none. Owned by the tree. */
    const RegistryKey *find(const QStringList &path) const;
    RegistryKey *find(const QStringList &path);

    /** The key, made where it is missing with all above it. Owned by the tree. */
    RegistryKey *make(const QStringList &path);

    /** Sets a value of the key; an existing one keeps its name's letters. */
    void setValue(const QStringList &path, RegistryValue value);

    /** Removes a value; false if there was none. */
    bool removeValue(const QStringList &path, const QString &name);

    /** Removes a key with all below, or only what is in it if `keepsKey`; false if there was no such key. */
    bool removeKey(const QStringList &path, bool keepsKey);

private:
    RegistryKey m_root;
};

} // namespace KvPlatform
