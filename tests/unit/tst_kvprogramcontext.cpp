#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"
#include "../support/MetaText.h"
#include "KvRegistrySpy.h"

#include <XClock.h>
#include <XDispatch.h>
#include <XEnvironment.h>

#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QTemporaryDir>
#include <QtQml/QJSEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;

namespace {

constexpr int Hour = 3'600'000;

const QString ReloadLine = u"[APPS] reload apps on installation"_s;

QStringList names(const QList<ProgramInfo *> &apps)
{
    QStringList result;
    for (const ProgramInfo *const app : apps)
        result.append(app->displayName());
    return result;
}

ProgramInfo *webApp(const QString &address, const QString &name = QString(), const QString &arguments = QString())
{
    auto *const app = new ProgramInfo;
    app->setTargetUrl(QUrl(address));
    app->setDisplayName(name);
    app->setArguments(arguments);
    return app;
}

ProgramInfo *managedApp(const QString &id, const QString &package, const QString &version)
{
    auto *const app = new ProgramInfo;
    app->setManagedTarget(package, 0);
    app->setProductName(id);
    app->setDisplayName(package);
    app->setVersion(version);
    return app;
}

/** What the catalogue tells of its scans; the launchers' scanners have lines of their own. */
QStringList told(const LogCatcher &log)
{
    return log.texts(QtDebugMsg).filter(u"[APPS]"_s);
}

} // namespace

/** Time stands still except where a test turns the clock; background jobs run as ever. */
class tst_KvProgramContext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void membersStandInOrder();
    void nothingIsScannedBeforeTheStart();
    void recordsOfOthersAreLeftAlone();
    void watchesStandOnTheirKeys();
    void watchThatCannotBeHadHasNoEffect();
    void scanPublishesWhatItFinds();
    void nothingIsPublishedBeforeTheCompletionDelay();
    void signalsComeInOrderAfterTheSwap();
    void isEmptyChangedComesWithoutAChange();
    void recordsThatCannotBeStartedAreDropped();
    void allSourcesFailing();

    void plainEntriesHoldTheirPlace_data();
    void plainEntriesHoldTheirPlace();
    void greaterVersionWins_data();
    void greaterVersionWins();
    void newRecordsTypeChoosesTheMergeRule();
    void replacedRecordsAreDeleted();
    void replacementGoesToTheEnd();
    void targetMapHoldsTheMergeKeys();

    void meetingAppGetsItsShell();
    void meetingAppWithoutItsShellGetsNone();
    void meetingShellIsTheLastOfItsName();
    void namesAreSortedWithEmptyOnesLast();

    void emptyScanDeletesTheOldRecords();
    void oldRecordsAreReadableInTheSignals();
    void publishedListsStayWhileTheNextScanRuns();
    void gamesAndToolsAreEmptiedWhenAScanStarts();

    void lastSourceToEndCompletesTheScan();
    void secondStartWaitsForTheSourcesOfTheFirst();
    void secondStartAfterTheSourcesDropsTheFirst();
    void stopDuringTheSourcesPublishesNothing();
    void stopBeforeTheCompletionPublishesNothing();
    void stopAfterTheScanEndsTheRepetition();
    void stopInsideASignalEndsTheRepetition();
    void startInsideASignalScansOnceMore();
    void recordsOfACancelledScanAreDeleted();

    void scansRepeatEachHour();
    void installationReloadsAfterAWhile_data();
    void installationReloadsAfterAWhile();
    void installationWithoutAScanIsIgnored();
    void reloadsShareOneKey();
    void installationOvertakesTheHour();
    void installationDoesNotPutTheHourOff();
    void furtherInstallationsDoNotPutTheReloadOff();
    void installationDuringAScanReloadsAfterIt();
    void stopDropsTheReload();
    void shortcutWatchReloadsNothing();

    void endDuringTheSources();
    void endBeforeTheMerge();
    void endBeforeTheCompletion();
    void endWithAPublishedScan();
    void endWithSettingsAndWaitingJobs();

private:
    void turn();
    void advance(int milliseconds);
    bool finishSources();
    bool scan();
    void injectAndPublish(const QList<ProgramInfo *> &apps);
    void setMetadata(const QByteArray &json);
    void emitRegistryChange(qsizetype watch);
    int scans();
    QList<QPointer<ProgramInfo>> published() const;

    QTemporaryDir m_folder;
    std::unique_ptr<FakePlatform> m_platform;
    std::shared_ptr<XManualClock> m_clock;
    std::unique_ptr<KvProgramContext> m_context;
    std::atomic<int> m_scans{0};
};

void tst_KvProgramContext::init()
{
    m_clock = std::make_shared<XManualClock>();
    XClock::setCurrent(m_clock);
    m_platform = std::make_unique<FakePlatform>();
    m_scans = 0;
    m_platform->packages->fails = [this](const QString &call) {
        m_scans += call == u"packageManager" ? 1 : 0;
        return false;
    };
    setMetadata("[]");
    m_context = Probe::create();
}

