#include "../support/KvProgramContextProbe.h"
#include "../support/LauncherMachine.h"
#include "../support/ObjectCount.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>
#include <QtQml/QJSEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;

namespace {

constexpr char16_t SteamFound[] = u"[KvProgramContext] steam center app found:  \"%1\"";
constexpr char16_t UbisoftFound[] = u"[KvProgramContext] ubisoft center app found:  \"%1\"";

/** What a scanner of a test finds. */
struct Game
{
    QString name;
    QString executable;
    bool ignoresPath = false;
};

/** Finds the games that it was made with. */
class FakeScanner final : public KvGameAppUtil
{
public:
    explicit FakeScanner(const QList<Game> &games)
        : m_games(games)
    {}

    QList<KvAppSetting *> getInstalledApps(const QString &path, const QList<KvGameAppInfo *> &known) override
    {
        askedPath = path;
        askedKnown = known;
        QList<KvAppSetting *> settings;
        for (const Game &game : m_games) {
            auto *const setting = new KvAppSetting;
            setting->setDisplayName(game.name);
            setting->setExecutable(game.executable);
            setting->setIgnoreExeFullPath(game.ignoresPath);
            settings.append(setting);
            made.append(setting);
        }
        return settings;
    }

    QString askedPath;
    QList<KvGameAppInfo *> askedKnown;
    QList<QPointer<KvAppSetting>> made;

private:
    QList<Game> m_games;
};

ProgramInfo *program(const QString &path, const QString &name = u"Name"_s, const QString &folder = QString())
{
    auto *const app = new ProgramInfo;
    app->setDisplayName(name);
    app->setDesktopTarget(path, true);
    app->setWorkingDir(folder);
    return app;
}

QStringList names(const QList<KvAppSetting *> &settings)
{
    QStringList texts;
    for (const KvAppSetting *const setting : settings)
        texts.append(setting->displayName());
    return texts;
}

} // namespace

/** Which of the installed programs are tools, and which games of the launchers are listed. */
class tst_Detection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void emptyCatalogue();
    void tools_data();
    void tools();
    void programsThatAreNoTools_data();
    void programsThatAreNoTools();
    void toolOfTwoLinks();
    void toolsStandInTheCataloguesOrder();
    void webAndManagedProgramsAreNoTools();
    void toolsBelongToTheCatalogue();

    void gamesThatAreListed_data();
    void gamesThatAreListed();
    void duplicates_data();
    void duplicates();
    void gamesStandInTheScannersOrder();
    void settingWithoutExecutables();
    void scannersAreAskedWithTheirPath();
    void refusedSettingsAreDeleted();

    void fixedLaunchersAlwaysRun();
    void launchersFromTheCatalogue_data();
    void launchersFromTheCatalogue();
    void gamesOfTheLaunchers();
    void signalsComeInEveryCase();
    void thousandDetectionsKeepNothing();

private:
    void setApps(const QList<ProgramInfo *> &apps)
    {
        for (ProgramInfo *const app : apps)
            app->setParent(m_context.get());
        Probe::allApps(*m_context) = apps;
    }
    /** The context of a machine that has been set up by now. */
    void enter()
    {
        m_context.reset();
        m_scope.reset();
        m_scope = m_machine->enter();
        m_context = Probe::create();
    }
    QStringList detectedGames(const QList<QList<Game>> &launchers)
    {
        QList<KvGameAppUtil *> scanners;
        for (const QList<Game> &games : launchers)
            scanners.append(new FakeScanner(games));
        Probe::parseGameApps(*m_context, scanners);
        qDeleteAll(scanners);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return names(m_context->gameApps());
    }

    std::unique_ptr<LauncherMachine> m_machine;
    std::unique_ptr<ScopedMachine> m_scope;
    std::unique_ptr<KvProgramContext> m_context;
};

void tst_Detection::init()
{
    m_machine = std::make_unique<LauncherMachine>();
    enter();
}

void tst_Detection::cleanup()
{
    m_context.reset();
    m_scope.reset();
    m_machine.reset();
}

