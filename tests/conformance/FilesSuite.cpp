#include "Computer.h"
#include "platform/Files.h"
#include "platform/Platform.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::Files;

class FilesSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exists();
    void isExecutable_data();
    void isExecutable();
    void hostPath();
    void isFolder();
    void fileNames();
    void paths_data();
    void paths();
    void walk();
    void walkWithoutLinks_data();
    void walkWithoutLinks();

private:
    static QStringList walkedNames(Computer &computer, const QString &folder);
};

QStringList FilesSuite::walkedNames(Computer &computer, const QString &folder)
{
    QStringList names;
    const auto walk = computer.platform().files->walkLinks(folder);
    while (walk->hasNext())
        names.append(walk->next());
    names.sort();
    return names;
}

void FilesSuite::exists()
{
    const auto computer = Computer::create();
    const QString path = computer->addFile(u"Sub Folder/\u00c9t\u00e9 \u65e5.exe"_s);
    const Files &files = *computer->platform().files;
    QVERIFY(files.exists(path));
    QVERIFY(files.exists(QString(path).replace(u'/', u'\\')));
    QVERIFY(files.exists(path.toUpper()));
    QVERIFY(files.exists(computer->folder() + u"/sub folder"_s));
    QVERIFY(files.exists(computer->folder() + u"/Sub Folder/./../sub folder"_s));
    QVERIFY(!files.exists(path + u'x'));
    QVERIFY(!files.exists(computer->folder() + u"/Absent/x.exe"_s));
    QVERIFY(!files.exists(QString()));
    QVERIFY(!files.exists(u"Q:/x.exe"_s));
}

void FilesSuite::isExecutable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("expected");
    for (const char *name : {"a.exe", "a.EXE", "a.com", "a.bat", "a.cmd", "a.b.exe"})
        QTest::newRow(name) << QString::fromLatin1(name) << true;
    for (const char *name : {"a.txt", "a.lnk", "a.dll", "exe", "a.exe.txt", "a.msc"})
        QTest::newRow(name) << QString::fromLatin1(name) << false;
}

void FilesSuite::isExecutable()
{
    QFETCH(QString, name);
    QFETCH(bool, expected);
    const auto computer = Computer::create();
    const QString path = computer->addFile(name);
    const Files &files = *computer->platform().files;
    QCOMPARE(files.isExecutable(path), expected);
    QCOMPARE(files.isExecutable(QString(path).replace(u'/', u'\\')), expected);
    QVERIFY(!files.isExecutable(computer->folder() + u"/absent "_s + name));
}

void FilesSuite::hostPath()
{
    const auto computer = Computer::create();
    const QString path = computer->addFile(u"Folder/read me.txt"_s, "content");
    const Files &files = *computer->platform().files;
    QFile file(files.hostPath(QString(path).toLower().replace(u'/', u'\\')));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("content"));
    QVERIFY(!QFile::exists(files.hostPath(path + u'x')));
}

void FilesSuite::isFolder()
{
    const auto computer = Computer::create();
    const QString path = computer->addFile(u"Sub Folder/file.txt"_s);
    const Files &files = *computer->platform().files;
    QVERIFY(files.isFolder(computer->folder()));
    QVERIFY(files.isFolder(computer->folder() + u"/sub folder/"_s));
    QVERIFY(files.isFolder(QString(computer->folder() + u"//Sub Folder"_s).replace(u'/', u'\\')));
    QVERIFY(!files.isFolder(path));
    QVERIFY(!files.isFolder(computer->folder() + u"/Absent"_s));
    QVERIFY(!files.isFolder(QString()));
    QVERIFY(!files.isFolder(u"Q:/"_s));
}

