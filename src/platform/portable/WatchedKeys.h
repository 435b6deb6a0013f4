#pragma once

#include "platform/portable/RegistryTree.h"

#include <QtCore/QList>
#include <QtCore/QStringList>

QT_BEGIN_NAMESPACE
class QObject;
QT_END_NAMESPACE

namespace KvPlatform {

/** A key that somebody watches. */
struct WatchedKey
{
    QStringList path;            ///< From the root on, upper-cased.
    QObject *receiver = nullptr; ///< Gets an event of type QEvent::User for each notice.
    bool isArmed = false;
    bool isTold = false; ///< The receiver has an event that counts; one from before the last arming doesn't.
    bool withSubtree = false;
    bool isPermanent = false; ///< There even if nothing is in it.
    bool isDeleted = false;   ///< The key is gone; one of the same name is another.
};

/**
 * Finds whom a change of the registry concerns, and tells them.
 *
 * A watched key hears of its own values and of the coming and going of its child keys, and with its subtree of all keys
 * below; of its own deletion always. A notice disarms it. Paths may have any letter case. Without locks, as any other
 * value.
 */
class WatchedKeys
{
public:
    /** `key` is not owned and has to be removed before it ends. */
    void add(WatchedKey *key) { m_keys.append(key); }
    void remove(WatchedKey *key) { m_keys.removeOne(key); }

    /** The values of a key, or which child keys it has, have changed. */
    void tellChange(const QStringList &path) const;

    /** What is below a key is deleted; the key itself too unless `keepsKey`. */
    void tellRemoval(const QStringList &path, bool keepsKey) const;

    /** One registry has taken the place of another. */
    void tellDifference(const RegistryTree &former, const RegistryTree &current) const;

private:
    QList<WatchedKey *> m_keys;
};

} // namespace KvPlatform