void tst_Detection::emptyCatalogue()
{
    const QSignalSpy toolChanges(m_context.get(), &KvProgramContext::toolAppsChanged);
    const QSignalSpy gameChanges(m_context.get(), &KvProgramContext::gameAppsChanged);
    Probe::filterToolApps(*m_context);
    QCOMPARE(toolChanges.size(), 1);
    QCOMPARE(m_context->toolApps().size(), 0);
    const LogCatcher log;
    Probe::findGameApps(*m_context);
    QCOMPARE(gameChanges.size(), 1);
    QCOMPARE(toolChanges.size(), 1);
    QCOMPARE(log.texts(QtDebugMsg).filter(u"getInstalled"_s).size(), 4);
}

void tst_Detection::tools_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("launcher");
    QTest::addColumn<bool>("hasOwnIcon");
    QTest::newRow("the program itself") << u"C:/Program Files/Google/Chrome/Application/chrome.exe"_s << u"C:/W"_s
                                        << u"C:/Program Files/Google/Chrome/Application/chrome.exe"_s << u"chrome.exe"_s
                                        << u"chrome.exe"_s << true;
    QTest::newRow("in capitals") << u"C:/Office/POWERPNT.EXE"_s << QString() << u"C:/Office/POWERPNT.EXE"_s
                                 << u"POWERPNT.EXE"_s << u"POWERPNT.EXE"_s << true;
    QTest::newRow("Discord's updater") << u"C:/Local/Discord/Update.exe"_s << u"C:/Local/Discord/app-1.0"_s
                                       << u"C:/Local/Discord/app-1.0/Discord.exe"_s << u"Discord.exe"_s
                                       << u"Discord/Update.exe"_s << false;
    QTest::newRow("Discord's updater without a folder")
        << u"C:/Local/Discord/Update.exe"_s << QString() << u"/Discord.exe"_s << u"Discord.exe"_s
        << u"Discord/Update.exe"_s << false;
    QTest::newRow("LINE's launcher") << u"C:/Local/LINE/bin/LineLauncher.exe"_s << u"C:/W"_s
                                     << u"C:/Local/LINE/bin/current/LINE.exe"_s << u"LINE.exe"_s
                                     << u"LineLauncher.exe"_s << false;
    QTest::newRow("all occurrences") << u"C:/LineLauncher.exe/LineLauncher.exe"_s << QString()
                                     << u"C:/current/LINE.exe/current/LINE.exe"_s << u"LINE.exe"_s
                                     << u"LineLauncher.exe"_s << false;
    QTest::newRow("at the end of a longer name") << u"C:/x/mynotepad.exe"_s << QString() << u"C:/x/mynotepad.exe"_s
                                                 << u"mynotepad.exe"_s << u"notepad.exe"_s << true;
    QTest::newRow("anywhere in the path") << u"C:/firefox.exe/other.exe"_s << QString() << u"C:/firefox.exe/other.exe"_s
                                          << u"other.exe"_s << u"firefox.exe"_s << false;
}

void tst_Detection::tools()
{
    QFETCH(const QString, target);
    QFETCH(const QString, folder);
    QFETCH(const QString, executable);
    QFETCH(const bool, hasOwnIcon);
    ProgramInfo *const app = program(target, u"The tool"_s, folder);
    app->setVersion(u"1.2"_s);
    setApps({app});
    Probe::filterToolApps(*m_context);
    QCOMPARE(m_context->toolApps().size(), 1);
    const KvAppSetting &tool = *m_context->toolApps().first();
    QCOMPARE(tool.displayName(), u"The tool"_s);
    QCOMPARE(tool.executableList(), QStringList{executable});
    QTEST(tool.fileName(), "fileName");
    QTEST(tool.launcherName(), "launcher");
    QCOMPARE(tool.icon(), hasOwnIcon ? app->iconUrl().toString() : KvAppSetting::getIconFilepath(executable));
    QCOMPARE(tool.platform(), KvAppSetting::None);
    QCOMPARE(tool.appType(), QString());
    QVERIFY(!tool.hasSelected());
}

void tst_Detection::programsThatAreNoTools_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("other case") << u"C:/Program Files/Google/Chrome/Application/CHROME.EXE"_s;
    QTest::newRow("other case of Office") << u"C:/Office/excel.exe"_s;
    QTest::newRow("other program") << u"C:/x/other.exe"_s;
    QTest::newRow("updater of another") << u"C:/x/Update.exe"_s;
    QTest::newRow("part of a key") << u"C:/x/chrome.ex"_s;
}

