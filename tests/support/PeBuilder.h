#pragma once

#include "ByteWriter.h"

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QPair>

/**
 * Makes the bytes of a small program file that holds resources and no code.
 *
 * Format: "PE Format", Microsoft; icons as in "Icons", Microsoft (GRPICONDIR).
 */
struct PeBuilder
{
    static constexpr quint16 IconType = 3;
    static constexpr quint16 GroupIconType = 14;
    static constexpr quint16 VersionType = 16;

    struct Resource
    {
        quint16 type = 0;
        quint32 name = 1;
        quint16 language = 0x0409;
        QByteArray data;
        QString textName; ///< Used as its name instead of the number if not empty.
    };

    /** One size of an icon; `data` is a bitmap as in an icon file, or a PNG. */
    struct IconImage
    {
        quint8 width = 32; ///< In pixels; 0 stands for 256.
        quint8 height = 32;
        quint16 bitCount = 32;
        QByteArray data;
    };

    bool is64Bit = true;
    bool hasResourceSection = true;
    QList<Resource> resources;

    /** Adds a group icon and its images, which get the numbers from `firstImage` on. */
    void addIcon(quint32 name, const QList<IconImage> &images, quint32 firstImage = 1)
    {
        ByteWriter group;
        group.u16(0).u16(1).u16(static_cast<quint16>(images.size()));
        quint32 number = firstImage;
        for (const IconImage &image : images) {
            group.u8(image.width).u8(image.height).u16(0).u16(1).u16(image.bitCount);
            group.u32(static_cast<quint32>(image.data.size())).u16(static_cast<quint16>(number));
            resources.append({IconType, number, 0x0409, image.data, {}});
            ++number;
        }
        resources.append({GroupIconType, name, 0x0409, group.result(), {}});
    }

    /** Adds the version block, which VersionBuilder makes. */
    void addVersion(const QByteArray &block, quint16 language = 0x0409)
    {
        resources.append({VersionType, 1, language, block, {}});
    }

    QByteArray build() const
    {
        const QByteArray section = hasResourceSection ? resourceSection() : QByteArray();
        ByteWriter file;
        file.bytes("MZ").padTo(0x3C).u32(0x40).bytes(QByteArray("PE\0\0", 4));
        file.u16(is64Bit ? 0x8664 : 0x14C).u16(hasResourceSection ? 2 : 1).zeros(12);
        const QByteArray header = optionalHeader(static_cast<quint32>(section.size()));
        file.u16(static_cast<quint16>(header.size())).u16(0x22).bytes(header);
        writeSectionHeader(file, ".text", 0x1000, 0x10, TextOffset);
        if (hasResourceSection)
            writeSectionHeader(file, ".rsrc", ResourceAddress, static_cast<quint32>(section.size()), ResourceOffset);
        return file.padTo(TextOffset).zeros(0x10).padTo(ResourceOffset).bytes(section).result();
    }

private:
    static constexpr quint32 TextOffset = 0x200;
    static constexpr quint32 ResourceOffset = 0x400;
    static constexpr quint32 ResourceAddress = 0x2000;
    static constexpr quint32 ReadableData = 0x40000040;
    static constexpr quint32 HighBit = 0x80000000;

    using Names = QMap<QPair<QString, quint32>, QList<Resource>>;

    QByteArray optionalHeader(quint32 resourceSize) const
    {
        // The addresses and sizes that a loader insists on, whatever it is asked for.
        ByteWriter header;
        header.u16(is64Bit ? 0x20B : 0x10B).padTo(is64Bit ? 24 : 28).u32(0x400000).padTo(32);
        header.u32(0x1000).u32(TextOffset).u16(6).padTo(48).u16(6).padTo(56);
        header.u32(ResourceAddress + (resourceSize + 0xFFF) / 0x1000 * 0x1000).u32(TextOffset).padTo(68).u16(3);
        header.padTo(is64Bit ? 108 : 92).u32(16).zeros(16);
        header.u32(hasResourceSection ? ResourceAddress : 0).u32(resourceSize);
        return header.padTo(is64Bit ? 112 + 128 : 96 + 128).result();
    }

    static void writeSectionHeader(ByteWriter &file, QByteArray name, quint32 address, quint32 size, quint32 offset)
    {
        name = name.leftJustified(8, '\0');
        file.bytes(name).u32(size).u32(address).u32(size).u32(offset).zeros(12).u32(ReadableData);
    }

    /** Writes a directory's head and leaves room for its entries; gives the offset of the first one. */
    static qsizetype writeDirectory(ByteWriter &section, qsizetype named, qsizetype numbered)
    {
        section.zeros(12).u16(static_cast<quint16>(named)).u16(static_cast<quint16>(numbered));
        const qsizetype entries = section.size();
        section.zeros(8 * (named + numbered));
        return entries;
    }

    static void patchEntry(ByteWriter &section, qsizetype &entry, quint32 name, quint32 target)
    {
        section.patchU32(entry, name);
        section.patchU32(entry + 4, target);
        entry += 8;
    }

    QByteArray resourceSection() const
    {
        QMap<quint16, Names> types;
        for (const Resource &resource : resources)
            types[resource.type][{resource.textName, resource.textName.isEmpty() ? resource.name : 0}] += resource;
        ByteWriter section;
        qsizetype entry = writeDirectory(section, 0, types.size());
        for (auto type = types.cbegin(); type != types.cend(); ++type) {
            patchEntry(section, entry, type.key(), section.size32() | HighBit);
            writeNames(section, type.value());
        }
        return section.result();
    }

    static void writeNames(ByteWriter &section, const Names &names)
    {
        // A directory lists the text names before the numbers, and an empty text sorts first in the map.
        qsizetype numbered = 0;
        for (auto name = names.cbegin(); name != names.cend(); ++name)
            numbered += name.key().first.isEmpty() ? 1 : 0;
        const qsizetype named = names.size() - numbered;
        qsizetype textEntry = writeDirectory(section, named, numbered);
        qsizetype numberEntry = textEntry + 8 * named;
        for (auto name = names.cbegin(); name != names.cend(); ++name) {
            const QString &text = name.key().first;
            quint32 id = name.key().second;
            if (!text.isEmpty()) {
                id = section.size32() | HighBit;
                section.u16(static_cast<quint16>(text.size())).utf16(text).align(4);
            }
            patchEntry(section, text.isEmpty() ? numberEntry : textEntry, id, section.size32() | HighBit);
            writeLanguages(section, name.value());
        }
    }

    static void writeLanguages(ByteWriter &section, const QList<Resource> &resources)
    {
        qsizetype entry = writeDirectory(section, 0, resources.size());
        for (const Resource &resource : resources) {
            patchEntry(section, entry, resource.language, section.size32());
            section.u32(ResourceAddress + section.size32() + 16).u32(static_cast<quint32>(resource.data.size()));
            section.u32(0).u32(0).bytes(resource.data).align(4);
        }
    }
};
