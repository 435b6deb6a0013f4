#include "platform/portable/RegistryJournal.h"

#include "platform/portable/WindowsNames.h"

namespace KvPlatform {

namespace {

using RegistryText::Entry;

bool isSame(const QString &one, const QString &other)
{
    return one.size() == other.size() && upperCased(one) == upperCased(other);
}

bool isAtOrBelow(const QString &key, const QString &top)
{
    return isSame(key.left(top.size()), top) && (key.size() == top.size() || key[top.size()] == u'\\');
}

bool isValue(const Entry &entry)
{
    return entry.kind == Entry::SetValue || entry.kind == Entry::RemoveValue;
}

} // namespace

void RegistryJournal::add(const Entry &entry)
{
    if (entry.kind == Entry::RemoveKey)
        addRemoval(entry);
    else if (entry.kind == Entry::AddKey)
        addKey(entry);
    else
        addValue(entry);
}

void RegistryJournal::addKey(const Entry &entry)
{
    for (const Entry &former : m_entries) {
        if (former.kind == Entry::AddKey && isSame(former.key, entry.key))
            return;
    }
    m_entries.append(entry);
}

void RegistryJournal::addValue(const Entry &entry)
{
    m_entries.removeIf([&entry](const Entry &former) {
        return isValue(former) && isSame(former.key, entry.key) && isSame(former.name, entry.name);
    });
    // Any removal of the key, or of one above, has dropped the key's earlier entries: what is found stands behind it.
    for (qsizetype i = m_entries.size() - 1; i >= 0; --i) {
        if (m_entries.at(i).kind != Entry::RemoveKey && isSame(m_entries.at(i).key, entry.key)) {
            m_entries.insert(i + 1, entry);
            return;
        }
    }
    Entry key;
    key.kind = Entry::AddKey;
    key.key = entry.key;
    m_entries.append(key);
    m_entries.append(entry);
}

void RegistryJournal::addRemoval(const Entry &entry)
{
    m_entries.removeIf([&entry](const Entry &former) { return isAtOrBelow(former.key, entry.key); });
    m_entries.append(entry);
}

} // namespace KvPlatform