void tst_Detection::programsThatAreNoTools()
{
    QFETCH(const QString, target);
    setApps({program(target)});
    Probe::filterToolApps(*m_context);
    QCOMPARE(m_context->toolApps().size(), 0);
}

void tst_Detection::toolOfTwoLinks()
{
    setApps({program(u"C:/a/notepad.exe"_s, u"One"_s), program(u"C:/a/notepad.exe"_s, u"Two"_s)});
    Probe::filterToolApps(*m_context);
    QCOMPARE(names(m_context->toolApps()), (QStringList{u"One"_s, u"Two"_s}));
}

void tst_Detection::toolsStandInTheCataloguesOrder()
{
    setApps({program(u"C:/b/mspaint.exe"_s, u"B"_s), program(u"C:/x.exe"_s, u"X"_s),
             program(u"C:/a/chrome.exe"_s, u"A"_s)});
    Probe::filterToolApps(*m_context);
    QCOMPARE(names(m_context->toolApps()), (QStringList{u"B"_s, u"A"_s}));
}

void tst_Detection::webAndManagedProgramsAreNoTools()
{
    auto *const web = new ProgramInfo;
    web->setTargetUrl(QUrl(u"https://example.org/chrome.exe"_s));
    auto *const managed = new ProgramInfo;
    managed->setManagedTarget(u"chrome.exe"_s, 0);
    setApps({web, managed, new ProgramInfo});
    Probe::filterToolApps(*m_context);
    QCOMPARE(m_context->toolApps().size(), 0);
}

void tst_Detection::toolsBelongToTheCatalogue()
{
    setApps({program(u"C:/a/notepad.exe"_s)});
    Probe::filterToolApps(*m_context);
    const QPointer<KvAppSetting> tool = m_context->toolApps().first();
    QCOMPARE(tool->parent(), nullptr);
    QCOMPARE(QJSEngine::objectOwnership(tool), QJSEngine::CppOwnership);
    m_context.reset();
    QVERIFY(!tool);
}

void tst_Detection::gamesThatAreListed_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("executable");
    QTest::addColumn<bool>("isListed");
    QTest::newRow("executable") << u"Any"_s << u"C:/x/cs2.exe"_s << true;
    QTest::newRow("other case") << u"Any"_s << u"C:/x/CS2.EXE"_s << true;
    QTest::newRow("other case in the list") << u"Any"_s << u"C:/x/r5apex.exe"_s << true;
    QTest::newRow("with blanks") << u"Any"_s << u"C:/x/League of Legends.exe"_s << true;
    QTest::newRow("native path") << u"Any"_s << u"C:\\x\\TslGame.exe"_s << true;
    QTest::newRow("file name only") << u"Any"_s << u"Overwatch.exe"_s << true;
    QTest::newRow("name") << u"VALORANT"_s << u"C:/x/any.exe"_s << true;
    QTest::newRow("name without an executable") << u"League of Legends"_s << QString() << true;
    QTest::newRow("name in other case") << u"Valorant"_s << u"C:/x/any.exe"_s << false;
    QTest::newRow("folder of that name") << u"Any"_s << u"C:/cs2.exe/any.exe"_s << false;
    QTest::newRow("with an icon index") << u"Any"_s << u"C:/x/Overwatch.exe,0"_s << false;
    QTest::newRow("neither") << u"Any"_s << u"C:/x/any.exe"_s << false;
    QTest::newRow("nothing") << QString() << QString() << false;
}

void tst_Detection::gamesThatAreListed()
{
    QFETCH(const QString, name);
    QFETCH(const QString, executable);
    QFETCH(const bool, isListed);
    QCOMPARE(detectedGames({{{name, executable}}}), isListed ? QStringList{name} : QStringList());
}

void tst_Detection::duplicates_data()
{
    QTest::addColumn<bool>("firstIgnoresPath");
    QTest::addColumn<bool>("secondIgnoresPath");
    QTest::addColumn<int>("count");
    QTest::newRow("both ignore the path") << true << true << 1;
    QTest::newRow("neither does") << false << false << 2;
    QTest::newRow("the first one does") << true << false << 2;
    QTest::newRow("the second one does") << false << true << 1;
}

