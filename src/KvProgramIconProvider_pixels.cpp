#include "KvProgramIconProvider.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

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

/** Pixels of one number each, visible by any bit of `Mask`. Eight bytes at a time tell which of their pixels are. */
template<typename Unit, Unit Mask>
struct MaskedRow
{
    static constexpr int Lanes = int(sizeof(quint64) / sizeof(Unit));

    bool isVisible(const uchar *row, int x) const { return (load<Unit>(row, x) & Mask) != 0; }

    /** Whether any of the Lanes pixels from `x` on is visible. */
    static bool anyVisible(const uchar *row, int x) { return masked(row, x) != 0; }

    /** A one in the place of each visible pixel among the Lanes from `x` on. Up to Most of such can be added up. */
    static quint64 visibleOnes(const uchar *row, int x)
    {
        const quint64 pixels = masked(row, x);
        // The addition carries into a pixel's highest bit if any of the others is set.
        return (((pixels & LowBits) + LowBits) | pixels) >> (Bits - 1) & Ones;
    }

    static constexpr int Most = 255;

    static int sumOfOnes(quint64 ones)
    {
        int sum = 0;
        for (int lane = 0; lane < Lanes; ++lane)
            sum += int(ones >> (Bits * lane) & std::numeric_limits<Unit>::max());
        return sum;
    }

private:
    static constexpr int Bits = std::numeric_limits<Unit>::digits;
    static constexpr quint64 Ones = std::numeric_limits<quint64>::max() / std::numeric_limits<Unit>::max();
    static constexpr quint64 LowBits = Ones * (std::numeric_limits<Unit>::max() >> 1);

    static quint64 masked(const uchar *row, int x)
    {
        return load<quint64>(row + qsizetype(x) * qsizetype(sizeof(Unit)), 0) & (Ones * Mask);
    }
};

/** Pixels of three bytes each, visible by any bit of `Mask` in the byte at `Offset`. */
template<int Offset, quint8 Mask>
struct TripletRow
{
    bool isVisible(const uchar *row, int x) const { return (row[qsizetype(x) * 3 + Offset] & Mask) != 0; }
};

constexpr quint32 LastByte = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? 0xFF000000 : 0x000000FF;

using Argb32Row = MaskedRow<quint32, 0xFF000000>;
using Rgba8888Row = MaskedRow<quint32, LastByte>;
using A2Rgb30Row = MaskedRow<quint32, 0xC0000000>;
using Argb4444Row = MaskedRow<quint16, 0xF000>;
using Alpha8Row = MaskedRow<quint8, 0xFF>;
using Argb6666Row = TripletRow<0, 0xFC>;
using Argb8565Row = TripletRow<2, 0xFF>;

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

template<typename Unit, Unit Mask>
int countVisible(const MaskedRow<Unit, Mask> &kind, const uchar *row, int begin, int end)
{
    using Row = MaskedRow<Unit, Mask>;
    int visible = 0;
    int x = begin;
    while (end - x >= Row::Lanes) {
        quint64 ones = 0;
        for (int i = 0; i < Row::Most && end - x >= Row::Lanes; ++i, x += Row::Lanes)
            ones += Row::visibleOnes(row, x);
        visible += Row::sumOfOnes(ones);
    }
    for (; x < end; ++x)
        visible += kind.isVisible(row, x) ? 1 : 0;
    return visible;
}

/** The first visible pixel of [begin, end), or `end`. */
template<typename Row>
int firstVisible(const Row &kind, const uchar *row, int begin, int end)
{
    while (begin < end && !kind.isVisible(row, begin))
        ++begin;
    return begin;
}

template<typename Unit, Unit Mask>
int firstVisible(const MaskedRow<Unit, Mask> &kind, const uchar *row, int begin, int end)
{
    using Row = MaskedRow<Unit, Mask>;
    while (end - begin >= Row::Lanes && !Row::anyVisible(row, begin))
        begin += Row::Lanes;
    while (begin < end && !kind.isVisible(row, begin))
        ++begin;
    return begin;
}

/** The last visible pixel of [begin, end), or the one before `begin`. */
template<typename Row>
int lastVisible(const Row &kind, const uchar *row, int begin, int end)
{
    while (begin < end && !kind.isVisible(row, end - 1))
        --end;
    return end - 1;
}

template<typename Unit, Unit Mask>
int lastVisible(const MaskedRow<Unit, Mask> &kind, const uchar *row, int begin, int end)
{
    using Row = MaskedRow<Unit, Mask>;
    while (end - begin >= Row::Lanes && !Row::anyVisible(row, end - Row::Lanes))
        end -= Row::Lanes;
    while (begin < end && !kind.isVisible(row, end - 1))
        --end;
    return end - 1;
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
        // Only columns outside the span can widen it.
        m_least = firstVisible(kind, row, 0, m_least);
        if (m_least == m_width)
            return;
        m_greatest = std::max(m_greatest, lastVisible(kind, row, m_greatest + 1, m_width));
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
