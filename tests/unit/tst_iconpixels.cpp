#include "../support/KvProgramIconProviderProbe.h"

#include <QtCore/QRandomGenerator>
#include <QtGui/QRgba64>
#include <QtTest/QTest>

#include <cstring>

using Probe = KvProgramIconProviderProbe;

namespace {

constexpr QRgb Clear = 0x00FFFFFF;
constexpr QRgb Faint = 0x01000000;

QImage clearImage(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Clear);
    return image;
}

void drawRow(QImage &image, int y, int from, int count)
{
    for (int x = from; x < from + count; ++x)
        image.setPixel(x, y, Faint);
}

/** The checks as they are told, pixel by pixel. */
bool isPixelVisible(const QImage &image, int x, int y)
{
    return qAlpha(image.pixel(x, y)) != 0;
}

bool hasFilledRowSlowly(const QImage &image, int margin)
{
    for (int y = margin; y < image.height() - margin; ++y) {
        int count = 0;
        for (int x = margin; x < image.width() - margin; ++x)
            count += isPixelVisible(image, x, y) ? 1 : 0;
        if (count > image.width() / 2)
            return true;
    }
    return false;
}

bool isContentNarrowSlowly(const QImage &image)
{
    int least = image.width();
    int greatest = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isPixelVisible(image, x, y)) {
                least = qMin(least, x);
                greatest = qMax(greatest, x);
            }
        }
    }
    return greatest - least < image.width() / 2;
}

/** Numbers at and around those where the visibility of a pixel of 16 or 32 bits for each colour changes. */
constexpr quint16 Numbers16[] = {0,      1,      127,    128,    129,    130,    0x1803, 0x1804, 0x1805, 0x1806,
                                 0x3C00, 0x7BFF, 0x7C00, 0x8000, 0x8001, 0xBC00, 0xFBFF, 0xFC00, 0xFFFF};
constexpr quint32 Numbers32[] = {0,          1,          0x3B00807F, 0x3B008080, 0x3B008081, 0x3B008082, 0x3F800000,
                                 0x7F7FFFFF, 0x7F800000, 0x80000000, 0x80000001, 0xBF800000, 0xFF7FFFFF, 0xFF800000};

} // namespace

class tst_IconPixels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filledRow_data();
    void filledRow();
    void narrowContent_data();
    void narrowContent();
    void noPixelsAtAll();
    void everyFormatAsQImageTells_data();
    void everyFormatAsQImageTells();
    void everyNumberOfWideFormats_data();
    void everyNumberOfWideFormats();
    void coloursThatAreMissing();
    void linesThatAreNotAligned();
};

void tst_IconPixels::filledRow_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("margin");
    QTest::addColumn<bool>("expected");

    QTest::newRow("nothing") << QSize(256, 256) << 0 << 0 << 0 << 0 << false;
    QTest::newRow("exactly half") << QSize(256, 256) << 0 << 0 << 128 << 0 << false;
    QTest::newRow("above half") << QSize(256, 256) << 0 << 0 << 129 << 0 << true;
    QTest::newRow("in the last row") << QSize(256, 256) << 255 << 127 << 129 << 0 << true;
    QTest::newRow("an odd width, half cut off") << QSize(7, 7) << 3 << 0 << 3 << 0 << false;
    QTest::newRow("an odd width, above half") << QSize(7, 7) << 3 << 0 << 4 << 0 << true;
    QTest::newRow("one pixel") << QSize(1, 1) << 0 << 0 << 1 << 0 << true;
    QTest::newRow("the margin's row") << QSize(10, 10) << 1 << 0 << 10 << 2 << false;
    QTest::newRow("the first row inside") << QSize(10, 10) << 2 << 0 << 10 << 2 << true;
    QTest::newRow("the last row inside") << QSize(10, 10) << 7 << 0 << 10 << 2 << true;
    QTest::newRow("the margin's row below") << QSize(10, 10) << 8 << 0 << 10 << 2 << false;
    QTest::newRow("half of the full width counts") << QSize(10, 10) << 5 << 2 << 6 << 2 << true;
    QTest::newRow("the margin's columns don't") << QSize(10, 10) << 5 << 0 << 7 << 2 << false;
    QTest::newRow("too little inside") << QSize(10, 10) << 5 << 0 << 10 << 3 << false;
    QTest::newRow("all is margin") << QSize(10, 10) << 5 << 0 << 10 << 5 << false;
    QTest::newRow("more margin than image") << QSize(10, 10) << 5 << 0 << 10 << 50 << false;
    QTest::newRow("negative margin") << QSize(10, 10) << 0 << 0 << 6 << -3 << true;
}

