#include "KvProgramContextProbe.h"
#include "LogCatcher.h"
#include "ManagedApp.h"
#include "PackagePlatform.h"
#include "ProcessUse.h"
#include "ScanRunner.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

#include <objbase.h>

#include <thread>

using namespace Qt::StringLiterals;
using Probe = KvProgramContextProbe;

namespace {

// Nine hundred scans that leave half a kilobyte each are beyond it.
constexpr qint64 MostNewBytes = 400'000;
constexpr qint32 AccessDenied = qint32(0x80070005);
const QString Denied = u"err: 5 reason: \"Access is denied.\""_s;

bool launch(const QString &fullName, int index)
{
    return ManagedApp::launch(fullName, index, u"Name"_s, "");
}

QImage loadLogo(bool (*isNarrow)(const QImage &) = [](const QImage &) { return false; })
{
    return ManagedApp::icon(u"L_1"_s, 0, isNarrow, "");
}

/** Packages with one, two and no entries, and again with one. */
const QByteArray Packages = R"(
    "users": [{"type": 2, "authenticationStatus": 1, "nonRoamableId": "guest"},
              {"type": 0, "authenticationStatus": 1, "nonRoamableId": "user-1"}],
    "packages": [
        {"fullName": "A_1", "displayName": "Package A", "publisherDisplayName": "Contoso", "version": [1, 2, 3, 4],
         "entries": [{"displayName": "Übersicht", "description": "Shows 概要", "appUserModelId": "A!1"}]},
        {"fullName": "B_1", "displayName": "Package B", "publisherDisplayName": "Contoso", "version": [65535, 0, 0, 1],
         "entries": [{"displayName": "b one", "appUserModelId": "B!1"},
                     {"displayName": "b two", "appUserModelId": "B!2"}]},
        {"fullName": "Empty_1", "displayName": "Package without entries", "version": [0, 0, 0, 0], "entries": []},
        {"fullName": "C_1", "displayName": "Package C", "version": [0, 0, 0, 9],
         "entries": [{"displayName": "c", "appUserModelId": "C!1"}]}])";

QByteArray script(const QByteArray &members = {})
{
    return '{' + Packages + (members.isEmpty() ? QByteArray() : ',' + members) + '}';
}

QByteArray logoScript(const QByteArray &logo, const QByteArray &members = {})
{
    return R"({"packages": [{"fullName": "L_1", "entries": [{"appUserModelId": "L!1", "logo": {)" + logo + "}}]}]" +
           (members.isEmpty() ? QByteArray() : ',' + members) + '}';
}

QStringList ids(const Probe::Scan &scan)
{
    QStringList result;
    for (const ProgramInfo *const app : scan.pendingApps)
        result.append(app->productName());
    return result;
}

/** What the failure of one call of the server's leaves of the records, and what it makes the source log. */
class Outcome
{
public:
    Outcome(const QStringList &calls, qsizetype failing)
        : m_call(calls.at(failing))
        , m_before(calls.first(failing))
    {}

    QStringList ids() const
    {
        const QList<QStringList> all{{u"A!1"_s}, {u"B!1"_s, u"B!2"_s}, {}, {u"C!1"_s}};
        const qsizetype packages = m_before.filter(u"Iterator.get_Current"_s).size();
        const qsizetype entries = entriesOfThePackage();
        QStringList left;
        for (qsizetype p = 0; p < all.size(); ++p) {
            for (qsizetype e = 0; e < all.at(p).size(); ++e) {
                const bool isLost = isOfManager()   ? p >= packages
                                    : isOfPackage() ? p == packages - 1 && e >= entries
                                    : isOfUser()    ? false
                                                    : p == packages - 1 && e == entries - 1;
                if (!isLost)
                    left.append(all.at(p).at(e));
            }
        }
        return left;
    }

