#pragma once

#include "ByteWriter.h"

#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>

/**
 * Makes the bytes of a version resource.
 *
 * Format: VS_VERSIONINFO and its children, Microsoft.
 */
struct VersionBuilder
{
    /** A string table with its texts, in the order given. */
    struct Table
    {
        quint16 language = 0x0409;
        quint16 codePage = 0x04B0;
        QList<QPair<QString, QString>> texts;
    };

    QList<Table> tables;
    bool hasFixedInfo = true;
    quint32 fileVersionHigh = 0x00010002; ///< Major and minor number of the fixed information.

    /** How a text's length is counted. Linkers differ; the first is the documented way. */
    enum TextLength
    {
        UnitsWithZero,
        UnitsWithoutZero,
        Bytes
    } textLength = UnitsWithZero;

    /** Any node: its value's bytes, the length that its header tells, 1 for a text, and children. */
    static QByteArray node(const QString &key, const QByteArray &value, quint16 valueLength, quint16 type,
                           const QList<QByteArray> &children = {})
    {
        ByteWriter writer;
        writer.u16(0).u16(valueLength).u16(type).utf16z(key);
        if (!value.isEmpty())
            writer.align(4).bytes(value);
        for (const QByteArray &child : children)
            writer.align(4).bytes(child);
        writer.patchU16(0, writer.size16());
        return writer.result();
    }

    QByteArray textNode(const QString &key, const QString &text) const
    {
        qsizetype length = text.size();
        if (textLength == UnitsWithZero)
            length += 1;
        else if (textLength == Bytes)
            length = 2 * length + 2;
        return node(key, ByteWriter().utf16z(text).result(), static_cast<quint16>(length), 1);
    }

    QByteArray build() const
    {
        QList<QByteArray> tableNodes;
        ByteWriter translations;
        for (const Table &table : tables) {
            translations.u16(table.language).u16(table.codePage);
            tableNodes.append(tableNode(table));
        }
        QList<QByteArray> children;
        if (!tables.isEmpty()) {
            const QByteArray translation =
                node(QStringLiteral("Translation"), translations.result(), translations.size16(), 0);
            children = {node(QStringLiteral("StringFileInfo"), {}, 0, 1, tableNodes),
                        node(QStringLiteral("VarFileInfo"), {}, 0, 1, {translation})};
        }
        const QByteArray fixed = fixedInfo();
        return node(QStringLiteral("VS_VERSION_INFO"), fixed, static_cast<quint16>(fixed.size()), 0, children);
    }

private:
    QByteArray tableNode(const Table &table) const
    {
        const quint32 number = quint32(table.language) << 16 | table.codePage;
        QList<QByteArray> texts;
        for (const auto &text : table.texts)
            texts.append(textNode(text.first, text.second));
        return node(QStringLiteral("%1").arg(number, 8, 16, QLatin1Char('0')), {}, 0, 1, texts);
    }

    QByteArray fixedInfo() const
    {
        if (!hasFixedInfo)
            return {};
        return ByteWriter().u32(0xFEEF04BD).u32(0x00010000).u32(fileVersionHigh).padTo(52).result();
    }
};
