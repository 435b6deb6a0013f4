#include "platform/portable/RegistryTree.h"

#include "platform/portable/WindowsNames.h"

namespace KvPlatform {

bool RegistryValue::hasSameData(const RegistryValue &other) const
{
    return isExpandable == other.isExpandable && data.typeId() == other.data.typeId() && data == other.data;
}

const RegistryKey *RegistryTree::find(const QStringList &path) const
{
    const RegistryKey *key = &m_root;
    for (const QString &name : path) {
        const auto child = key->children.find(upperCased(name));
        if (child == key->children.end())
            return nullptr;
        key = child->second.get();
    }
    return key;
}

RegistryKey *RegistryTree::find(const QStringList &path)
{
    return const_cast<RegistryKey *>(std::as_const(*this).find(path));
}

RegistryKey *RegistryTree::make(const QStringList &path)
{
    RegistryKey *key = &m_root;
    for (const QString &name : path) {
        std::unique_ptr<RegistryKey> &child = key->children[upperCased(name)];
        if (!child) {
            child = std::make_unique<RegistryKey>();
            child->name = name;
        }
        key = child.get();
    }
    return key;
}

void RegistryTree::setValue(const QStringList &path, RegistryValue value)
{
    const auto [place, isNew] = make(path)->values.try_emplace(upperCased(value.name));
    if (!isNew)
        value.name = place->second.name;
    place->second = std::move(value);
}

bool RegistryTree::removeValue(const QStringList &path, const QString &name)
{
    RegistryKey *const key = find(path);
    return key && key->values.erase(upperCased(name)) > 0;
}

bool RegistryTree::removeKey(const QStringList &path, bool keepsKey)
{
    if (path.isEmpty())
        return false;
    RegistryKey *const parent = find(path.mid(0, path.size() - 1));
    if (!parent)
        return false;
    const auto place = parent->children.find(upperCased(path.last()));
    if (place == parent->children.end())
        return false;
    if (keepsKey) {
        place->second->children.clear();
        place->second->values.clear();
    } else {
        parent->children.erase(place);
    }
    return true;
}

} // namespace KvPlatform