void tst_KvProgramContext::cleanup()
{
    m_platform->files->gate.open();
    m_context.reset();
    XDispatch::waitForBackground(10'000);
    turn();
    m_platform.reset();
    XClock::setCurrent(nullptr);
    XEnvironment::setDefault(u"app.metadata"_s, QVariant());
}

void tst_KvProgramContext::turn()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void tst_KvProgramContext::advance(int milliseconds)
{
    m_clock->advance(milliseconds);
    turn();
}

bool tst_KvProgramContext::finishSources()
{
    const bool ended = XDispatch::waitForBackground(10'000);
    turn();
    return ended;
}

/** A whole scan, from its start to its publication. */
bool tst_KvProgramContext::scan()
{
    m_context->startScan();
    const bool ended = finishSources();
    advance(100);
    advance(100);
    return ended;
}

/** A whole scan that finds these records, in this order, after those of the platform. */
void tst_KvProgramContext::injectAndPublish(const QList<ProgramInfo *> &apps)
{
    m_context->startScan();
    QVERIFY(finishSources());
    for (ProgramInfo *const app : apps)
        Probe::onLoadApp(*Probe::scan(*m_context), app);
    advance(100);
    advance(100);
}

void tst_KvProgramContext::setMetadata(const QByteArray &json)
{
    QFile file(m_folder.filePath(u"metadata.json"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(json) == json.size());
    XEnvironment::setDefault(u"app.metadata"_s, file.fileName());
}

void tst_KvProgramContext::emitRegistryChange(qsizetype watch)
{
    const QString prefix = Probe::registrySpies(*m_context).at(watch)->prefix();
    QCOMPARE(m_platform->watches->fire(prefix.section(u'\\', 1)), 1);
}

/** The number of scans that have started since the last time. Waits for the sources. */
int tst_KvProgramContext::scans()
{
    return finishSources() ? m_scans.exchange(0) : -1;
}

QList<QPointer<ProgramInfo>> tst_KvProgramContext::published() const
{
    const QList<ProgramInfo *> apps = m_context->allApps();
    return QList<QPointer<ProgramInfo>>(apps.cbegin(), apps.cend());
}

void tst_KvProgramContext::membersStandInOrder()
{
    const QMetaObject &meta = KvProgramContext::staticMetaObject;
    const QStringList properties{
        u"bool isEmpty NOTIFY isEmptyChanged FINAL"_s,
        u"QList<ProgramInfo*> allApps NOTIFY allAppsChanged FINAL"_s,
        u"QList<ProgramInfo*> meetingApps NOTIFY meetingAppsChanged FINAL"_s,
        u"QList<ProgramInfo*> shortcuts NOTIFY shortcutsChanged FINAL"_s,
        u"QList<KvAppSetting*> gameApps NOTIFY gameAppsChanged FINAL"_s,
        u"QList<KvAppSetting*> toolApps NOTIFY toolAppsChanged FINAL"_s,
    };
    QCOMPARE(MetaText::properties(meta), properties);
    const QStringList signatures{
        u"isEmptyChanged()"_s,
        u"allAppsChanged()"_s,
        u"meetingAppsChanged()"_s,
        u"shortcutsChanged()"_s,
        u"gameAppsChanged()"_s,
        u"toolAppsChanged()"_s,
        u"addShortcut(ProgramInfo*)"_s,
        u"removeShortcut(ProgramInfo*)"_s,
        u"removeShortcutAt(int)"_s,
        u"startScan()"_s,
        u"stopScan()"_s,
        u"updateInstalledAppListByModel(QString,QList<KvAppSetting*>,QList<KvAppSetting*>)"_s,
    };
    QStringList found;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        found.append(QString::fromLatin1(meta.method(index).methodSignature()));
    QCOMPARE(found, signatures);
}

void tst_KvProgramContext::recordsOfOthersAreLeftAlone()
{
    const QPointer<ProgramInfo> foreign = new ProgramInfo(m_context.get());
    injectAndPublish({webApp(u"https://one.example/"_s)});
    const QPointer<ProgramInfo> takenAway = m_context->allApps().constFirst();
    takenAway->setParent(nullptr);
    injectAndPublish({webApp(u"https://two.example/"_s)});
    QVERIFY(foreign);
    QVERIFY(!takenAway);
}

void tst_KvProgramContext::nothingIsScannedBeforeTheStart()
{
    advance(2 * Hour);
    QCOMPARE(scans(), 0);
    QCOMPARE(m_platform->calls->take(), QStringList());
    QVERIFY(m_context->isEmpty());
    QCOMPARE(m_context->allApps().size(), 0);
    QCOMPARE(m_context->meetingApps().size(), 0);
    QCOMPARE(m_context->shortcuts().size(), 0);
    QCOMPARE(m_context->gameApps().size(), 0);
    QCOMPARE(m_context->toolApps().size(), 0);
}

void tst_KvProgramContext::watchesStandOnTheirKeys()
{
    QStringList prefixes;
    for (const KvRegistrySpy *const spy : Probe::registrySpies(*m_context)) {
        prefixes.append(spy->prefix());
        QCOMPARE(spy->parent(), m_context.get());
    }
    const QString machine = u"HKEY_LOCAL_MACHINE\\Software\\"_s;
    const QString user = u"HKEY_USERS\\S-1-5-7\\Software\\"_s;
    const QStringList expected{machine + u"Microsoft\\Windows\\CurrentVersion\\Uninstall"_s,
                               user + u"Microsoft\\Windows\\CurrentVersion\\Uninstall"_s,
                               machine + u"RegisteredApplications"_s, user + u"RegisteredApplications"_s,
                               user + u"Kelvo\\Kelvo Launcher\\ExtraInfo"_s};
    QCOMPARE(prefixes, expected);
    // Only the slots are watched with what is below them.
    const QStringList calls = m_platform->watches->calls.take();
    QCOMPARE(calls.filter(u"arm"_s),
             (QStringList{u"arm 0 5"_s, u"arm 0 5"_s, u"arm 0 5"_s, u"arm 0 5"_s, u"arm 1 5"_s}));
    QCOMPARE(calls.filter(u"open"_s).constFirst(),
             u"open 80000002 [Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall] 110"_s);
    m_context.reset();
    QCOMPARE(m_platform->watches->openKeys(), QStringList());
}

void tst_KvProgramContext::watchThatCannotBeHadHasNoEffect()
{
    const QString uninstall = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_s;
    m_platform->watches->openErrors.insert(uninstall, 5);
    const LogCatcher log;
    m_context = Probe::create();
    QCOMPARE(Probe::registrySpies(*m_context).size(), 5);
    QCOMPARE(log.texts(QtWarningMsg),
             QStringList{u"[FAIL] can't open registry key: HKEY_LOCAL_MACHINE\\"_s + uninstall + u" err: 5"_s});
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    QCOMPARE(m_platform->watches->fire(uninstall), 0);
    emitRegistryChange(1);
    advance(15'000);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::scanPublishesWhatItFinds()
{
    setMetadata(R"([{"target": "https://x/", "displayName": "Web"}])");
    m_context = Probe::create();
    m_platform->addLink(u"Link"_s, u"C:/link.exe"_s);
    m_platform->tokens->hasSessionToken = true;
    m_platform->links->links.insert(u"C:\\u.lnk"_s, FakeLink::to(u"C:/user.exe"_s, u"User"_s));
    m_platform->files->addProgram(u"C:/user.exe"_s);
    m_platform->files->links[FakePlatform::userMenu()] = QStringList{u"C:/u.lnk"_s};
    m_platform->packages->packages = {FakePackage::of(u"Package"_s, u"P!1"_s)};
    QVERIFY(scan());
    QCOMPARE(names(m_context->allApps()), (QStringList{u"Link"_s, u"Package"_s, u"User"_s, u"Web"_s}));
    QVERIFY(!m_context->isEmpty());
    const QList<ProgramInfo *> apps = m_context->allApps();
    for (ProgramInfo *const app : apps) {
        QCOMPARE(app->parent(), m_context.get());
        QCOMPARE(app->thread(), m_context->thread());
        QCOMPARE(QJSEngine::objectOwnership(app), QJSEngine::CppOwnership);
    }
}

void tst_KvProgramContext::nothingIsPublishedBeforeTheCompletionDelay()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    m_context->startScan();
    QVERIFY(finishSources());
    advance(99);
    QCOMPARE(Probe::scan(*m_context)->pendingApps.size(), 1);
    advance(1);
    QCOMPARE(Probe::scan(*m_context)->pendingApps.size(), 0);
    advance(99);
    QVERIFY(m_context->isEmpty());
    advance(1);
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
}

void tst_KvProgramContext::signalsComeInOrderAfterTheSwap()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QStringList order;
    const auto note = [this, &order](void (KvProgramContext::*signal)(), const char *name) {
        connect(m_context.get(), signal, this, [this, &order, name] {
            order.append(QLatin1String(name) + QString::number(m_context->allApps().size()));
        });
    };
    note(&KvProgramContext::isEmptyChanged, "isEmpty ");
    note(&KvProgramContext::allAppsChanged, "allApps ");
    note(&KvProgramContext::meetingAppsChanged, "meetingApps ");
    note(&KvProgramContext::shortcutsChanged, "shortcuts ");
    note(&KvProgramContext::gameAppsChanged, "gameApps ");
    note(&KvProgramContext::toolAppsChanged, "toolApps ");
    QVERIFY(scan());
    const QStringList expected{u"toolApps 1"_s,    u"gameApps 1"_s,  u"allApps 1"_s,
                               u"meetingApps 1"_s, u"shortcuts 1"_s, u"isEmpty 1"_s};
    QCOMPARE(order, expected);
}

void tst_KvProgramContext::isEmptyChangedComesWithoutAChange()
{
    QSignalSpy changes(m_context.get(), &KvProgramContext::isEmptyChanged);
    QVERIFY(scan());
    QVERIFY(scan());
    QVERIFY(m_context->isEmpty());
    QCOMPARE(changes.size(), 2);
}

void tst_KvProgramContext::recordsThatCannotBeStartedAreDropped()
{
    m_platform->addLink(u"Good"_s, u"C:/good.exe"_s);
    m_platform->addLink(u"Gone"_s, u"C:/gone.exe"_s);
    m_platform->addLink(u"Bye"_s, u"C:/unins000.exe"_s);
    m_platform->addLink(u"Uninstall it"_s, u"C:/it.exe"_s);
    m_platform->files->existing.remove(u"C:/gone.exe"_s);
    QVERIFY(scan());
    QCOMPARE(names(m_context->allApps()), QStringList{u"Good"_s});
}

void tst_KvProgramContext::allSourcesFailing()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    m_platform->folders->ofProcess.clear();
    m_platform->packages->fails = [this](const QString &call) {
        m_scans += call == u"packageManager" ? 1 : 0;
        return true;
    };
    QVERIFY(scan());
    QVERIFY(m_context->isEmpty());
    QCOMPARE(scans(), 2);
    advance(Hour);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::plainEntriesHoldTheirPlace_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("winner");
    QTest::newRow("both plain") << QStringList{{}, {}} << 0;
    QTest::newRow("plain first") << QStringList{{}, u"b"_s} << 0;
    QTest::newRow("plain second") << QStringList{u"a"_s, {}} << 1;
    QTest::newRow("both with arguments") << QStringList{u"a"_s, u"b"_s} << 1;
    QTest::newRow("the same arguments") << QStringList{u"a"_s, u"a"_s} << 1;
    QTest::newRow("plain in the middle") << QStringList{u"a"_s, {}, u"c"_s} << 1;
    QTest::newRow("plain at the end") << QStringList{u"a"_s, u"b"_s, {}} << 2;
}

void tst_KvProgramContext::plainEntriesHoldTheirPlace()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, winner);
    for (qsizetype i = 0; i < arguments.size(); ++i)
        m_platform->addLink(QString::number(i), u"C:/a.exe"_s, arguments.at(i));
    m_platform->addLink(u"other case"_s, u"C:/A.exe"_s);
    QVERIFY(scan());
    QCOMPARE(names(m_context->allApps()), (QStringList{QString::number(winner), u"other case"_s}));
}

void tst_KvProgramContext::greaterVersionWins_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("winner");
    QTest::newRow("greater second") << u"1.0.0.0"_s << u"2.0.0.0"_s << u"second"_s;
    QTest::newRow("greater first") << u"2.0.0.0"_s << u"1.0.0.0"_s << u"first"_s;
    QTest::newRow("equal") << u"1.0.0.0"_s << u"1.0.0.0"_s << u"first"_s;
    QTest::newRow("by numbers") << u"1.9.0.0"_s << u"1.10.0.0"_s << u"second"_s;
    QTest::newRow("last number") << u"1.0.0.1"_s << u"1.0.0.2"_s << u"second"_s;
    QTest::newRow("longer") << u"1.0"_s << u"1.0.0"_s << u"second"_s;
    QTest::newRow("no version") << QString() << u"0"_s << u"second"_s;
    QTest::newRow("neither has one") << QString() << QString() << u"first"_s;
    QTest::newRow("nonsense") << u"1"_s << u"x"_s << u"first"_s;
}