void tst_Detection::duplicates()
{
    QFETCH(const bool, firstIgnoresPath);
    QFETCH(const bool, secondIgnoresPath);
    QFETCH(const int, count);
    const Game first{u"Apex Legends"_s, u"C:/one/r5apex.exe"_s, firstIgnoresPath};
    const Game second{u"Apex Legends"_s, u"C:/two/r5apex.exe"_s, secondIgnoresPath};
    QCOMPARE(detectedGames({{first}, {second}}).size(), count);
    QCOMPARE(m_context->gameApps().first()->executable(), u"C:/one/r5apex.exe"_s);
    Probe::deleteAppSettings(*m_context);
    // Within one launcher too, and only by the exact name.
    QCOMPARE(detectedGames({{first, second}}).size(), count);
    Probe::deleteAppSettings(*m_context);
    QCOMPARE(detectedGames({{first}, {{u"APEX Legends"_s, u"C:/r5apex.exe"_s, true}}}).size(), 2);
    Probe::deleteAppSettings(*m_context);
    // What isn't listed is nobody's duplicate.
    QCOMPARE(detectedGames({{{u"Apex Legends"_s, u"C:/other.exe"_s, true}}, {second}}).size(), 1);
}

void tst_Detection::gamesStandInTheScannersOrder()
{
    QCOMPARE(detectedGames({{{u"Z"_s, u"C:/cs2.exe"_s}, {u"Y"_s, u"C:/cod.exe"_s}},
                            {},
                            {{u"X"_s, u"C:/none.exe"_s}, {u"A"_s, u"C:/cs2.exe"_s}}}),
             (QStringList{u"Z"_s, u"Y"_s, u"A"_s}));
    // The list only grows here.
    QCOMPARE(detectedGames({{{u"B"_s, u"C:/cs2.exe"_s}}}), (QStringList{u"Z"_s, u"Y"_s, u"A"_s, u"B"_s}));
}

void tst_Detection::settingWithoutExecutables()
{
    class Bare final : public KvGameAppUtil
    {
        QList<KvAppSetting *> getInstalledApps(const QString &, const QList<KvGameAppInfo *> &) override
        {
            auto *const setting = new KvAppSetting;
            setting->setDisplayName(u"VALORANT"_s);
            return {new KvAppSetting, setting};
        }
    };
    Bare scanner;
    Probe::parseGameApps(*m_context, {&scanner});
    QCOMPARE(names(m_context->gameApps()), QStringList{u"VALORANT"_s});
    QCOMPARE(QJSEngine::objectOwnership(m_context->gameApps().first()), QJSEngine::CppOwnership);
}

void tst_Detection::scannersAreAskedWithTheirPath()
{
    FakeScanner scanner({});
    scanner.setAppDataPath(u"C:/launcher.exe"_s);
    Probe::parseGameApps(*m_context, {&scanner});
    QCOMPARE(scanner.askedPath, u"C:/launcher.exe"_s);
    QCOMPARE(scanner.askedKnown, Probe::gameAppsInfo(*m_context));
    QCOMPARE(scanner.askedKnown.size(), 12);
}

void tst_Detection::refusedSettingsAreDeleted()
{
    FakeScanner scanner({{u"Apex Legends"_s, u"C:/r5apex.exe"_s, true},
                         {u"Apex Legends"_s, u"D:/r5apex.exe"_s, true},
                         {u"Other"_s, u"C:/other.exe"_s}});
    Probe::parseGameApps(*m_context, {&scanner});
    QVERIFY(scanner.made.at(0));
    QVERIFY(scanner.made.at(1));
    QVERIFY(!scanner.made.at(2));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(scanner.made.at(0));
    QVERIFY(!scanner.made.at(1));
    Probe::deleteAppSettings(*m_context);
    QVERIFY(!scanner.made.at(0));
}

void tst_Detection::fixedLaunchersAlwaysRun()
{
    setApps({program(u"C:/x.exe"_s)});
    const LogCatcher log;
    Probe::findGameApps(*m_context);
    QStringList openings = log.texts(QtDebugMsg).filter(u"getInstalled"_s);
    QCOMPARE(
        openings,
        (QStringList{u"[KvBattleNetAppUtil] getInstalledBattleNetApps"_s, u"[KvOriginAppUtil] getInstalledOriginApps"_s,
                     u"[KvRiotAppUtil] getInstalledRiotApps"_s, u"[KvEpicAppUtil] getInstalledEpicApps"_s}));
}

