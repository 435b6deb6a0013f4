#include "platform/WindowsPath.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

class TestWindowsPath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromNativeSeparators_data();
    void fromNativeSeparators();
    void toNativeSeparators();
    void cleanPath_data();
    void cleanPath();
    void names_data();
    void names();
    void urls_data();
    void urls();
    void foreignUrls();
    void unchangedTextIsShared();
};

void TestWindowsPath::fromNativeSeparators_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << u""_s << u""_s;
    QTest::newRow("drive") << u"C:\\a\\b"_s << u"C:/a/b"_s;
    QTest::newRow("mixed") << u"C:\\a/b"_s << u"C:/a/b"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x"_s << u"//server/share/x"_s;
    QTest::newRow("long") << u"\\\\?\\C:\\a"_s << u"C:/a"_s;
    QTest::newRow("long, slashes") << u"//?/C:/a"_s << u"C:/a"_s;
    QTest::newRow("native") << u"\\??\\C:\\a"_s << u"C:/a"_s;
    QTest::newRow("long share") << u"\\\\?\\UNC\\server\\x"_s << u"//server/x"_s;
    QTest::newRow("long share, small letters") << u"\\\\?\\unc\\server\\x"_s << u"unc/server/x"_s;
    QTest::newRow("only the prefix") << u"\\\\?\\"_s << u""_s;
    QTest::newRow("only the share prefix") << u"\\\\?\\UNC"_s << u"UNC"_s;
    QTest::newRow("mixed prefix") << u"\\\\?/C:/a"_s << u"//?/C:/a"_s;
    QTest::newRow("short") << u"\\\\?"_s << u"//?"_s;
}

void TestWindowsPath::fromNativeSeparators()
{
    QFETCH(QString, path);
    QTEST(WindowsPath::fromNativeSeparators(path), "expected");
}

void TestWindowsPath::toNativeSeparators()
{
    QCOMPARE(WindowsPath::toNativeSeparators(u"C:/a\\b/c"_s), u"C:\\a\\b\\c"_s);
    QCOMPARE(WindowsPath::toNativeSeparators(u"//server/x"_s), u"\\\\server\\x"_s);
    QCOMPARE(WindowsPath::toNativeSeparators(QString()), QString());
}

void TestWindowsPath::cleanPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    const QPair<const char *, const char *> rows[] = {
        {"", ""},
        {".", "."},
        {"a", "a"},
        {"a/", "a"},
        {"a/..", "."},
        {"./", "."},
        {"../a", "../a"},
        {"a/../../b", "../b"},
        {"a/../..", ".."},
        {"..a/.b/c.", "..a/.b/c."},
        {"C:/", "C:/"},
        {"C:\\", "C:/"},
        {"C:", "C:"},
        {"C:a/../b", "C:b"},
        {"C:/a/b", "C:/a/b"},
        {"C:/a//b/", "C:/a/b"},
        {"C:\\a\\.\\b\\..\\c", "C:/a/c"},
        {"C:/a/..", "C:/"},
        {"C:/..", "C:/.."},
        {"C://", "C:/"},
        {"/", "/"},
        {"/a/../b", "/b"},
        {"//", "/"},
        {"//server", "//server"},
        {"//server/", "//server"},
        {"\\\\server\\share\\..\\x", "//server/x"},
        {"//server/../x", "//server/../x"},
        {"//server//share", "//server/share"},
        {"\\\\?\\C:\\a\\..\\b", "C:/b"},
    };
    for (const auto &[path, expected] : rows)
        QTest::newRow(*path ? path : "empty") << QString::fromLatin1(path) << QString::fromLatin1(expected);
}

void TestWindowsPath::cleanPath()
{
    QFETCH(QString, path);
    QTEST(WindowsPath::cleanPath(path), "expected");
    // What is clean stays as it is.
    const QString once = WindowsPath::cleanPath(path);
    QCOMPARE(WindowsPath::cleanPath(once), once);
}

