#pragma once

#include "ByteWriter.h"
#include "PeBuilder.h"

#include <QtCore/QBuffer>
#include <QtGui/QImage>

/**
 * Makes the bytes of one device-independent bitmap as an icon holds it: header, palette, pixels and mask.
 *
 * Format: BITMAPINFOHEADER and "Icons", Microsoft. What a test sets apart from the pixels makes the bitmap lie.
 */
struct DibBuilder
{
    using Rows = QList<QList<quint32>>;

    int bitCount = 32;
    Rows rows;              ///< From the top; colours as they are stored, or numbers of palette colours.
    Rows mask;              ///< From the top; 1 is transparent. Without it nothing is.
    QList<quint32> palette; ///< 0x00RRGGBB each.
    bool hasMask = true;

    quint32 headerSize = 40;
    quint16 planes = 1;
    quint32 compression = 0;
    std::optional<quint32> width = std::nullopt;
    std::optional<quint32> height = std::nullopt; ///< Of image and mask together.
    std::optional<quint32> colours = std::nullopt;

    /** A square in one colour, 0xAARRGGBB. */
    static DibBuilder plain(int side, quint32 colour)
    {
        DibBuilder bitmap;
        bitmap.rows = Rows(side, QList<quint32>(side, colour));
        return bitmap;
    }

    QByteArray build() const
    {
        const qsizetype realWidth = rows.isEmpty() ? 0 : rows.first().size();
        ByteWriter writer;
        writer.u32(headerSize).u32(width.value_or(static_cast<quint32>(realWidth)));
        writer.u32(height.value_or(static_cast<quint32>(2 * rows.size()))).u16(planes);
        writer.u16(static_cast<quint16>(bitCount)).u32(compression).zeros(12);
        writer.u32(colours.value_or(static_cast<quint32>(palette.size()))).padTo(qsizetype(headerSize));
        for (const quint32 colour : palette)
            writer.u32(colour);
        writeRows(writer, rows, bitCount);
        if (hasMask)
            writeRows(writer, mask.isEmpty() ? Rows(rows.size(), QList<quint32>(realWidth, 0)) : mask, 1);
        return writer.result();
    }

private:
    static void writeRows(ByteWriter &writer, const Rows &rows, int bits)
    {
        for (auto row = rows.crbegin(); row != rows.crend(); ++row) {
            ByteWriter line;
            quint32 byte = 0;
            int filled = 0;
            for (const quint32 pixel : *row) {
                if (bits >= 8) {
                    for (int shift = 0; shift < bits; shift += 8)
                        line.u8(shift < 32 ? static_cast<quint8>(pixel >> shift) : 0);
                    continue;
                }
                byte = byte << bits | pixel;
                filled += bits;
                if (filled == 8)
                    line.u8(static_cast<quint8>(byte));
                filled %= 8;
            }
            if (filled != 0)
                line.u8(static_cast<quint8>(byte << (8 - filled)));
            writer.bytes(line.align(4).result());
        }
    }
};

/** Makes icons for tests: PNG images, icon files, and programs with icons. */
struct IconBuilder
{
    static QByteArray png(const QImage &image)
    {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return buffer.data();
    }

    /** A square in one colour, 0xAARRGGBB. */
    static QByteArray plainPng(int side, QRgb colour)
    {
        QImage image(side, side, QImage::Format_ARGB32);
        image.fill(colour);
        return png(image);
    }

    /** An icon file. */
    static QByteArray file(const QList<PeBuilder::IconImage> &images)
    {
        ByteWriter writer;
        writer.u16(0).u16(1).u16(static_cast<quint16>(images.size()));
        quint32 offset = 6 + 16 * static_cast<quint32>(images.size());
        for (const PeBuilder::IconImage &image : images) {
            writer.u8(image.width).u8(image.height).u16(0).u16(1).u16(image.bitCount);
            writer.u32(static_cast<quint32>(image.data.size())).u32(offset);
            offset += static_cast<quint32>(image.data.size());
        }
        for (const PeBuilder::IconImage &image : images)
            writer.bytes(image.data);
        return writer.result();
    }

    /** One image of an icon, a square of `side` pixels in one colour: a PNG if it is 256, else a bitmap. */
    static PeBuilder::IconImage plain(int side, quint32 colour)
    {
        const auto stored = static_cast<quint8>(side % 256);
        return {stored, stored, 32, side == 256 ? plainPng(side, colour) : DibBuilder::plain(side, colour).build()};
    }

    /** A program with one icon, which has the number 1. */
    static QByteArray program(const QList<PeBuilder::IconImage> &images)
    {
        PeBuilder program;
        program.addIcon(1, images);
        return program.build();
    }
};
