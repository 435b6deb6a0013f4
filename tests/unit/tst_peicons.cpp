#include "../support/IconBuilder.h"

#include "formats/PeIcons.h"

#include <QtTest/QTest>

using Sides = QList<int>;

class tst_PeIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsInOrderOfDirectory();
    void findsByNumber();
    void prefersLanguage_data();
    void prefersLanguage();
    void keepsPlacesOfDamagedIcons();
    void hasNoneWithoutIcons_data();
    void hasNoneWithoutIcons();
    void rejectsOtherFiles();
    void leavesOutDamagedImages_data();
    void leavesOutDamagedImages();
    void readsManyImages();
    void endsOnLoop();
    void survivesEveryLie();
};

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Green = 0xFF00FF00;
constexpr QRgb Blue = 0xFF0000FF;

/** The sides of an icon's images in pixels; -1 alone if there is no such icon. */
Sides sidesOf(const std::optional<QList<IconImage>> &images)
{
    if (!images)
        return {-1};
    Sides sides;
    for (const IconImage &image : *images)
        sides.append(image.size().width());
    return sides;
}

/** The icons 5, with one image, and 9, with two. */
PeBuilder twoIcons()
{
    PeBuilder program;
    program.addIcon(9, {IconBuilder::plain(16, Red), IconBuilder::plain(256, Green)}, 1);
    program.addIcon(5, {IconBuilder::plain(32, Blue)}, 3);
    return program;
}

QByteArray groupOf(quint16 number)
{
    return ByteWriter().u16(0).u16(1).u16(1).zeros(12).u16(number).result();
}

/** The offset of the only group's directory in the bytes of a program. */
qsizetype groupOffset(const QByteArray &bytes, const PeBuilder &program)
{
    return bytes.indexOf(program.resources.last().data);
}

} // namespace

void tst_PeIcons::countsInOrderOfDirectory()
{
    PeBuilder program = twoIcons();
    program.resources.append({PeBuilder::GroupIconType, 0, 0, groupOf(1), QStringLiteral("ZULU")});
    program.resources.append({PeBuilder::GroupIconType, 0, 0, groupOf(3), QStringLiteral("ALPHA")});
    const QByteArray bytes = program.build();
    const auto icons = PeIcons::parse(bytes);
    QVERIFY(icons);
    QCOMPARE(sidesOf(icons->at(0)), Sides{32}); // ALPHA: names go before numbers.
    QCOMPARE(sidesOf(icons->at(1)), Sides{16}); // ZULU
    QCOMPARE(sidesOf(icons->at(2)), Sides{32}); // 5
    QCOMPARE(sidesOf(icons->at(3)), (Sides{16, 256}));
    QCOMPARE(sidesOf(icons->at(4)), Sides{-1});
    QCOMPARE(sidesOf(icons->at(-1)), Sides{-1});
    QCOMPARE(icons->at(3)->at(1).decode().pixel(200, 200), Green);
    QCOMPARE(icons->at(2)->at(0).decode().pixel(31, 31), Blue);
}

void tst_PeIcons::findsByNumber()
{
    PeBuilder program = twoIcons();
    program.resources.append({PeBuilder::GroupIconType, 0, 0, groupOf(1), QStringLiteral("MAINICON")});
    const QByteArray bytes = program.build();
    const auto icons = PeIcons::parse(bytes);
    QCOMPARE(sidesOf(icons->withNumber(5)), Sides{32});
    QCOMPARE(sidesOf(icons->withNumber(9)), (Sides{16, 256}));
    QCOMPARE(sidesOf(icons->withNumber(1)), Sides{-1});
    QCOMPARE(sidesOf(icons->withNumber(0)), Sides{-1});
}

void tst_PeIcons::prefersLanguage_data()
{
    QTest::addColumn<quint16>("language");
    QTest::addColumn<Sides>("sides");
    QTest::newRow("first") << quint16(0x0407) << Sides{16};
    QTest::newRow("second") << quint16(0x0409) << Sides{32};
    QTest::newRow("neither") << quint16(0x0411) << Sides{16};
}

void tst_PeIcons::prefersLanguage()
{
    QFETCH(quint16, language);
    PeBuilder program;
    program.resources = {{PeBuilder::IconType, 1, 0, DibBuilder::plain(16, Red).build(), {}},
                         {PeBuilder::IconType, 2, 0, DibBuilder::plain(32, Red).build(), {}},
                         {PeBuilder::IconType, 3, 0, DibBuilder::plain(48, Red).build(), {}},
                         {PeBuilder::GroupIconType, 7, 0x0407, groupOf(1), {}},
                         {PeBuilder::GroupIconType, 7, 0x0409, groupOf(2), {}},
                         {PeBuilder::GroupIconType, 8, 0x0407, groupOf(3), {}}};
    const QByteArray bytes = program.build();
    const auto icons = PeIcons::parse(bytes, language);
    QTEST(sidesOf(icons->at(0)), "sides");
    QTEST(sidesOf(icons->withNumber(7)), "sides");
    QCOMPARE(sidesOf(icons->at(1)), Sides{48});
    QCOMPARE(sidesOf(icons->at(2)), Sides{-1});
}

void tst_PeIcons::keepsPlacesOfDamagedIcons()
{
    const PeBuilder program = twoIcons();
    QByteArray bytes = program.build();
    const QByteArray first = program.resources.last().data; // Number 5 comes first.
    qToLittleEndian(0xFFFFFFFFu, bytes.data() + bytes.indexOf(first) - 12);
    const auto icons = PeIcons::parse(bytes);
    QCOMPARE(sidesOf(icons->at(0)), Sides());
    QCOMPARE(sidesOf(icons->at(1)), (Sides{16, 256}));
    QCOMPARE(sidesOf(icons->withNumber(9)), (Sides{16, 256}));
}

