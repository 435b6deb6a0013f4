#include "../support/LauncherMachine.h"
#include "KvRiotAppUtil.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

const QString Store = u"HKEY_CURRENT_USER\\System\\GameConfigStore\\Children\\"_s;
const QString NameCache =
    u"HKEY_CURRENT_USER\\Software\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\Shell\\MuiCache"_s;
const QString Separator = u"[KvRiotAppUtil] ============================================="_s;

} // namespace

class tst_KvRiotAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_machine.reset(); }

    void withoutEntriesThereAreNoGames();
    void onlyTheUsersEntriesCount();
    void executableComesFromTheStore();
    void firstMatchInTheStoreWins();
    void storeIsComparedWithCase();
    void storeGoesBeforeTheKnownList();
    void nameCacheIsCutBehindTheLastSuffix_data();
    void nameCacheIsCutBehindTheLastSuffix();
    void nameCacheEntriesWithoutSuffixArePassedOver();
    void knownListIsTheLastResort_data();
    void knownListIsTheLastResort();
    void emptyLocationTakesTheFirstOfTheStore();
    void emptyLocationWithAnEmptyStoreEntry();
    void nothingKnownGivesAnEmptyExecutable();
    void settingsHoldWhatTheyShould();
    void linesAreLoggedInOrder();
    void pathByLocationIsGivenAsItStands();

private:
    void addGame(const QString &name, const QString &location)
    {
        m_machine->addEntry(name, u"Riot Games, Inc"_s, name, location, u"C:\\Riot Games\\icon.ico"_s,
                            LauncherMachine::userUninstall());
    }
    void addToStore(const QString &child, const QString &path)
    {
        m_machine->addKey(Store + child, {{u"MatchedExeFullPath"_s, path}});
    }
    QString scannedExecutable()
    {
        KvRiotAppUtil scanner;
        m_machine->scan(scanner);
        return m_machine->executables().join(u';');
    }

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvRiotAppUtil::init()
{
    m_machine = std::make_unique<LauncherMachine>();
    m_machine->addKnown(KvGameAppInfo::WeGame, u"VALORANT"_s, u"wrong.exe"_s);
    m_machine->addKnown(KvGameAppInfo::Riot, u"VALORANT"_s, u"ShooterGame/Binaries/Win64/V.exe"_s);
    m_machine->addKnown(KvGameAppInfo::Riot, u"League of Legends"_s, u"Game/League of Legends.exe"_s);
}

void tst_KvRiotAppUtil::withoutEntriesThereAreNoGames()
{
    QCOMPARE(scannedExecutable(), QString());
    QCOMPARE(m_machine->debugs, (QStringList{u"[KvRiotAppUtil] getInstalledRiotApps"_s, Separator}));
}

void tst_KvRiotAppUtil::onlyTheUsersEntriesCount()
{
    m_machine->addEntry(u"A"_s, u"Riot Games"_s, u"Machine"_s, u"C:\\G"_s, u"C:\\G\\g.exe"_s);
    addGame(u"User"_s, u"C:\\U"_s);
    m_machine->addEntry(u"B"_s, u"riot games"_s, u"Other case"_s, u"C:\\G"_s, u"C:\\g.exe"_s,
                        LauncherMachine::userUninstall());
    scannedExecutable();
    QCOMPARE(m_machine->names(), QStringList{u"User"_s});
}

void tst_KvRiotAppUtil::executableComesFromTheStore()
{
    addGame(u"Game"_s, u"C:/Riot Games/Game"_s);
    addToStore(u"1"_s, u"C:\\Other\\o.exe"_s);
    addToStore(u"2"_s, u"C:\\Riot Games\\Game\\live\\g.exe"_s);
    QCOMPARE(scannedExecutable(), u"C:/Riot Games/Game/live/g.exe"_s);
    QVERIFY(m_machine->debugs.contains(
        u"[KvRiotAppUtil] ExecutableFullPath found  \"C:\\\\Riot Games\\\\Game\\\\live\\\\g.exe\""_s));
}

void tst_KvRiotAppUtil::firstMatchInTheStoreWins()
{
    addGame(u"Game"_s, u"C:\\Riot Games\\Game"_s);
    addToStore(u"b"_s, u"C:\\Riot Games\\Game\\g.exe"_s);
    addToStore(u"a"_s, u"C:\\Riot Games\\Game\\helper.txt"_s);
    QCOMPARE(scannedExecutable(), u"C:/Riot Games/Game/helper.txt"_s);
}

