#include "formats/PeFile.h"

#include "formats/ByteReader.h"

namespace {

constexpr quint32 HighBit = 0x80000000;
constexpr int SectionHeaderSize = 40;
constexpr quint16 MaxSections = 96; // The loader's own limit.
constexpr int MaxDirectoryEntries = 65536;
constexpr quint32 ResourceDirectoryIndex = 2;

/** The address of the resource directory; 0 without one, nothing if the optional header is none. */
std::optional<quint32> resourceAddress(QByteArrayView optionalHeader)
{
    ByteReader magic(optionalHeader);
    quint64 countOffset = 0;
    switch (magic.u16()) {
    case 0x10B:
        countOffset = 92;
        break;
    case 0x20B:
        countOffset = 108;
        break;
    default:
        return std::nullopt;
    }
    ByteReader reader(optionalHeader, countOffset);
    const quint32 count = reader.u32();
    if (!reader.ok())
        return std::nullopt;
    if (count <= ResourceDirectoryIndex)
        return 0;
    reader.take(quint64(ResourceDirectoryIndex) * 8);
    return reader.u32();
}

} // namespace

std::optional<PeFile> PeFile::parse(QByteArrayView bytes)
{
    ByteReader reader(bytes);
    const bool dos = reader.take(2) == QByteArrayView("MZ");
    reader.seek(0x3C);
    reader.seek(reader.u32());
    if (!dos || reader.take(4) != QByteArrayView("PE\0\0", 4))
        return std::nullopt;

    reader.take(2);
    const quint16 sectionCount = reader.u16();
    reader.take(12);
    const quint16 optionalHeaderSize = reader.u16();
    reader.take(2);
    const QByteArrayView optionalHeader = reader.take(optionalHeaderSize);
    if (!reader.ok() || sectionCount > MaxSections)
        return std::nullopt;
    const auto address = resourceAddress(optionalHeader);
    const QByteArrayView sections = reader.take(quint64(sectionCount) * SectionHeaderSize);
    if (!address || !reader.ok())
        return std::nullopt;

    PeFile file;
    file.m_bytes = bytes;
    file.m_sections = sections;
    if (*address)
        file.m_resources = file.fromAddress(*address);
    return file;
}

QList<PeFile::Resource> PeFile::resources(ResourceType type) const
{
    int budget = MaxDirectoryEntries;
    int position = 0;
    QList<Resource> found;
    for (const Entry &typed : directory(0, budget)) {
        if (typed.name != type || !(typed.target & HighBit))
            continue;
        for (const Entry &named : directory(typed.target & ~HighBit, budget))
            appendLanguages(named, position++, found, budget);
    }
    return found;
}

/** What the file holds from a virtual address to the end of its section; no bytes if the file doesn't hold it. */
QByteArrayView PeFile::fromAddress(quint32 address) const
{
    ByteReader sections(m_sections);
    while (sections.left() >= SectionHeaderSize) {
        ByteReader section(sections.take(SectionHeaderSize), 12);
        const quint32 start = section.u32();
        const quint32 size = section.u32();
        const quint32 fileOffset = section.u32();
        if (address < start || address - start >= size)
            continue;
        ByteReader file(m_bytes, quint64(fileOffset) + (address - start));
        return file.take(qMin<quint64>(size - (address - start), file.left()));
    }
    return {};
}

/** The entries of the directory at an offset from the root. Those beyond the section's end or the budget are left out.
 */
QList<PeFile::Entry> PeFile::directory(quint32 offset, int &budget) const
{
    ByteReader reader(m_resources, quint64(offset) + 12);
    const int count = reader.u16() + reader.u16();
    QList<Entry> entries;
    for (int i = 0; i < count && budget > 0; ++i, --budget) {
        const Entry entry{reader.u32(), reader.u32()};
        if (!reader.ok())
            break;
        entries.append(entry);
    }
    return entries;
}

std::optional<QByteArrayView> PeFile::data(quint32 offset) const
{
    ByteReader reader(m_resources, offset);
    const quint32 address = reader.u32();
    const quint32 size = reader.u32();
    if (!reader.ok())
        return std::nullopt;
    const QByteArrayView stored = fromAddress(address);
    if (size > static_cast<quint64>(stored.size()))
        return std::nullopt;
    return stored.first(static_cast<qsizetype>(size));
}

void PeFile::appendLanguages(const Entry &named, int position, QList<Resource> &found, int &budget) const
{
    if (!(named.target & HighBit))
        return;
    const quint32 name = named.name & HighBit ? 0 : named.name;
    for (const Entry &language : directory(named.target & ~HighBit, budget)) {
        if (language.target & HighBit)
            continue;
        if (const auto bytes = data(language.target))
            found.append({name, static_cast<quint16>(language.name), *bytes, position});
    }
}