void tst_Detection::launchersFromTheCatalogue_data()
{
    QTest::addColumn<QStringList>("targets");
    QTest::addColumn<QStringList>("lines");
    const QString steam = QString::fromUtf16(SteamFound);
    const QString ubisoft = QString::fromUtf16(UbisoftFound);
    QTest::newRow("none") << QStringList{u"C:/x.exe"_s} << QStringList();
    QTest::newRow("Steam") << QStringList{u"C:/S/steam.exe"_s} << QStringList{steam.arg(u"C:/S/steam.exe"_s)};
    QTest::newRow("Steam in capitals") << QStringList{u"C:/S/Steam.exe"_s}
                                       << QStringList{steam.arg(u"C:/S/Steam.exe"_s)};
    QTest::newRow("two links to Steam") << QStringList{u"C:/1/steam.exe"_s, u"C:/2/steam.exe"_s}
                                        << QStringList{steam.arg(u"C:/1/steam.exe"_s)};
    QTest::newRow("Ubisoft, then Steam") << QStringList{u"C:/U/UbisoftConnect.exe"_s, u"C:/S/steam.exe"_s,
                                                        u"C:/V/UBISOFTCONNECT.EXE"_s}
                                         << QStringList{ubisoft.arg(u"C:/U/UbisoftConnect.exe"_s),
                                                        steam.arg(u"C:/S/steam.exe"_s)};
    QTest::newRow("Steam, then Ubisoft") << QStringList{u"C:/S/steam.exe"_s, u"C:/U/UbisoftConnect.exe"_s}
                                         << QStringList{steam.arg(u"C:/S/steam.exe"_s),
                                                        ubisoft.arg(u"C:/U/UbisoftConnect.exe"_s)};
    QTest::newRow("folder of that name") << QStringList{u"C:/steam.exe/x.exe"_s} << QStringList();
    QTest::newRow("longer name") << QStringList{u"C:/S/mysteam.exe"_s} << QStringList();
}

void tst_Detection::launchersFromTheCatalogue()
{
    QFETCH(const QStringList, targets);
    QFETCH(const QStringList, lines);
    QList<ProgramInfo *> apps;
    for (const QString &target : targets)
        apps.append(program(target));
    setApps(apps);
    const LogCatcher log;
    Probe::findGameApps(*m_context);
    QCOMPARE(log.texts(QtDebugMsg).filter(u"[KvProgramContext]"_s), lines);
    // They run behind the four others and get the link's target.
    const QStringList openings =
        log.texts(QtDebugMsg).filter(QRegularExpression(u"getInstalled(Battle|Origin|Riot|Epic|Ubisoft)"_s));
    QCOMPARE(openings.first(), u"[KvBattleNetAppUtil] getInstalledBattleNetApps"_s);
    const bool hasUbisoft = !lines.filter(u"ubisoft"_s).isEmpty();
    QCOMPARE(openings.last().contains(u"[KvUbisoftAppUtil] getInstalledUbisoftApps:  \"C:/U/UbisoftConnect.exe\""_s),
             hasUbisoft);
}