void tst_KvRiotAppUtil::storeIsComparedWithCase()
{
    addGame(u"Game"_s, u"C:\\Riot Games\\Game"_s);
    addToStore(u"1"_s, u"C:\\RIOT GAMES\\Game\\store.exe"_s);
    // Values in forward slashes aren't found either: the store holds backslashes.
    addToStore(u"2"_s, u"C:/Riot Games/Game/store.exe"_s);
    m_machine->addKey(NameCache, {{u"C:\\Riot Games\\Game\\cache.exe.FriendlyAppName"_s, u"Game"_s}});
    QCOMPARE(scannedExecutable(), u"C:/Riot Games/Game/cache.exe"_s);
    QVERIFY(m_machine->debugs.filter(u"ExecutableFullPath found "_s).join(QString()).contains(u"from muicache: "));
}

void tst_KvRiotAppUtil::storeGoesBeforeTheKnownList()
{
    addGame(u"VALORANT"_s, u"C:\\Riot Games\\VALORANT"_s);
    addToStore(u"1"_s, u"C:\\Riot Games\\VALORANT\\live\\g.exe"_s);
    QCOMPARE(scannedExecutable(), u"C:/Riot Games/VALORANT/live/g.exe"_s);
    QCOMPARE(m_machine->debugs.filter(u"preload"_s), QStringList());
}

void tst_KvRiotAppUtil::nameCacheIsCutBehindTheLastSuffix_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("executable");
    QTest::newRow("friendly name") << u"C:\\R\\Game\\g.exe.FriendlyAppName"_s << u"C:/R/Game/g.exe"_s;
    QTest::newRow("company") << u"C:\\R\\Game\\g.exe.ApplicationCompany"_s << u"C:/R/Game/g.exe"_s;
    QTest::newRow("no suffix behind it") << u"C:\\R\\Game\\g.exe"_s << u"C:/R/Game/g.exe"_s;
    QTest::newRow("twice") << u"C:\\R\\Game\\g.exe\\h.exe.FriendlyAppName"_s << u"C:/R/Game/g.exe/h.exe"_s;
    QTest::newRow("capitals") << u"C:\\R\\Game\\g.EXE.FriendlyAppName"_s << QString();
    QTest::newRow("other case of the folder") << u"C:\\r\\Game\\g.exe.FriendlyAppName"_s << QString();
}

void tst_KvRiotAppUtil::nameCacheIsCutBehindTheLastSuffix()
{
    QFETCH(const QString, name);
    QFETCH(const QString, executable);
    addGame(u"Game"_s, u"C:\\R\\Game"_s);
    m_machine->addKey(NameCache, {{name, u"Text"_s}});
    QCOMPARE(scannedExecutable(), executable);
}

void tst_KvRiotAppUtil::nameCacheEntriesWithoutSuffixArePassedOver()
{
    addGame(u"Game"_s, u"C:\\R\\Game"_s);
    m_machine->addKey(NameCache, {{u"C:\\R\\Game\\a.dll,-1"_s, u"Text"_s},
                                  {u"C:\\R\\Game\\b.exe.FriendlyAppName"_s, u"Text"_s},
                                  {u"C:\\R\\Game\\c.exe.FriendlyAppName"_s, u"Text"_s}});
    QCOMPARE(scannedExecutable(), u"C:/R/Game/b.exe"_s);
}

void tst_KvRiotAppUtil::knownListIsTheLastResort_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("executable");
    QTest::newRow("by name") << u"League of Legends"_s << u"D:\\Lol\\"_s << u"D:/Lol//Game/League of Legends.exe"_s;
    QTest::newRow("by folder") << u"VALORANT (PBE)"_s << u"D:\\Riot\\VALORANT"_s
                               << u"D:/Riot/VALORANT/ShooterGame/Binaries/Win64/V.exe"_s;
    QTest::newRow("first that fits") << u"League of Legends"_s << u"D:\\VALORANT"_s
                                     << u"D:/VALORANT/ShooterGame/Binaries/Win64/V.exe"_s;
    QTest::newRow("other case") << u"Valorant"_s << u"D:\\Riot\\Valorant"_s << QString();
}

void tst_KvRiotAppUtil::knownListIsTheLastResort()
{
    QFETCH(const QString, name);
    QFETCH(const QString, location);
    QFETCH(const QString, executable);
    addGame(name, location);
    QCOMPARE(scannedExecutable(), executable);
    QCOMPARE(m_machine->debugs.filter(u"[KvRiotAppUtil] load executable from preload:  \""_s).size(),
             executable.isEmpty() ? 0 : 1);
}