void tst_KvProgramContext::greaterVersionWins()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, winner);
    // The arguments of package entries don't count.
    ProgramInfo *const older = managedApp(u"App!x"_s, u"first"_s, first);
    older->setArguments(u"a"_s);
    injectAndPublish({older, managedApp(u"App!x"_s, u"second"_s, second), managedApp(u"App!y"_s, u"y"_s, first)});
    QCOMPARE(names(m_context->allApps()), (QStringList{winner, u"y"_s}));
    QCOMPARE(m_context->allApps().first()->managedTarget(), winner);
}

void tst_KvProgramContext::newRecordsTypeChoosesTheMergeRule()
{
    // A package entry's id is its key, read as an address; so it can meet an address of the same text.
    injectAndPublish({webApp(u"https://x/"_s, u"web"_s), managedApp(u"https://x/"_s, u"managed"_s, u"1"_s)});
    QCOMPARE(names(m_context->allApps()), QStringList{u"managed"_s});
    injectAndPublish({managedApp(u"https://x/"_s, u"managed"_s, u"1"_s), webApp(u"https://x/"_s, u"web"_s)});
    QCOMPARE(names(m_context->allApps()), QStringList{u"managed"_s});
    injectAndPublish({webApp(u"https://x/"_s, u"web"_s, u"a"_s), managedApp(u"https://x/"_s, u"managed"_s, QString())});
    QCOMPARE(names(m_context->allApps()), QStringList{u"web"_s});
}

