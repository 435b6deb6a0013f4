#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"

#include <XDispatch.h>

#include <QtQml/QJSEngine>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;
using Rule = QMap<QString, QVariant>;

namespace {

const QString UserFailed = u"[SKIP] can't find current user, err: 5 reason: \"Access is denied.\""_s;
const QString PackageFailed = u"[SKIP] can't load package info, err: 5 reason: \"Access is denied.\""_s;
const QString ManagerFailed = u"[FAIL] can't load apps from package manager, err: 5 reason: \"Access is denied.\""_s;
const QString UserFound = u"[USER] non roamable id: local"_s;

QString entryFailed(const QString &package)
{
    return u"[SKIP] can't get app info: \"%1\" err: 5 reason: \"Access is denied.\""_s.arg(package);
}

/** The application user model ids of the records that a scan holds. */
QStringList ids(const Probe::Scan &scan)
{
    QStringList result;
    for (const ProgramInfo *const app : scan.pendingApps)
        result.append(app->productName());
    return result;
}

QStringList names(const Probe::Scan &scan)
{
    QStringList result;
    for (const ProgramInfo *const app : scan.pendingApps)
        result.append(app->displayName());
    return result;
}

} // namespace

class tst_ProgramSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_platform = std::make_unique<FakePlatform>();
        forgetCurrentUser();
        KvSecurity::isElevated(); // So that its line stands in no test's log.
        m_scan = makeScan();
    }
    void cleanup()
    {
        m_scan.reset();
        m_platform.reset();
    }

    void startMenuIsLoggedAndWalked();
    void failedLinkIsPassedOverWithoutAMessage();
    void folderThatDoesNotExistHasOneLine();
    void startMenuWithoutAFolderIsNotWalked();
    void userFolderIsAskedForWithTheSessionsToken();
    void userFolderIsAskedForWithoutATokenThatCannotBeHad();
    void cancelledWalkStopsBeforeTheNextLink();
    void recordsBelongToCppAndToTheDispatchersThread();

    void metadataEntriesComeInOrder();
    void metadataEntryWithoutATargetIsDropped();
    void cancelledMetadataGivesNothing();

    void packageEntryGivesARecord();
    void entriesOfAPackageDifferByIndex();
    void packageWithoutEntriesGivesNothing();
    void versionTextHasRevisionBeforeBuild();
    void elevationChoosesThePackages_data();
    void elevationChoosesThePackages();
    void missingPackageManagerGivesNothing();
    void cancelledBetweenPackagesStopsBeforeTheNext();
    void cancelledAtTheStartAsksForNoPackage();
    void eachCallMayFail();
    void failureWhileAFailureIsToldSkipsThePackage();
    void errorNumberIsTheLowHalf();

    void currentUser_data();
    void currentUser();
    void currentUserIsLookedUpOncePerProcess();
    void failedLookupIsNotRepeated();

private:
    static std::shared_ptr<Probe::Scan> makeScan(const QList<Rule> &metadataApps = {})
    {
        const auto rules = std::make_shared<Probe::Rules>();
        rules->metadataApps = metadataApps;
        return std::make_shared<Probe::Scan>(nullptr, QSharedPointer<XDispatch>::create(XDispatch::main()), rules);
    }

    static FakePackage twoEntries(const QString &name)
    {
        FakePackage package = FakePackage::of(name, name + u"!1"_s);
        package.entries.append({name + u" two"_s, u"second"_s, name + u"!2"_s});
        return package;
    }

    std::unique_ptr<FakePlatform> m_platform;
    std::shared_ptr<Probe::Scan> m_scan;
};

