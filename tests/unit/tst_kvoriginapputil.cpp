#include "../support/LauncherMachine.h"
#include "KvOriginAppUtil.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

const QString Separator = u"[KvOriginAppUtil] ============================================="_s;

} // namespace

class tst_KvOriginAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine = std::make_unique<LauncherMachine>(); }
    void cleanup() { m_machine.reset(); }

    void withoutEntriesThereAreNoGames();
    void launcherItselfIsLeftOut();
    void entryWithoutFolderIsLeftOut();
    void iconStandsForTheExecutable();
    void executableComesFromTheSettings();
    void twoFilesGiveTwoExecutables();
    void fileNamesThatCount_data();
    void fileNamesThatCount();
    void filesThatTellNothing_data();
    void filesThatTellNothing();
    void executablesAreJoinedAndCleaned_data();
    void executablesAreJoinedAndCleaned();
    void gameWithoutFolderInheritsTheLastList();
    void emptyFolderEndsTheInheritance();
    void skippedEntryDoesNotEndTheInheritance();
    void flagComesFromTheKnownGame_data();
    void flagComesFromTheKnownGame();
    void emptyIconGivesEmptyTexts();
    void linesAreLoggedInOrder();
    void unreadableFiles();

private:
    void addGame(const QString &key, const QString &name, const QString &location,
                 const QString &icon = u"C:\\Icons\\game.exe"_s)
    {
        m_machine->addEntry(key, u"Electronic Arts"_s, name, location, icon);
    }
    void addSettings(const QString &location, const QString &name, const QByteArray &json)
    {
        m_machine->files.addFile(location + u"/EasyAntiCheat/Launcher/"_s + name, json);
    }
    void scan()
    {
        KvOriginAppUtil scanner;
        m_machine->scan(scanner, u"C:/ignored"_s);
    }

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvOriginAppUtil::withoutEntriesThereAreNoGames()
{
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{u"[KvOriginAppUtil] getInstalledOriginApps"_s, Separator}));
}

void tst_KvOriginAppUtil::launcherItselfIsLeftOut()
{
    addGame(u"A"_s, u"Origin"_s, u"C:\\Origin"_s, u"C:\\Origin\\OriginUninstall.exe"_s);
    addGame(u"B"_s, u"Other case"_s, u"C:\\Origin"_s, u"C:\\Origin\\originuninstall.exe"_s);
    m_machine->addEntry(u"C"_s, u"Electronic Arts, Inc."_s, u"Longer"_s, u"C:\\L"_s, u"C:\\L\\l.exe"_s);
    m_machine->addEntry(u"D"_s, u"electronic arts"_s, u"Lower"_s, u"C:\\L"_s, u"C:\\L\\l.exe"_s);
    scan();
    QCOMPARE(m_machine->names(), (QStringList{u"Other case"_s, u"Longer"_s}));
}

void tst_KvOriginAppUtil::entryWithoutFolderIsLeftOut()
{
    addGame(u"A"_s, u"No folder"_s, QString());
    addGame(u"B"_s, u"Nothing but quotes"_s, u"\"\""_s);
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs.size(), 2);
}

void tst_KvOriginAppUtil::iconStandsForTheExecutable()
{
    addGame(u"A"_s, u"Game"_s, u"C:\\Games\\Game\\"_s, u"\"C:\\Games\\Game\\g.exe\""_s);
    scan();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executableList(), QStringList{u"C:/Games/Game/g.exe"_s});
    QCOMPARE(game.fileName(), u"g.exe"_s);
    QCOMPARE(game.icon(), u"image://app/C:/Games/Game/g.exe"_s);
    QCOMPARE(game.platform(), KvAppSetting::None);
    QVERIFY(!game.ignoreExeFullPath());
    QVERIFY(!game.parent());
}

void tst_KvOriginAppUtil::executableComesFromTheSettings()
{
    addGame(u"A"_s, u"Apex Legends"_s, u"C:\\Games\\Apex"_s);
    addSettings(u"C:/Games/Apex"_s, u"Settings.json"_s, R"({"title": "Apex", "executable": "r5apex.exe"})");
    scan();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executableList(), QStringList{u"C:/Games/Apex/r5apex.exe"_s});
    QCOMPARE(game.fileName(), QString());
    // The icon is the entry's own.
    QCOMPARE(game.icon(), u"image://app/C:/Icons/game.exe"_s);
}

