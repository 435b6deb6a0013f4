#include "../support/IconBuilder.h"
#include "../support/MachineBuilder.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineFiles.h"
#include "platform/portable/MachineIcons.h"
#include "platform/portable/MachinePlatform.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

using Images = QList<PeBuilder::IconImage>;

Q_DECLARE_METATYPE(Images)

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Green = 0xFF00FF00;
constexpr QRgb Blue = 0xFF0000FF;
constexpr QRgb Black = 0xFF000000;

MachineIcons iconsOf(const MachineBuilder &machine, quint16 language = 0x0409)
{
    return MachineIcons(std::make_shared<const MachineFiles>(std::make_shared<const MachineDrives>(machine.path())),
                        language);
}

/** The rectangle outside of which everything is transparent, if it is in one opaque colour; else an empty one. */
QRect areaInOneColour(const QImage &image, QRgb colour)
{
    QRect area;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) != 0)
                area |= QRect(x, y, 1, 1);
        }
    }
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (image.pixel(x, y) != colour)
                return QRect();
        }
    }
    return area;
}

PeBuilder::IconImage sized(int width, int height, quint32 colour)
{
    DibBuilder bitmap;
    bitmap.rows = DibBuilder::Rows(height, QList<quint32>(width, colour));
    return {0, 0, 32, bitmap.build()};
}

PeBuilder::IconImage deep(int side, int bitCount, quint32 colour)
{
    DibBuilder bitmap = DibBuilder::plain(side, bitCount > 8 ? colour : 0);
    bitmap.bitCount = bitCount;
    if (bitCount <= 8)
        bitmap.palette = {colour & 0xFFFFFF};
    const auto stored = static_cast<quint8>(side);
    return {stored, stored, static_cast<quint16>(bitCount), bitmap.build()};
}

PeBuilder::IconImage broken(int side)
{
    const auto stored = static_cast<quint8>(side % 256);
    return {stored, stored, 32, "broken"};
}

/** A PNG whose header is whole, so that the damage shows only when it is decoded. */
PeBuilder::IconImage brokenPng()
{
    return {0, 0, 32, IconBuilder::plainPng(256, Red).left(40)};
}

} // namespace

class TestMachineIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void largestIcon_data();
    void largestIcon();
    void keepsPixelsOfCorner();
    void fillsSquareWithEveryPixel();
    void extractIcon_data();
    void extractIcon();
    void extractsByIndex_data();
    void extractsByIndex();
    void iconFiles();
    void pictures_data();
    void pictures();
    void nothingToRead_data();
    void nothingToRead();
    void prefersLanguage();
    void absentFiles();
    void platformHasIcons();
};

void TestMachineIcons::largestIcon_data()
{
    QTest::addColumn<Images>("images");
    QTest::addColumn<QRect>("area");
    QTest::addColumn<QRgb>("colour");
    const auto plain = &IconBuilder::plain;
    const auto row = [](const char *name, const Images &images, const QRect &area, QRgb colour = Red) {
        QTest::newRow(name) << images << area << colour;
    };
    const QRect whole(0, 0, 256, 256);
    row("256", {plain(256, Red)}, whole);
    row("256 as a bitmap", {sized(256, 256, Red)}, whole);
    row("256 among others", {plain(16, Blue), plain(48, Blue), plain(256, Red), plain(32, Blue)}, whole);
    row("512", {sized(512, 512, Red)}, whole);
    row("256 before 512", {sized(512, 512, Blue), plain(256, Red)}, whole);
    row("16", {plain(16, Red)}, QRect(0, 0, 16, 16));
    row("32", {plain(32, Red)}, QRect(0, 0, 32, 32));
    row("48", {plain(48, Red)}, QRect(0, 0, 48, 48));
    row("48 of three", {plain(32, Blue), plain(48, Red), plain(16, Blue)}, QRect(0, 0, 48, 48));
    row("47 before 16", {plain(16, Blue), plain(47, Red)}, QRect(0, 0, 47, 47));
    row("48 before 64 and 255", {plain(64, Blue), plain(48, Red), plain(255, Blue)}, QRect(0, 0, 48, 48));
    row("only 64 and 128", {plain(128, Blue), plain(64, Red)}, QRect(0, 0, 48, 48));
    row("wide", {sized(40, 20, Red)}, QRect(0, 0, 40, 20));
    row("wide and large", {sized(256, 128, Red)}, QRect(0, 64, 256, 128));
    row("high and large", {sized(128, 256, Red)}, QRect(64, 0, 128, 256));
    row("most colours", {deep(32, 4, Blue), deep(32, 24, Red), deep(32, 8, Blue)}, QRect(0, 0, 32, 32));
    row("first of equals", {deep(32, 24, Red), deep(32, 24, Blue)}, QRect(0, 0, 32, 32));
    row("1 bit", {deep(32, 1, Red)}, QRect(0, 0, 32, 32));
    row("4 bits", {deep(32, 4, Red)}, QRect(0, 0, 32, 32));
    row("8 bits", {deep(32, 8, Red)}, QRect(0, 0, 32, 32));
    row("16 bits", {deep(32, 16, 0x7FFF)}, QRect(0, 0, 32, 32), 0xFFFFFFFF);
    row("broken large one", {broken(256), plain(32, Red)}, QRect(0, 0, 32, 32));
}

