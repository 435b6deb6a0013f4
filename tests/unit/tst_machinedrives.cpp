#include "../support/MachineBuilder.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineFiles.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtTest/QTest>

#include <atomic>
#include <thread>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;
using KvPlatform::MachineDrives;
using KvPlatform::MachineFiles;

namespace {

/** QSKIP without its variable arguments, which Clang takes for an extension when there are none. */
void skip(const char *reason)
{
    QTest::qSkip(reason, __FILE__, __LINE__);
}

/** Makes a symbolic link; false where the host has none. Windows has only shell links for QFile::link. */
bool makeLink(const QString &target, const QString &path)
{
#ifdef Q_OS_UNIX
    return QFile::link(target, path);
#else
    Q_UNUSED(target);
    Q_UNUSED(path);
    return false;
#endif
}

} // namespace

class TestMachineDrives : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void finds_data();
    void finds();
    void findsNothing_data();
    void findsNothing();
    void exactNameGoesFirst();
    void hostPathsAreUntouched();
    void missingPathsLeadNowhere();
    void seesChanges();
    void foldersThatChangeIdentity();
    void symbolicLinks();
    void pipesAreNoFiles();
    void executable_data();
    void executable();
    void walk();
    void walkOfHostFolder();
    void walkSkipsLinkedFolders();
    void deepTree();
    void manyMissingNames();
    void manyThreads();

private:
    static QStringList walked(const MachineFiles &files, const QString &folder);
};

QStringList TestMachineDrives::walked(const MachineFiles &files, const QString &folder)
{
    QStringList paths;
    const auto walk = files.walkLinks(folder);
    while (walk->hasNext())
        paths.append(walk->next());
    paths.sort();
    return paths;
}

void TestMachineDrives::finds_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("exact") << u"C:/Games/Play.exe"_s;
    QTest::newRow("native") << u"C:\\Games\\Play.exe"_s;
    QTest::newRow("other letters") << u"c:/GAMES/pLAY.EXE"_s;
    QTest::newRow("dots") << u"C:/Games/./x/..//Play.exe"_s;
    QTest::newRow("above the root") << u"C:/../../Games/Play.exe"_s;
    QTest::newRow("long path") << u"\\\\?\\C:\\Games\\Play.exe"_s;
    QTest::newRow("native prefix") << u"\\??\\C:\\Games\\Play.exe"_s;
    QTest::newRow("drive's folder") << u"C:Games/Play.exe"_s;
}

void TestMachineDrives::finds()
{
    QFETCH(QString, path);
    MachineBuilder machine;
    machine.addFile(u"C:/Games/Play.exe"_s);
    const MachineDrives drives(machine.path());
    // Where the host itself doesn't care for letter case, the path may keep the letters that were asked for.
    const QFileInfo expected(machine.hostPath(u"C:/Games/Play.exe"_s));
    QCOMPARE(QFileInfo(drives.find(path).value_or(QString())), expected);
    QCOMPARE(QFileInfo(drives.hostPath(path)), expected);
}

void TestMachineDrives::findsNothing_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << u"C:/Games/No.exe"_s;
    QTest::newRow("missing folder") << u"C:/No/Play.exe"_s;
    QTest::newRow("missing drive") << u"D:/Play.exe"_s;
    QTest::newRow("file as a folder") << u"C:/Games/Play.exe/x"_s;
    QTest::newRow("share") << u"\\\\server\\C\\Games"_s;
    QTest::newRow("share with slashes") << u"//C/Games"_s;
    QTest::newRow("long share") << u"\\\\?\\UNC\\server\\x"_s;
    QTest::newRow("no letter") << u"1:/Games"_s;
    QTest::newRow("not a drive but a file") << u"F:/"_s;
    QTest::newRow("high surrogate") << u"C:/Games/"_s + QChar(0xD800);
    QTest::newRow("low surrogate") << u"C:/"_s + QChar(0xDC00) + u"/Play.exe"_s;
    QTest::newRow("zero") << u"C:/Games/Play.exe"_s + QChar(0) + u"x"_s;
    QTest::newRow("long name") << u"C:/"_s + QString(300, u'x');
    QTest::newRow("long path") << u"C:/"_s + u"x/"_s.repeated(10000);
    QTest::newRow("facts") << u"machine.json:/"_s;
}