void tst_KvProgramContext::replacedRecordsAreDeleted()
{
    const QPointer<ProgramInfo> replaced = webApp(u"https://x/"_s, u"1"_s, u"a"_s);
    const QPointer<ProgramInfo> winner = webApp(u"https://x/"_s, u"2"_s);
    const QPointer<ProgramInfo> refused = webApp(u"https://x/"_s, u"3"_s);
    injectAndPublish({replaced, winner, refused});
    QVERIFY(!replaced);
    QVERIFY(!refused);
    QCOMPARE(m_context->allApps(), QList<ProgramInfo *>{winner});
}

void tst_KvProgramContext::replacementGoesToTheEnd()
{
    setMetadata(R"([{"tags": ["meeting"], "managedTarget": "meet"}])");
    m_context = Probe::create();
    m_platform->addLink(u"1"_s, u"C:/one/z.exe"_s, u"a"_s);
    m_platform->addLink(u"2"_s, u"C:/two/z.exe"_s);
    m_platform->addLink(u"3"_s, u"C:/one/z.exe"_s);
    ProgramInfo *const meeting = managedApp(u"meet"_s, u"m"_s, u"1"_s);
    meeting->setShell(u"z.exe"_s);
    injectAndPublish({meeting});
    QCOMPARE(names(m_context->allApps()), (QStringList{u"2"_s, u"3"_s, u"m"_s}));
    QCOMPARE(meeting->shell(), u"C:/one/z.exe"_s);
}

