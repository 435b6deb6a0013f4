#include "formats/IconImage.h"

#include "formats/ByteReader.h"

namespace {

constexpr quint32 MinBitmapHeader = 40;
constexpr quint32 MaxBitmapHeader = 124;
constexpr quint32 MaxColours = 256;
constexpr QRgb Black = 0xFF000000;

bool isAllowed(quint32 width, quint32 height)
{
    return width > 0 && width <= IconImage::MaxSide && height > 0 && height <= IconImage::MaxSide;
}

bool isBitCount(int bits)
{
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

/** The bytes of one row. */
qsizetype stride(int width, int bitCount)
{
    return (qsizetype(width) * bitCount + 31) / 32 * 4;
}

QRgb rgb24(const char *blueFirst)
{
    const auto part = [blueFirst](int index) { return static_cast<quint8>(blueFirst[index]); };
    return qRgb(part(2), part(1), part(0));
}

QRgb rgb16(quint16 pixel)
{
    const auto part = [pixel](int shift) { return ((pixel >> shift) & 0x1F) * 255 / 31; };
    return qRgb(part(10), part(5), part(0));
}

/** The number at `x` in a row of 1, 4 or 8 bits for each, the leftmost in the highest bits. */
quint32 packed(const char *row, int x, int bitCount)
{
    const int bit = x * bitCount;
    const auto byte = static_cast<quint8>(row[bit / 8]);
    return (static_cast<quint32>(byte) >> (8 - bitCount - bit % 8)) & ((1U << bitCount) - 1);
}

QRgb *lineOf(QImage *image, int y)
{
    return reinterpret_cast<QRgb *>(image->scanLine(y));
}

} // namespace

std::optional<IconImage> IconImage::parse(QByteArrayView bytes)
{
    return bytes.startsWith("\x89PNG\r\n\x1a\n") ? parsePng(bytes) : parseBitmap(bytes);
}

std::optional<IconImage> IconImage::parsePng(QByteArrayView bytes)
{
    // The signature and the length of the first chunk, which holds the size.
    ByteReader reader(bytes, 12);
    const bool isHeader = reader.take(4) == QByteArrayView("IHDR");
    const quint32 width = qbswap(reader.u32());
    const quint32 height = qbswap(reader.u32());
    if (!reader.ok() || !isHeader || !isAllowed(width, height))
        return std::nullopt;
    IconImage image;
    image.m_size = QSize(static_cast<int>(width), static_cast<int>(height));
    image.m_png = bytes;
    return image;
}

std::optional<IconImage> IconImage::parseBitmap(QByteArrayView bytes)
{
    ByteReader reader(bytes);
    const quint32 headerSize = reader.u32();
    const quint32 width = reader.u32();
    const quint32 height = reader.u32() / 2; // The image and its mask; a top-down one is negative and so too high.
    reader.take(2);                          // Planes: real files say 0 as well as 1.
    const int bitCount = reader.u16();
    const quint32 compression = reader.u32();
    reader.take(12);
    quint32 colours = reader.u32();
    if (!reader.ok() || headerSize < MinBitmapHeader || headerSize > MaxBitmapHeader || compression != 0 ||
        !isAllowed(width, height) || !isBitCount(bitCount) || colours > MaxColours)
        return std::nullopt;

    if (colours == 0 && bitCount <= 8)
        colours = 1U << bitCount;
    IconImage image;
    image.m_size = QSize(static_cast<int>(width), static_cast<int>(height));
    image.m_bitCount = bitCount;
    reader.seek(headerSize);
    image.m_palette = reader.take(quint64(colours) * 4);
    image.m_pixels = reader.take(quint64(stride(image.m_size.width(), bitCount)) * height);
    const quint64 maskSize = quint64(stride(image.m_size.width(), 1)) * height;
    if (bitCount < 32 || reader.left() >= maskSize)
        image.m_mask = reader.take(maskSize);
    return reader.ok() ? std::optional<IconImage>(image) : std::nullopt;
}

QImage IconImage::decode() const
{
    if (!m_png.isEmpty()) {
        QImage image = QImage::fromData(m_png, "PNG");
        if (image.size() != m_size)
            return QImage();
        image.convertTo(QImage::Format_ARGB32);
        return image;
    }
    QImage image(m_size, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    const qsizetype rowSize = stride(m_size.width(), m_bitCount);
    const int height = m_size.height();
    for (int y = 0; y < height; ++y)
        readRow(m_pixels.data() + (height - 1 - y) * rowSize, lineOf(&image, y));
    if (m_bitCount < 32 || !applyOwnAlpha(&image))
        applyMask(&image);
    return image;
}

void IconImage::readRow(const char *row, QRgb *line) const
{
    const int width = m_size.width();
    switch (m_bitCount) {
    case 32:
        qFromLittleEndian<quint32>(row, width, line);
        break;
    case 24:
        for (int x = 0; x < width; ++x)
            line[x] = rgb24(row + qsizetype(3) * x);
        break;
    case 16:
        for (int x = 0; x < width; ++x)
            line[x] = rgb16(qFromLittleEndian<quint16>(row + qsizetype(2) * x));
        break;
    default:
        for (int x = 0; x < width; ++x) {
            const qsizetype colour = qsizetype(packed(row, x, m_bitCount)) * 4;
            line[x] = colour < m_palette.size() ? rgb24(m_palette.data() + colour) : Black;
        }
    }
}

/** Whether the alpha that the pixels have is meant; if not, it is taken for the unused byte that it once was. */
bool IconImage::applyOwnAlpha(QImage *image) const
{
    QRgb all = 0;
    for (int y = 0; y < m_size.height(); ++y) {
        const QRgb *const line = lineOf(image, y);
        for (int x = 0; x < m_size.width(); ++x)
            all |= line[x];
    }
    if (qAlpha(all) != 0)
        return true;
    for (int y = 0; y < m_size.height(); ++y) {
        QRgb *const line = lineOf(image, y);
        for (int x = 0; x < m_size.width(); ++x)
            line[x] |= Black;
    }
    return false;
}

void IconImage::applyMask(QImage *image) const
{
    if (m_mask.isEmpty())
        return;
    const qsizetype rowSize = stride(m_size.width(), 1);
    for (int y = 0; y < m_size.height(); ++y) {
        const char *const row = m_mask.data() + (m_size.height() - 1 - y) * rowSize;
        QRgb *const line = lineOf(image, y);
        for (int x = 0; x < m_size.width(); ++x) {
            if (packed(row, x, 1))
                line[x] = 0;
        }
    }
}
