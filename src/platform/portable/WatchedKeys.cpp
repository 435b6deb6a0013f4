#include "platform/portable/WatchedKeys.h"

#include "platform/portable/WindowsNames.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>

#include <algorithm>

namespace KvPlatform {

namespace {

QStringList upperPath(const QStringList &path)
{
    QStringList upper;
    upper.reserve(path.size());
    for (const QString &name : path)
        upper.append(upperCased(name));
    return upper;
}

bool isAtOrBelow(const QStringList &path, const QStringList &top)
{
    return path.size() >= top.size() && std::equal(top.begin(), top.end(), path.begin());
}

void tell(WatchedKey &key)
{
    if (!key.isArmed)
        return;
    key.isArmed = false;
    key.isTold = true;
    QCoreApplication::postEvent(key.receiver, new QEvent(QEvent::User));
}

/** Whether two keys have the same values and child keys. A missing key is as good as an empty one. */
bool isSame(const RegistryKey *one, const RegistryKey *other, bool withSubtree)
{
    static const RegistryKey empty;
    const RegistryKey &left = one ? *one : empty;
    const RegistryKey &right = other ? *other : empty;
    const auto isSameValue = [](const auto &a, const auto &b) {
        return a.first == b.first && a.second.name == b.second.name && a.second.hasSameData(b.second);
    };
    const auto isSameChild = [withSubtree](const auto &a, const auto &b) {
        return a.first == b.first && (!withSubtree || isSame(a.second.get(), b.second.get(), true));
    };
    return std::equal(left.values.begin(), left.values.end(), right.values.begin(), right.values.end(), isSameValue) &&
           std::equal(left.children.begin(), left.children.end(), right.children.begin(), right.children.end(),
                      isSameChild);
}

} // namespace

void WatchedKeys::tellChange(const QStringList &path) const
{
    if (m_keys.isEmpty())
        return;
    const QStringList upper = upperPath(path);
    for (WatchedKey *const key : m_keys) {
        if (key->withSubtree ? isAtOrBelow(upper, key->path) : upper == key->path)
            tell(*key);
    }
}

void WatchedKeys::tellRemoval(const QStringList &path, bool keepsKey) const
{
    if (m_keys.isEmpty())
        return;
    const QStringList upper = upperPath(path);
    for (WatchedKey *const key : m_keys) {
        if (!isAtOrBelow(key->path, upper) || (keepsKey && key->path == upper))
            continue;
        key->isDeleted = true;
        tell(*key);
    }
    tellChange(keepsKey ? path : path.mid(0, path.size() - 1));
}

void WatchedKeys::tellDifference(const RegistryTree &former, const RegistryTree &current) const
{
    for (WatchedKey *const key : m_keys) {
        const RegistryKey *const before = former.find(key->path);
        const RegistryKey *const after = current.find(key->path);
        key->isDeleted = key->isDeleted || (before && !after && !key->isPermanent);
        if (key->isDeleted || !isSame(before, after, key->withSubtree))
            tell(*key);
    }
}

} // namespace KvPlatform