void TestWindowsPath::names_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isRelative");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("baseName");
    QTest::newRow("empty") << u""_s << true << u""_s << u""_s;
    QTest::newRow("name") << u"x.tar.gz"_s << true << u"x.tar.gz"_s << u"x"_s;
    QTest::newRow("native") << u"C:\\a.b\\x.exe"_s << false << u"x.exe"_s << u"x"_s;
    QTest::newRow("drive only") << u"C:"_s << false << u""_s << u""_s;
    QTest::newRow("in a drive's folder") << u"C:x.exe"_s << false << u"x.exe"_s << u"x"_s;
    QTest::newRow("root") << u"C:/"_s << false << u""_s << u""_s;
    QTest::newRow("rooted") << u"\\x"_s << false << u"x"_s << u"x"_s;
    QTest::newRow("share") << u"\\\\server\\x.y"_s << false << u"x.y"_s << u"x"_s;
    QTest::newRow("relative") << u"a/b\\c.d"_s << true << u"c.d"_s << u"c"_s;
    QTest::newRow("dot first") << u"a/.b"_s << true << u".b"_s << u""_s;
    QTest::newRow("dot in the folder") << u"a.b/c"_s << true << u"c"_s << u"c"_s;
    QTest::newRow("folder") << u"C:/a/"_s << false << u""_s << u""_s;
}

void TestWindowsPath::names()
{
    QFETCH(QString, path);
    QTEST(WindowsPath::isRelative(path), "isRelative");
    QTEST(WindowsPath::fileName(path), "fileName");
    QTEST(WindowsPath::baseName(path), "baseName");
}

void TestWindowsPath::urls_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("back");
    QTest::newRow("empty") << u""_s << u""_s << u""_s;
    QTest::newRow("drive") << u"C:/x y.exe"_s << u"file:///C:/x%20y.exe"_s << u"C:/x y.exe"_s;
    QTest::newRow("native") << u"C:\\x.exe"_s << u"file:///C:/x.exe"_s << u"C:/x.exe"_s;
    QTest::newRow("rooted") << u"/x"_s << u"file:///x"_s << u"/x"_s;
    QTest::newRow("relative") << u"a/b"_s << u"file:a/b"_s << u"a/b"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x"_s << u"file://server/share/x"_s << u"//server/share/x"_s;
    QTest::newRow("share only") << u"//server"_s << u"file://server"_s << u"//server"_s;
    QTest::newRow("WebDAV") << u"//server@SSL/x"_s << u"webdavs://server/x"_s << u"//server@SSL/x"_s;
    QTest::newRow("percent") << u"C:/50%25.exe"_s << u"file:///C:/50%2525.exe"_s << u"C:/50%25.exe"_s;
    QTest::newRow("hash, question mark") << u"C:/a#b?c"_s << u"file:///C:/a%23b%3Fc"_s << u"C:/a#b?c"_s;
}

void TestWindowsPath::urls()
{
    QFETCH(QString, path);
    QFETCH(QString, url);
    const QUrl made = WindowsPath::toUrl(path);
    QCOMPARE(QString::fromLatin1(made.toEncoded()), url);
    QTEST(WindowsPath::fromUrl(made), "back");
}

void TestWindowsPath::foreignUrls()
{
    QCOMPARE(WindowsPath::fromUrl(QUrl(u"https://example.com/x"_s)), QString());
    QCOMPARE(WindowsPath::fromUrl(QUrl()), QString());
    QCOMPARE(WindowsPath::fromUrl(QUrl(u"file:///C:"_s)), u"C:"_s);
    QCOMPARE(WindowsPath::fromUrl(QUrl(u"file:C:/x"_s)), u"C:/x"_s);
}

void TestWindowsPath::unchangedTextIsShared()
{
    const QString path = u"C:/Program Files/Contoso/notes.exe"_s;
    QCOMPARE(WindowsPath::fromNativeSeparators(path).constData(), path.constData());
    QCOMPARE(WindowsPath::cleanPath(path).constData(), path.constData());
    const QString native = u"C:\\x"_s;
    QCOMPARE(WindowsPath::toNativeSeparators(native).constData(), native.constData());
}

QTEST_GUILESS_MAIN(TestWindowsPath)
#include "tst_windowspath.moc"