    QStringList infos() const
    {
        QStringList lines{isOfUser() ? u"[SKIP] can't find current user, "_s + Denied
                                     : u"[USER] non roamable id: user-1"_s};
        if (isOfPackage())
            lines.append(u"[SKIP] can't load package info, "_s + Denied);
        if (!isOfUser() && !isOfManager() && !isOfPackage())
            lines.append(u"[SKIP] can't get app info: \"%1\" "_s.arg(packageName()) + Denied);
        return lines;
    }

    QStringList warnings() const
    {
        return isOfManager() ? QStringList{u"[FAIL] can't load apps from package manager, "_s + Denied} : QStringList();
    }

private:
    bool begins(std::initializer_list<const char *> prefixes) const
    {
        return std::any_of(prefixes.begin(), prefixes.end(),
                           [this](const char *prefix) { return m_call.startsWith(QLatin1String(prefix)); });
    }

    bool isOfUser() const { return begins({"activate Windows.System.User", "User", "FindAllAsync"}); }
    bool isOfManager() const
    {
        return begins({"activate Windows.Management", "PackageManager", "Packages", "Iterator"});
    }
    bool isOfPackage() const
    {
        return begins({"Package as IPackage3", "Package.GetAppListEntriesAsync", "GetAppListEntriesAsync", "Entries"});
    }

    /** The entries of the package under way that had been asked for. */
    qsizetype entriesOfThePackage() const
    {
        const qsizetype package = m_before.lastIndexOf(u"Iterator.get_Current"_s);
        return m_before.sliced(qMax<qsizetype>(package, 0)).filter(u"Entries.GetAt"_s).size();
    }

    QString packageName() const
    {
        static const QStringList names{u"Package A"_s, u"Package B"_s, u"Package without entries"_s, u"Package C"_s};
        return names.at(m_before.filter(u"Iterator.get_Current"_s).size() - 1);
    }

    const QString m_call;
    const QStringList m_before;
};

} // namespace

/**
 * The module's package code against package classes of the test's own, through the system's activation. After each test
 * no object of theirs may be left.
 */
class TestWindowsPackages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void listsPackages();
    void elevationChoosesThePackages();
    void operationsEndInAnyWay_data();
    void operationsEndInAnyWay();
    void failedOperations_data();
    void failedOperations();
    void eachCallOfAScanMayFail();
    void errorTextsAreTheCalls();
    void lacksAnInterface_data();
    void lacksAnInterface();
    void keepsAgileFactoriesOnly();
    void anyThreadWillDo();

    void stopsWhileAPackageIsSlow();
    void scansAgainAfterAPackageThatNeverAnswered();
    void manyScansLeaveNothing();

    void launches_data();
    void launches();
    void launchOfWhatIsNotThere();
    void launchDoesNotWaitForTheStart();
    void launchesFromTheInterfacesThread();
    void launchForUserOnAnOldWindows();
    void eachCallOfALaunchMayFail();

    void logoOfEachFormat_data();
    void logoOfEachFormat();
    void logoWithGaps();
    void logoBeyondItsMemory_data();
    void logoBeyondItsMemory();
    void glassLogoIsPremultiplied();
    void logoThatCannotBeReached();
    void eachCallOfALogoMayFail();

private:
    void serve(const QByteArray &json) { QVERIFY2(m_server->setScript(json), json.constData()); }

    /** Runs the source on a thread of the pool. */
    std::shared_ptr<Probe::Scan> runSource()
    {
        const auto scan = std::make_shared<Probe::Scan>(nullptr, QSharedPointer<XDispatch>::create(XDispatch::main()),
                                                        std::make_shared<Probe::Rules>());
        XDispatch::runInBackground(nullptr, [scan] { Probe::loadAppsFromPackageManager(*scan); });
        XDispatch::waitForBackground(60'000);
        return scan;
    }

    /** Makes the call number `failing` fail, for each until there are no more, and runs `body` each time. */
    template<typename Body>
    void failEach(const QStringList &calls, Body body)
    {
        for (qsizetype failing = 0; failing < calls.size(); ++failing) {
            forgetCurrentUser();
            KvPlatform::Runtime::releaseFactories();
            m_server->takeCalls();
            m_server->failCall(int(failing), AccessDenied, u"Access is denied."_s);
            body(failing);
            m_server->failCall(-1, 0, QString());
            QVERIFY(m_server->waitForThreads());
            KvPlatform::Runtime::releaseFactories();
            QVERIFY2(m_server->objects() == 0, qPrintable(u"objects left after "_s + calls.at(failing)));
        }
    }

    /** Lets the package source find the user. */
    void findUser()
    {
        serve(script());
        findCurrentUser();
        QCOMPARE(nonRoamableId(), u"user-1"_s);
        m_server->takeCalls();
    }

    PackageServer *m_server = nullptr;
    std::unique_ptr<PackagePlatform> m_platform;
};