void tst_KvOriginAppUtil::twoFilesGiveTwoExecutables()
{
    addGame(u"A"_s, u"Game"_s, u"C:\\G"_s);
    addSettings(u"C:/G"_s, u"b.json"_s, R"({"executable": "b.exe"})");
    addSettings(u"C:/G"_s, u"A.json"_s, R"({"executable": "a.exe"})");
    addSettings(u"C:/G"_s, u"folder.json/x.json"_s, R"({"executable": "below.exe"})");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/G/a.exe|C:/G/b.exe"_s});
    QCOMPARE(m_machine->found.front()->executable(), u"C:/G/a.exe"_s);
    QCOMPARE(m_machine->debugs.filter(u"jsonPath"_s),
             (QStringList{u"[KvOriginAppUtil] jsonPath:  \"A.json\""_s, u"[KvOriginAppUtil] jsonPath:  \"b.json\""_s}));
}

void tst_KvOriginAppUtil::fileNamesThatCount_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("counts");
    QTest::newRow("json") << u"x.json"_s << true;
    QTest::newRow("in the middle") << u"x.json.bak"_s << true;
    QTest::newRow("longer") << u"x.jsonc"_s << true;
    QTest::newRow("capitals") << u"X.JSON"_s << false;
    QTest::newRow("other suffix") << u"x.txt"_s << false;
}

void tst_KvOriginAppUtil::fileNamesThatCount()
{
    QFETCH(const QString, name);
    QFETCH(const bool, counts);
    addGame(u"A"_s, u"Game"_s, u"C:\\G"_s);
    addSettings(u"C:/G"_s, name, R"({"executable": "g.exe"})");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{counts ? u"C:/G/g.exe"_s : u"C:/Icons/game.exe"_s});
    QCOMPARE(m_machine->debugs.filter(u"[KvOriginAppUtil] jsonPath:  \"%1\""_s.arg(name)).size(), 1);
}

void tst_KvOriginAppUtil::filesThatTellNothing_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("warning");
    const QString noJson = u"[KvOriginAppUtil] JsonDocument is empty. Cannot read file:  \"%1\""_s;
    QTest::newRow("empty file") << QByteArray() << QString();
    QTest::newRow("no JSON") << QByteArray("executable=g.exe") << noJson;
    QTest::newRow("nested too deeply") << QByteArray(100'000, '[') << noJson;
    QTest::newRow("list") << QByteArray("[]") << u"[KvOriginAppUtil] Document is not an object:  \"%1\""_s;
    QTest::newRow("no executable") << QByteArray("{}") << QString();
    QTest::newRow("other case of the key") << QByteArray(R"({"Executable": "g.exe"})") << QString();
    QTest::newRow("executable is no text") << QByteArray(R"({"executable": ["g.exe"]})") << QString();
    QTest::newRow("nothing but quotes") << QByteArray(R"({"executable": "\"\""})") << QString();
}

void tst_KvOriginAppUtil::filesThatTellNothing()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, warning);
    addGame(u"A"_s, u"Game"_s, u"C:\\G"_s);
    addSettings(u"C:/G"_s, u"a.json"_s, json);
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/Icons/game.exe"_s});
    QCOMPARE(m_machine->warnings,
             warning.isEmpty() ? QStringList() : QStringList{warning.arg(u"C:/G/EasyAntiCheat/Launcher/a.json"_s)});
    QCOMPARE(m_machine->debugs.filter(u"getExecutableFromAnitCheater"_s), QStringList());
    // Another file goes on.
    addSettings(u"C:/G"_s, u"b.json"_s, R"({"executable": "b.exe"})");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/G/b.exe"_s});
}

void tst_KvOriginAppUtil::executablesAreJoinedAndCleaned_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("path");
    QTest::newRow("quotes") << QByteArray(R"(\"bin/g.exe\")") << u"D:/G/bin/g.exe"_s;
    QTest::newRow("backslashes") << QByteArray(R"(bin\\g.exe)") << u"D:/G/bin/g.exe"_s;
    QTest::newRow("dots") << QByteArray("./bin/../g.exe") << u"D:/G/g.exe"_s;
    QTest::newRow("leading slash") << QByteArray("/g.exe") << u"D:/G/g.exe"_s;
    QTest::newRow("absolute") << QByteArray(R"(C:\\Other\\..\\g.exe)") << u"D:/G/C:/g.exe"_s;
    QTest::newRow("beyond the letters") << QByteArray("ゲーム.exe") << u"D:/G/ゲーム.exe"_s;
}

