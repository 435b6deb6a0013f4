#include "../support/IconBuilder.h"

#include "formats/IconImage.h"

#include <QtTest/QTest>

#include <functional>

using Colours = QList<QList<QRgb>>;

class tst_IconImage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesBitmaps_data();
    void decodesBitmaps();
    void decodesPng();
    void toleratesOddHeaders_data();
    void toleratesOddHeaders();
    void rejects_data();
    void rejects();
    void rejectsPng_data();
    void rejectsPng();
    void givesNullForDamagedPng();
    void survivesEveryCut();
};

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Green = 0xFF00FF00;
constexpr QRgb Blue = 0xFF0000FF;
constexpr QRgb White = 0xFFFFFFFF;
constexpr QRgb Black = 0xFF000000;

Colours pixelsOf(const QImage &image)
{
    Colours rows;
    for (int y = 0; y < image.height(); ++y) {
        QList<QRgb> row;
        for (int x = 0; x < image.width(); ++x)
            row.append(image.pixel(x, y));
        rows.append(row);
    }
    return rows;
}

/** Three by two pixels, so that rows are padded and up and down differ; the middle one of the upper row is masked. */
DibBuilder small(int bitCount, const DibBuilder::Rows &rows, const QList<quint32> &palette = {})
{
    DibBuilder bitmap;
    bitmap.bitCount = bitCount;
    bitmap.rows = rows;
    bitmap.palette = palette;
    bitmap.mask = {{0, 1, 0}, {0, 0, 0}};
    return bitmap;
}

DibBuilder smallTrueColour()
{
    return small(24, {{0xFF0000, 0, 0x00FF00}, {0x0000FF, 0xFFFFFF, 0}});
}

const QList<quint32> FourColours{0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};

} // namespace

void tst_IconImage::decodesBitmaps_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("bitCount");
    QTest::addColumn<Colours>("expected");
    const Colours colours{{Red, 0, Green}, {Blue, White, Black}};

    QTest::newRow("1 bit") << small(1, {{1, 1, 0}, {0, 1, 0}}, {0xFF0000, 0xFFFFFF}).build() << 1
                           << Colours{{White, 0, Red}, {Red, White, Red}};
    DibBuilder wide;
    wide.bitCount = 1;
    wide.palette = {0, 0xFFFFFF};
    wide.rows = {QList<quint32>(33, 0)};
    wide.rows[0][8] = 1;
    wide.rows[0][32] = 1;
    wide.mask = {QList<quint32>(33, 0)};
    wide.mask[0][31] = 1;
    Colours wideColours{QList<QRgb>(33, Black)};
    wideColours[0][8] = White;
    wideColours[0][31] = 0;
    wideColours[0][32] = White;
    QTest::newRow("1 bit, two words wide") << wide.build() << 1 << wideColours;
    QTest::newRow("4 bits") << small(4, {{0, 3, 1}, {2, 3, 15}}, FourColours).build() << 4 << colours;
    QTest::newRow("8 bits") << small(8, {{0, 3, 1}, {2, 3, 255}}, FourColours).build() << 8 << colours;
    DibBuilder fullPalette = small(8, {{255, 0, 254}, {1, 0, 2}});
    for (quint32 i = 0; i < 256; ++i)
        fullPalette.palette.append(i);
    fullPalette.colours = 0;
    QTest::newRow("8 bits, all colours untold")
        << fullPalette.build() << 8 << Colours{{0xFF0000FF, 0, 0xFF0000FE}, {0xFF000001, Black, 0xFF000002}};
    QTest::newRow("16 bits") << small(16, {{0x7C00, 0, 0x03E0}, {0x001F, 0xFFFF, 0x8000}}).build() << 16 << colours;
    QTest::newRow("24 bits") << smallTrueColour().build() << 24 << colours;
    QTest::newRow("24 bits, with a palette to skip")
        << small(24, {{0xFF0000, 0, 0x00FF00}, {0x0000FF, 0xFFFFFF, 0}}, FourColours).build() << 24 << colours;
    DibBuilder inverting = smallTrueColour();
    inverting.rows[0][1] = 0xFFFFFF;
    QTest::newRow("inverse of the screen") << inverting.build() << 24 << colours;

    const DibBuilder ownAlpha = small(32, {{Red, 0x80FFFFFF, 0}, {Blue, White, 0x01000000}});
    QTest::newRow("32 bits, own alpha, mask unused")
        << ownAlpha.build() << 32 << Colours{{Red, 0x80FFFFFF, 0}, {Blue, White, 0x01000000}};
    QTest::newRow("32 bits, no alpha, mask used")
        << small(32, {{0xFF0000, 0, 0x00FF00}, {0x0000FF, 0xFFFFFF, 0}}).build() << 32 << colours;
    DibBuilder noMask = small(32, {{0xFF0000, 0, 0x00FF00}, {0x0000FF, 0xFFFFFF, 0}});
    noMask.hasMask = false;
    QTest::newRow("32 bits, neither alpha nor mask")
        << noMask.build() << 32 << Colours{{Red, Black, Green}, {Blue, White, Black}};
}