void tst_IconPixels::filledRow()
{
    QFETCH(QSize, size);
    QFETCH(int, y);
    QFETCH(int, from);
    QFETCH(int, count);
    QFETCH(int, margin);
    QImage image = clearImage(size.width(), size.height());
    drawRow(image, y, from, count);
    QTEST(Probe::hasFilledRow(image, margin), "expected");
}

void tst_IconPixels::narrowContent_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<QList<QPoint>>("points");
    QTest::addColumn<bool>("expected");

    QTest::newRow("transparent") << 225 << QList<QPoint>() << true;
    QTest::newRow("transparent, one column") << 1 << QList<QPoint>() << true;
    QTest::newRow("exactly half") << 200 << QList<QPoint>{{10, 0}, {110, 9}} << false;
    QTest::newRow("just below half") << 200 << QList<QPoint>{{10, 0}, {109, 9}} << true;
    QTest::newRow("half of an odd width") << 225 << QList<QPoint>{{0, 5}, {112, 5}} << false;
    QTest::newRow("below half of an odd width") << 225 << QList<QPoint>{{0, 5}, {111, 5}} << true;
    QTest::newRow("the right one first") << 200 << QList<QPoint>{{199, 0}, {0, 9}} << false;
    QTest::newRow("widened to the left") << 200 << QList<QPoint>{{150, 0}, {50, 5}, {150, 9}} << false;
    QTest::newRow("widened both ways") << 200 << QList<QPoint>{{100, 0}, {60, 3}, {159, 5}} << true;
    QTest::newRow("the first column alone") << 200 << QList<QPoint>{{0, 5}} << true;
    QTest::newRow("the last column alone") << 200 << QList<QPoint>{{199, 5}} << true;
    QTest::newRow("a point of one") << 1 << QList<QPoint>{{0, 5}} << false;
    QTest::newRow("a point of two") << 2 << QList<QPoint>{{1, 5}} << true;
    QTest::newRow("both of two") << 2 << QList<QPoint>{{0, 5}, {1, 6}} << false;
}

void tst_IconPixels::narrowContent()
{
    QFETCH(int, width);
    QFETCH(QList<QPoint>, points);
    QImage image = clearImage(width, 10);
    for (const QPoint &point : points)
        image.setPixel(point, Faint);
    QTEST(Probe::isContentNarrow(image), "expected");
}

void tst_IconPixels::noPixelsAtAll()
{
    QVERIFY(!Probe::hasFilledRow(QImage()));
    QVERIFY(!Probe::isContentNarrow(QImage()));
}

void tst_IconPixels::everyFormatAsQImageTells_data()
{
    QTest::addColumn<int>("format");
    for (int format = QImage::Format_Invalid + 1; format < QImage::NImageFormats; ++format)
        QTest::addRow("%d", format) << format;
}

