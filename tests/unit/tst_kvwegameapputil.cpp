#include "../support/LauncherMachine.h"
#include "KvWeGameAppUtil.h"

#include <QtTest/QTest>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QString Tencent = u"HKEY_CURRENT_USER\\SOFTWARE\\Tencent\\"_s;
const QString Store = u"HKEY_CURRENT_USER\\System\\GameConfigStore\\Children\\"_s;
const QString NameCache =
    u"HKEY_CURRENT_USER\\Software\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\Shell\\MuiCache"_s;
const QString Separator = u"[KvWeGameAppUtil] ============================================="_s;

} // namespace

class tst_KvWeGameAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine = std::make_unique<LauncherMachine>(); }
    void cleanup() { m_machine.reset(); }

    void withoutKeysThereAreNoGames();
    void folderComesFromEitherValue_data();
    void folderComesFromEitherValue();
    void oneOfTwoGames();
    void bothGamesStandInOrder();
    void knownListOverridesWhatWindowsRecorded();
    void knownListFitsByNameOnly();
    void recordedExecutableIsUsedWithoutAKnownOne();
    void nothingKnownGivesAnEmptyExecutable();
    void settingsHoldWhatTheyShould();
    void linesAreLoggedInOrder();

    void windowsOfWeGame_data();
    void windowsOfWeGame();
    void runningGame_data();
    void runningGame();
    void titlesFromManyThreads();

private:
    QStringList scannedExecutables()
    {
        KvWeGameAppUtil scanner;
        m_machine->scan(scanner, u"C:/ignored.exe"_s);
        return m_machine->executables();
    }

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvWeGameAppUtil::withoutKeysThereAreNoGames()
{
    QCOMPARE(scannedExecutables(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{u"[KvWeGameAppUtil] getInstalledWeGameApps"_s, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvWeGameAppUtil::folderComesFromEitherValue_data()
{
    QTest::addColumn<LauncherMachine::Values>("values");
    QTest::addColumn<QString>("folder");
    QTest::newRow("location") << LauncherMachine::Values{{u"InstallLocation"_s, u"D:\\A"_s}} << u"D:/A"_s;
    QTest::newRow("path") << LauncherMachine::Values{{u"InstallPath"_s, u"D:\\B"_s}} << u"D:/B"_s;
    QTest::newRow("empty location") << LauncherMachine::Values{{u"InstallLocation"_s, QString()},
                                                               {u"InstallPath"_s, u"\"D:\\B\""_s}}
                                    << u"D:/B"_s;
    QTest::newRow("nothing but quotes") << LauncherMachine::Values{{u"InstallLocation"_s, u"\"\""_s},
                                                                   {u"InstallPath"_s, u"D:\\B"_s}}
                                        << u"D:/B"_s;
    QTest::newRow("both") << LauncherMachine::Values{{u"InstallLocation"_s, u"\"D:\\A\""_s},
                                                     {u"InstallPath"_s, u"D:\\B"_s}}
                          << u"D:/A"_s;
}

void tst_KvWeGameAppUtil::folderComesFromEitherValue()
{
    QFETCH(const LauncherMachine::Values, values);
    QFETCH(const QString, folder);
    m_machine->addKey(Tencent + u"LOL"_s, values);
    m_machine->addKnown(KvGameAppInfo::WeGame, u"League of Legends"_s, u"g.exe"_s);
    QCOMPARE(scannedExecutables(), QStringList{folder + u"/g.exe"_s});
}

void tst_KvWeGameAppUtil::oneOfTwoGames()
{
    m_machine->addKey(Tencent + u"valorant.live"_s);
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    scannedExecutables();
    QCOMPARE(m_machine->names(), QStringList{u"League of Legends"_s});
}

void tst_KvWeGameAppUtil::bothGamesStandInOrder()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    m_machine->addKey(Tencent + u"valorant.live"_s, {{u"InstallLocation"_s, u"D:\\V"_s}});
    scannedExecutables();
    QCOMPARE(m_machine->names(), (QStringList{u"VALORANT"_s, u"League of Legends"_s}));
}

void tst_KvWeGameAppUtil::knownListOverridesWhatWindowsRecorded()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    m_machine->addKey(Store + u"1"_s, {{u"MatchedExeFullPath"_s, u"D:\\L\\seen.exe"_s}});
    m_machine->addKnown(KvGameAppInfo::WeGame, u"League of Legends"_s, u"Game\\l.exe"_s);
    m_machine->addKnown(KvGameAppInfo::WeGame, u"League of Legends"_s, u"second.exe"_s);
    QCOMPARE(scannedExecutables(), QStringList{u"D:/L/Game/l.exe"_s});
    QCOMPARE(m_machine->debugs.filter(u"[KvWeGameAppUtil] ExecutableFullPath found  \"D:\\\\L"_s).size(), 1);
}

void tst_KvWeGameAppUtil::knownListFitsByNameOnly()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\VALORANT"_s}});
    m_machine->addKnown(KvGameAppInfo::WeGame, u"VALORANT"_s, u"v.exe"_s);
    m_machine->addKnown(KvGameAppInfo::Riot, u"League of Legends"_s, u"riot.exe"_s);
    QCOMPARE(scannedExecutables(), QStringList{QString()});
}

void tst_KvWeGameAppUtil::recordedExecutableIsUsedWithoutAKnownOne()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    m_machine->addKey(NameCache, {{u"D:\\L\\cached.exe.FriendlyAppName"_s, u"League"_s}});
    QCOMPARE(scannedExecutables(), QStringList{u"D:/L/cached.exe"_s});
    QVERIFY(
        m_machine->debugs.filter(u"[KvWeGameAppUtil] ExecutableFullPath found from muicache:  \"D:/L/cached.exe\""_s)
            .size() == 1);
}