void tst_IconImage::decodesBitmaps()
{
    QFETCH(QByteArray, bytes);
    QFETCH(Colours, expected);
    const auto image = IconImage::parse(bytes);
    QVERIFY(image);
    QTEST(image->bitCount(), "bitCount");
    QCOMPARE(image->size(), QSize(int(expected.first().size()), int(expected.size())));
    const QImage decoded = image->decode();
    QCOMPARE(decoded.format(), QImage::Format_ARGB32);
    QCOMPARE(pixelsOf(decoded), expected);
}

void tst_IconImage::decodesPng()
{
    QImage drawn(2, 1, QImage::Format_ARGB32);
    drawn.setPixel(0, 0, 0x80FF0000);
    drawn.setPixel(1, 0, Blue);
    const QByteArray bytes = IconBuilder::png(drawn);
    const auto image = IconImage::parse(bytes);
    QVERIFY(image);
    QCOMPARE(image->size(), QSize(2, 1));
    QCOMPARE(image->bitCount(), 32);
    QCOMPARE(image->decode(), drawn);
    const QByteArray grey = IconBuilder::png(drawn.convertToFormat(QImage::Format_Grayscale8));
    QCOMPARE(IconImage::parse(grey)->decode().format(), QImage::Format_ARGB32);
    const QByteArray largest = IconBuilder::plainPng(IconImage::MaxSide, Red);
    QCOMPARE(IconImage::parse(largest)->decode().size(), QSize(IconImage::MaxSide, IconImage::MaxSide));
}

void tst_IconImage::toleratesOddHeaders_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const std::function<void(DibBuilder &)> &change) {
        DibBuilder bitmap = smallTrueColour();
        change(bitmap);
        QTest::newRow(name) << bitmap.build();
    };
    row("no planes", [](DibBuilder &bitmap) { bitmap.planes = 0; });
    row("many planes", [](DibBuilder &bitmap) { bitmap.planes = 0xFFFF; });
    row("odd height", [](DibBuilder &bitmap) { bitmap.height = 5; });
    row("longer header", [](DibBuilder &bitmap) { bitmap.headerSize = 124; });
    QTest::newRow("more bytes than needed") << smallTrueColour().build() + QByteArray(100, 'x');
}

void tst_IconImage::toleratesOddHeaders()
{
    QFETCH(QByteArray, bytes);
    const auto image = IconImage::parse(bytes);
    QVERIFY(image);
    QCOMPARE(pixelsOf(image->decode()), (Colours{{Red, 0, Green}, {Blue, White, Black}}));
}