void tst_KvRiotAppUtil::emptyLocationTakesTheFirstOfTheStore()
{
    addGame(u"Game"_s, QString());
    addToStore(u"1"_s, u"C:\\Any\\any.exe"_s);
    addToStore(u"2"_s, u"C:\\Other\\other.exe"_s);
    QCOMPARE(scannedExecutable(), u"C:/Any/any.exe"_s);
}

void tst_KvRiotAppUtil::emptyLocationWithAnEmptyStoreEntry()
{
    addGame(u"Game"_s, QString());
    m_machine->addKey(Store + u"1"_s);
    addToStore(u"2"_s, u"C:\\Other\\other.exe"_s);
    m_machine->addKey(NameCache, {{u"C:\\R\\Game\\g.exe.FriendlyAppName"_s, u"Text"_s}});
    QCOMPARE(scannedExecutable(), QString());
    QCOMPARE(m_machine->debugs.filter(u"found"_s), QStringList{u"[KvRiotAppUtil] ExecutableFullPath found  \"\""_s});
}

void tst_KvRiotAppUtil::nothingKnownGivesAnEmptyExecutable()
{
    m_machine->addKnown(KvGameAppInfo::Riot, u"Empty"_s, QString());
    addGame(u"Empty"_s, u"C:\\R\\E"_s);
    addGame(u"Unknown"_s, u"C:\\R\\U"_s);
    QCOMPARE(scannedExecutable(), u"C:/R/E/;"_s);
    QCOMPARE(m_machine->names(), (QStringList{u"Empty"_s, u"Unknown"_s}));
    QCOMPARE(m_machine->found.back()->icon(), QString());
    QCOMPARE(m_machine->found.back()->executableList(), QStringList{QString()});
}

void tst_KvRiotAppUtil::settingsHoldWhatTheyShould()
{
    m_machine->addKnown(KvGameAppInfo::Riot, u"Flagged"_s, u"f.exe"_s, true);
    addGame(u"Flagged"_s, u"C:\\R\\F"_s);
    scannedExecutable();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.displayName(), u"Flagged"_s);
    QCOMPARE(game.executable(), u"C:/R/F/f.exe"_s);
    QCOMPARE(game.fileName(), u"f.exe"_s);
    QCOMPARE(game.icon(), u"image://app/C:/R/F/f.exe"_s);
    QCOMPARE(game.platform(), KvAppSetting::None);
    QVERIFY(!game.ignoreExeFullPath());
}

void tst_KvRiotAppUtil::linesAreLoggedInOrder()
{
    addGame(u"League of Legends"_s, u"C:\\R\\L"_s);
    scannedExecutable();
    QCOMPARE(m_machine->debugs,
             (QStringList{u"[KvRiotAppUtil] getInstalledRiotApps"_s, Separator,
                          u"[KvRiotAppUtil] load executable from preload:  \"Game/League of Legends.exe\""_s,
                          u"[KvRiotAppUtil] displayName  \"League of Legends\""_s,
                          u"[KvRiotAppUtil] installLocation  \"C:/R/L\""_s,
                          u"[KvRiotAppUtil] displayIcon  \"C:/Riot Games/icon.ico\""_s,
                          u"[KvRiotAppUtil] executable  \"C:/R/L/Game/League of Legends.exe\""_s, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvRiotAppUtil::pathByLocationIsGivenAsItStands()
{
    addToStore(u"1"_s, u"C:\\R\\Game\\g.exe"_s);
    const std::unique_ptr<ScopedMachine> scope = m_machine->enter();
    const LogCatcher log;
    QCOMPARE(KvRiotAppUtil().getExecutablePathByInstallLocation(u"C:/R/Game"_s), u"C:\\R\\Game\\g.exe"_s);
    QCOMPARE(KvRiotAppUtil().getExecutablePathByInstallLocation(u"C:/R/Nothing"_s), QString());
    QCOMPARE(log.texts(QtDebugMsg),
             QStringList{u"[KvRiotAppUtil] ExecutableFullPath found  \"C:\\\\R\\\\Game\\\\g.exe\""_s});
}

QTEST_GUILESS_MAIN(tst_KvRiotAppUtil)
#include "tst_kvriotapputil.moc"
