#include "formats/ShellLinkFile.h"

#include "formats/ByteReader.h"
#include "formats/TextBytes.h"

namespace {

constexpr quint32 HeaderSize = 0x4C;
constexpr quint32 EnvironmentBlockSize = 0x314;
constexpr quint32 EnvironmentBlockSignature = 0xA0000001;
constexpr quint32 FileEntryExtensionSignature = 0xBEEF0004;

constexpr QByteArrayView LinkClass("\x01\x14\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);
constexpr QByteArrayView ComputerFolder("\xE0\x4F\xD0\x20\xEA\x3A\x69\x10\xA2\xD8\x08\x00\x2B\x30\x30\x9D", 16);
constexpr QByteArrayView NetworkPlacesFolder("\x60\x2C\x8D\x20\xEA\x3A\x69\x10\xA2\xD7\x08\x00\x2B\x30\x30\x9D", 16);
constexpr QByteArrayView NetworkFolder("\x0D\x1A\x2C\xF0\x21\xBE\x50\x43\x88\xB0\x73\x67\xFC\x96\xEF\x3C", 16);

enum LinkFlag : quint32
{
    HasLinkTargetIdList = 0x1,
    HasLinkInfo = 0x2,
    HasName = 0x4,
    HasRelativePath = 0x8,
    HasWorkingDir = 0x10,
    HasArguments = 0x20,
    HasIconLocation = 0x40,
    IsUnicode = 0x80,
    ForceNoLinkInfo = 0x100,
};

QString ansiText(QByteArrayView bytes)
{
    return TextBytes::fromWindows1252(TextBytes::beforeZero(bytes).value_or(bytes));
}

QString unicodeText(QByteArrayView bytes)
{
    return TextBytes::fromUtf16(TextBytes::beforeZeroUnit(bytes).value_or(bytes));
}

/** Follows an ID list from the desktop down and tells the path at its end. */
class IdListWalk
{
public:
    /** One item, without its leading size. */
    void enter(QByteArrayView item);

    std::optional<QString> path() const
    {
        if (m_place != Place::FileSystem)
            return std::nullopt;
        return m_path;
    }

private:
    enum class Place
    {
        Desktop,
        Computer,
        Network,
        FileSystem,
        Virtual
    };

    Place enterRoot(QByteArrayView item) const;
    Place enterVolume(QByteArrayView item);
    Place enterNetwork(QByteArrayView item);
    Place enterFileEntry(QByteArrayView item);

    Place m_place = Place::Desktop;
    QString m_path;
};

void IdListWalk::enter(QByteArrayView item)
{
    const uchar type = item.isEmpty() ? uchar(0) : static_cast<uchar>(item[0]);
    Place next = Place::Virtual;
    if (m_place == Place::Desktop && type == 0x1F)
        next = enterRoot(item);
    else if (m_place == Place::Computer && (type & 0x70) == 0x20)
        next = enterVolume(item);
    else if (m_place == Place::Network && (type & 0x70) == 0x40)
        next = enterNetwork(item);
    else if (m_place == Place::FileSystem && (type & 0x70) == 0x30)
        next = enterFileEntry(item);
    m_place = next;
}

IdListWalk::Place IdListWalk::enterRoot(QByteArrayView item) const
{
    const QByteArrayView folder = ByteReader(item, 2).take(16);
    if (folder == ComputerFolder)
        return Place::Computer;
    if (folder == NetworkFolder || folder == NetworkPlacesFolder)
        return Place::Network;
    return Place::Virtual;
}

IdListWalk::Place IdListWalk::enterVolume(QByteArrayView item)
{
    const QString name = ansiText(item.sliced(1));
    const ushort letter = name.isEmpty() ? ushort(0) : name.at(0).toLower().unicode();
    const bool isDrive =
        letter >= 'a' && letter <= 'z' && (name.mid(1) == QLatin1String(":\\") || name.mid(1) == QLatin1String(":"));
    if (!isDrive)
        return Place::Virtual;
    m_path = name.left(2) + u'\\';
    return Place::FileSystem;
}

IdListWalk::Place IdListWalk::enterNetwork(QByteArrayView item)
{
    constexpr uchar Share = 3;
    if ((static_cast<uchar>(item[0]) & 0x0F) != Share)
        return Place::Network;
    ByteReader reader(item, 3);
    m_path = ansiText(reader.take(reader.left()));
    return m_path.startsWith(u"\\\\") ? Place::FileSystem : Place::Virtual;
}

/** Where the long name of a file entry's extension starts, by the extension's version. */
quint64 longNameOffset(quint16 version)
{
    if (version >= 9)
        return 46;
    if (version == 8)
        return 42;
    return version == 7 ? 38 : 20;
}

/** The long name in the extension blocks of a file entry; empty if it has none. */
QString longName(QByteArrayView item)
{
    // The last two bytes of an item point to its extensions. They count from the item's size, which is cut off here.
    if (item.size() < 2)
        return {};
    ByteReader last(item, static_cast<quint64>(item.size()) - 2);
    ByteReader blocks(item, quint64(qMax<int>(last.u16(), 2)) - 2);
    while (blocks.left() >= 8) {
        const quint64 start = blocks.position();
        const quint16 size = blocks.u16();
        const quint16 version = blocks.u16();
        const quint32 signature = blocks.u32();
        blocks.seek(start);
        const QByteArrayView block = blocks.take(size);
        if (size < 8 || !blocks.ok())
            break;
        if (signature == FileEntryExtensionSignature && version >= 3) {
            ByteReader name(block, longNameOffset(version));
            return unicodeText(name.take(name.left()));
        }
    }
    return {};
}

IdListWalk::Place IdListWalk::enterFileEntry(QByteArrayView item)
{
    constexpr uchar HasUnicodeTexts = 0x04;
    QString name = longName(item);
    if (name.isEmpty()) {
        ByteReader reader(item, 12);
        const QByteArrayView stored = reader.take(reader.left());
        name = static_cast<uchar>(item[0]) & HasUnicodeTexts ? unicodeText(stored) : ansiText(stored);
    }
    if (name.isEmpty() || name.contains(u'\\') || name.contains(u'/'))
        return Place::Virtual;
    if (!m_path.endsWith(u'\\'))
        m_path += u'\\';
    m_path += name;
    return Place::FileSystem;
}

bool readIdList(ByteReader &file, ShellLinkFile &link)
{
    const quint16 size = file.u16();
    ByteReader list(file.take(size));
    IdListWalk walk;
    while (const quint16 itemSize = list.u16()) {
        if (itemSize < 2)
            return false;
        const QByteArrayView item = list.take(itemSize - 2U);
        if (!list.ok())
            return false;
        walk.enter(item);
    }
    link.hasIdList = true;
    link.idListPath = walk.path();
    return file.ok() && list.ok();
}

/** A zero-terminated text at an offset of a structure: the Unicode one if the structure has it. Offset 0 is none. */
std::optional<QString> textAt(QByteArrayView structure, quint32 ansiOffset, quint32 unicodeOffset)
{
    ByteReader reader(structure, unicodeOffset ? unicodeOffset : ansiOffset);
    const QByteArrayView rest = reader.take(reader.left());
    const auto text = unicodeOffset ? TextBytes::beforeZeroUnit(rest) : TextBytes::beforeZero(rest);
    if (!reader.ok() || !text || (!ansiOffset && !unicodeOffset))
        return std::nullopt;
    return unicodeOffset ? TextBytes::fromUtf16(*text) : TextBytes::fromWindows1252(*text);
}

/** The share's name out of a CommonNetworkRelativeLink. */
std::optional<QString> networkName(QByteArrayView linkInfo, quint32 offset)
{
    constexpr quint32 SizeWithoutUnicode = 0x14;
    ByteReader info(linkInfo, offset);
    const quint32 size = info.u32();
    info.seek(offset);
    const QByteArrayView structure = info.take(size);
    ByteReader reader(structure, 8);
    const quint32 nameOffset = reader.u32();
    reader.take(8);
    const quint32 unicodeOffset = nameOffset > SizeWithoutUnicode ? reader.u32() : 0;
    if (!info.ok() || !reader.ok() || nameOffset < SizeWithoutUnicode)
        return std::nullopt;
    return textAt(structure, nameOffset, unicodeOffset);
}

QString joined(const QString &base, const QString &suffix)
{
    if (suffix.isEmpty() || base.isEmpty() || base.endsWith(u'\\') || suffix.startsWith(u'\\'))
        return base + suffix;
    return base + u'\\' + suffix;
}

bool readLinkInfoPath(QByteArrayView linkInfo, std::optional<QString> &path)
{
    constexpr quint32 VolumeIdAndLocalBasePath = 1;
    constexpr quint32 CommonNetworkRelativeLinkAndPathSuffix = 2;
    constexpr quint32 SizeWithoutUnicode = 0x1C;
    constexpr quint32 SizeWithUnicode = 0x24;

    ByteReader reader(linkInfo, 4);
    const quint32 headerSize = reader.u32();
    const quint32 flags = reader.u32();
    reader.u32();
    const quint32 baseOffset = reader.u32();
    const quint32 networkOffset = reader.u32();
    const quint32 suffixOffset = reader.u32();
    const bool hasUnicode = headerSize >= SizeWithUnicode;
    const quint32 unicodeBaseOffset = hasUnicode ? reader.u32() : 0;
    const quint32 unicodeSuffixOffset = hasUnicode ? reader.u32() : 0;
    if (!reader.ok() || headerSize < SizeWithoutUnicode || headerSize > static_cast<quint64>(linkInfo.size()))
        return false;
    if (!(flags & (VolumeIdAndLocalBasePath | CommonNetworkRelativeLinkAndPathSuffix)))
        return true;

    const auto base = flags & VolumeIdAndLocalBasePath ? textAt(linkInfo, baseOffset, unicodeBaseOffset)
                                                       : networkName(linkInfo, networkOffset);
    const bool hasSuffix = suffixOffset || unicodeSuffixOffset;
    const auto suffix = hasSuffix ? textAt(linkInfo, suffixOffset, unicodeSuffixOffset) : QString();
    if (!base || !suffix)
        return false;
    path = joined(*base, *suffix);
    return true;
}

bool readLinkInfo(ByteReader &file, quint32 flags, ShellLinkFile &link)
{
    const quint64 start = file.position();
    const quint32 size = file.u32();
    file.seek(start);
    const QByteArrayView linkInfo = file.take(size);
    if (!file.ok() || size < 4)
        return false;
    return flags & ForceNoLinkInfo || readLinkInfoPath(linkInfo, link.linkInfoPath);
}

bool readStrings(ByteReader &file, quint32 flags, ShellLinkFile &link)
{
    const struct
    {
        LinkFlag flag;
        QString &text;
    } strings[] = {
        {HasName, link.description},    {HasRelativePath, link.relativePath}, {HasWorkingDir, link.workingDirectory},
        {HasArguments, link.arguments}, {HasIconLocation, link.iconLocation},
    };
    for (const auto &string : strings) {
        if (!(flags & string.flag))
            continue;
        const quint64 count = file.u16();
        string.text = flags & IsUnicode ? unicodeText(file.take(2 * count)) : ansiText(file.take(count));
    }
    return file.ok();
}

/** The target of an environment block without its size and signature: a fixed field in ANSI, then one in Unicode. */
std::optional<QString> environmentTarget(QByteArrayView block)
{
    constexpr qsizetype AnsiSize = 260;
    QString target = unicodeText(block.sliced(AnsiSize));
    if (target.isEmpty())
        target = ansiText(block.first(AnsiSize));
    if (target.isEmpty())
        return std::nullopt;
    return target;
}

bool readExtraData(ByteReader &file, ShellLinkFile &link)
{
    constexpr quint32 HeadSize = 8;
    while (file.left() >= 4) {
        const quint32 size = file.u32();
        if (size < 4)
            break;
        const quint32 signature = file.u32();
        if (size < HeadSize)
            return false;
        const QByteArrayView block = file.take(size - HeadSize);
        if (!file.ok())
            return false;
        if (signature != EnvironmentBlockSignature || link.environmentPath)
            continue;
        if (size != EnvironmentBlockSize)
            return false;
        link.environmentPath = environmentTarget(block);
    }
    return true;
}

} // namespace

std::optional<ShellLinkFile> ShellLinkFile::parse(QByteArrayView bytes)
{
    ByteReader file(bytes);
    const quint32 headerSize = file.u32();
    const bool isLink = file.take(16) == LinkClass;
    const quint32 flags = file.u32();
    file.seek(0x38);
    ShellLinkFile link;
    link.iconIndex = static_cast<qint32>(file.u32());
    link.showCommand = file.u32();
    file.seek(HeaderSize);
    if (!file.ok() || headerSize != HeaderSize || !isLink)
        return std::nullopt;

    if (flags & HasLinkTargetIdList && !readIdList(file, link))
        return std::nullopt;
    if (flags & HasLinkInfo && !readLinkInfo(file, flags, link))
        return std::nullopt;
    if (!readStrings(file, flags, link) || !readExtraData(file, link))
        return std::nullopt;
    return link;
}
