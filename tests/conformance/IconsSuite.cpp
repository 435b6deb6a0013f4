#include "../support/IconBuilder.h"
#include "Computer.h"
#include "platform/Icons.h"
#include "platform/Platform.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::Icons;

class IconsSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void largeImageFillsSquare_data();
    void largeImageFillsSquare();
    void smallImageStaysInCorner_data();
    void smallImageStaysInCorner();
    void extractsByIndex_data();
    void extractsByIndex();
    void extractsFromIconFile();
    void extractsEveryDepth_data();
    void extractsEveryDepth();
    void programWithoutIcons();
    void absentFile();
    void associatedIcon();
    void damagedIcons_data();
    void damagedIcons();

private:
    static constexpr QRgb Red = 0xFFFF0000;
    static constexpr QRgb Green = 0xFF00FF00;
    static constexpr QRgb Blue = 0xFF0000FF;
    static constexpr QRgb Black = 0xFF000000;

    static DibBuilder quarters(int bitCount);
    static QString addFile(Computer &computer, const QByteArray &content, const QString &name);
    static bool isPlain(const QImage &image, const QRect &area, QRgb colour);
};

/** Red above, blue in the lower right quarter, or black for want of colours, and nothing in the lower left one. */
DibBuilder IconsSuite::quarters(int bitCount)
{
    const bool hasPalette = bitCount <= 8;
    const quint32 red = hasPalette ? 1 : Red;
    const quint32 blue = bitCount == 1 ? 0 : hasPalette ? 2 : Blue;
    DibBuilder bitmap;
    bitmap.bitCount = bitCount;
    if (hasPalette) {
        bitmap.palette = {0, 0xFF0000, 0x0000FF};
        bitmap.palette.resize(1 << bitCount);
    }
    const QList<quint32> lower = QList<quint32>(16, 0) + QList<quint32>(16, blue);
    const QList<quint32> lowerMask = QList<quint32>(16, 1) + QList<quint32>(16, 0);
    bitmap.rows = DibBuilder::Rows(16, QList<quint32>(32, red)) + DibBuilder::Rows(16, lower);
    bitmap.mask = DibBuilder::Rows(16, QList<quint32>(32, 0)) + DibBuilder::Rows(16, lowerMask);
    return bitmap;
}

/** Gives the path with native separators. */
QString IconsSuite::addFile(Computer &computer, const QByteArray &content, const QString &name)
{
    return computer.addFile(u"Sub Folder/"_s + name, content).replace(u'/', u'\\');
}

bool IconsSuite::isPlain(const QImage &image, const QRect &area, QRgb colour)
{
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (image.pixel(x, y) != colour)
                return false;
        }
    }
    return image.rect().contains(area);
}

void IconsSuite::largeImageFillsSquare_data()
{
    QTest::addColumn<QByteArray>("program");
    const PeBuilder::IconImage png = IconBuilder::plain(256, Red);
    const PeBuilder::IconImage bitmap{0, 0, 32, DibBuilder::plain(256, Red).build()};
    QTest::newRow("PNG") << IconBuilder::program({png});
    QTest::newRow("bitmap") << IconBuilder::program({bitmap});
    QTest::newRow("PNG behind small ones")
        << IconBuilder::program({IconBuilder::plain(16, Blue), IconBuilder::plain(48, Blue), png});
}

void IconsSuite::largeImageFillsSquare()
{
    QFETCH(QByteArray, program);
    const auto computer = Computer::create();
    const QString path = addFile(*computer, program, u"\u00e9.exe"_s);
    const Icons &icons = *computer->platform().icons;
    icons.prepare();
    const auto icon = icons.largestIcon(path);
    QVERIFY(icon);
    QCOMPARE(icon->size(), QSize(256, 256));
    QVERIFY(isPlain(*icon, icon->rect(), Red));
}

void IconsSuite::smallImageStaysInCorner_data()
{
    QTest::addColumn<int>("side");
    QTest::newRow("32") << 32;
    QTest::newRow("48") << 48;
}

void IconsSuite::smallImageStaysInCorner()
{
    QFETCH(int, side);
    const auto computer = Computer::create();
    if (!computer->abilities().smallIconsStaySmall)
        return QTest::qSkip("this system stretches small icons to the size of large ones", __FILE__, __LINE__);
    const QString path = addFile(*computer, IconBuilder::program({IconBuilder::plain(side, Red)}), u"small.exe"_s);
    const auto icon = computer->platform().icons->largestIcon(path);
    QVERIFY(icon);
    QCOMPARE(icon->size(), QSize(256, 256));
    QVERIFY(isPlain(*icon, QRect(0, 0, 32, 32), Red));
    QVERIFY(isPlain(*icon, QRect(48, 0, 208, 256), 0));
    QVERIFY(isPlain(*icon, QRect(0, 48, 48, 208), 0));
}

void IconsSuite::extractsByIndex_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QRgb>("colour");
    QTest::newRow("first") << 0 << true << Red;
    QTest::newRow("second") << 1 << true << Green;
    QTest::newRow("last") << 2 << true << Blue;
    QTest::newRow("beyond the last") << 3 << false << QRgb();
    QTest::newRow("number 7") << -7 << true << Green;
    QTest::newRow("number 200") << -200 << true << Blue;
    QTest::newRow("number that none has") << -5 << false << QRgb();
}