void tst_ProgramSources::startMenuIsLoggedAndWalked()
{
    m_platform->addLink(u"One"_s, u"C:/one.exe"_s);
    m_platform->addLink(u"Two"_s, u"C:/two.exe"_s);
    const LogCatcher log;
    Probe::loadAppsFromCommonStartMenu(*m_scan);
    QCOMPARE(names(*m_scan), (QStringList{u"One"_s, u"Two"_s}));
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[APPS] scan: C:\\Common\\Programs"_s});
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProgramSources::failedLinkIsPassedOverWithoutAMessage()
{
    FakeLink broken = FakeLink::to(u"C:/broken.exe"_s, u"Broken"_s);
    broken.resolves = false;
    m_platform->addLinkFile(FakePlatform::commonMenu() + u"\\broken.lnk"_s, broken);
    m_platform->addLink(u"Good"_s, u"C:/good.exe"_s);
    const LogCatcher log;
    Probe::loadAppsFromCommonStartMenu(*m_scan);
    QCOMPARE(names(*m_scan), QStringList{u"Good"_s});
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProgramSources::folderThatDoesNotExistHasOneLine()
{
    const LogCatcher log;
    Probe::loadAppsFromCommonStartMenu(*m_scan);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[APPS] scan: C:\\Common\\Programs"_s});
    QCOMPARE(names(*m_scan), QStringList());
}

void tst_ProgramSources::startMenuWithoutAFolderIsNotWalked()
{
    m_platform->folders->ofProcess.clear();
    m_platform->folders->ofToken.clear();
    const LogCatcher log;
    Probe::loadAppsFromCommonStartMenu(*m_scan);
    Probe::loadAppsFromUserStartMenu(*m_scan);
    QCOMPARE(log.lines().size(), 0);
}

void tst_ProgramSources::userFolderIsAskedForWithTheSessionsToken()
{
    m_platform->tokens->hasSessionToken = true;
    const LogCatcher log;
    Probe::loadAppsFromUserStartMenu(*m_scan);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[APPS] scan: C:\\Users\\kim\\Programs"_s});
    QCOMPARE(m_platform->tokens->openTokens(), 0);
}

void tst_ProgramSources::userFolderIsAskedForWithoutATokenThatCannotBeHad()
{
    m_platform->folders->ofProcess.insert(KvPlatform::Folder::Programs, u"C:\\Own"_s);
    const LogCatcher log;
    Probe::loadAppsFromUserStartMenu(*m_scan);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[APPS] scan: C:\\Own"_s});
}

void tst_ProgramSources::cancelledWalkStopsBeforeTheNextLink()
{
    m_platform->addLink(u"One"_s, u"C:/one.exe"_s);
    m_scan->cancel();
    Probe::loadAppsFromCommonStartMenu(*m_scan);
    QCOMPARE(m_platform->calls->take(), QStringList());
    QCOMPARE(names(*m_scan), QStringList());
}

void tst_ProgramSources::recordsBelongToCppAndToTheDispatchersThread()
{
    m_platform->addLink(u"One"_s, u"C:/one.exe"_s);
    m_platform->packages->packages = {FakePackage::of(u"P"_s, u"P!1"_s)};
    m_scan = makeScan({{{u"target"_s, u"https://x/"_s}}});
    XDispatch::runInBackground(nullptr, [scan = m_scan] {
        Probe::loadAppsFromCommonStartMenu(*scan);
        Probe::loadAppsFromPackageManager(*scan);
        Probe::loadAppsFromMetadata(*scan);
    });
    QVERIFY(XDispatch::waitForBackground(10'000));
    QCOMPARE(m_scan->pendingApps.size(), 3);
    for (const ProgramInfo *const app : std::as_const(m_scan->pendingApps)) {
        QCOMPARE(QJSEngine::objectOwnership(const_cast<ProgramInfo *>(app)), QJSEngine::CppOwnership);
        QCOMPARE(app->thread(), QThread::currentThread());
        QVERIFY(!app->parent());
    }
}

void tst_ProgramSources::metadataEntriesComeInOrder()
{
    m_scan = makeScan({{{u"target"_s, u"https://x/b"_s}},
                       {{u"target"_s, u"https://x/a"_s}, {u"displayName"_s, u"A"_s}},
                       {{u"target"_s, u"https://x/c"_s}, {u"managedTarget"_s, u"p"_s}}});
    const LogCatcher log;
    Probe::loadAppsFromMetadata(*m_scan);
    QCOMPARE(names(*m_scan), (QStringList{u"b"_s, u"A"_s, QString()}));
    QCOMPARE(m_scan->pendingApps.last()->type(), ProgramInfo::TypeManaged);
    QCOMPARE(log.lines().size(), 0);
}

void tst_ProgramSources::metadataEntryWithoutATargetIsDropped()
{
    m_scan = makeScan({{{u"displayName"_s, u"A"_s}}, {{u"target"_s, QString()}}, {{u"target"_s, u"https://x/b"_s}}});
    Probe::loadAppsFromMetadata(*m_scan);
    QCOMPARE(names(*m_scan), QStringList{u"b"_s});
}

void tst_ProgramSources::cancelledMetadataGivesNothing()
{
    m_scan = makeScan({{{u"target"_s, u"https://x/b"_s}}});
    m_scan->cancel();
    Probe::loadAppsFromMetadata(*m_scan);
    QCOMPARE(names(*m_scan), QStringList());
}

void tst_ProgramSources::packageEntryGivesARecord()
{
    m_platform->packages->packages = {
        {u"Paint_1_x64"_s, u"Package"_s, u"Contoso"_s, {1, 2, 3, 4}, {{u"Paint"_s, u"Draws"_s, u"Paint!App"_s}}}};
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(m_scan->pendingApps.size(), 1);
    const ProgramInfo &app = *m_scan->pendingApps.first();
    QCOMPARE(app.managedTarget(), u"Paint_1_x64"_s);
    QCOMPARE(app.displayName(), u"Paint"_s);
    QCOMPARE(app.description(), u"Draws"_s);
    QCOMPARE(app.publisherName(), u"Contoso"_s);
    QCOMPARE(app.productName(), u"Paint!App"_s);
    QCOMPARE(app.version(), u"1.2.4.3"_s);
    QCOMPARE(app.iconUrl().toString(), u"image://app/uwp:Paint_1_x64?v=1.2.4.3"_s);
}

void tst_ProgramSources::entriesOfAPackageDifferByIndex()
{
    FakePackage package = twoEntries(u"P"_s);
    package.entries.append({u"P three"_s, {}, u"P!3"_s});
    m_platform->packages->packages = {package, FakePackage::of(u"Q"_s, u"Q!1"_s)};
    Probe::loadAppsFromPackageManager(*m_scan);
    QStringList targets;
    QStringList icons;
    for (const ProgramInfo *const app : std::as_const(m_scan->pendingApps)) {
        targets.append(app->targetUrl().toString());
        icons.append(app->iconUrl().toString());
    }
    QCOMPARE(targets, (QStringList{u"uwp:P_x64"_s, u"uwp:P_x64?1"_s, u"uwp:P_x64?2"_s, u"uwp:Q_x64"_s}));
    QCOMPARE(icons, (QStringList{u"image://app/uwp:P_x64?v=1.0.0.0"_s, u"image://app/uwp:P_x64?i=1&v=1.0.0.0"_s,
                                 u"image://app/uwp:P_x64?i=2&v=1.0.0.0"_s, u"image://app/uwp:Q_x64?v=1.0.0.0"_s}));
    QCOMPARE(ids(*m_scan), (QStringList{u"P!1"_s, u"P!2"_s, u"P!3"_s, u"Q!1"_s}));
}

void tst_ProgramSources::packageWithoutEntriesGivesNothing()
{
    m_platform->packages->packages = {{u"Empty_x64"_s, u"Empty"_s, {}, {}, {}}};
    const LogCatcher log;
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(ids(*m_scan), QStringList());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ProgramSources::versionTextHasRevisionBeforeBuild()
{
    m_platform->packages->packages = {FakePackage::of(u"P"_s, u"P!1"_s, {65535, 0, 7, 65534})};
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(m_scan->pendingApps.first()->version(), u"65535.0.65534.7"_s);
}

void tst_ProgramSources::elevationChoosesThePackages_data()
{
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<QString>("call");
    QTest::newRow("elevated") << true << u"findPackages"_s;
    QTest::newRow("not elevated") << false << u"findPackagesForUser \"\""_s;
}

void tst_ProgramSources::elevationChoosesThePackages()
{
    QFETCH(bool, isElevated);
    QFETCH(QString, call);
    m_platform->session->elevated = isElevated;
    KvSecurity::forget();
    m_platform->packages->users = {{0, 1, u"local"_s}}; // Found, but not asked for.
    Probe::loadAppsFromPackageManager(*m_scan);
    const QStringList calls{u"findAllUsers"_s,  u"nextUser"_s,       u"type"_s, u"authenticationStatus"_s,
                            u"nonRoamableId"_s, u"packageManager"_s, call,      u"nextPackage"_s};
    QCOMPARE(m_platform->calls->take(), calls);
}

void tst_ProgramSources::missingPackageManagerGivesNothing()
{
    m_platform->packages->hasManager = false;
    const LogCatcher log;
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(ids(*m_scan), QStringList());
    QCOMPARE(log.lines().size(), 0);
}

void tst_ProgramSources::cancelledBetweenPackagesStopsBeforeTheNext()
{
    m_platform->packages->packages = {FakePackage::of(u"A"_s, u"A!1"_s), twoEntries(u"B"_s),
                                      FakePackage::of(u"C"_s, u"C!1"_s)};
    m_platform->packages->fails = [this, asked = 0](const QString &call) mutable {
        asked += call == u"appUserModelId" ? 1 : 0;
        if (asked == 2)
            m_scan->cancel();
        return false;
    };
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(ids(*m_scan), QStringList{u"A!1"_s});
    const QStringList calls = m_platform->calls->take();
    // The package that was under way is read to its end, and what comes of it is dropped.
    QCOMPARE(calls.count(u"nextPackage"_s), 2);
    QCOMPARE(calls.count(u"appUserModelId"_s), 3);
    QCOMPARE(calls.last(), u"nextEntry"_s);
}

void tst_ProgramSources::cancelledAtTheStartAsksForNoPackage()
{
    m_platform->packages->packages = {FakePackage::of(u"A"_s, u"A!1"_s)};
    m_scan->cancel();
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(m_platform->calls->take().last(), u"findPackagesForUser \"\""_s);
}

/** Whose failure a call's failure is. */
enum class Scope
{
    User,
    Manager,
    Package,
    Entry
};

Scope scopeOf(const QString &call)
{
    static const QStringList user{u"findAllUsers"_s, u"nextUser"_s, u"type"_s, u"authenticationStatus"_s,
                                  u"nonRoamableId"_s};
    static const QStringList package{u"appListEntries"_s, u"nextEntry"_s};
    if (user.contains(call))
        return Scope::User;
    if (call == u"packageManager" || call == u"nextPackage" || call.startsWith(u"findPackages"))
        return Scope::Manager;
    return package.contains(call) ? Scope::Package : Scope::Entry;
}

/** What a failure of the call number `failing` leaves of the records, and what it makes the source log. */
struct Outcome
{
    QStringList ids;
    QStringList infos;
    QStringList warnings;

    static Outcome of(const QStringList &calls, qsizetype failing, const QList<FakePackage> &packages)
    {
        Outcome outcome;
        const Scope scope = scopeOf(calls.at(failing));
        const qsizetype package = calls.first(failing + 1).count(u"nextPackage"_s) - 1;
        const qsizetype lastPackage = calls.first(failing + 1).lastIndexOf(u"nextPackage"_s);
        const qsizetype entry =
            calls.sliced(qMax<qsizetype>(lastPackage, 0), failing + 1 - qMax<qsizetype>(lastPackage, 0))
                .count(u"nextEntry"_s) -
            1;
        outcome.infos = {scope == Scope::User ? UserFailed : UserFound};
        if (scope == Scope::Manager)
            outcome.warnings = {ManagerFailed};
        if (scope == Scope::Package)
            outcome.infos.append(PackageFailed);
        if (scope == Scope::Entry)
            outcome.infos.append(entryFailed(packages.at(package).displayName));
        for (qsizetype p = 0; p < packages.size(); ++p) {
            for (qsizetype e = 0; e < packages.at(p).entries.size(); ++e) {
                const bool lost = (scope == Scope::Manager && p >= package) ||
                                  (scope == Scope::Package && p == package && e >= entry) ||
                                  (scope == Scope::Entry && p == package && e == entry);
                if (!lost)
                    outcome.ids.append(packages.at(p).entries.at(e).appUserModelId);
            }
        }
        return outcome;
    }
};

void tst_ProgramSources::eachCallMayFail()
{
    const QList<FakePackage> packages{FakePackage::of(u"A"_s, u"A!1"_s),
                                      twoEntries(u"B"_s),
                                      {u"Empty_x64"_s, u"Empty"_s, {}, {}, {}},
                                      FakePackage::of(u"C"_s, u"C!1"_s)};
    m_platform->packages->packages = packages;
    m_platform->packages->users = {{1, 1, u"remote"_s}, {0, 1, u"local"_s}};
    Probe::loadAppsFromPackageManager(*m_scan);
    const QStringList calls = m_platform->calls->take();
    QVERIFY(calls.size() > 40);

    for (qsizetype failing = 0; failing < calls.size(); ++failing) {
        forgetCurrentUser();
        const auto scan = makeScan();
        m_platform->packages->fails = [failing, at = qsizetype(0)](const QString &) mutable { return at++ == failing; };
        const LogCatcher log;
        Probe::loadAppsFromPackageManager(*scan);
        const Outcome expected = Outcome::of(calls, failing, packages);
        QCOMPARE(ids(*scan), expected.ids);
        QCOMPARE(log.texts(QtInfoMsg), expected.infos);
        QCOMPARE(log.texts(QtWarningMsg), expected.warnings);
        QCOMPARE(log.lines().size(), expected.infos.size() + expected.warnings.size());
        QCOMPARE(nonRoamableId(), expected.infos.contains(UserFound) ? u"local"_s : QString());
    }
}

void tst_ProgramSources::failureWhileAFailureIsToldSkipsThePackage()
{
    m_platform->packages->packages = {twoEntries(u"A"_s), FakePackage::of(u"B"_s, u"B!1"_s)};
    m_platform->packages->fails = [first = true](const QString &call) mutable {
        return call == u"packageName" || (call == u"version" && std::exchange(first, false));
    };
    const LogCatcher log;
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(ids(*m_scan), QStringList{u"B!1"_s});
    QCOMPARE(log.texts(QtInfoMsg), QStringList{PackageFailed});
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProgramSources::errorNumberIsTheLowHalf()
{
    class Broken final : public KvPlatform::Packages
    {
    public:
        std::unique_ptr<KvPlatform::PackageManager> packageManager() const override
        {
            throw KvPlatform::hresult_error(-1, u"a \"b\""_s);
        }
    };
    auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
    platform->packages = std::make_shared<Broken>();
    KvPlatform::Platform::setCurrent(platform);
    const LogCatcher log;
    Probe::loadAppsFromPackageManager(*m_scan);
    const QString line = u"[FAIL] can't load apps from package manager, err: 65535 reason: \"a \\\"b\\\"\""_s;
    QCOMPARE(log.texts(QtWarningMsg), QStringList{line});
}

void tst_ProgramSources::currentUser_data()
{
    QTest::addColumn<QList<FakeUser>>("users");
    QTest::addColumn<QString>("id");
    const FakeUser guest{2, 1, u"guest"_s};
    const FakeUser remote{0, 2, u"remote"_s};
    const FakeUser local{0, 1, u"local"_s};
    const FakeUser second{0, 1, u"second"_s};
    QTest::newRow("nobody") << QList<FakeUser>{} << QString();
    QTest::newRow("nobody who is both") << QList<FakeUser>{guest, remote} << QString();
    QTest::newRow("one") << QList<FakeUser>{local} << u"local"_s;
    QTest::newRow("the first who is both") << QList<FakeUser>{guest, remote, local, second} << u"local"_s;
    QTest::newRow("the first of two") << QList<FakeUser>{second, local} << u"second"_s;
}

void tst_ProgramSources::currentUser()
{
    QFETCH(QList<FakeUser>, users);
    QFETCH(QString, id);
    m_platform->packages->users = users;
    const LogCatcher log;
    findCurrentUser();
    QCOMPARE(nonRoamableId(), id);
    QCOMPARE(log.texts(QtInfoMsg), id.isEmpty() ? QStringList() : QStringList{u"[USER] non roamable id: "_s + id});
    QCOMPARE(log.lines().size(), id.isEmpty() ? 0 : 1);
}

void tst_ProgramSources::currentUserIsLookedUpOncePerProcess()
{
    findCurrentUser();
    QCOMPARE(nonRoamableId(), QString());
    m_platform->packages->users = {{0, 1, u"late"_s}};
    findCurrentUser();
    Probe::loadAppsFromPackageManager(*m_scan);
    QCOMPARE(nonRoamableId(), QString());
    QCOMPARE(m_platform->calls->take().count(u"findAllUsers"_s), 1);
}

void tst_ProgramSources::failedLookupIsNotRepeated()
{
    m_platform->packages->users = {{0, 1, u"local"_s}};
    m_platform->packages->fails = [](const QString &call) { return call == u"nonRoamableId"; };
    const LogCatcher log;
    findCurrentUser();
    m_platform->packages->fails = {};
    findCurrentUser();
    QCOMPARE(nonRoamableId(), QString());
    QCOMPARE(log.texts(QtInfoMsg), QStringList{UserFailed});
}

QTEST_GUILESS_MAIN(tst_ProgramSources)
#include "tst_programsources.moc"
