#include "KvProgramIconProvider.h"

#include <algorithm>
#include <array>
#include <cstring>

// Both checks ask what QImage::pixel would tell, whether a pixel's alpha is above 0, but of the memory itself: each
// kind of row knows where a format keeps its alpha. Bits that a format doesn't use count where QImage::pixel counts
// them.

namespace {

template<typename Unit>
Unit load(const uchar *row, qsizetype place)
{
    Unit unit;
    std::memcpy(&unit, row + place * qsizetype(sizeof unit), sizeof unit);
    return unit;
}

/** Pixels of `Units` numbers each, of which the one at `Offset` tells whether the pixel is visible. */
template<typename Unit, int Units, int Offset, typename Test>
struct PackedRow
{
    bool isVisible(const uchar *row, int x) const
    {
        return Test::holds(load<Unit>(row, qsizetype(x) * Units + Offset));
    }
};

template<auto Mask>
struct AnyBit
{
    template<typename Unit>
    static bool holds(Unit unit)
    {
        return (unit & Mask) != 0;
    }
};

constexpr quint32 LastByte = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? 0xFF000000 : 0x000000FF;

using Argb32Row = PackedRow<quint32, 1, 0, AnyBit<0xFF000000>>;
using Rgba8888Row = PackedRow<quint32, 1, 0, AnyBit<LastByte>>;
using A2Rgb30Row = PackedRow<quint32, 1, 0, AnyBit<0xC0000000>>;
using Argb4444Row = PackedRow<quint16, 1, 0, AnyBit<0xF000u>>;
using Argb6666Row = PackedRow<quint8, 3, 0, AnyBit<0xFCu>>;
using Argb8565Row = PackedRow<quint8, 3, 2, AnyBit<0xFFu>>;
using Alpha8Row = PackedRow<quint8, 1, 0, AnyBit<0xFFu>>;

/**
 * Pixels of four numbers each, of which the last is the alpha, rounded to 255 steps. It is visible from a least number
 * on, which QImage itself tells: versions of Qt round differently. Floating-point numbers count by their bits, up to
 * infinity.
 */
template<typename Unit>
class RoundedRow
{
public:
    RoundedRow(QImage::Format format, Unit greatest)
        : m_least(leastVisible(QImage(1, 1, format), greatest))
        , m_greatest(greatest)
    {}

    bool isVisible(const uchar *row, int x) const
    {
        const Unit alpha = load<Unit>(row, qsizetype(x) * 4 + 3);
        return alpha >= m_least && alpha <= m_greatest;
    }

private:
    static Unit leastVisible(QImage pixel, Unit greatest)
    {
        Unit invisible = 0;
        Unit visible = greatest;
        while (visible - invisible > 1) {
            const Unit numbers[4] = {0, 0, 0, Unit(invisible + (visible - invisible) / 2)};
            std::memcpy(pixel.bits(), numbers, sizeof numbers);
            (qAlpha(pixel.pixel(0, 0)) != 0 ? visible : invisible) = numbers[3];
        }
        return visible;
    }

    Unit m_least;
    Unit m_greatest;
};

constexpr quint16 InfinityOf16 = 0x7C00;
constexpr quint32 InfinityOf32 = 0x7F800000;

struct OpaqueRow
{
    bool isVisible(const uchar *, int) const { return true; }
};

/** Pixels whose colour is looked up by a number of 8 bits. One without a colour is invisible. */
class IndexedRow
{
public:
    explicit IndexedRow(const QImage &image)
    {
        const QList<QRgb> colours = image.colorTable();
        const size_t known = std::min(m_visible.size(), size_t(colours.size()));
        for (size_t i = 0; i < known; ++i)
            m_visible[i] = qAlpha(colours.at(qsizetype(i))) != 0;
    }

    bool isVisible(const uchar *row, int x) const { return isVisible(row[x]); }

protected:
    bool isVisible(int number) const { return m_visible[size_t(number)]; }

private:
    std::array<bool, 256> m_visible{};
};

/** The same by a number of one bit. */
class BitRow : private IndexedRow
{
public:
    explicit BitRow(const QImage &image)
        : IndexedRow(image)
        , m_flip(image.format() == QImage::Format_Mono ? 7 : 0)
    {}