void tst_KvProgramContext::targetMapHoldsTheMergeKeys()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    m_platform->packages->packages = {FakePackage::of(u"P"_s, u"P!1"_s)};
    injectAndPublish({webApp(u"https://x/"_s, u"W"_s)});
    const QMap<QUrl, ProgramInfo *> map = Probe::targetMap(*m_context);
    QCOMPARE(map.size(), 3);
    QCOMPARE(map.value(QUrl(u"file:///C:/a.exe"_s)), m_context->allApps().at(0));
    QCOMPARE(map.value(QUrl(u"P!1"_s)), m_context->allApps().at(1));
    QCOMPARE(map.value(QUrl(u"https://x/"_s)), m_context->allApps().at(2));
    m_platform->removePrograms();
    QVERIFY(scan());
    QCOMPARE(Probe::targetMap(*m_context).size(), 0);
}

void tst_KvProgramContext::meetingAppGetsItsShell()
{
    setMetadata(R"([{"tags": ["meeting"], "target": "https://meet/b", "displayName": "B", "shell": "browser.exe"},
                    {"tags": ["meeting"], "target": "https://meet/a", "displayName": "A", "shell": "browser.exe"}])");
    m_context = Probe::create();
    FakeLink browser = FakeLink::to(u"C:/Web/browser.exe"_s, u"Browser"_s);
    browser.workingDirectory = u"D:\\Work"_s;
    m_platform->addLinkFile(u"C:\\b.lnk"_s, browser);
    m_platform->files->addProgram(u"C:/Web/browser.exe"_s);
    QVERIFY(scan());
    QCOMPARE(names(m_context->meetingApps()), (QStringList{u"A"_s, u"B"_s}));
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"B"_s, u"Browser"_s}));
    const QList<ProgramInfo *> apps = m_context->meetingApps();
    for (const ProgramInfo *const app : apps) {
        QCOMPARE(app->shell(), u"C:/Web/browser.exe"_s);
        QCOMPARE(app->workingDir(), u"D:/Work"_s);
    }
}

void tst_KvProgramContext::meetingAppWithoutItsShellGetsNone()
{
    setMetadata(R"([{"tags": ["meeting"], "target": "https://m/1", "shell": "Browser.exe", "workingDir": "D:/stays"},
                    {"tags": ["meeting"], "target": "https://m/2", "shell": "web", "workingDir": "D:/stays"},
                    {"target": "https://m/3", "shell": "Browser.exe"}])");
    m_context = Probe::create();
    m_platform->addLink(u"Browser"_s, u"C:/Web/browser.exe"_s);
    QVERIFY(scan());
    const QList<ProgramInfo *> apps = m_context->meetingApps();
    QCOMPARE(apps.size(), 2);
    for (const ProgramInfo *const app : apps) {
        QCOMPARE(app->shell(), QString());
        QCOMPARE(app->workingDir(), u"D:/stays"_s);
    }
    QCOMPARE(m_context->allApps().at(2)->shell(), u"Browser.exe"_s);
}

void tst_KvProgramContext::meetingShellIsTheLastOfItsName()
{
    setMetadata(R"([{"tags": ["meeting"], "managedTarget": "meet"}])");
    m_context = Probe::create();
    m_platform->addLink(u"A"_s, u"C:/one/browser.exe"_s);
    m_platform->addLink(u"B"_s, u"C:/two/browser.exe"_s);
    ProgramInfo *const meeting = managedApp(u"meet"_s, u"m"_s, u"1"_s);
    meeting->setShell(u"browser.exe"_s);
    injectAndPublish({meeting});
    QCOMPARE(meeting->shell(), u"C:/two/browser.exe"_s);
}

