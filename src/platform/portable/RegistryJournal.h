#pragma once

#include "formats/RegistryText.h"

namespace KvPlatform {

/**
 * The least changes that lead from the registry as it was loaded to the one that was written to, in an order that can
 * be loaded again. Keys are full, as the registry's own text form has them. Without locks, as any other value.
 */
class RegistryJournal
{
public:
    /** Takes in one change. What it overrides is dropped. */
    void add(const RegistryText::Entry &entry);

    /** The changes, each value behind an entry that opens its key. */
    const QList<RegistryText::Entry> &entries() const { return m_entries; }

private:
    void addKey(const RegistryText::Entry &entry);
    void addValue(const RegistryText::Entry &entry);
    void addRemoval(const RegistryText::Entry &entry);

    QList<RegistryText::Entry> m_entries;
};

} // namespace KvPlatform