void tst_KvOriginAppUtil::executablesAreJoinedAndCleaned()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QString, path);
    addGame(u"A"_s, u"Game"_s, u"D:\\G"_s);
    addSettings(u"D:/G"_s, u"a.json"_s, R"({"executable": ")" + value + R"("})");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{path});
    QVERIFY(m_machine->debugs.contains(u"[KvOriginAppUtil] getExecutableFromAnitCheater:  \"%1\""_s.arg(path)));
}

void tst_KvOriginAppUtil::gameWithoutFolderInheritsTheLastList()
{
    addGame(u"A"_s, u"Before"_s, u"C:\\A"_s, u"C:\\A\\a.exe"_s);
    addGame(u"B"_s, u"With"_s, u"C:\\B"_s);
    addGame(u"C"_s, u"After"_s, u"C:\\C"_s, u"C:\\C\\c.exe"_s);
    addGame(u"D"_s, u"Last"_s, u"C:\\D"_s, u"C:\\D\\d.exe"_s);
    addSettings(u"C:/B"_s, u"a.json"_s, R"({"executable": "b.exe"})");
    scan();
    QCOMPARE(m_machine->executables(),
             (QStringList{u"C:/A/a.exe"_s, u"C:/B/b.exe"_s, u"C:/B/b.exe"_s, u"C:/B/b.exe"_s}));
    QCOMPARE(m_machine->found.back()->icon(), u"image://app/C:/D/d.exe"_s);
    // The log tells the record's own.
    QVERIFY(m_machine->debugs.contains(u"[KvOriginAppUtil] executable:  \"C:/D/d.exe\""_s));
}

void tst_KvOriginAppUtil::emptyFolderEndsTheInheritance()
{
    addGame(u"A"_s, u"With"_s, u"C:\\A"_s);
    addGame(u"B"_s, u"Empty folder"_s, u"C:\\B"_s, u"C:\\B\\b.exe"_s);
    addGame(u"C"_s, u"After"_s, u"C:\\C"_s, u"C:\\C\\c.exe"_s);
    addSettings(u"C:/A"_s, u"a.json"_s, R"({"executable": "a.exe"})");
    m_machine->files.addFolder(u"C:/B/EasyAntiCheat/Launcher"_s);
    scan();
    QCOMPARE(m_machine->executables(), (QStringList{u"C:/A/a.exe"_s, u"C:/B/b.exe"_s, u"C:/C/c.exe"_s}));
}

void tst_KvOriginAppUtil::skippedEntryDoesNotEndTheInheritance()
{
    addGame(u"A"_s, u"With"_s, u"C:\\A"_s);
    addGame(u"B"_s, u"Skipped"_s, QString());
    addGame(u"C"_s, u"After"_s, u"C:\\C"_s);
    addSettings(u"C:/A"_s, u"a.json"_s, R"({"executable": "a.exe"})");
    scan();
    QCOMPARE(m_machine->executables(), (QStringList{u"C:/A/a.exe"_s, u"C:/A/a.exe"_s}));
}

void tst_KvOriginAppUtil::flagComesFromTheKnownGame_data()
{
    QTest::addColumn<KvGameAppInfo::AppPlatform>("platform");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("flag");
    QTest::newRow("the game") << KvGameAppInfo::Origin << u"Apex Legends"_s << true;
    QTest::newRow("other case") << KvGameAppInfo::Origin << u"APEX Legends"_s << false;
    QTest::newRow("other launcher") << KvGameAppInfo::Steam << u"Apex Legends"_s << false;
}

void tst_KvOriginAppUtil::flagComesFromTheKnownGame()
{
    QFETCH(const KvGameAppInfo::AppPlatform, platform);
    QFETCH(const QString, name);
    QFETCH(const bool, flag);
    m_machine->addKnown(platform, name, QString(), true);
    m_machine->addKnown(KvGameAppInfo::Origin, u"Apex Legends"_s, QString(), false);
    addGame(u"A"_s, u"Apex Legends"_s, u"C:\\A"_s);
    scan();
    QCOMPARE(m_machine->found.front()->ignoreExeFullPath(), flag);
    QVERIFY(m_machine->debugs.contains(u"[KvOriginAppUtil] ignoreExeFullPath:  %1"_s.arg(QVariant(flag).toString())));
}

