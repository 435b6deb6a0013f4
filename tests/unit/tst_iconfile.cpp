#include "../support/IconBuilder.h"

#include "formats/IconFile.h"

#include <QtTest/QTest>

class tst_IconFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsImages();
    void rejectsOtherFiles_data();
    void rejectsOtherFiles();
    void leavesOutDamagedEntries_data();
    void leavesOutDamagedEntries();
    void readsOverlappingImages();
    void readsManyImages();
    void survivesEveryCut();
};

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Blue = 0xFF0000FF;

QByteArray sample()
{
    return IconBuilder::file({IconBuilder::plain(16, Red), IconBuilder::plain(256, Blue)});
}

} // namespace

void tst_IconFile::readsImages()
{
    const QByteArray bytes = sample();
    QVERIFY(IconFile::isIconFile(bytes));
    const auto images = IconFile::parse(bytes);
    QVERIFY(images);
    QCOMPARE(images->size(), 2);
    QCOMPARE(images->at(0).size(), QSize(16, 16));
    QCOMPARE(images->at(0).decode().pixel(15, 0), Red);
    QCOMPARE(images->at(1).size(), QSize(256, 256));
    QCOMPARE(images->at(1).decode().pixel(255, 255), Blue);
}

void tst_IconFile::rejectsOtherFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QByteArray cursor = sample();
    cursor[2] = 2;
    QByteArray marked = sample();
    marked[0] = 1;
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("short") << QByteArray(3, '\0');
    QTest::newRow("cursor") << cursor;
    QTest::newRow("first number set") << marked;
    QTest::newRow("PNG") << IconBuilder::plainPng(16, Red);
}

void tst_IconFile::rejectsOtherFiles()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!IconFile::isIconFile(bytes));
    QVERIFY(!IconFile::parse(bytes));
}

void tst_IconFile::leavesOutDamagedEntries_data()
{
    QTest::addColumn<qsizetype>("offset");
    QTest::addColumn<quint32>("number");
    QTest::addColumn<qsizetype>("left");
    QTest::newRow("untouched") << qsizetype(0) << 0x00010000u << qsizetype(2);
    QTest::newRow("wrong size in pixels") << qsizetype(6) << 0x00004D4Du << qsizetype(2);
    QTest::newRow("no planes") << qsizetype(10) << 0u << qsizetype(2);
    QTest::newRow("fewer images told") << qsizetype(4) << 0x10100001u << qsizetype(1);
    QTest::newRow("no bytes") << qsizetype(14) << 0u << qsizetype(1);
    QTest::newRow("one byte too few") << qsizetype(14) << quint32(40 + 16 * 16 * 4 - 1) << qsizetype(1);
    QTest::newRow("largest size") << qsizetype(14) << 0xFFFFFFFFu << qsizetype(1);
    QTest::newRow("offset at the end") << qsizetype(18) << quint32(sample().size()) << qsizetype(1);
    QTest::newRow("offset beyond the end") << qsizetype(18) << quint32(sample().size() + 1) << qsizetype(1);
    QTest::newRow("largest offset") << qsizetype(18) << 0xFFFFFFFFu << qsizetype(1);
    QTest::newRow("offset into the directory") << qsizetype(18) << 0u << qsizetype(1);
}

void tst_IconFile::leavesOutDamagedEntries()
{
    QFETCH(qsizetype, offset);
    QFETCH(quint32, number);
    QByteArray bytes = sample();
    qToLittleEndian(number, bytes.data() + offset);
    const auto images = IconFile::parse(bytes);
    QVERIFY(images);
    QTEST(images->size(), "left");
}

void tst_IconFile::readsOverlappingImages()
{
    QByteArray bytes = sample();
    bytes.replace(6 + 16 + 8, 8, QByteArray(bytes.constData() + 6 + 8, 8));
    const auto images = IconFile::parse(bytes);
    QCOMPARE(images->size(), 2);
    QCOMPARE(images->at(1).decode(), images->at(0).decode());
}

void tst_IconFile::readsManyImages()
{
    constexpr int Count = 10000;
    ByteWriter writer;
    writer.u16(0).u16(1).u16(Count);
    const QByteArray image = DibBuilder::plain(1, Red).build();
    for (int i = 0; i < Count; ++i)
        writer.u32(0).u32(0).u32(static_cast<quint32>(image.size())).u32(6 + 16 * Count);
    const QByteArray bytes = writer.bytes(image).result();
    const auto images = IconFile::parse(bytes);
    QCOMPARE(images->size(), Count);
    QCOMPARE(images->last().decode().pixel(0, 0), Red);
}

void tst_IconFile::survivesEveryCut()
{
    const QByteArray whole = IconBuilder::file({IconBuilder::plain(2, Red), IconBuilder::plain(4, Blue)});
    for (qsizetype length = 4; length < whole.size(); ++length) {
        const QByteArray cut(whole.constData(), length);
        const auto images = IconFile::parse(cut);
        QVERIFY(images);
        QVERIFY(images->size() < 2);
        for (const IconImage &image : *images)
            QVERIFY(!image.decode().isNull());
    }
}

QTEST_GUILESS_MAIN(tst_IconFile)
#include "tst_iconfile.moc"