void TestMachineDrives::findsNothing()
{
    QFETCH(QString, path);
    MachineBuilder machine;
    machine.addFile(u"C:/Games/Play.exe"_s);
    machine.write(u"F"_s, "a file called like a drive");
    machine.writeFacts();
    const auto drives = std::make_shared<const MachineDrives>(machine.path());
    const MachineFiles files(drives);
    QVERIFY(!drives->find(path));
    QVERIFY(!files.exists(path));
    QVERIFY(!files.isExecutable(path));
    QVERIFY(!files.walkLinks(path)->hasNext());
}

void TestMachineDrives::exactNameGoesFirst()
{
    MachineBuilder machine;
    machine.addFile(u"C:/a/X.txt"_s);
    machine.addFile(u"C:/a/x.txt"_s);
    if (QDir(machine.hostPath(u"C:/a"_s)).entryList(QDir::Files).size() != 2)
        return skip("the host's names don't differ by letter case");
    const MachineDrives drives(machine.path());
    QCOMPARE(drives.find(u"C:/a/x.txt"_s).value_or(QString()), machine.hostPath(u"C:/a/x.txt"_s));
    QCOMPARE(drives.find(u"C:/a/X.txt"_s).value_or(QString()), machine.hostPath(u"C:/a/X.txt"_s));
    // Neither is exact, so that the choice must at least be the same each time.
    QCOMPARE(drives.find(u"C:/a/x.TXT"_s).value_or(QString()), machine.hostPath(u"C:/a/X.txt"_s));
}

void TestMachineDrives::hostPathsAreUntouched()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.txt"_s);
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QCOMPARE(files.hostPath(u"/no/such/../file"_s), u"/no/such/../file"_s);
    QCOMPARE(files.hostPath(QString()), QString());
    QVERIFY(!files.exists(QString()));
    QVERIFY(!files.exists(u"/no/such/file"_s));
    if (MachineDrives::isOfMachine(machine.path()))
        return skip("the host's own paths have drives");
    QVERIFY(files.exists(machine.path()));
}

void TestMachineDrives::missingPathsLeadNowhere()
{
    MachineBuilder machine;
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QVERIFY(!QFileInfo::exists(files.hostPath(u"C:/missing"_s)));
    QVERIFY(!QFileInfo::exists(files.hostPath(u"//tmp"_s)));
    const MachineFiles none(std::make_shared<const MachineDrives>(u"/no/such/machine"_s));
    QVERIFY(!none.exists(u"C:/"_s));
    QVERIFY(!QFileInfo::exists(none.hostPath(u"C:/"_s)));
}

void TestMachineDrives::seesChanges()
{
    MachineBuilder machine;
    machine.addFolder(u"C:/a"_s);
    const MachineDrives drives(machine.path());
    for (int i = 0; i < 50; ++i) {
        const QString name = u"C:/a/File%1"_s.arg(i);
        QVERIFY(!drives.find(name.toUpper()));
        machine.addFile(name);
        // No time passes between the last listing and the change.
        QVERIFY(drives.find(name.toUpper()));
        QVERIFY(QFile::remove(machine.hostPath(name)));
        QVERIFY(!drives.find(name.toUpper()));
    }
}

void TestMachineDrives::foldersThatChangeIdentity()
{
    MachineBuilder machine;
    MachineBuilder outside;
    machine.addFile(u"C:/a/b/x.txt"_s);
    outside.addFile(u"C:/b/x.txt"_s);
    const MachineDrives drives(machine.path());
    QVERIFY(drives.find(u"C:/a/b/x.txt"_s));
    const QString host = machine.hostPath(u"C:/a"_s);
    QVERIFY(QFile::rename(host, machine.hostPath(u"C:/former"_s)));
    QVERIFY(!drives.find(u"C:/a/b/x.txt"_s));
    QVERIFY(drives.find(u"C:/former/b/x.txt"_s));
    if (!makeLink(outside.hostPath(u"C:/"_s), host))
        return skip("no symbolic links");
    // The same path now leads out of the machine.
    QVERIFY(!drives.find(u"C:/a/b/x.txt"_s));
}