void tst_KvOriginAppUtil::emptyIconGivesEmptyTexts()
{
    addGame(u"A"_s, u"Game"_s, u"C:\\G"_s, QString());
    scan();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executable(), QString());
    QCOMPARE(game.icon(), QString());
    QVERIFY(m_machine->debugs.filter(u"executable: "_s).isEmpty());
}

void tst_KvOriginAppUtil::linesAreLoggedInOrder()
{
    addGame(u"A"_s, u"Game"_s, u"C:\\G\\"_s);
    addSettings(u"C:/G"_s, u"a.json"_s, R"({"executable": "g.exe"})");
    addSettings(u"C:/G"_s, u"b.txt"_s, "text");
    addGame(u"B"_s, u"Bare"_s, u"C:\\B"_s);
    scan();
    QCOMPARE(
        m_machine->debugs,
        (QStringList{u"[KvOriginAppUtil] getInstalledOriginApps"_s, Separator,
                     u"[KvOriginAppUtil] jsonFolder path:  \"C:/G/EasyAntiCheat/Launcher\" true"_s,
                     u"[KvOriginAppUtil] jsonPath:  \"a.json\""_s,
                     u"[KvOriginAppUtil] getExecutableFromAnitCheater:  \"C:/G/g.exe\""_s,
                     u"[KvOriginAppUtil] jsonPath:  \"b.txt\""_s, u"[KvOriginAppUtil] displayName  \"Game\""_s,
                     u"[KvOriginAppUtil] installLocation  \"C:/G/\""_s,
                     u"[KvOriginAppUtil] displayIcon  \"C:/Icons/game.exe\""_s,
                     u"[KvOriginAppUtil] executable:  \"C:/Icons/game.exe\""_s,
                     u"[KvOriginAppUtil] ignoreExeFullPath:  false"_s, Separator,
                     u"[KvOriginAppUtil] jsonFolder path:  \"C:/B/EasyAntiCheat/Launcher\" false"_s,
                     u"[KvOriginAppUtil] displayName  \"Bare\""_s, u"[KvOriginAppUtil] installLocation  \"C:/B\""_s,
                     u"[KvOriginAppUtil] displayIcon  \"C:/Icons/game.exe\""_s,
                     u"[KvOriginAppUtil] executable:  \"C:/Icons/game.exe\""_s,
                     u"[KvOriginAppUtil] ignoreExeFullPath:  false"_s, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

/** What can't be opened counts as empty. */
void tst_KvOriginAppUtil::unreadableFiles()
{
#ifdef Q_OS_UNIX
    addGame(u"A"_s, u"Game"_s, u"C:\\G"_s);
    addSettings(u"C:/G"_s, u"a.json"_s, R"({"executable": "a.exe"})");
    addSettings(u"C:/G"_s, u"b.json"_s, R"({"executable": "b.exe"})");
    const QString folder = m_machine->files.hostPath(u"C:/G/EasyAntiCheat/Launcher"_s);
    QVERIFY(QFile::link(u"/proc/self/mem"_s, folder + u"/c.json"_s));
    if (::geteuid() == 0) {
        // Root may read everything; a file that is gone does as well.
        QVERIFY(QFile::remove(folder + u"/a.json"_s));
        QVERIFY(QFile::link(u"nowhere"_s, folder + u"/a.json"_s));
    } else {
        QVERIFY(QFile::setPermissions(folder + u"/a.json"_s, QFileDevice::Permissions()));
    }
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/G/b.exe"_s});
    QCOMPARE(m_machine->warnings, QStringList());
    if (::geteuid() != 0) {
        QVERIFY(QFile::setPermissions(folder, QFileDevice::Permissions()));
        scan();
        QVERIFY(
            QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        QCOMPARE(m_machine->executables(), QStringList{u"C:/Icons/game.exe"_s});
    }
#else
    QSKIP("the host's permissions are not these here");
#endif
}

QTEST_GUILESS_MAIN(tst_KvOriginAppUtil)
#include "tst_kvoriginapputil.moc"
