#include "formats/IconId.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

class tst_IconId : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reads_data();
    void reads();
    void longIds_data();
    void longIds();
};

void tst_IconId::reads_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("version");

    QTest::newRow("file") << u"C:/dir/prog.exe?i=2&v=1.0"_s << u"C:/dir/prog.exe"_s << 2 << u"1.0"_s;
    QTest::newRow("package") << u"uwp:Some.Package_1.0_x64__abc?i=1&v=1.0"_s << u"uwp:Some.Package_1.0_x64__abc"_s << 1
                             << u"1.0"_s;
    QTest::newRow("no query") << u"a.exe"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("only an index") << u"a.exe?i=3"_s << u"a.exe"_s << 3 << QString();
    QTest::newRow("only a version") << u"a.exe?v=7"_s << u"a.exe"_s << 0 << u"7"_s;
    QTest::newRow("the other order") << u"a.exe?v=7&i=3"_s << u"a.exe"_s << 3 << u"7"_s;
    QTest::newRow("empty query") << u"a.exe?"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("other items") << u"a.exe?x=1&i=2&y=3"_s << u"a.exe"_s << 2 << QString();
    QTest::newRow("the first of two") << u"a.exe?i=2&i=3&v=a&v=b"_s << u"a.exe"_s << 2 << u"a"_s;

    QTest::newRow("index no number") << u"a.exe?i=two"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("index empty") << u"a.exe?i=&v=1"_s << u"a.exe"_s << 0 << u"1"_s;
    QTest::newRow("index without a value") << u"a.exe?i"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("index hexadecimal") << u"a.exe?i=0x10"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("index with leading zeros") << u"a.exe?i=010"_s << u"a.exe"_s << 10 << QString();
    QTest::newRow("index negative") << u"a.exe?i=-101"_s << u"a.exe"_s << -101 << QString();
    QTest::newRow("index too large") << u"a.exe?i=2147483648"_s << u"a.exe"_s << 0 << QString();
    QTest::newRow("index in capitals") << u"a.exe?I=2&V=1"_s << u"a.exe"_s << 0 << QString();

    QTest::newRow("two marks") << u"a?i=1?i=2"_s << u"a?i=1"_s << 2 << QString();
    QTest::newRow("many marks") << u"a????v=x"_s << u"a???"_s << 0 << u"x"_s;
    QTest::newRow("mark first") << u"?i=2"_s << u"?i=2"_s << 0 << QString();
    QTest::newRow("mark alone") << u"?"_s << u"?"_s << 0 << QString();
    QTest::newRow("mark first and again") << u"??i=2"_s << u"?"_s << 2 << QString();
    QTest::newRow("empty") << QString() << QString() << 0 << QString();

    QTest::newRow("encoded blanks") << u"C:/My%20Games/a%20b.exe"_s << u"C:/My Games/a b.exe"_s << 0 << QString();
    QTest::newRow("encoded mark") << u"C:/a%3Fi=4"_s << u"C:/a"_s << 4 << QString();
    QTest::newRow("encoded separators") << u"C:/a%3Fi%3D4%26v%3D5"_s << u"C:/a"_s << 4 << u"5"_s;
    QTest::newRow("encoded UTF-8") << u"C:/%E6%97%A5.exe?v=%C3%A9"_s << u"C:/日.exe"_s << 0 << u"é"_s;
    QTest::newRow("not encoded") << u"C:/日 é.exe"_s << u"C:/日 é.exe"_s << 0 << QString();
    QTest::newRow("encoded twice") << u"C:/a%2520b.exe"_s << u"C:/a%20b.exe"_s << 0 << QString();
    QTest::newRow("small letters") << u"C:/%c3%a4.exe"_s << u"C:/ä.exe"_s << 0 << QString();
    QTest::newRow("percent at the end") << u"a.exe%"_s << u"a.exe%"_s << 0 << QString();
    QTest::newRow("percent and one digit") << u"a.exe%4"_s << u"a.exe%4"_s << 0 << QString();
    QTest::newRow("a plus stays") << u"a+b.exe?v=1+2"_s << u"a+b.exe"_s << 0 << u"1+2"_s;
    QTest::newRow("a number sign stays") << u"C%23/a.exe?v=1%232"_s << u"C#/a.exe"_s << 0 << u"1#2"_s;
    QTest::newRow("embedded zero") << u"a%00b?i=1"_s << u"a\0b"_s << 1 << QString();
    QTest::newRow("embedded zero as it is") << u"a\0b?i=1"_s << u"a\0b"_s << 1 << QString();
    QTest::newRow("invalid UTF-8") << u"a%FF%C3.exe?i=1"_s << u"a\uFFFD\uFFFD.exe"_s << 1 << QString();
    QTest::newRow("half a surrogate pair") << u"a"_s + QChar(0xD800) + u"?i=1"_s << u"a?"_s << 1 << QString();
}

void tst_IconId::reads()
{
    QFETCH(QString, id);
    const IconId icon = IconId::parse(id);
    QTEST(icon.path, "path");
    QTEST(icon.index, "index");
    QTEST(icon.version, "version");
}

void tst_IconId::longIds_data()
{
    constexpr int Megabyte = 1024 * 1024;
    QTest::addColumn<QString>("id");
    QTest::addColumn<qsizetype>("pathSize");
    QTest::newRow("path") << QString(Megabyte, u'a') + u"?i=1"_s << qsizetype(Megabyte);
    QTest::newRow("marks") << QString(Megabyte, u'?') + u"i=1"_s << qsizetype(Megabyte - 1);
    QTest::newRow("encoded") << u"%41"_s.repeated(Megabyte / 3) + u"?i=1"_s << qsizetype(Megabyte / 3);
    QTest::newRow("items") << u"a?"_s + u"x=y&"_s.repeated(Megabyte / 4) + u"i=1"_s << qsizetype(1);
    QTest::newRow("version") << u"a?i=1&v="_s + QString(Megabyte, u'9') << qsizetype(1);
}

void tst_IconId::longIds()
{
    QFETCH(QString, id);
    QElapsedTimer timer;
    timer.start();
    const IconId icon = IconId::parse(id);
    QVERIFY2(timer.elapsed() < 10'000, "not in proportion to its length");
    QTEST(icon.path.size(), "pathSize");
    QCOMPARE(icon.index, 1);
}

QTEST_GUILESS_MAIN(tst_IconId)
#include "tst_iconid.moc"