/** Through the real scanners of a machine that has all of them. */
void tst_Detection::gamesOfTheLaunchers()
{
    m_machine->addEntry(u"O1"_s, u"Blizzard Entertainment"_s, u"Overwatch"_s, u"C:\\OW"_s,
                        u"C:\\OW\\_retail_\\Overwatch.exe"_s);
    m_machine->addEntry(u"O2"_s, u"Blizzard Entertainment"_s, u"Hearth"_s, u"C:\\H"_s, u"C:\\H\\h.exe"_s);
    m_machine->addEntry(u"A1"_s, u"Electronic Arts"_s, u"Apex Legends"_s, u"C:\\Apex"_s, u"C:\\Apex\\R5Apex.exe"_s);
    m_machine->addEntry(u"R1"_s, u"Riot Games, Inc"_s, u"VALORANT"_s, u"C:\\Riot Games\\VALORANT\\live"_s, QString(),
                        LauncherMachine::userUninstall());
    m_machine->files.addFile(u"C:/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"_s,
                             R"({"InstallationList": [{"AppName": "Fortnite", "InstallLocation": "C:\\Fortnite"}]})");
    m_machine->addEntry(u"U1"_s, u"Ubisoft"_s, u"Tom Clancy's Rainbow Six Siege"_s, u"C:/R6/"_s, QString());
    m_machine->files.addFile(u"C:/U/cache/configuration/configurations"_s,
                             "shortcut_name: Tom Clancy's Rainbow Six Siege\r\nrelative: RainbowSix.exe\r\n");
    enter();
    setApps({program(u"C:/U/UbisoftConnect.exe"_s)});
    Probe::findGameApps(*m_context);
    QStringList games;
    for (const KvAppSetting *const game : m_context->gameApps())
        games.append(game->displayName() + u'|' + game->executable());
    QCOMPARE(games, (QStringList{u"Overwatch|C:/OW/_retail_/Overwatch.exe"_s, u"Apex Legends|C:/Apex/R5Apex.exe"_s,
                                 u"VALORANT|C:/Riot Games/VALORANT/live/"
                                 u"ShooterGame/Binaries/Win64/VALORANT-Win64-Shipping.exe"_s,
                                 u"Fortnite|C:/Fortnite/FortniteGame/Binaries/Win64/"
                                 u"FortniteClient-Win64-Shipping.exe"_s,
                                 u"Tom Clancy's Rainbow Six Siege|C:/R6/RainbowSix.exe"_s}));
    QVERIFY(m_context->gameApps().at(1)->ignoreExeFullPath());
    QVERIFY(m_context->gameApps().at(4)->ignoreExeFullPath());
}

void tst_Detection::signalsComeInEveryCase()
{
    QStringList signalsSeen;
    connect(m_context.get(), &KvProgramContext::toolAppsChanged, this, [&] { signalsSeen.append(u"tools"_s); });
    connect(m_context.get(), &KvProgramContext::gameAppsChanged, this, [&] { signalsSeen.append(u"games"_s); });
    setApps({program(u"C:/a/notepad.exe"_s)});
    Probe::filterToolApps(*m_context);
    QCOMPARE(m_context->toolApps().size(), 1);
    Probe::findGameApps(*m_context);
    QCOMPARE(signalsSeen, (QStringList{u"tools"_s, u"games"_s}));
}

void tst_Detection::thousandDetectionsKeepNothing()
{
    for (int i = 0; i < 5; ++i) {
        const QString number = QString::number(i);
        m_machine->addEntry(u"B"_s + number, u"Blizzard Entertainment"_s, u"Game "_s + number, u"C:\\B"_s,
                            i ? u"C:\\B\\b.exe"_s : u"C:\\B\\Overwatch.exe"_s);
        m_machine->addEntry(u"E"_s + number, u"Electronic Arts"_s, u"Apex Legends"_s, u"C:\\E"_s,
                            u"C:\\E\\r5apex.exe"_s);
        m_machine->addEntry(u"U"_s + number, u"Ubisoft"_s, u"Siege"_s, u"C:/U/"_s, QString());
        m_machine->addEntry(u"R"_s + number, u"Riot Games"_s, u"LoL"_s, u"C:\\League of Legends"_s, QString(),
                            LauncherMachine::userUninstall());
    }
    m_machine->files.addFile(u"C:/E/EasyAntiCheat/Launcher/a.json"_s, R"({"executable": "r5apex.exe"})");
    m_machine->files.addFile(u"C:/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"_s,
                             R"({"InstallationList": [{"AppName": "Fortnite"}, {"AppName": "Other"}]})");
    m_machine->files.addFile(u"C:/L/cache/configuration/configurations"_s,
                             "shortcut_name: Siege\r\nrelative: RainbowSix.exe\r\n");
    enter();
    setApps({program(u"C:/L/UbisoftConnect.exe"_s), program(u"C:/S/steam.exe"_s), program(u"C:/a/notepad.exe"_s)});
    const LogCatcher log; // Rather than a hundred thousand lines on the screen.
    const ObjectCount objects;
    for (int i = 0; i < 1000; ++i) {
        Probe::filterToolApps(*m_context);
        Probe::findGameApps(*m_context);
        QVERIFY(m_context->gameApps().size() > 10);
        QCOMPARE(m_context->toolApps().size(), 1);
        Probe::deleteAppSettings(*m_context);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(objects.balance(), 0);
}

QTEST_GUILESS_MAIN(tst_Detection)
#include "tst_detection.moc"