void tst_KvProgramContext::namesAreSortedWithEmptyOnesLast()
{
    QList<ProgramInfo *> apps;
    for (const QString &name : {u"b"_s, QString(), u"a"_s, QString(), u"C"_s, u" "_s})
        apps.append(webApp(u"https://x/"_s + QString::number(apps.size()), name));
    const QList<ProgramInfo *> sorted = Probe::sortApps(apps);
    QCOMPARE(sorted.size(), apps.size());
    QVERIFY(names(sorted).first(4).count(QString()) == 0);
    QCOMPARE(names(sorted).last(2), (QStringList{QString(), QString()}));
    for (qsizetype i = 1; i < 4; ++i)
        QVERIFY(names(sorted).at(i - 1).localeAwareCompare(names(sorted).at(i)) < 0);
    QCOMPARE(names(Probe::sortApps(apps.first(3))), (QStringList{u"a"_s, u"b"_s, QString()}));
    QCOMPARE(names(apps).first(3), (QStringList{u"b"_s, QString(), u"a"_s}));
    qDeleteAll(apps);
}

void tst_KvProgramContext::emptyScanDeletesTheOldRecords()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QList<QPointer<ProgramInfo>> old = published();
    QVERIFY(old.first());
    m_platform->removePrograms();
    QVERIFY(scan());
    QVERIFY(!old.first());
    QVERIFY(m_context->isEmpty());
}

void tst_KvProgramContext::oldRecordsAreReadableInTheSignals()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QList<QPointer<ProgramInfo>> old = published();
    QString name;
    connect(m_context.get(), &KvProgramContext::isEmptyChanged, this, [&] {
        QVERIFY(!m_context->allApps().contains(old.first()));
        name = old.first()->displayName();
    });
    QVERIFY(scan());
    QCOMPARE(name, u"A"_s);
    QVERIFY(!old.first());
    QCOMPARE(m_context->allApps().size(), 1);
}

void tst_KvProgramContext::publishedListsStayWhileTheNextScanRuns()
{
    setMetadata(R"([{"tags": ["meeting"], "target": "https://meet/", "displayName": "Meet"}])");
    m_context = Probe::create();
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QList<ProgramInfo *> apps = m_context->allApps();
    const QList<ProgramInfo *> meetingApps = m_context->meetingApps();
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(2));
    advance(Hour);
    QCOMPARE(m_context->allApps(), apps);
    QCOMPARE(m_context->meetingApps(), meetingApps);
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"Meet"_s}));
    QCOMPARE(Probe::targetMap(*m_context).size(), 2);
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    advance(100);
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"Meet"_s}));
    QCOMPARE(m_context->allApps(), apps);
    advance(100);
    QVERIFY(m_context->allApps() != apps);
}

void tst_KvProgramContext::gamesAndToolsAreEmptiedWhenAScanStarts()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(1));
    const QPointer<KvAppSetting> game = new KvAppSetting;
    const QPointer<KvAppSetting> tool = new KvAppSetting;
    Probe::gameApps(*m_context) = {game};
    Probe::toolApps(*m_context) = {tool};
    const QSignalSpy gameChanges(m_context.get(), &KvProgramContext::gameAppsChanged);
    const QSignalSpy toolChanges(m_context.get(), &KvProgramContext::toolAppsChanged);
    // A start that has to wait changes nothing yet.
    m_context->startScan();
    QCOMPARE(m_context->gameApps().size(), 1);
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    QVERIFY(game && tool);
    advance(100);
    QVERIFY(!game && !tool);
    QCOMPARE(m_context->gameApps().size(), 0);
    QCOMPARE(m_context->toolApps().size(), 0);
    QCOMPARE(gameChanges.size() + toolChanges.size(), 0);
    QVERIFY(finishSources());
    advance(200);
    QCOMPARE(gameChanges.size(), 1);
    QCOMPARE(toolChanges.size(), 1);
}

void tst_KvProgramContext::lastSourceToEndCompletesTheScan()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    m_platform->packages->packages = {FakePackage::of(u"P"_s, u"P!1"_s)};
    const QSignalSpy changes(m_context.get(), &KvProgramContext::allAppsChanged);
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(1));
    // The three other sources end as soon as they can, and the counter tells when.
    QTRY_COMPARE(Probe::scan(*m_context)->pendingJobs.load(), 1);
    advance(100'000);
    QCOMPARE(changes.size(), 0);
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    advance(199);
    QCOMPARE(changes.size(), 0);
    advance(1);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"P"_s}));
}

void tst_KvProgramContext::secondStartWaitsForTheSourcesOfTheFirst()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    const QSignalSpy changes(m_context.get(), &KvProgramContext::allAppsChanged);
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(1));
    const std::shared_ptr<Probe::Scan> first = Probe::scan(*m_context);
    m_context->startScan();
    QVERIFY(first->isCancelled());
    for (int retry = 0; retry < 20; ++retry) {
        advance(100);
        QCOMPARE(Probe::scan(*m_context), first);
    }
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    QCOMPARE(first->pendingApps.size(), 0);
    advance(99);
    QCOMPARE(Probe::scan(*m_context), first);
    advance(1);
    QVERIFY(Probe::scan(*m_context) != first);
    QVERIFY(finishSources());
    advance(1000);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
}