void TestMachineIcons::largestIcon()
{
    QFETCH(Images, images);
    QFETCH(QRgb, colour);
    MachineBuilder machine;
    machine.addFile(u"C:/a/x.exe"_s, IconBuilder::program(images));
    machine.addFile(u"C:/a/x.ico"_s, IconBuilder::file(images));
    for (const QString &path : {u"c:\\A\\X.exe"_s, u"C:\\a\\x.ico"_s}) {
        const auto icon = iconsOf(machine).largestIcon(path);
        QVERIFY(icon);
        QCOMPARE(icon->size(), QSize(256, 256));
        QCOMPARE(icon->format(), QImage::Format_ARGB32_Premultiplied);
        QTEST(areaInOneColour(*icon, colour), "area");
    }
}

void TestMachineIcons::keepsPixelsOfCorner()
{
    // Four quarters, the lower right one transparent.
    DibBuilder bitmap;
    bitmap.bitCount = 4;
    bitmap.palette = {0x000000, 0xFF0000, 0x00FF00, 0x0000FF};
    bitmap.rows = {{1, 1, 2, 2}, {1, 1, 2, 2}, {3, 3, 0, 0}, {3, 3, 0, 0}};
    bitmap.mask = {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 1}, {0, 0, 1, 1}};
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, IconBuilder::program({{4, 4, 4, bitmap.build()}}));
    const auto icon = iconsOf(machine).largestIcon(u"C:\\x.exe"_s);
    QVERIFY(icon);
    const QRgb expected[6][6] = {{Red, Red, Green, Green, 0, 0},
                                 {Red, Red, Green, Green, 0, 0},
                                 {Blue, Blue, 0, 0, 0, 0},
                                 {Blue, Blue, 0, 0, 0, 0},
                                 {0, 0, 0, 0, 0, 0},
                                 {0, 0, 0, 0, 0, 0}};
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 6; ++x)
            QCOMPARE(icon->pixel(x, y), expected[y][x]);
    }
}

void TestMachineIcons::fillsSquareWithEveryPixel()
{
    QImage drawn(256, 256, QImage::Format_ARGB32);
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x)
            drawn.setPixel(x, y, qRgb(x, y, x ^ y));
    }
    drawn.setPixel(7, 9, 0);
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, IconBuilder::program({{0, 0, 32, IconBuilder::png(drawn)}}));
    const auto icon = iconsOf(machine).largestIcon(u"C:\\x.exe"_s);
    QVERIFY(icon);
    QCOMPARE(icon->convertToFormat(QImage::Format_ARGB32), drawn);
}

void TestMachineIcons::extractIcon_data()
{
    QTest::addColumn<Images>("images");
    QTest::addColumn<QRect>("area");
    const auto plain = &IconBuilder::plain;
    const QRect whole(0, 0, 32, 32);
    QTest::newRow("32") << Images{plain(32, Red)} << whole;
    QTest::newRow("32 of four") << Images{plain(16, Blue), plain(48, Blue), plain(256, Blue), plain(32, Red)} << whole;
    QTest::newRow("16") << Images{plain(16, Red)} << whole;
    QTest::newRow("256") << Images{plain(256, Red)} << whole;
    QTest::newRow("nearest") << Images{plain(256, Blue), plain(40, Red), plain(16, Blue)} << whole;
    QTest::newRow("larger of two as near") << Images{plain(24, Blue), plain(40, Red)} << whole;
    QTest::newRow("most colours") << Images{deep(32, 1, Blue), deep(32, 8, Red)} << whole;
    QTest::newRow("wide") << Images{sized(32, 16, Red)} << QRect(0, 8, 32, 16);
}