void tst_PeIcons::hasNoneWithoutIcons_data()
{
    QTest::addColumn<QByteArray>("bytes");
    PeBuilder bare;
    bare.hasResourceSection = false;
    PeBuilder other;
    other.addVersion("version");
    PeBuilder imagesOnly;
    imagesOnly.resources = {{PeBuilder::IconType, 1, 0, DibBuilder::plain(16, Red).build(), {}}};
    QTest::newRow("no resources") << bare.build();
    QTest::newRow("other resources") << other.build();
    QTest::newRow("images of no icon") << imagesOnly.build();
}

void tst_PeIcons::hasNoneWithoutIcons()
{
    QFETCH(QByteArray, bytes);
    const auto icons = PeIcons::parse(bytes);
    QVERIFY(icons);
    QCOMPARE(sidesOf(icons->at(0)), Sides{-1});
    QCOMPARE(sidesOf(icons->withNumber(1)), Sides{-1});
}

void tst_PeIcons::rejectsOtherFiles()
{
    QVERIFY(!PeIcons::parse(QByteArray()));
    QVERIFY(!PeIcons::parse(QByteArrayView("MZ is not enough")));
    const QByteArray icon = IconBuilder::file({IconBuilder::plain(16, Red)});
    QVERIFY(!PeIcons::parse(icon));
}

void tst_PeIcons::leavesOutDamagedImages_data()
{
    QTest::addColumn<qsizetype>("offset"); // From the start of the group's directory.
    QTest::addColumn<quint16>("number");
    QTest::addColumn<Sides>("sides");
    QTest::newRow("untouched") << qsizetype(2) << quint16(1) << Sides{16, 32};
    QTest::newRow("cursor") << qsizetype(2) << quint16(2) << Sides();
    QTest::newRow("no images told") << qsizetype(4) << quint16(0) << Sides();
    QTest::newRow("more images told") << qsizetype(4) << quint16(0xFFFF) << Sides{16, 32};
    QTest::newRow("wrong size in pixels") << qsizetype(6) << quint16(0x4D4D) << Sides{16, 32};
    QTest::newRow("no planes") << qsizetype(10) << quint16(0) << Sides{16, 32};
    QTest::newRow("wrong size in bytes") << qsizetype(14) << quint16(0xFFFF) << Sides{16, 32};
    QTest::newRow("image missing") << qsizetype(18) << quint16(77) << Sides{32};
    QTest::newRow("image number zero") << qsizetype(18) << quint16(0) << Sides{32};
    QTest::newRow("same image twice") << qsizetype(18) << quint16(2) << Sides{32, 32};
}

void tst_PeIcons::leavesOutDamagedImages()
{
    QFETCH(qsizetype, offset);
    QFETCH(quint16, number);
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(16, Red), IconBuilder::plain(32, Red)});
    program.resources.append({PeBuilder::IconType, 0, 0, DibBuilder::plain(48, Red).build(), QStringLiteral("TEXT")});
    program.resources.move(program.resources.size() - 2, program.resources.size() - 1);
    QByteArray bytes = program.build();
    qToLittleEndian(number, bytes.data() + groupOffset(bytes, program) + offset);
    QTEST(sidesOf(PeIcons::parse(bytes)->at(0)), "sides");
}

void tst_PeIcons::readsManyImages()
{
    constexpr int Count = 10000;
    PeBuilder program;
    program.addIcon(1, QList<PeBuilder::IconImage>(Count, IconBuilder::plain(1, Red)));
    const QByteArray bytes = program.build();
    const auto images = PeIcons::parse(bytes)->at(0);
    QVERIFY(images);
    QCOMPARE(images->size(), Count);
    QCOMPARE(images->last().decode().pixel(0, 0), Red);
}

void tst_PeIcons::endsOnLoop()
{
    QByteArray bytes = twoIcons().build();
    constexpr qsizetype Root = 0x400;
    // Both types lead back to the root.
    qToLittleEndian(0x80000000u, bytes.data() + Root + 16 + 4);
    qToLittleEndian(0x80000000u, bytes.data() + Root + 16 + 8 + 4);
    const auto icons = PeIcons::parse(bytes);
    QVERIFY(icons);
    for (int index = 0; index < 4; ++index)
        QVERIFY(sidesOf(icons->at(index)) == Sides{-1} || sidesOf(icons->at(index)).isEmpty());
}

void tst_PeIcons::survivesEveryLie()
{
    PeBuilder program;
    program.addIcon(1, {IconBuilder::plain(2, Red), IconBuilder::plain(3, Red)});
    const QByteArray whole = program.build();
    for (const char *const lie : {"\xff\xff\xff\xff", "\x00\x00\x00\x80", "\x00\x00\x00\x00"}) {
        for (qsizetype offset = 0x400; offset + 4 <= whole.size(); offset += 2) {
            QByteArray bytes = whole;
            bytes.replace(offset, 4, QByteArray(lie, 4));
            const auto images = PeIcons::parse(bytes)->at(0).value_or(QList<IconImage>());
            QVERIFY(images.size() <= 2);
            for (const IconImage &image : images)
                QVERIFY(!image.decode().isNull());
        }
    }
}

QTEST_GUILESS_MAIN(tst_PeIcons)
#include "tst_peicons.moc"