void tst_KvWeGameAppUtil::nothingKnownGivesAnEmptyExecutable()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    QCOMPARE(scannedExecutables(), QStringList{QString()});
    QCOMPARE(m_machine->found.front()->icon(), QString());
}

void tst_KvWeGameAppUtil::settingsHoldWhatTheyShould()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    m_machine->addKnown(KvGameAppInfo::WeGame, u"League of Legends"_s, u"l.exe"_s, true);
    scannedExecutables();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.platform(), KvAppSetting::WeGame);
    QCOMPARE(game.executable(), u"D:/L/l.exe"_s);
    QCOMPARE(game.fileName(), u"l.exe"_s);
    QCOMPARE(game.icon(), u"image://app/D:/L/l.exe"_s);
    QVERIFY(!game.ignoreExeFullPath());
}

void tst_KvWeGameAppUtil::linesAreLoggedInOrder()
{
    m_machine->addKey(Tencent + u"LOL"_s, {{u"InstallLocation"_s, u"D:\\L"_s}});
    m_machine->addKnown(KvGameAppInfo::WeGame, u"League of Legends"_s, u"l.exe"_s);
    scannedExecutables();
    QCOMPARE(m_machine->debugs,
             (QStringList{u"[KvWeGameAppUtil] getInstalledWeGameApps"_s, Separator,
                          u"[KvWeGameAppUtil] load executable from preload:  \"l.exe\""_s,
                          u"[KvWeGameAppUtil] displayName  \"League of Legends\""_s,
                          u"[KvWeGameAppUtil] installLocation  \"D:/L\""_s, u"[KvWeGameAppUtil] displayIcon  \"\""_s,
                          u"[KvWeGameAppUtil] executable  \"D:/L/l.exe\""_s, Separator}));
}

void tst_KvWeGameAppUtil::windowsOfWeGame_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("isWeGame");
    QTest::newRow("launcher") << u"WeGame"_s << true;
    QTest::newRow("longer title") << u"My WeGame window"_s << true;
    QTest::newRow("game") << u"VALORANT"_s << true;
    QTest::newRow("game in a longer title") << u"Welcome to League of Legends!"_s << true;
    QTest::newRow("game in lower case") << u"valorant"_s << false;
    QTest::newRow("launcher in lower case") << u"wegame"_s << false;
    QTest::newRow("another") << u"Notepad"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_KvWeGameAppUtil::windowsOfWeGame()
{
    QFETCH(const QString, title);
    QFETCH(const bool, isWeGame);
    QCOMPARE(KvWeGameAppUtil::isWeGameAppWindow(title), isWeGame);
}

void tst_KvWeGameAppUtil::runningGame_data()
{
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QList<bool>>("flags");
    QTest::addColumn<QString>("running");
    const QString launcher = u"WeGame"_s;
    QTest::newRow("nothing") << QStringList() << QList<bool>() << QString();
    QTest::newRow("no launcher") << QStringList{u"VALORANT"_s} << QList<bool>{true} << QString();
    QTest::newRow("launcher in a longer title")
        << QStringList{u"WeGame 5"_s, u"VALORANT"_s} << QList<bool>{true, true} << QString();
    QTest::newRow("flag is false") << QStringList{launcher, u"VALORANT"_s} << QList<bool>{true, false} << QString();
    QTest::newRow("whole title") << QStringList{u"  VALORANT (live) "_s, launcher} << QList<bool>{true, false}
                                 << u"  VALORANT (live) "_s;
    QTest::newRow("first of two") << QStringList{launcher, u"League of Legends"_s, u"VALORANT"_s}
                                  << QList<bool>{true, true, true} << u"League of Legends"_s;
    QTest::newRow("first with a flag") << QStringList{launcher, u"League of Legends"_s, u"VALORANT"_s}
                                       << QList<bool>{true, false, true} << u"VALORANT"_s;
    QTest::newRow("both names in one") << QStringList{launcher, u"League of Legends, VALORANT"_s, u"VALORANT"_s}
                                       << QList<bool>{false, true, true} << u"League of Legends, VALORANT"_s;
    QTest::newRow("launcher only") << QStringList{launcher} << QList<bool>{true} << QString();
    QTest::newRow("missing flags") << QStringList{launcher, u"VALORANT"_s} << QList<bool>() << QString();
}

void tst_KvWeGameAppUtil::runningGame()
{
    QFETCH(const QStringList, titles);
    QFETCH(const QList<bool>, flags);
    QFETCH(const QString, running);
    QCOMPARE(KvWeGameAppUtil::getRunningWeGameAppTitle(titles, flags), running);
}

void tst_KvWeGameAppUtil::titlesFromManyThreads()
{
    std::vector<std::thread> threads;
    std::vector<int> answers(8, 0);
    for (int &answer : answers)
        threads.emplace_back([&answer] { answer = KvWeGameAppUtil::isWeGameAppWindow(u"VALORANT"_s) ? 1 : 0; });
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(answers, std::vector<int>(8, 1));
}

QTEST_GUILESS_MAIN(tst_KvWeGameAppUtil)
#include "tst_kvwegameapputil.moc"