    bool isVisible(const uchar *row, int x) const
    {
        return IndexedRow::isVisible(row[x >> 3] >> ((x & 7) ^ m_flip) & 1);
    }

private:
    int m_flip;
};

/** Calls `check` with the image and the kind of its rows. */
template<typename Check>
bool checkRows(const QImage &image, Check check)
{
    switch (image.format()) {
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
        return check(image, Argb32Row());
    case QImage::Format_RGBX8888:
    case QImage::Format_RGBA8888:
    case QImage::Format_RGBA8888_Premultiplied:
        return check(image, Rgba8888Row());
    case QImage::Format_BGR30:
    case QImage::Format_A2BGR30_Premultiplied:
    case QImage::Format_RGB30:
    case QImage::Format_A2RGB30_Premultiplied:
        return check(image, A2Rgb30Row());
    case QImage::Format_ARGB4444_Premultiplied:
        return check(image, Argb4444Row());
    case QImage::Format_ARGB6666_Premultiplied:
        return check(image, Argb6666Row());
    case QImage::Format_ARGB8565_Premultiplied:
    case QImage::Format_ARGB8555_Premultiplied:
        return check(image, Argb8565Row());
    case QImage::Format_Alpha8:
        return check(image, Alpha8Row());
    case QImage::Format_RGBX64:
    case QImage::Format_RGBA64:
    case QImage::Format_RGBA64_Premultiplied:
        return check(image, RoundedRow<quint16>(image.format(), 0xFFFF));
    case QImage::Format_RGBX16FPx4:
    case QImage::Format_RGBA16FPx4:
    case QImage::Format_RGBA16FPx4_Premultiplied:
        return check(image, RoundedRow<quint16>(image.format(), InfinityOf16));
    case QImage::Format_RGBX32FPx4:
    case QImage::Format_RGBA32FPx4:
    case QImage::Format_RGBA32FPx4_Premultiplied:
        return check(image, RoundedRow<quint32>(image.format(), InfinityOf32));
    case QImage::Format_Indexed8:
        return check(image, IndexedRow(image));
    case QImage::Format_Mono:
    case QImage::Format_MonoLSB:
        return check(image, BitRow(image));
    default:
        // The rest has no alpha.
        return check(image, OpaqueRow());
    }
}

template<typename Row>
int countVisible(const Row &kind, const uchar *row, int begin, int end)
{
    int visible = 0;
    for (int x = begin; x < end; ++x)
        visible += kind.isVisible(row, x) ? 1 : 0;
    return visible;
}

/** The columns between which all that has been seen lies. */
class Span
{
public:
    explicit Span(int width)
        : m_width(width)
        , m_least(width)
    {}

    template<typename Row>
    void add(const Row &kind, const uchar *row)
    {
        int x = 0;
        while (x < m_least && !kind.isVisible(row, x))
            ++x;
        if (x == m_width)
            return;
        m_least = x;
        // Only columns outside the span can widen it.
        for (x = m_width - 1; x > m_greatest && !kind.isVisible(row, x);)
            --x;
        m_greatest = std::max(m_greatest, x);
    }

    bool isNarrow() const { return m_greatest - m_least < m_width / 2; }

private:
    const int m_width;
    int m_least;
    int m_greatest = 0;
};

} // namespace

bool KvProgramIconProvider::hasFilledRow(const QImage &image, int margin)
{
    // Nothing outside the image is visible.
    const int begin = std::max(margin, 0);
    return checkRows(image, [begin](const QImage &rows, const auto &kind) {
        for (int y = begin; y < rows.height() - begin; ++y) {
            if (countVisible(kind, rows.constScanLine(y), begin, rows.width() - begin) > rows.width() / 2)
                return true;
        }
        return false;
    });
}

bool KvProgramIconProvider::isContentNarrow(const QImage &image)
{
    return checkRows(image, [](const QImage &rows, const auto &kind) {
        Span span(rows.width());
        // It never gets narrower.
        for (int y = 0; y < rows.height() && span.isNarrow(); ++y)
            span.add(kind, rows.constScanLine(y));
        return span.isNarrow();
    });
}