void tst_KvProgramContext::secondStartAfterTheSourcesDropsTheFirst()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    const QSignalSpy changes(m_context.get(), &KvProgramContext::allAppsChanged);
    m_context->startScan();
    QVERIFY(finishSources());
    m_platform->addLink(u"B"_s, u"C:/b.exe"_s);
    // Once with records that wait for the merge, once with merged ones.
    m_context->startScan();
    QVERIFY(finishSources());
    advance(100);
    m_context->startScan();
    QVERIFY(finishSources());
    advance(1000);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"B"_s}));
    QCOMPARE(scans(), 3);
}

void tst_KvProgramContext::stopDuringTheSourcesPublishesNothing()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QList<ProgramInfo *> apps = m_context->allApps();
    m_platform->addLink(u"B"_s, u"C:/b.exe"_s);
    const QSignalSpy changes(m_context.get(), &KvProgramContext::allAppsChanged);
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(2));
    m_context->stopScan();
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    QCOMPARE(Probe::scan(*m_context)->pendingApps.size(), 0);
    advance(2 * Hour);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(m_context->allApps(), apps);
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
    QVERIFY(scan());
    QCOMPARE(names(m_context->allApps()), (QStringList{u"A"_s, u"B"_s}));
}

void tst_KvProgramContext::stopBeforeTheCompletionPublishesNothing()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    const QSignalSpy changes(m_context.get(), &KvProgramContext::allAppsChanged);
    for (const int elapsed : {0, 99, 100, 199}) {
        m_context->startScan();
        QVERIFY(finishSources());
        advance(elapsed);
        m_context->stopScan();
        advance(2 * Hour);
        QCOMPARE(changes.size(), 0);
        QVERIFY(m_context->isEmpty());
    }
    QVERIFY(scan());
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
}

void tst_KvProgramContext::stopAfterTheScanEndsTheRepetition()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    m_context->stopScan();
    QVERIFY(!Probe::isScanning(*m_context));
    advance(2 * Hour);
    QCOMPARE(scans(), 0);
}

void tst_KvProgramContext::stopInsideASignalEndsTheRepetition()
{
    connect(m_context.get(), &KvProgramContext::toolAppsChanged, m_context.get(), &KvProgramContext::stopScan);
    const QSignalSpy changes(m_context.get(), &KvProgramContext::isEmptyChanged);
    QVERIFY(scan());
    QCOMPARE(changes.size(), 1);
    QCOMPARE(scans(), 1);
    advance(2 * Hour);
    QCOMPARE(scans(), 0);
}

void tst_KvProgramContext::startInsideASignalScansOnceMore()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    const auto restart =
        connect(m_context.get(), &KvProgramContext::allAppsChanged, m_context.get(), &KvProgramContext::startScan);
    QVERIFY(scan());
    QVERIFY(finishSources());
    disconnect(restart);
    advance(200);
    QCOMPARE(scans(), 2);
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
}

void tst_KvProgramContext::recordsOfACancelledScanAreDeleted()
{
    m_context->startScan();
    QVERIFY(finishSources());
    const std::shared_ptr<Probe::Scan> scan = Probe::scan(*m_context);
    const QPointer<ProgramInfo> waiting = webApp(u"https://x/1"_s);
    Probe::onLoadApp(*scan, waiting);
    m_context->stopScan();
    const QPointer<ProgramInfo> late = webApp(u"https://x/2"_s);
    Probe::onLoadApp(*scan, late);
    Probe::onLoadApp(*scan, nullptr);
    QVERIFY(!late);
    QVERIFY(waiting);
    m_context->startScan();
    turn();
    QVERIFY(!waiting);
}

void tst_KvProgramContext::scansRepeatEachHour()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    for (int round = 0; round < 3; ++round) {
        advance(Hour - 1);
        QCOMPARE(scans(), 0);
        advance(1);
        QCOMPARE(scans(), 1);
        advance(200);
    }
}

void tst_KvProgramContext::installationReloadsAfterAWhile_data()
{
    QTest::addColumn<int>("watch");
    for (int watch = 0; watch < 4; ++watch)
        QTest::addRow("watch %d", watch) << watch;
}

