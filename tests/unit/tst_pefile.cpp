#include "../support/PeBuilder.h"

#include "formats/PeFile.h"

#include <QtTest/QTest>

class tst_PeFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsResources_data();
    void readsResources();
    void givesTextNamesNumberZero();
    void hasNoResourcesWithoutSection();
    void rejectsOtherFiles_data();
    void rejectsOtherFiles();
    void leavesOutDamagedEntries_data();
    void leavesOutDamagedEntries();
    void endsOnLoop();
    void endsOnHugeDirectories();
    void survivesEveryCut();
};

namespace {

PeBuilder programWithIcon()
{
    PeBuilder program;
    program.addVersion("version bytes");
    program.addIcon(7, {{16, 16, 32, "small"}, {0, 0, 32, "large image"}}, 3);
    return program;
}

} // namespace

void tst_PeFile::readsResources_data()
{
    QTest::addColumn<bool>("is64Bit");
    QTest::newRow("PE32") << false;
    QTest::newRow("PE32+") << true;
}

void tst_PeFile::readsResources()
{
    QFETCH(bool, is64Bit);
    PeBuilder program = programWithIcon();
    program.is64Bit = is64Bit;
    program.addVersion("second language", 0x0407);
    const QByteArray bytes = program.build();
    const auto file = PeFile::parse(bytes);
    QVERIFY(file);

    const auto icons = file->resources(PeFile::Icon);
    QCOMPARE(icons.size(), 2);
    QCOMPARE(icons.at(0).name, 3u);
    QCOMPARE(icons.at(0).data.toByteArray(), QByteArray("small"));
    QCOMPARE(icons.at(1).name, 4u);
    QCOMPARE(icons.at(1).data.toByteArray(), QByteArray("large image"));

    const auto groups = file->resources(PeFile::GroupIcon);
    QCOMPARE(groups.size(), 1);
    QCOMPARE(groups.at(0).name, 7u);
    QCOMPARE(groups.at(0).data.size(), 6 + 2 * 14);

    const auto versions = file->resources(PeFile::Version);
    QCOMPARE(versions.size(), 2);
    QCOMPARE(int(versions.at(0).language), 0x0409);
    QCOMPARE(versions.at(0).data.toByteArray(), QByteArray("version bytes"));
    QCOMPARE(int(versions.at(1).language), 0x0407);
    QCOMPARE(versions.at(1).data.toByteArray(), QByteArray("second language"));

    QCOMPARE(icons.at(0).position, 0);
    QCOMPARE(icons.at(1).position, 1);
    QCOMPARE(versions.at(1).position, 0);
}

void tst_PeFile::givesTextNamesNumberZero()
{
    PeBuilder program;
    program.resources = {{PeBuilder::GroupIconType, 5, 0, "numbered", {}},
                         {PeBuilder::GroupIconType, 0, 0, "named", QStringLiteral("MAINICON")}};
    const QByteArray bytes = program.build();
    const auto groups = PeFile::parse(bytes)->resources(PeFile::GroupIcon);
    QCOMPARE(groups.size(), 2);
    QCOMPARE(groups.at(0).name, 0u);
    QCOMPARE(groups.at(0).data.toByteArray(), QByteArray("named"));
    QCOMPARE(groups.at(1).name, 5u);
    QCOMPARE(groups.at(1).data.toByteArray(), QByteArray("numbered"));
}

void tst_PeFile::hasNoResourcesWithoutSection()
{
    PeBuilder program;
    program.hasResourceSection = false;
    const QByteArray bytes = program.build();
    const auto file = PeFile::parse(bytes);
    QVERIFY(file);
    QVERIFY(file->resources(PeFile::Icon).isEmpty());
}