void FilesSuite::fileNames()
{
    const auto computer = Computer::create();
    for (const QString &name : {u"b.acf"_s, u"C.acf"_s, u"a.acf"_s, u".first"_s, u"\u00c9t\u00e9.json"_s})
        computer->addFile(u"Sub Folder/"_s + name);
    computer->addFile(u"Sub Folder/Deeper/d.acf"_s);
    const Files &files = *computer->platform().files;
    const QString folder = computer->folder() + u"/Sub Folder"_s;
    const QStringList expected{u".first"_s, u"a.acf"_s, u"b.acf"_s, u"C.acf"_s, u"\u00c9t\u00e9.json"_s};
    QCOMPARE(files.fileNames(folder), expected);
    QCOMPARE(files.fileNames(folder + u'/'), expected);
    QCOMPARE(files.fileNames(QString(folder).toUpper().replace(u'/', u'\\')), expected);
    QCOMPARE(files.fileNames(folder + u"/a.acf"_s), QStringList());
    QCOMPARE(files.fileNames(folder + u"/Absent"_s), QStringList());
    QCOMPARE(files.fileNames(u"Q:/"_s), QStringList());
    QCOMPARE(files.fileNames(QString()), QStringList());
}

void FilesSuite::paths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("absolute");
    QTest::addColumn<QString>("folder");
    QTest::newRow("file") << u"C:/a/b.exe"_s << u"C:/a/b.exe"_s << u"C:/a"_s;
    QTest::newRow("native") << u"C:\\a\\b.exe"_s << u"C:/a/b.exe"_s << u"C:/a"_s;
    QTest::newRow("doubled separators") << u"C:\\\\a\\\\b"_s << u"C:/a/b"_s << u"C:/a"_s;
    QTest::newRow("dots") << u"C:/a/./c/../b.exe"_s << u"C:/a/b.exe"_s << u"C:/a"_s;
    QTest::newRow("in the root") << u"C:/b.exe"_s << u"C:/b.exe"_s << u"C:/"_s;
    QTest::newRow("share") << u"//nas/s/b.exe"_s << u"//nas/s/b.exe"_s << u"//nas/s"_s;
}

void FilesSuite::paths()
{
    QFETCH(QString, path);
    QFETCH(QString, absolute);
    QFETCH(QString, folder);
    const auto computer = Computer::create();
    const Files &files = *computer->platform().files;
    QCOMPARE(files.absolutePath(path), absolute);
    QCOMPARE(files.folderOf(path), folder);
    QCOMPARE(files.folderOf(QString()), QString());
    QVERIFY(files.absolutePath(u"a/b"_s).endsWith(u"/a/b"_s));
    QVERIFY(files.folderOf(u"a/b"_s).endsWith(u"/a"_s));
}

void FilesSuite::walk()
{
    const auto computer = Computer::create();
    const QStringList links = {
        computer->addFile(u"Start/a.lnk"_s),
        computer->addFile(u"Start/B.LNK"_s),
        computer->addFile(u"Start/Deep/Deeper/\u65e5 c.lnk"_s),
        computer->addFile(u"Start/Shelf.lnk/d.lnk"_s),
    };
    computer->addFile(u"Start/readme.txt"_s);
    computer->addFile(u"Start/page.url"_s);
    computer->addFile(u"Start/a.lnk.bak"_s);
    computer->addFile(u"Beside/e.lnk"_s);
    const QString folder = computer->folder() + u"/Start"_s;
    QStringList expected = links;
    expected.sort();
    QCOMPARE(walkedNames(*computer, folder), expected);
    QCOMPARE(walkedNames(*computer, folder + u'/'), expected);
    QCOMPARE(walkedNames(*computer, QString(folder).replace(u'/', u'\\')), expected);
}

void FilesSuite::walkWithoutLinks_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty folder") << u"/Empty"_s;
    QTest::newRow("no folder") << u"/Absent"_s;
    QTest::newRow("file") << u"/Empty/file.txt"_s;
    QTest::newRow("link itself") << u"/Empty/file.txt/link.lnk"_s;
}

void FilesSuite::walkWithoutLinks()
{
    QFETCH(QString, name);
    const auto computer = Computer::create();
    computer->addFile(u"Empty/file.txt"_s);
    const auto walk = computer->platform().files->walkLinks(computer->folder() + name);
    QVERIFY(walk);
    QVERIFY(!walk->hasNext());
}

QTEST_GUILESS_MAIN(FilesSuite)
#include "FilesSuite.moc"