void TestMachineIcons::extractIcon()
{
    QFETCH(Images, images);
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, IconBuilder::program(images));
    const MachineIcons icons = iconsOf(machine);
    for (const auto &icon : {icons.extractIcon(u"C:\\x.exe"_s, 0), icons.associatedIcon(u"C:\\x.exe"_s, 0)}) {
        QVERIFY(icon);
        QCOMPARE(icon->size(), QSize(32, 32));
        QTEST(areaInOneColour(*icon, Red), "area");
    }
}

void TestMachineIcons::extractsByIndex_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QRgb>("colour"); // Black without an icon.
    QTest::newRow("first") << 0 << Red;
    QTest::newRow("second") << 1 << Green;
    QTest::newRow("third") << 2 << Blue;
    QTest::newRow("beyond the last") << 3 << Black;
    QTest::newRow("largest") << std::numeric_limits<int>::max() << Black;
    QTest::newRow("number 3") << -3 << Red;
    QTest::newRow("number 7") << -7 << Green;
    QTest::newRow("number 200") << -200 << Blue;
    QTest::newRow("number that none has") << -1 << Black;
    QTest::newRow("least") << std::numeric_limits<int>::min() << Black;
}

void TestMachineIcons::extractsByIndex()
{
    QFETCH(int, index);
    QFETCH(QRgb, colour);
    PeBuilder program;
    program.addIcon(200, {IconBuilder::plain(32, Blue)}, 1);
    program.addIcon(3, {IconBuilder::plain(32, Red)}, 2);
    program.addIcon(7, {IconBuilder::plain(32, Green)}, 3);
    MachineBuilder machine;
    machine.addFile(u"C:/x.dll"_s, program.build());
    const MachineIcons icons = iconsOf(machine);
    const auto icon = icons.extractIcon(u"C:\\x.dll"_s, index);
    QCOMPARE(icon.has_value(), colour != Black);
    if (icon)
        QCOMPARE(areaInOneColour(*icon, colour), QRect(0, 0, 32, 32));
    if (index >= 0 && index <= 0xFFFF)
        QCOMPARE(icons.associatedIcon(u"C:\\x.dll"_s, static_cast<quint16>(index)), icon);
    QCOMPARE(areaInOneColour(icons.largestIcon(u"C:\\x.dll"_s).value_or(QImage()), Red), QRect(0, 0, 32, 32));
}

void TestMachineIcons::iconFiles()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.dat"_s, IconBuilder::file({IconBuilder::plain(16, Red), IconBuilder::plain(32, Blue)}));
    const MachineIcons icons = iconsOf(machine);
    QCOMPARE(areaInOneColour(icons.extractIcon(u"C:\\x.dat"_s, 0).value_or(QImage()), Blue), QRect(0, 0, 32, 32));
    QVERIFY(!icons.extractIcon(u"C:\\x.dat"_s, 1));
    QVERIFY(!icons.extractIcon(u"C:\\x.dat"_s, -1));
}

void TestMachineIcons::pictures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QRect>("area"); // Empty without an icon.
    QTest::newRow("small") << u"x.png"_s << IconBuilder::plainPng(20, Red) << QRect(0, 0, 20, 20);
    QTest::newRow("upper case") << u"X.PNG"_s << IconBuilder::plainPng(20, Red) << QRect(0, 0, 20, 20);
    QTest::newRow("between") << u"x.png"_s << IconBuilder::plainPng(100, Red) << QRect(0, 0, 48, 48);
    QTest::newRow("large") << u"x.png"_s << IconBuilder::plainPng(2000, Red) << QRect(0, 0, 256, 256);
    QTest::newRow("too large") << u"x.png"_s << IconBuilder::png(QImage(5000, 1, QImage::Format_Mono)) << QRect();
    QTest::newRow("other kind of file") << u"x.txt"_s << IconBuilder::plainPng(20, Red) << QRect();
    QTest::newRow("no picture") << u"x.png"_s << QByteArray("text") << QRect();
    QTest::newRow("empty") << u"x.png"_s << QByteArray() << QRect();
}