void TestMachineDrives::symbolicLinks()
{
    MachineBuilder machine;
    MachineBuilder outside;
    machine.addFile(u"D:/real/x.txt"_s);
    machine.addFolder(u"C:/"_s);
    outside.addFile(u"C:/secret.txt"_s);
    const auto link = [&machine](const QString &target, const QString &path) {
        return makeLink(target, machine.hostPath(path));
    };
    if (!link(machine.hostPath(u"D:/real"_s), u"C:/inside"_s))
        return skip("no symbolic links");
    QVERIFY(link(outside.hostPath(u"C:/"_s), u"C:/outside"_s));
    QVERIFY(link(outside.hostPath(u"C:/secret.txt"_s), u"C:/secret.txt"_s));
    QVERIFY(link(u"."_s, u"C:/self"_s));
    QVERIFY(link(u"b"_s, u"C:/a"_s));
    QVERIFY(link(u"a"_s, u"C:/b"_s));
    QVERIFY(link(machine.path() + u"-sibling"_s, u"C:/sibling"_s));
    QVERIFY(QDir().mkpath(machine.path() + u"-sibling"_s));
    const MachineDrives drives(machine.path());
    QVERIFY(drives.find(u"c:/INSIDE/X.txt"_s));
    QVERIFY(drives.find(u"C:/self/self/inside/x.txt"_s));
    QVERIFY(!drives.find(u"C:/outside"_s));
    QVERIFY(!drives.find(u"C:/outside/secret.txt"_s));
    QVERIFY(!drives.find(u"C:/secret.txt"_s));
    QVERIFY(!drives.find(u"C:/SECRET.txt"_s));
    QVERIFY(!drives.find(u"C:/a"_s));
    QVERIFY(!drives.find(u"C:/a/x"_s));
    QVERIFY(!drives.find(u"C:/sibling"_s));
    QVERIFY(QDir().rmdir(machine.path() + u"-sibling"_s));
}

void TestMachineDrives::pipesAreNoFiles()
{
#ifdef Q_OS_UNIX
    MachineBuilder machine;
    machine.addFile(u"C:/Steam/steam.exe"_s, "program");
    QCOMPARE(::mkfifo(QFile::encodeName(machine.hostPath(u"C:/Steam/pipe"_s)).constData(), 0600), 0);
    QVERIFY(makeLink(machine.hostPath(u"C:/Steam/pipe"_s), machine.hostPath(u"C:/Steam/link"_s)));
    const auto drives = std::make_shared<const MachineDrives>(machine.path());
    const MachineFiles files(drives);
    for (const QString &path : {u"C:/Steam/pipe"_s, u"c:/steam/PIPE"_s, u"C:/Steam/link"_s}) {
        QVERIFY(!files.exists(path));
        QFile file(files.hostPath(path));
        QVERIFY(!file.open(QIODevice::ReadOnly));
    }
    QVERIFY(files.exists(u"C:/Steam/steam.exe"_s));
#else
    skip("no pipes among the files");
#endif
}

void TestMachineDrives::executable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("expected");
    for (const char *suffix : {"exe", "com", "bat", "cmd", "pif", "scr", "EXE", "Cmd"})
        QTest::newRow(suffix) << u"x."_s + QString::fromLatin1(suffix) << true;
    for (const char *name : {"x", "x.txt", "exe", "x.exe.lnk", "x.msi", "xexe"})
        QTest::newRow(name) << QString::fromLatin1(name) << false;
}

void TestMachineDrives::executable()
{
    QFETCH(QString, name);
    MachineBuilder machine;
    machine.addFile(u"C:/"_s + name);
    machine.addFolder(u"C:/folder/"_s + name);
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QTEST(files.isExecutable(u"C:/"_s + name), "expected");
    QVERIFY(!files.isExecutable(u"C:/folder/"_s + name));
    QVERIFY(!files.isExecutable(u"C:/missing/"_s + name));
}

void TestMachineDrives::walk()
{
    MachineBuilder machine;
    for (const char *name : {"a.lnk", "B.LNK", ".hidden.lnk", ".dots/c.lnk", "x/y/z/d.Lnk", "e.lnk.txt", "lnk", ".lnk"})
        machine.addFile(u"C:/Start/"_s + QString::fromLatin1(name));
    machine.addFolder(u"C:/Start/folder.lnk"_s);
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QStringList expected;
    for (const char *name : {".dots/c.lnk", ".hidden.lnk", ".lnk", "B.LNK", "a.lnk", "x/y/z/d.Lnk"})
        expected.append(u"c:/START/"_s + QString::fromLatin1(name));
    QCOMPARE(walked(files, u"c:\\START"_s), expected);
    QCOMPARE(walked(files, u"c:/START/"_s), expected);
    QCOMPARE(walked(files, u"C:/"_s).size(), expected.size());
    QCOMPARE(walked(files, u"C:/"_s).last(), u"C:/Start/x/y/z/d.Lnk"_s);
    QVERIFY(walked(files, u"C:/Start/a.lnk"_s).isEmpty());
    QVERIFY(walked(files, QString()).isEmpty());
}

void TestMachineDrives::walkOfHostFolder()
{
    MachineBuilder machine;
    if (MachineDrives::isOfMachine(machine.path()))
        return skip("the host's own paths have drives");
    machine.addFile(u"C:/a/b.lnk"_s);
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    const QString folder = machine.hostPath(u"C:/a"_s);
    QCOMPARE(walked(files, folder), QStringList{folder + u"/b.lnk"_s});
}