void TestWindowsPackages::initTestCase()
{
    m_server = PackagePlatform::findServer();
    if (!m_server)
        QSKIP("the package classes are this Windows' own, see tests/windows/packageserver");
}

void TestWindowsPackages::init()
{
    m_platform = std::make_unique<PackagePlatform>();
}

void TestWindowsPackages::cleanup()
{
    QVERIFY(XDispatch::waitForBackground(60'000));
    m_platform.reset();
    if (!m_server)
        return;
    QVERIFY(m_server->waitForThreads());
    QCOMPARE(m_server->objects(), 0);
}

void TestWindowsPackages::listsPackages()
{
    serve(script());
    const LogCatcher log;
    const auto scan = runSource();
    QCOMPARE(ids(*scan), (QStringList{u"A!1"_s, u"B!1"_s, u"B!2"_s, u"C!1"_s}));
    const ProgramInfo &app = *scan->pendingApps.first();
    QCOMPARE(app.type(), ProgramInfo::TypeManaged);
    QCOMPARE(app.managedTarget(), u"A_1"_s);
    QCOMPARE(app.displayName(), u"Übersicht"_s);
    QCOMPARE(app.description(), u"Shows 概要"_s);
    QCOMPARE(app.publisherName(), u"Contoso"_s);
    QCOMPARE(app.version(), u"1.2.4.3"_s);
    QCOMPARE(app.iconUrl().toString(), u"image://app/uwp:A_1?v=1.2.4.3"_s);
    QCOMPARE(scan->pendingApps.at(2)->managedTargetAppIndex(), 1);
    QCOMPARE(scan->pendingApps.at(2)->version(), u"65535.0.1.0"_s);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[USER] non roamable id: user-1"_s});
    QCOMPARE(log.lines().size(), 1);
}

void TestWindowsPackages::elevationChoosesThePackages()
{
    serve(script());
    QCOMPARE(ids(*runSource()).size(), 4);
    QVERIFY(m_server->takeCalls().contains(u"PackageManager.FindPackagesByUserSecurityId"_s));
    m_platform.reset();
    m_platform = std::make_unique<PackagePlatform>(true);
    QCOMPARE(ids(*runSource()).size(), 4);
    QVERIFY(m_server->takeCalls().contains(u"PackageManager.FindPackages"_s));
}

void TestWindowsPackages::operationsEndInAnyWay_data()
{
    QTest::addColumn<QByteArray>("ending");
    QTest::addColumn<bool>("isWaitedFor");
    QTest::newRow("before anybody waits") << QByteArray("done") << false;
    QTest::newRow("while the handler is being set") << QByteArray("late") << true;
    QTest::newRow("on another thread") << QByteArray("thread") << true;
    QTest::newRow("in a race with the wait") << QByteArray("race") << true;
}

void TestWindowsPackages::operationsEndInAnyWay()
{
    QFETCH(QByteArray, ending);
    QFETCH(bool, isWaitedFor);
    serve(script(R"("operations": {"*": ")" + ending + R"("})"));
    for (int i = 0; i < 20; ++i)
        QCOMPARE(ids(*runSource()).size(), 4);
    QCOMPARE(nonRoamableId(), u"user-1"_s);
    const bool hasHandler = m_server->takeCalls().contains(u"FindAllAsync.put_Completed"_s);
    // In a race it may have ended by then.
    QVERIFY(hasHandler == isWaitedFor || ending == "race");
}

void TestWindowsPackages::failedOperations_data()
{
    QTest::addColumn<QByteArray>("ending");
    QTest::addColumn<QString>("number");
    QTest::newRow("error") << QByteArray("error") << u"15601"_s;
    QTest::newRow("canceled") << QByteArray("canceled") << u"1223"_s;
}

void TestWindowsPackages::failedOperations()
{
    QFETCH(QByteArray, ending);
    QFETCH(QString, number);
    const QByteArray operations =
        R"("operations": {"FindAllAsync": ")" + ending + R"(", "GetAppListEntriesAsync B_1": ")" + ending + R"("})";
    serve(script(operations));
    const LogCatcher log;
    QCOMPARE(ids(*runSource()), (QStringList{u"A!1"_s, u"C!1"_s}));
    const QStringList lines = log.texts(QtInfoMsg);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().startsWith(u"[SKIP] can't find current user, err: %1 reason: "_s.arg(number)));
    QVERIFY(lines.last().startsWith(u"[SKIP] can't load package info, err: %1 reason: "_s.arg(number)));
    QCOMPARE(log.lines().size(), 2);
    QCOMPARE(nonRoamableId(), QString());
}

void TestWindowsPackages::eachCallOfAScanMayFail()
{
    serve(script(R"("operations": {"*": "thread"})"));
    QCOMPARE(ids(*runSource()).size(), 4);
    const QStringList calls = m_server->takeCalls();
    QVERIFY(calls.size() > 100);
    failEach(calls, [this, &calls](qsizetype failing) {
        const LogCatcher log;
        const auto scan = runSource();
        const Outcome expected(calls, failing);
        QVERIFY2(ids(*scan) == expected.ids() && log.texts(QtInfoMsg) == expected.infos() &&
                     log.texts(QtWarningMsg) == expected.warnings(),
                 qPrintable(calls.at(failing) + u": "_s + ids(*scan).join(u' ') + u"; "_s +
                            (log.texts(QtInfoMsg) + log.texts(QtWarningMsg)).join(u" | "_s)));
        QCOMPARE(log.lines().size(), expected.infos().size() + expected.warnings().size());
        QCOMPARE(nonRoamableId(), expected.infos().first().startsWith(u"[USER]"_s) ? u"user-1"_s : QString());
    });
    qInfo("%d calls of a scan have failed in turn", int(calls.size()));
}

void TestWindowsPackages::errorTextsAreTheCalls()
{
    serve(script(
        R"("fail": {"Entry.get_DisplayInfo B!1": {"code": -2147023728, "text": "Said by \"B\".\r\n"},
                    "Id.get_Version C_1": {"code": -2147024891}})"));
    const LogCatcher log;
    QCOMPARE(ids(*runSource()), (QStringList{u"A!1"_s, u"B!2"_s}));
    const QStringList lines = log.texts(QtInfoMsg);
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(1), u"[SKIP] can't get app info: \"Package B\" err: 1168 reason: \"Said by \\\"B\\\".\""_s);
    // The system's text, not that of the error before.
    QVERIFY2(lines.at(2).startsWith(u"[SKIP] can't get app info: \"Package C\" err: 5 reason: \"Access"_s),
             qPrintable(lines.at(2)));
}