void TestMachineIcons::pictures()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QRect, area);
    MachineBuilder machine;
    machine.addFile(u"C:/"_s + name, content);
    const MachineIcons icons = iconsOf(machine);
    const QString path = u"C:\\"_s + name;
    const auto icon = icons.largestIcon(path);
    QCOMPARE(icon.has_value(), !area.isEmpty());
    QCOMPARE(icons.associatedIcon(path, 0).has_value(), icon.has_value());
    QVERIFY(!icons.extractIcon(path, 0));
    if (icon)
        QCOMPARE(areaInOneColour(*icon, Red), area);
}

void TestMachineIcons::nothingToRead_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray whole = IconBuilder::program({IconBuilder::plain(32, Red)});
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("MZ but nothing else");
    QTest::newRow("no icons") << PeBuilder().build();
    QTest::newRow("icon without images") << IconBuilder::program({});
    QTest::newRow("broken image") << IconBuilder::program({broken(256)});
    QTest::newRow("broken PNG") << IconBuilder::program({brokenPng()});
    QTest::newRow("broken PNG before a good image")
        << IconBuilder::program({brokenPng(), IconBuilder::plain(300, Red)});
    QTest::newRow("empty icon file") << IconBuilder::file({});
    QTest::newRow("icon file with a broken image") << IconBuilder::file({broken(32)});
    QTest::newRow("cut off") << whole.left(whole.size() - 100);
}

void TestMachineIcons::nothingToRead()
{
    QFETCH(QByteArray, content);
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, content);
    const MachineIcons icons = iconsOf(machine);
    QVERIFY(!icons.largestIcon(u"C:\\x.exe"_s));
    QVERIFY(!icons.extractIcon(u"C:\\x.exe"_s, 0));
    QVERIFY(!icons.associatedIcon(u"C:\\x.exe"_s, 0));
}

void TestMachineIcons::prefersLanguage()
{
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(32, Red)}, 1);
    program.addIcon(1, {IconBuilder::plain(32, Blue)}, 2);
    program.resources.last().language = 0x0407;
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, program.build());
    const auto english = iconsOf(machine).extractIcon(u"C:\\x.exe"_s, 0);
    const auto german = iconsOf(machine, 0x0407).extractIcon(u"C:\\x.exe"_s, 0);
    QCOMPARE(areaInOneColour(english.value_or(QImage()), Red), QRect(0, 0, 32, 32));
    QCOMPARE(areaInOneColour(german.value_or(QImage()), Blue), QRect(0, 0, 32, 32));
}

void TestMachineIcons::absentFiles()
{
    MachineBuilder machine;
    machine.addFolder(u"C:/folder.exe"_s);
    const MachineIcons icons = iconsOf(machine);
    for (const QString &path : {u"C:\\missing.exe"_s, u"C:\\folder.exe"_s, u"Q:\\x.exe"_s, QString()}) {
        QVERIFY(!icons.largestIcon(path));
        QVERIFY(!icons.associatedIcon(path, 0));
        // Extracting tells a file that can't be read from one without icons.
        const auto extracted = icons.extractIcon(path, 0);
        QVERIFY(extracted);
        QVERIFY(extracted->isNull());
    }
}

void TestMachineIcons::platformHasIcons()
{
    MachineBuilder machine;
    machine.facts().insert(u"uiLanguage"_s, 0x0407);
    machine.writeFacts();
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(32, Red)}, 1);
    program.addIcon(1, {IconBuilder::plain(32, Blue)}, 2);
    program.resources.last().language = 0x0407;
    machine.addFile(u"C:/x.exe"_s, program.build());
    const auto platform = createMachinePlatform(machine.path());
    platform->icons->prepare();
    const auto icon = platform->icons->largestIcon(u"C:\\x.exe"_s);
    QCOMPARE(areaInOneColour(icon.value_or(QImage()), Blue), QRect(0, 0, 32, 32));
    const auto hostIcon = createHostPlatform()->icons->largestIcon(machine.hostPath(u"C:/x.exe"_s));
    QCOMPARE(areaInOneColour(hostIcon.value_or(QImage()), Red), QRect(0, 0, 32, 32));
}

QTEST_GUILESS_MAIN(TestMachineIcons)
#include "tst_machineicons.moc"