void tst_KvProgramContext::installationReloadsAfterAWhile()
{
    QFETCH(int, watch);
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    const LogCatcher log;
    emitRegistryChange(watch);
    advance(14'999);
    QCOMPARE(scans(), 0);
    QCOMPARE(told(log), QStringList());
    advance(1);
    QCOMPARE(scans(), 1);
    QCOMPARE(told(log), QStringList{ReloadLine});
}

void tst_KvProgramContext::installationWithoutAScanIsIgnored()
{
    const LogCatcher log;
    emitRegistryChange(0);
    advance(20'000);
    QCOMPARE(scans(), 0);
    QVERIFY(scan());
    m_context->stopScan();
    QCOMPARE(scans(), 1);
    emitRegistryChange(1);
    advance(20'000);
    QCOMPARE(scans(), 0);
    QCOMPARE(told(log), QStringList());
    emitRegistryChange(1);
    m_context->startScan();
    QVERIFY(finishSources());
    advance(15'000);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::reloadsShareOneKey()
{
    bool reached = false;
    const auto takeTheKey = [&] {
        reached = false;
        Probe::dispatcher(*m_context).postUniqueLater(m_context.get(), u"reload"_s, 1, [&reached] { reached = true; });
        advance(1);
    };
    QVERIFY(scan());
    takeTheKey();
    QVERIFY(reached);
    advance(Hour);
    QCOMPARE(scans(), 1);
    emitRegistryChange(0);
    takeTheKey();
    QVERIFY(reached);
    advance(Hour);
    QCOMPARE(scans(), 0);
}

void tst_KvProgramContext::installationOvertakesTheHour()
{
    QVERIFY(scan());
    emitRegistryChange(2);
    advance(15'000);
    QCOMPARE(scans(), 2);
    advance(200);
    // The hour counts from the end of the last scan; the former one's has been overtaken.
    advance(Hour - 15'200);
    QCOMPARE(scans(), 0);
    advance(15'199);
    QCOMPARE(scans(), 0);
    advance(1);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::installationDoesNotPutTheHourOff()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    advance(Hour - 5'000);
    const LogCatcher log;
    emitRegistryChange(3);
    advance(5'000);
    QCOMPARE(scans(), 1);
    advance(200);
    advance(15'000);
    QCOMPARE(scans(), 0);
    QCOMPARE(told(log), QStringList());
}

void tst_KvProgramContext::furtherInstallationsDoNotPutTheReloadOff()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    emitRegistryChange(0);
    advance(10'000);
    emitRegistryChange(0);
    emitRegistryChange(1);
    advance(5'000);
    QCOMPARE(scans(), 1);
    advance(200);
    advance(15'000);
    QCOMPARE(scans(), 0);
}

void tst_KvProgramContext::installationDuringAScanReloadsAfterIt()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    m_context->startScan();
    QVERIFY(finishSources());
    emitRegistryChange(0);
    advance(100);
    advance(100);
    QCOMPARE(names(m_context->allApps()), QStringList{u"A"_s});
    QCOMPARE(scans(), 1);
    advance(14'800);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::stopDropsTheReload()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    emitRegistryChange(0);
    m_context->stopScan();
    const LogCatcher log;
    advance(2 * Hour);
    QCOMPARE(scans(), 0);
    QCOMPARE(told(log), QStringList());
}

void tst_KvProgramContext::shortcutWatchReloadsNothing()
{
    QVERIFY(scan());
    QCOMPARE(scans(), 1);
    emitRegistryChange(4);
    advance(15'000);
    QCOMPARE(scans(), 0);
}

void tst_KvProgramContext::endDuringTheSources()
{
    for (int i = 0; i < 10; ++i)
        m_platform->addLink(QString::number(i), u"C:/%1.exe"_s.arg(i));
    QVERIFY(scan());
    m_platform->files->gate.close();
    m_context->startScan();
    QVERIFY(m_platform->files->gate.waitForArrivals(11));
    const std::shared_ptr<Probe::Scan> scan = Probe::scan(*m_context);
    // What hasn't begun by then would be dropped and never count as ended.
    QTRY_COMPARE(scan->pendingJobs.load(), 1);
    m_context.reset();
    m_platform->files->gate.open();
    QVERIFY(finishSources());
    QCOMPARE(scan->pendingJobs.load(), 0);
    QCOMPARE(scan->pendingApps.size(), 0);
    advance(2 * Hour);
    QCOMPARE(scans(), 2);
}

void tst_KvProgramContext::endBeforeTheMerge()
{
    m_context->startScan();
    QVERIFY(finishSources());
    const QPointer<ProgramInfo> waiting = webApp(u"https://x/"_s);
    Probe::onLoadApp(*Probe::scan(*m_context), waiting);
    m_context.reset();
    turn();
    QVERIFY(!waiting);
}

void tst_KvProgramContext::endBeforeTheCompletion()
{
    m_context->startScan();
    QVERIFY(finishSources());
    const QPointer<ProgramInfo> merged = webApp(u"https://x/"_s);
    Probe::onLoadApp(*Probe::scan(*m_context), merged);
    advance(100);
    m_context.reset();
    QVERIFY(!merged);
    advance(2 * Hour);
    QCOMPARE(scans(), 1);
}

void tst_KvProgramContext::endWithAPublishedScan()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QList<QPointer<ProgramInfo>> apps = published();
    m_context.reset();
    QVERIFY(!apps.first());
}

void tst_KvProgramContext::endWithSettingsAndWaitingJobs()
{
    m_platform->addLink(u"A"_s, u"C:/a.exe"_s);
    QVERIFY(scan());
    const QPointer<KvAppSetting> game = new KvAppSetting;
    const QPointer<KvAppSetting> tool = new KvAppSetting;
    Probe::gameApps(*m_context) = {game};
    Probe::toolApps(*m_context) = {tool};
    emitRegistryChange(0);
    QSignalSpy changes(m_context.get(), &KvProgramContext::gameAppsChanged);
    m_context.reset();
    QVERIFY(!game && !tool);
    QCOMPARE(changes.size(), 0);
    advance(2 * Hour);
    QCOMPARE(scans(), 1);
}

QTEST_GUILESS_MAIN(tst_KvProgramContext)
#include "tst_kvprogramcontext.moc"