void TestWindowsPackages::lacksAnInterface_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("times");
    const QStringList all{u"A!1"_s, u"B!1"_s, u"B!2"_s, u"C!1"_s};
    const QString error = u"err: 16386 reason: "_s;
    QTest::newRow("IUserStatics") << QByteArray("IUserStatics") << all << u"[SKIP] can't find current user, "_s + error
                                  << 1;
    QTest::newRow("IPackageManager") << QByteArray("IPackageManager") << QStringList()
                                     << u"[FAIL] can't load apps from package manager, "_s + error << 1;
    QTest::newRow("IPackage3") << QByteArray("IPackage3") << QStringList()
                               << u"[SKIP] can't load package info, "_s + error << 4;
    QTest::newRow("IAppListEntry2, before version 1709")
        << QByteArray("IAppListEntry2") << QStringList() << u"[SKIP] can't get app info: \"Package "_s << 4;
    QTest::newRow("IAppListEntry3, before version 1803") << QByteArray("IAppListEntry3") << all << QString() << 0;
    // Its name can't be told either, so the whole package is passed over.
    QTest::newRow("IPackage2") << QByteArray("IPackage2") << QStringList()
                               << u"[SKIP] can't load package info, "_s + error << 3;
}

void TestWindowsPackages::lacksAnInterface()
{
    QFETCH(QByteArray, name);
    QFETCH(QStringList, ids);
    QFETCH(QString, line);
    QFETCH(int, times);
    serve(script(R"("lacks": [")" + name + R"("])"));
    const LogCatcher log;
    QCOMPARE(::ids(*runSource()), ids);
    const QStringList lines = log.texts(QtInfoMsg) + log.texts(QtWarningMsg);
    QCOMPARE(lines.filter(u"[SKIP]"_s).size() + lines.filter(u"[FAIL]"_s).size(), times);
    for (const QString &told : lines) {
        if (!told.startsWith(u"[USER]"_s))
            QVERIFY2(told.startsWith(line) && told.contains(u"err: 16386"_s), qPrintable(told));
    }
}