void IconsSuite::extractsByIndex()
{
    QFETCH(int, index);
    QFETCH(QRgb, colour);
    PeBuilder program;
    program.addIcon(200, {IconBuilder::plain(32, Blue)}, 1);
    program.addIcon(3, {IconBuilder::plain(32, Red), IconBuilder::plain(16, Blue)}, 2);
    program.addIcon(7, {IconBuilder::plain(32, Green)}, 4);
    const auto computer = Computer::create();
    const QString path = addFile(*computer, program.build(), u"three.dll"_s);
    const auto icon = computer->platform().icons->extractIcon(path, index);
    QTEST(icon.has_value(), "exists");
    if (!icon)
        return;
    QCOMPARE(icon->size(), QSize(32, 32));
    QVERIFY(isPlain(*icon, icon->rect(), colour));
}

void IconsSuite::extractsFromIconFile()
{
    const auto computer = Computer::create();
    const QByteArray file = IconBuilder::file({IconBuilder::plain(16, Blue), IconBuilder::plain(32, Red)});
    const auto icon = computer->platform().icons->extractIcon(addFile(*computer, file, u"two.ico"_s), 0);
    QVERIFY(icon);
    QCOMPARE(icon->size(), QSize(32, 32));
    QVERIFY(isPlain(*icon, icon->rect(), Red));
}

void IconsSuite::extractsEveryDepth_data()
{
    QTest::addColumn<int>("bitCount");
    for (const int bitCount : {1, 4, 8, 24, 32})
        QTest::newRow(qPrintable(QString::number(bitCount))) << bitCount;
}

void IconsSuite::extractsEveryDepth()
{
    QFETCH(int, bitCount);
    const auto computer = Computer::create();
    const QByteArray program = IconBuilder::program({{32, 32, quint16(bitCount), quarters(bitCount).build()}});
    const auto icon = computer->platform().icons->extractIcon(addFile(*computer, program, u"depth.exe"_s), 0);
    QVERIFY(icon);
    QCOMPARE(icon->size(), QSize(32, 32));
    QVERIFY(isPlain(*icon, QRect(0, 0, 32, 16), Red));
    QVERIFY(isPlain(*icon, QRect(16, 16, 16, 16), bitCount == 1 ? Black : Blue));
    QVERIFY(isPlain(*icon, QRect(0, 16, 16, 16), 0));
}

void IconsSuite::programWithoutIcons()
{
    const auto computer = Computer::create();
    const QString path = addFile(*computer, PeBuilder().build(), u"none.exe"_s);
    const QString other = addFile(*computer, "just a text that is no program", u"text.exe"_s);
    const Icons &icons = *computer->platform().icons;
    QVERIFY(!icons.extractIcon(path, 0));
    QVERIFY(!icons.extractIcon(path, -1));
    // The shell may have a general picture for such files.
    for (const QString &file : {path, other}) {
        const auto largest = icons.largestIcon(file);
        QVERIFY(!largest || largest->size() == QSize(256, 256));
    }
}

void IconsSuite::absentFile()
{
    const auto computer = Computer::create();
    const QString path = QString(computer->folder() + u"/absent.exe"_s).replace(u'/', u'\\');
    const Icons &icons = *computer->platform().icons;
    QVERIFY(!icons.largestIcon(path));
    const auto extracted = icons.extractIcon(path, 0);
    QVERIFY(extracted);
    QVERIFY(extracted->isNull());
}

void IconsSuite::associatedIcon()
{
    const auto computer = Computer::create();
    const QString path = addFile(*computer, IconBuilder::program({IconBuilder::plain(32, Green)}), u"green.exe"_s);
    const auto icon = computer->platform().icons->associatedIcon(path, 0);
    QVERIFY(icon);
    QCOMPARE(icon->size(), QSize(32, 32));
    QVERIFY(isPlain(*icon, icon->rect(), Green));
}

void IconsSuite::damagedIcons_data()
{
    QTest::addColumn<bool>("isDirectory");
    QTest::newRow("directory") << true;
    QTest::newRow("image") << false;
}

void IconsSuite::damagedIcons()
{
    QFETCH(bool, isDirectory);
    const auto computer = Computer::create();
    if (isDirectory && !computer->abilities().damagedIconsAreSafe)
        return QTest::qSkip("this system reads on as far as a damaged icon claims to go", __FILE__, __LINE__);
    // Each number of the head is made a lie, one at a time. Answers may differ, but not hurt.
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(32, Red)});
    const QByteArray whole = program.build();
    const PeBuilder::Resource &resource = isDirectory ? program.resources.last() : program.resources.first();
    const qsizetype start = whole.indexOf(resource.data);
    const Icons &icons = *computer->platform().icons;
    for (qsizetype offset = 0; offset + 2 <= qMin<qsizetype>(resource.data.size(), 40); offset += 2) {
        QByteArray bytes = whole;
        bytes.replace(start + offset, 2, "\xff\xff", 2);
        const QString path = addFile(*computer, bytes, QStringLiteral("damaged%1.exe").arg(offset));
        const QImage extracted = icons.extractIcon(path, 0).value_or(QImage());
        QVERIFY2(extracted.isNull() || extracted.size() == QSize(32, 32), qPrintable(path));
        const QImage largest = icons.largestIcon(path).value_or(QImage());
        QVERIFY2(largest.isNull() || largest.size() == QSize(256, 256), qPrintable(path));
    }
}

QTEST_GUILESS_MAIN(IconsSuite)
#include "IconsSuite.moc"