void tst_PeFile::rejectsOtherFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray good = programWithIcon().build();
    QByteArray noMz = good;
    noMz[0] = 'Z';
    QByteArray noPe = good;
    noPe[0x40] = 'N';
    QByteArray farHeader = good;
    farHeader.replace(0x3C, 4, QByteArray::fromHex("ffffff7f"));
    QByteArray otherMagic = good;
    otherMagic[0x40 + 24] = '\x07';
    QByteArray manySections = good;
    manySections.replace(0x40 + 6, 2, QByteArray::fromHex("ffff"));
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("MZ is not enough");
    QTest::newRow("no MZ") << noMz;
    QTest::newRow("no PE") << noPe;
    QTest::newRow("header beyond the end") << farHeader;
    QTest::newRow("unknown optional header") << otherMagic;
    QTest::newRow("absurd section count") << manySections;
}

void tst_PeFile::rejectsOtherFiles()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!PeFile::parse(bytes));
}

void tst_PeFile::leavesOutDamagedEntries_data()
{
    QTest::addColumn<qsizetype>("offset"); // From the start of the only resource's data entry.
    QTest::addColumn<quint32>("number");
    QTest::addColumn<bool>("isThere");
    QTest::newRow("untouched") << qsizetype(8) << 0u << true;
    QTest::newRow("address before the sections") << qsizetype(0) << 0x10u << false;
    QTest::newRow("address beyond the sections") << qsizetype(0) << 0xFFFFFFF0u << false;
    QTest::newRow("size beyond the section") << qsizetype(4) << 0x1000u << false;
    QTest::newRow("largest size") << qsizetype(4) << 0xFFFFFFFFu << false;
}

void tst_PeFile::leavesOutDamagedEntries()
{
    QFETCH(qsizetype, offset);
    QFETCH(quint32, number);
    QFETCH(bool, isThere);
    PeBuilder program;
    program.addVersion("only");
    QByteArray bytes = program.build();
    const qsizetype entry = bytes.indexOf("only") - 16;
    qToLittleEndian(number, bytes.data() + entry + offset);
    QCOMPARE(PeFile::parse(bytes)->resources(PeFile::Version).size(), isThere ? 1 : 0);
}

void tst_PeFile::endsOnLoop()
{
    PeBuilder program;
    program.addVersion("only");
    QByteArray bytes = program.build();
    const qsizetype root = 0x400;
    // The type's entry and the name's entry both lead back to the root, which then lists itself as a language.
    qToLittleEndian(0x80000000u, bytes.data() + root + 16 + 4);
    const auto file = PeFile::parse(bytes);
    QVERIFY(file);
    QVERIFY(file->resources(PeFile::Version).isEmpty());
}

void tst_PeFile::endsOnHugeDirectories()
{
    constexpr int Count = 0xFFFF;
    ByteWriter section;
    section.zeros(14).u16(Count);
    for (int i = 0; i < Count; ++i)
        section.u32(PeFile::Icon).u32(0x80000000);
    PeBuilder program;
    program.addVersion(section.result());
    QByteArray bytes = program.build();
    const qsizetype data = bytes.indexOf(section.result());
    // The directory's root is where the huge one starts.
    const qsizetype rootAddress = bytes.indexOf(".text") - 128 + 16;
    qToLittleEndian(static_cast<quint32>(0x2000 + data - 0x400), bytes.data() + rootAddress);
    const auto file = PeFile::parse(bytes);
    QVERIFY(file);
    QVERIFY(file->resources(PeFile::Icon).isEmpty());
}

void tst_PeFile::survivesEveryCut()
{
    const QByteArray bytes = programWithIcon().build();
    int readable = 0;
    for (qsizetype length = 0; length < bytes.size(); ++length) {
        const QByteArray cut(bytes.constData(), length); // A copy of its own, so that a sanitizer sees the end.
        const auto file = PeFile::parse(cut);
        if (!file)
            continue;
        ++readable;
        for (const auto &resource : file->resources(PeFile::Icon)) {
            QVERIFY(resource.data.data() >= cut.constData());
            QVERIFY(resource.data.data() + resource.data.size() <= cut.constData() + cut.size());
        }
    }
    QVERIFY(readable > 0);
    QVERIFY(readable < bytes.size());
}

QTEST_GUILESS_MAIN(tst_PeFile)
#include "tst_pefile.moc"