void TestWindowsPackages::keepsAgileFactoriesOnly()
{
    serve(script(R"("notAgile": ["Windows.System.User"])"));
    for (int i = 0; i < 3; ++i) {
        forgetCurrentUser();
        QCOMPARE(ids(*runSource()).size(), 4);
    }
    const QStringList calls = m_server->takeCalls();
    QCOMPARE(calls.count(u"activate Windows.System.User"_s), 3);
    QCOMPARE(calls.count(u"activate Windows.Management.Deployment.PackageManager"_s), 1);
    QCOMPARE(calls.count(u"PackageManagers.ActivateInstance"_s), 3);
    // What is kept is the one factory.
    QCOMPARE(m_server->objects(), 1);
}

void TestWindowsPackages::anyThreadWillDo()
{
    serve(script(R"("operations": {"*": "thread"})"));
    QStringList found;
    std::thread([&found] {
        // Nobody has initialised COM here.
        const auto packages = KvPlatform::Platform::current()->packages->packageManager()->findPackagesForUser({});
        while (const auto package = packages->next())
            found.append(package->id()->fullName() + QString::number(package->appListEntries()->size()));
    }).join();
    QCOMPARE(found, (QStringList{u"A_11"_s, u"B_12"_s, u"Empty_10"_s, u"C_11"_s}));
}

