#pragma once

#include "ByteWriter.h"

#include <QtCore/QList>
#include <QtCore/QStringList>

#include <optional>

/**
 * Makes the bytes of a shell link file. Set what the link shall have, then call build().
 *
 * Format: Shell Link (.LNK) Binary File Format, [MS-SHLLINK].
 */
struct ShellLinkBuilder
{
    /** Items of an ID list, each without its size; no list if not set. See idList(). */
    std::optional<QList<QByteArray>> idItems;

    std::optional<QString> localPath;    ///< Local base path of the LinkInfo.
    std::optional<QString> networkShare; ///< "\\\\server\\share" of the LinkInfo, used without a local path.
    QString pathSuffix;                  ///< Common path suffix of the LinkInfo.
    bool unicodeLinkInfo = false;        ///< Whether the LinkInfo has Unicode texts, too; the ANSI ones are then short.

    std::optional<QString> environmentPath;
    bool environmentInAnsiOnly = false;

    std::optional<QString> description;
    std::optional<QString> relativePath;
    std::optional<QString> workingDirectory;
    std::optional<QString> arguments;
    std::optional<QString> iconLocation;
    qint32 iconIndex = 0;
    quint32 showCommand = 1;
    bool unicode = true;      ///< Whether the strings above are in Unicode.
    quint32 moreFlags = 0;    ///< Link flags to add.
    QByteArray otherBlocks;   ///< Extra data blocks before the environment block.
    bool hasLastBlock = true; ///< Whether the empty last block is written.

    static QByteArray computerFolder() { return QByteArray::fromHex("e04fd020ea3a6910a2d808002b30309d"); }
    static QByteArray networkFolder() { return QByteArray::fromHex("0d1a2cf021be504388b07367fc96ef3c"); }

    static QByteArray rootItem(const QByteArray &folder) { return QByteArray::fromHex("1f50") + folder; }

    /** A drive such as "C:\\". */
    static QByteArray volumeItem(const QString &name, quint8 type = 0x2F)
    {
        return ByteWriter().u8(type).latin1z(name).padTo(23).result();
    }

    static QByteArray networkItem(quint8 type, const QString &location)
    {
        return ByteWriter().u8(type).u16(0).latin1z(location).result();
    }

    /** A folder or file; without a long name there is no extension. Extension version 3 is XP's, 9 is Windows 10's. */
    static QByteArray fileItem(quint8 type, const QString &primaryName, const QString &longName,
                               quint16 extensionVersion = 9)
    {
        ByteWriter item;
        item.u8(type).zeros(11);
        if (type & 0x04)
            item.utf16z(primaryName);
        else
            item.latin1z(primaryName).align(2);
        if (longName.isEmpty())
            return item.result();
        const quint16 offset = static_cast<quint16>(item.size() + 2);
        return item.bytes(nameExtension(longName, extensionVersion, offset)).result();
    }

    /** Extension 0xBEEF0004 with a long name, `offset` bytes from the start of its item. */
    static QByteArray nameExtension(const QString &longName, quint16 version, quint16 offset)
    {
        ByteWriter block;
        block.u16(0).u16(version).u32(0xBEEF0004).zeros(8).u16(0x2E);
        if (version >= 7)
            block.zeros(18);
        block.u16(0);
        if (version >= 9)
            block.u32(0);
        if (version >= 8)
            block.u32(0);
        block.utf16z(longName).u16(offset);
        block.patchU16(0, block.size16());
        return block.result();
    }

    /** The list to a file on a drive ("C:\\Games\\play.exe"), as the shell writes it. */
    static QList<QByteArray> idList(const QString &path, quint16 extensionVersion = 9)
    {
        const QStringList names = path.split(u'\\', Qt::SkipEmptyParts);
        QList<QByteArray> items{rootItem(computerFolder()), volumeItem(names.first() + u'\\')};
        for (qsizetype i = 1; i < names.size(); ++i) {
            const quint8 type = i + 1 < names.size() ? 0x31 : 0x32;
            items.append(fileItem(type, QStringLiteral("SHORT~%1").arg(i), names.at(i), extensionVersion));
        }
        return items;
    }