void tst_IconImage::rejects_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const std::function<void(DibBuilder &)> &change) {
        DibBuilder bitmap = smallTrueColour();
        change(bitmap);
        QTest::newRow(name) << bitmap.build();
    };
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("This is no image, although it is longer than a header.");
    row("short header", [](DibBuilder &bitmap) { bitmap.headerSize = 39; });
    row("header of another kind", [](DibBuilder &bitmap) { bitmap.headerSize = 12; });
    row("header beyond the end", [](DibBuilder &bitmap) { bitmap.headerSize = 125; });
    row("compressed", [](DibBuilder &bitmap) { bitmap.compression = 1; });
    row("bit fields", [](DibBuilder &bitmap) { bitmap.compression = 3; });
    row("no width", [](DibBuilder &bitmap) { bitmap.width = 0; });
    row("no height", [](DibBuilder &bitmap) { bitmap.height = 1; });
    row("top down", [](DibBuilder &bitmap) { bitmap.height = static_cast<quint32>(-4); });
    row("negative width", [](DibBuilder &bitmap) { bitmap.width = static_cast<quint32>(-3); });
    row("width too large for the bytes", [](DibBuilder &bitmap) { bitmap.width = 5; });
    row("height too large for the bytes", [](DibBuilder &bitmap) { bitmap.height = 6; });
    row("65,535 by 65,535", [](DibBuilder &bitmap) {
        bitmap.width = 65535;
        bitmap.height = 2 * 65535;
    });
    row("too many colours", [](DibBuilder &bitmap) { bitmap.colours = 257; });
    row("colours beyond the end", [](DibBuilder &bitmap) { bitmap.colours = 100; });
    row("no mask", [](DibBuilder &bitmap) { bitmap.hasMask = false; });
    for (const int bitCount : {0, 2, 12, 15, 48, 64, 65535})
        row(qPrintable(QStringLiteral("%1 bits").arg(bitCount)),
            [bitCount](DibBuilder &bitmap) { bitmap.bitCount = bitCount; });
    QTest::newRow("one pixel too wide")
        << DibBuilder{1, {QList<quint32>(IconImage::MaxSide + 1, 0)}, {}, {0, 0}}.build();
    QTest::newRow("one pixel too high")
        << DibBuilder{1, DibBuilder::Rows(IconImage::MaxSide + 1, {0}), {}, {0, 0}}.build();
}

void tst_IconImage::rejects()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!IconImage::parse(bytes));
}

void tst_IconImage::rejectsPng_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray whole = IconBuilder::plainPng(4, Red);
    const auto row = [&whole](const char *name, qsizetype offset, const QByteArray &number) {
        QByteArray bytes = whole;
        bytes.replace(offset, number.size(), number);
        QTest::newRow(name) << bytes;
    };
    QTest::newRow("only the signature") << whole.left(8);
    QTest::newRow("cut in the size") << whole.left(23);
    row("another first chunk", 12, "IDAT");
    row("no width", 16, QByteArray(4, '\0'));
    row("no height", 20, QByteArray(4, '\0'));
    row("65,535 by 65,535", 16, QByteArray::fromHex("0000ffff0000ffff"));
    row("one pixel too wide", 16, QByteArray::fromHex("00000401"));
    row("one pixel too high", 20, QByteArray::fromHex("00000401"));
}

void tst_IconImage::rejectsPng()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!IconImage::parse(bytes));
}

void tst_IconImage::givesNullForDamagedPng()
{
    QByteArray bytes = IconBuilder::plainPng(64, Red);
    const QByteArray header = bytes.left(33);
    QVERIFY(IconImage::parse(header));
    QVERIFY(IconImage::parse(header)->decode().isNull());
    bytes.replace(33, 20, QByteArray(20, '\xff'));
    QVERIFY(IconImage::parse(bytes)->decode().isNull());
}

void tst_IconImage::survivesEveryCut()
{
    const QByteArray bitmap = small(4, {{0, 3, 1}, {2, 3, 15}}, FourColours).build();
    for (qsizetype length = 0; length < bitmap.size(); ++length)
        QVERIFY(!IconImage::parse(QByteArray(bitmap.constData(), length))); // A copy, so that a sanitizer sees the end.
    const QByteArray png = IconBuilder::plainPng(4, Red);
    for (qsizetype length = 0; length < png.size(); ++length) {
        const QByteArray cut(png.constData(), length);
        if (const auto image = IconImage::parse(cut))
            image->decode();
    }
}

QTEST_GUILESS_MAIN(tst_IconImage)
#include "tst_iconimage.moc"