void TestWindowsPackages::stopsWhileAPackageIsSlow()
{
    serve(script(R"("operations": {"GetAppListEntriesAsync B_1": "gate"})"));
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names().size(), 4);
    m_server->takeCalls();
    m_server->setGate(false);
    runner.context().startScan();
    const bool isBlocked = m_server->waitAtGate(2);
    QElapsedTimer timer;
    timer.start();
    runner.context().stopScan();
    const qint64 stopTime = timer.elapsed();
    m_server->setGate(true);
    QVERIFY(isBlocked);
    QVERIFY2(stopTime < 1000, qPrintable(QString::number(stopTime)));
    QVERIFY(XDispatch::waitForBackground(60'000));
    runner.advance(1000);
    QCOMPARE(runner.names().size(), 4);
    // The package under way was read to its end, the next one not touched.
    const QStringList calls = m_server->takeCalls();
    QVERIFY(calls.contains(u"Entry.get_AppUserModelId B!2"_s));
    QVERIFY(calls.filter(u"C_1"_s).isEmpty());
}

void TestWindowsPackages::scansAgainAfterAPackageThatNeverAnswered()
{
    serve(script(R"("operations": {"GetAppListEntriesAsync A_1": "gate"})"));
    m_server->setGate(false);
    ScanRunner runner;
    int published = 0;
    connect(&runner.context(), &KvProgramContext::isEmptyChanged, this, [&published] { ++published; });
    runner.context().startScan();
    const bool isBlocked = m_server->waitAtGate(1);
    runner.context().stopScan();
    runner.context().startScan();
    for (int i = 0; i < 20; ++i)
        runner.advance(100);
    // The new scan waits for the source of the old one.
    const int publishedEarly = published;
    m_server->setGate(true);
    QVERIFY(isBlocked);
    QCOMPARE(publishedEarly, 0);
    for (int i = 0; i < 5; ++i) {
        QVERIFY(XDispatch::waitForBackground(60'000));
        runner.advance(100);
    }
    QCOMPARE(published, 1);
    QCOMPARE(runner.names().size(), 4);
}

void TestWindowsPackages::manyScansLeaveNothing()
{
    constexpr int Scans = 1000;
    serve(script(
        R"("operations": {"*": "late", "GetAppListEntriesAsync B_1": "thread"},
           "fail": {"Entry.get_DisplayInfo C!1": {"code": -2147024891, "text": "Access is denied."}})"));
    QList<ProcessUse> uses;
    for (int i = 1; i <= Scans; ++i) {
        const LogCatcher log;
        forgetCurrentUser();
        QCOMPARE(ids(*runSource()).size(), 3);
        ScanRunner::turn();
        m_server->takeCalls();
        if (i != Scans / 10 && i != Scans / 2 && i != Scans)
            continue;
        QVERIFY(m_server->waitForThreads());
        // The two factories.
        QCOMPARE(m_server->objects(), 2);
        uses.append(ProcessUse::now());
    }
    const ProcessUse &early = uses.first();
    const ProcessUse &late = uses.last();
    for (const ProcessUse &use : std::as_const(uses))
        qInfo("%u handles, %lld private bytes", use.handles, use.privateBytes);
    QVERIFY2(late.handles <= early.handles + 2, qPrintable(QString::number(late.handles)));
    QVERIFY2(late.privateBytes <= early.privateBytes + MostNewBytes, qPrintable(QString::number(late.privateBytes)));
}

void TestWindowsPackages::launches_data()
{
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<bool>("knowsUser");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("find");
    const QString ofAll = u"PackageManager.FindPackageByPackageFullName"_s;
    const QString ofUser = u"PackageManager.FindPackageByUserSecurityIdPackageFullName"_s;
    QTest::newRow("elevated, user known") << true << true << u"B!2 for user-1"_s << ofAll;
    QTest::newRow("elevated, user unknown") << true << false << u"B!2"_s << ofAll;
    QTest::newRow("not elevated, user known") << false << true << u"B!2"_s << ofUser;
    QTest::newRow("not elevated, user unknown") << false << false << u"B!2"_s << ofUser;
}

void TestWindowsPackages::launches()
{
    QFETCH(bool, isElevated);
    QFETCH(bool, knowsUser);
    QFETCH(QString, line);
    QFETCH(QString, find);
    m_platform.reset();
    m_platform = std::make_unique<PackagePlatform>(isElevated);
    if (knowsUser)
        findUser();
    serve(script());
    QVERIFY(launch(u"B_1"_s, 1));
    QCOMPARE(m_server->takeLaunches(), QStringList{line});
    QCOMPARE(m_server->takeCalls().filter(u"PackageManager.Find"_s), QStringList{find});
}

void TestWindowsPackages::launchOfWhatIsNotThere()
{
    serve(script());
    const LogCatcher log;
    QVERIFY(!launch(u"A_1"_s, 1));
    QVERIFY(!launch(u"Empty_1"_s, 0));
    QVERIFY(!launch(u"Gone_1"_s, 0));
    for (const QString &name : {u"Gone_1"_s, u"A_1"_s})
        QVERIFY(ManagedApp::icon(name, 1, nullptr, "").isNull());
    QCOMPARE(m_server->takeLaunches(), QStringList());
    QCOMPARE(log.lines().size(), 0);
}

void TestWindowsPackages::launchDoesNotWaitForTheStart()
{
    serve(script(R"("operations": {"LaunchAsync": "error"})"));
    QVERIFY(launch(u"A_1"_s, 0));
    QCOMPARE(m_server->takeLaunches(), QStringList{u"A!1"_s});
    QVERIFY(m_server->takeCalls().filter(u"LaunchAsync."_s).isEmpty());
}

void TestWindowsPackages::launchesFromTheInterfacesThread()
{
    serve(script(R"("operations": {"*": "thread"})"));
    // The kind of apartment that Qt uses there.
    QCOMPARE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    const bool isLaunched = launch(u"A_1"_s, 0);
    CoUninitialize();
    QVERIFY(isLaunched);
    QCOMPARE(m_server->takeLaunches(), QStringList{u"A!1"_s});
}

void TestWindowsPackages::launchForUserOnAnOldWindows()
{
    m_platform.reset();
    m_platform = std::make_unique<PackagePlatform>(true);
    findUser();
    serve(script(R"("lacks": ["IAppListEntry3"])"));
    const LogCatcher log;
    QVERIFY(!launch(u"A_1"_s, 0));
    const QStringList lines = log.texts(QtWarningMsg);
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().startsWith(u"[FAIL] can't launch uwp app: \"Name\" err: -2147467262 reason: "_s),
             qPrintable(lines.first()));
    QCOMPARE(m_server->takeLaunches(), QStringList());
}

void TestWindowsPackages::eachCallOfALaunchMayFail()
{
    m_platform.reset();
    m_platform = std::make_unique<PackagePlatform>(true);
    findUser();
    KvPlatform::Runtime::releaseFactories();
    serve(script(R"("operations": {"*": "thread"})"));
    QVERIFY(launch(u"B_1"_s, 1));
    const QStringList calls = m_server->takeCalls();
    QVERIFY(calls.size() > 15);
    failEach(calls, [&](qsizetype failing) {
        // Which the loop has forgotten. The lookup's calls are not those that fail.
        m_server->failCall(-1, 0, QString());
        findCurrentUser();
        KvPlatform::Runtime::releaseFactories();
        m_server->takeCalls();
        m_server->takeLaunches();
        m_server->failCall(int(failing), AccessDenied, u"Access is denied."_s);
        const LogCatcher log;
        QVERIFY2(!launch(u"B_1"_s, 1), qPrintable(calls.at(failing)));
        const QString line = u"[FAIL] can't launch uwp app: \"Name\" err: -2147024891 reason: \"Access is denied.\""_s;
        QCOMPARE(log.texts(QtWarningMsg), QStringList{line});
        QCOMPARE(m_server->takeLaunches(), QStringList());
    });
    qInfo("%d calls of a launch have failed in turn", int(calls.size()));
}

void TestWindowsPackages::logoOfEachFormat_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("alphaMode");
    QTest::addColumn<bool>("isConverted");
    for (const int format : {0, 12, 30, 57, 62, 87, 103, 104, 107}) {
        for (const int alphaMode : {0, 1, 2}) {
            const bool isKept = format == 30 && alphaMode != 1;
            QTest::addRow("format %d, alpha mode %d", format, alphaMode) << format << alphaMode << !isKept;
        }
    }
}

void TestWindowsPackages::logoOfEachFormat()
{
    QFETCH(int, format);
    QFETCH(int, alphaMode);
    QFETCH(bool, isConverted);
    const QByteArray logo = R"("kind": "plate", "width": 5, "height": 4, "format": )" + QByteArray::number(format) +
                            R"(, "alphaMode": )" + QByteArray::number(alphaMode);
    serve(logoScript(logo, R"("operations": {"*": "thread"})"));
    const QImage image = loadLogo();
    QCOMPARE(image.size(), QSize(5, 4));
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x)
            QCOMPARE(image.pixel(x, y), qRgba(x, y, 7, 255));
    }
    const QStringList calls = m_server->takeCalls();
    QCOMPARE(calls.contains(u"Bitmaps.Convert"_s), isConverted);
    QVERIFY(calls.contains(u"DisplayInfo.GetLogo 225x225 L!1"_s));
    // What was locked is closed, the inner one first.
    QCOMPARE(calls.filter(u".Close"_s).size(), 2);
    QVERIFY(calls.last().startsWith(u"Buffer.Close"_s));
}