    QByteArray build() const
    {
        ByteWriter file;
        file.u32(0x4C).bytes(QByteArray::fromHex("0114020000000000c000000000000046")).u32(flags());
        file.padTo(0x38).u32(static_cast<quint32>(iconIndex)).u32(showCommand).padTo(0x4C);
        if (idItems)
            file.bytes(idListBytes());
        if (localPath || networkShare)
            file.bytes(linkInfoBytes());
        for (const auto &string : {description, relativePath, workingDirectory, arguments, iconLocation}) {
            if (string)
                writeString(file, *string);
        }
        file.bytes(otherBlocks);
        if (environmentPath)
            file.bytes(environmentBytes());
        if (hasLastBlock)
            file.u32(0);
        return file.result();
    }

private:
    quint32 flags() const
    {
        const bool parts[] = {idItems.has_value(),
                              localPath || networkShare,
                              description.has_value(),
                              relativePath.has_value(),
                              workingDirectory.has_value(),
                              arguments.has_value(),
                              iconLocation.has_value(),
                              unicode,
                              false,
                              environmentPath.has_value()};
        quint32 flags = moreFlags;
        quint32 bit = 1;
        for (bool part : parts) {
            flags |= part ? bit : 0;
            bit <<= 1;
        }
        return flags;
    }

    QByteArray idListBytes() const
    {
        ByteWriter list;
        for (const QByteArray &item : *idItems)
            list.u16(static_cast<quint16>(item.size() + 2)).bytes(item);
        list.u16(0);
        return ByteWriter().u16(list.size16()).bytes(list.result()).result();
    }

    QByteArray linkInfoBytes() const
    {
        const QString base = localPath.value_or(QString());
        const quint32 headerSize = unicodeLinkInfo ? 0x24 : 0x1C;
        ByteWriter info;
        info.u32(0).u32(headerSize).u32(localPath ? 1 : 2).zeros(16);
        if (unicodeLinkInfo)
            info.zeros(8);
        if (localPath) {
            info.patchU32(12, info.size32());
            info.u32(0x11).u32(3).u32(0x12345678).u32(0x10).u8(0);
            info.patchU32(16, info.size32());
            info.latin1z(unicodeLinkInfo ? QStringLiteral("ansi") : base);
        } else {
            info.patchU32(20, info.size32());
            info.bytes(networkBytes());
        }
        info.patchU32(24, info.size32());
        info.latin1z(unicodeLinkInfo ? QStringLiteral("ansi") : pathSuffix);
        if (unicodeLinkInfo) {
            info.patchU32(28, info.size32());
            info.utf16z(base);
            info.patchU32(32, info.size32());
            info.utf16z(pathSuffix);
        }
        info.patchU32(0, info.size32());
        return info.result();
    }

    QByteArray networkBytes() const
    {
        const quint32 nameOffset = unicodeLinkInfo ? 0x1C : 0x14;
        ByteWriter link;
        link.u32(0).u32(2).u32(nameOffset).u32(0).u32(0x20000);
        if (unicodeLinkInfo)
            link.zeros(8);
        link.latin1z(unicodeLinkInfo ? QStringLiteral("ansi") : *networkShare);
        if (unicodeLinkInfo) {
            link.patchU32(0x14, link.size32());
            link.utf16z(*networkShare);
        }
        link.patchU32(0, link.size32());
        return link.result();
    }

    void writeString(ByteWriter &file, const QString &string) const
    {
        file.u16(static_cast<quint16>(string.size()));
        if (unicode)
            file.utf16(string);
        else
            file.bytes(string.toLatin1());
    }

    QByteArray environmentBytes() const
    {
        ByteWriter block;
        block.u32(0x314).u32(0xA0000001).latin1z(*environmentPath).padTo(8 + 260);
        if (!environmentInAnsiOnly)
            block.utf16z(*environmentPath);
        return block.padTo(0x314).result();
    }
};