void tst_IconPixels::everyFormatAsQImageTells()
{
    QFETCH(int, format);
    QRandomGenerator random(quint32(format) + 40);
    for (int round = 0; round < 200; ++round) {
        const int width = random.bounded(1, 40);
        const int height = random.bounded(1, 6);
        QImage image(width, height, QImage::Format(format));
        if (image.format() == QImage::Format_Indexed8)
            image.setColorTable(QList<QRgb>(256, Faint));
        if (image.colorCount() > 0)
            image.setColor(random.bounded(2), Clear);
        std::memset(image.bits(), 0, size_t(image.sizeInBytes()));
        // Few bytes in some rounds, all in others: sums above and below half of a row, spans of all lengths.
        const qsizetype bytes = random.bounded(int(image.sizeInBytes()) + 1);
        for (qsizetype i = 0; i < bytes; ++i)
            image.bits()[random.bounded(qint64(image.sizeInBytes()))] = uchar(random.bounded(256));
        for (int margin = 0; margin < 3; ++margin)
            QCOMPARE(Probe::hasFilledRow(image, margin), hasFilledRowSlowly(image, margin));
        QCOMPARE(Probe::isContentNarrow(image), isContentNarrowSlowly(image));
    }
}

void tst_IconPixels::everyNumberOfWideFormats_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QByteArray>("alpha");
    for (const auto format :
         {QImage::Format_RGBX64, QImage::Format_RGBA64, QImage::Format_RGBA64_Premultiplied, QImage::Format_RGBX16FPx4,
          QImage::Format_RGBA16FPx4, QImage::Format_RGBA16FPx4_Premultiplied}) {
        for (const quint16 number : Numbers16)
            QTest::addRow("%d %04X", format, number)
                << int(format) << QByteArray(reinterpret_cast<const char *>(&number), sizeof number);
    }
    for (const auto format :
         {QImage::Format_RGBX32FPx4, QImage::Format_RGBA32FPx4, QImage::Format_RGBA32FPx4_Premultiplied}) {
        for (const quint32 number : Numbers32)
            QTest::addRow("%d %08X", format, number)
                << int(format) << QByteArray(reinterpret_cast<const char *>(&number), sizeof number);
    }
}

void tst_IconPixels::everyNumberOfWideFormats()
{
    QFETCH(int, format);
    QFETCH(QByteArray, alpha);
    QImage image(1, 1, QImage::Format(format));
    std::memset(image.bits(), 0, size_t(image.sizeInBytes()));
    std::memcpy(image.bits() + 3 * alpha.size(), alpha.constData(), size_t(alpha.size()));
    QCOMPARE(Probe::hasFilledRow(image), isPixelVisible(image, 0, 0));
    QCOMPARE(Probe::isContentNarrow(image), isContentNarrowSlowly(image));
}

void tst_IconPixels::coloursThatAreMissing()
{
    QImage image(4, 1, QImage::Format_Indexed8);
    image.setColorTable({Faint, Clear, Faint});
    const uchar numbers[] = {0, 2, 3, 255};
    std::memcpy(image.bits(), numbers, sizeof numbers);
    QVERIFY(!Probe::hasFilledRow(image));
    image.bits()[2] = 2;
    QVERIFY(Probe::hasFilledRow(image));
}

void tst_IconPixels::linesThatAreNotAligned()
{
    // Pixels of somebody else's, at an odd address and with lines of an odd length.
    alignas(8) uchar memory[1 + 3 * 41] = {};
    const QImage image(memory + 1, 10, 3, 41, QImage::Format_RGBA8888_Premultiplied);
    QVERIFY(!Probe::hasFilledRow(image));
    for (int x = 4; x < 10; ++x)
        memory[1 + 41 + 4 * x + 3] = 255;
    QVERIFY(Probe::hasFilledRow(image));
    QVERIFY(!Probe::isContentNarrow(image));
    memory[1 + 41 + 4 * 9 + 3] = 0;
    QVERIFY(!Probe::hasFilledRow(image));
    QVERIFY(Probe::isContentNarrow(image));
}

QTEST_GUILESS_MAIN(tst_IconPixels)
#include "tst_iconpixels.moc"