void TestWindowsPackages::logoWithGaps()
{
    serve(logoScript(R"("width": 225, "height": 225, "kind": "glyph", "gap": 28, "start": 12)"));
    const QImage image = loadLogo();
    QCOMPARE(image.size(), QSize(225, 225));
    QCOMPARE(image.pixel(112, 0), qRgba(112, 0, 7, 255));
    QCOMPARE(image.pixel(112, 224), qRgba(112, 224, 7, 255));
    QCOMPARE(image.pixel(0, 224), 0U);
    QCOMPARE(image.pixel(224, 224), 0U);
    const QImage glyph = loadLogo([](const QImage &) { return true; });
    QCOMPARE(glyph.size(), QSize(90, 90));
    QCOMPARE(glyph.pixel(112 - 67, 0), qRgba(112, 67, 7, 255));
}

void TestWindowsPackages::logoBeyondItsMemory_data()
{
    QTest::addColumn<QByteArray>("logo");
    QTest::newRow("one byte short") << QByteArray(R"("width": 4, "height": 4, "capacity": 63)");
    QTest::newRow("nothing") << QByteArray(R"("width": 4, "height": 4, "capacity": 0)");
    QTest::newRow("overlapping rows") << QByteArray(R"("width": 4, "height": 4, "gap": -8)");
    QTest::newRow("no pixels") << QByteArray(R"("width": 0, "height": 0)");
}