void TestMachineDrives::walkSkipsLinkedFolders()
{
    MachineBuilder machine;
    MachineBuilder outside;
    outside.addFile(u"C:/out.lnk"_s);
    machine.addFile(u"C:/a/b.lnk"_s);
    if (!makeLink(u".."_s, machine.hostPath(u"C:/a/loop"_s)))
        return skip("no symbolic links");
    QVERIFY(makeLink(u"b.lnk"_s, machine.hostPath(u"C:/a/again.lnk"_s)));
    QVERIFY(makeLink(u"gone"_s, machine.hostPath(u"C:/a/dangling.lnk"_s)));
    QVERIFY(makeLink(outside.hostPath(u"C:/out.lnk"_s), machine.hostPath(u"C:/a/out.lnk"_s)));
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QCOMPARE(walked(files, u"C:/"_s), (QStringList{u"C:/a/again.lnk"_s, u"C:/a/b.lnk"_s}));
}

void TestMachineDrives::deepTree()
{
#ifdef Q_OS_UNIX
    // More than the host can express in one path.
    constexpr int Depth = 2500;
    MachineBuilder machine;
    machine.addFile(u"C:/d/top.lnk"_s);
    int folder = ::open(QFile::encodeName(machine.hostPath(u"C:/d"_s)).constData(), O_RDONLY | O_DIRECTORY);
    QVERIFY(folder >= 0);
    const auto step = [&folder](const char *name) {
        const int next = ::openat(folder, name, O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
        return next >= 0;
    };
    int made = 0;
    while (made < Depth && ::mkdirat(folder, "d", 0700) == 0 && step("d"))
        ++made;
    const MachineFiles files(std::make_shared<const MachineDrives>(machine.path()));
    QElapsedTimer timer;
    timer.start();
    const QStringList found = walked(files, u"C:/d"_s);
    const bool isFound = files.exists(u"C:"_s + u"/d"_s.repeated(Depth));
    const qint64 elapsed = timer.elapsed();
    // No path reaches the lower levels, not even that of the folder's own removal.
    for (int i = 0; i < made && step(".."); ++i)
        ::unlinkat(folder, "d", AT_REMOVEDIR);
    ::close(folder);
    QCOMPARE(made, Depth);
    QCOMPARE(found, QStringList{u"C:/d/top.lnk"_s});
    QVERIFY(!isFound);
    QVERIFY2(elapsed < 20000, qPrintable(QString::number(elapsed)));
#else
    skip("needs folders relative to an open one");
#endif
}

void TestMachineDrives::manyMissingNames()
{
    constexpr int Files = 3000;
    MachineBuilder machine;
    for (int i = 0; i < Files; ++i)
        machine.addFile(u"C:/big/file%1.txt"_s.arg(i));
    // Such a host may itself read the folder for each name, and how fast it is about that is not ours to test.
    if (QFile::exists(machine.hostPath(u"C:/BIG/FILE0.TXT"_s)))
        return skip("the host's names don't differ by letter case");
    const MachineDrives drives(machine.path());
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 10 * Files; ++i)
        QVERIFY(!drives.find(u"C:/big/missing%1.txt"_s.arg(i)));
    for (int i = 0; i < Files; ++i)
        QVERIFY(drives.find(u"C:/BIG/FILE%1.TXT"_s.arg(i)));
    // A listing for each name would read 99 million entries.
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

void TestMachineDrives::manyThreads()
{
    MachineBuilder machine;
    for (int i = 0; i < 20; ++i)
        machine.addFile(u"C:/Folder%1/File.txt"_s.arg(i));
    const MachineDrives drives(machine.path());
    std::atomic<int> found = 0;
    const auto look = [&drives, &found] {
        for (int i = 0; i < 400; ++i) {
            found += drives.find(u"C:/folder%1/FILE.txt"_s.arg(i % 20)) ? 1 : 0;
            found += drives.find(u"C:/folder%1/missing"_s.arg(i % 20)) ? 1 : 0;
        }
    };
    std::thread one(look);
    std::thread two(look);
    for (int i = 0; i < 50; ++i)
        machine.addFile(u"C:/Folder%1/New%2.txt"_s.arg(i % 20).arg(i));
    one.join();
    two.join();
    QCOMPARE(found.load(), 800);
}

QTEST_GUILESS_MAIN(TestMachineDrives)
#include "tst_machinedrives.moc"