void TestWindowsPackages::logoBeyondItsMemory()
{
    QFETCH(QByteArray, logo);
    serve(logoScript(logo));
    QVERIFY(loadLogo().isNull());
}

void TestWindowsPackages::glassLogoIsPremultiplied()
{
    for (const char *const facts :
         {R"("kind": "glass", "format": 30, "alphaMode": 0)", R"("kind": "glass", "format": 30, "alphaMode": 1)",
          R"("kind": "glass", "format": 87, "alphaMode": 1)"}) {
        serve(logoScript(facts));
        const QImage image = loadLogo();
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(image.constScanLine(8)) + 32, 4),
                 QByteArray("\x33\x00\x14\x33", 4));
    }
}

void TestWindowsPackages::logoThatCannotBeReached()
{
    serve(logoScript(R"("width": 4)", R"("fail": {"Reference.GetBuffer": {"code": -1}})"));
    const LogCatcher log;
    QVERIFY(loadLogo().isNull());
    QCOMPARE(log.lines().size(), 0);
}

void TestWindowsPackages::eachCallOfALogoMayFail()
{
    serve(logoScript(R"("width": 4, "format": 87)", R"("operations": {"*": "thread"})"));
    QVERIFY(!loadLogo().isNull());
    const QStringList calls = m_server->takeCalls();
    QVERIFY(calls.size() > 40);
    failEach(calls, [&calls](qsizetype failing) {
        const LogCatcher log;
        const bool isNull = loadLogo().isNull();
        const QString line = u"[FAIL] can't get icon for: \"L_1\" err: -2147024891 reason: \"Access is denied.\""_s;
        const bool isTold = log.texts(QtWarningMsg) == QStringList{line};
        // Three fail without a word: the memory that can't be reached gives no picture, and neither how the rows lie
        // nor the closing matters.
        const QString &call = calls.at(failing);
        const bool isIgnored =
            call.contains(u".Close"_s) || call.contains(u" as IClosable"_s) || call.contains(u".GetPlaneDescription"_s);
        const bool isQuiet = call.contains(u".GetBuffer"_s);
        QVERIFY2(isNull == !isIgnored && isTold == !(isIgnored || isQuiet), qPrintable(call));
        QCOMPARE(log.lines().size(), isTold ? 1 : 0);
    });
    qInfo("%d calls for a logo have failed in turn", int(calls.size()));
}

QTEST_GUILESS_MAIN(TestWindowsPackages)
#include "tst_windowspackages.moc"
