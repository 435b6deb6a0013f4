#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "../support/PeBuilder.h"
#include "../support/ScanRunner.h"
#include "../support/VersionBuilder.h"
#include "KvRegistrySpy.h"
#include "KvSecurity.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QStringList Names{u"Package"_s,   u"Program 0"_s, u"Program 1"_s, u"Program 2"_s,
                        u"Program 3"_s, u"Program 4"_s, u"User's"_s,    u"Web"_s};

/** A program file with a version resource. */
QByteArray program()
{
    VersionBuilder version;
    version.tables = {{0x0409, 0x04B0, {{u"ProductName"_s, u"Product"_s}, {u"ProductVersion"_s, u"1.2"_s}}}};
    PeBuilder file;
    file.addVersion(version.build());
    return file.build();
}

void fill(MachineBuilder &machine)
{
    machine.addConsoleUser();
    machine.setFolder(u"CommonPrograms"_s, u"C:/Menu"_s);
    machine.setFolder(u"Programs"_s, u"C:/User"_s);
    for (int i = 0; i < 5; ++i) {
        const QString target = u"C:/Apps/%1.exe"_s.arg(i);
        machine.addFile(target, program());
        machine.addLinkTo(u"C:/Menu/Folder %1/Program %1.lnk"_s.arg(i), target);
    }
    machine.addFile(u"C:/Apps/user.exe"_s, program());
    machine.addLinkTo(u"C:/User/User's.lnk"_s, u"C:/Apps/user.exe"_s);
    machine.addLinkTo(u"C:/User/Gone.lnk"_s, u"C:/Apps/gone.exe"_s);
    machine.addFile(u"C:/Apps/unins000.exe"_s, program());
    machine.addLinkTo(u"C:/User/Bye.lnk"_s, u"C:/Apps/unins000.exe"_s);
    machine.addPackage(
        {{u"fullName"_s, u"P_1"_s},
         {u"entries"_s, QJsonArray{QJsonObject{{u"displayName"_s, u"Package"_s}, {u"appUserModelId"_s, u"P!1"_s}}}}});
    machine.setMetadata({QJsonObject{{u"target"_s, u"https://x/"_s}, {u"displayName"_s, u"Web"_s}}});
}

} // namespace

/** Scans that begin, end and are given up in any order, on real threads. Seeds are fixed, the threads' timing isn't. */
class tst_ScanStress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        fill(m_machine);
        m_current = std::make_unique<ScopedMachine>(m_machine);
        KvSecurity::forget();
    }
    void init() { m_log = std::make_unique<LogCatcher>(); }
    void cleanup() { m_log.reset(); }
    void cleanupTestCase()
    {
        m_current.reset();
        KvSecurity::forget();
    }

    void everyScanIsPublishedWhole();
    void anyOrderOfCallsEndsInAWholeScan();
    void catalogueMayEndAtAnyMoment();
    void utilitiesMayBeCalledMeanwhile();
    void systemClockDrivesAScan();

private:
    MachineBuilder m_machine;
    std::unique_ptr<ScopedMachine> m_current;
    std::unique_ptr<LogCatcher> m_log;
};

void tst_ScanStress::everyScanIsPublishedWhole()
{
    ScanRunner runner;
    for (int round = 0; round < 50; ++round) {
        QVERIFY(runner.scan());
        QCOMPARE(runner.names(), Names);
    }
}

void tst_ScanStress::anyOrderOfCallsEndsInAWholeScan()
{
    constexpr int Steps = 1'000;
    static constexpr int Delays[] = {0, 1, 99, 100, 200, 300, 15'000, 3'600'000};
    ScanRunner runner;
    int published = 0;
    connect(&runner.context(), &KvProgramContext::allAppsChanged, &runner.context(), [&] {
        ++published;
        QCOMPARE(runner.names(), Names);
    });
    QRandomGenerator random(20);
    for (int step = 0; step < Steps; ++step) {
        switch (random.bounded(8)) {
        case 0:
            runner.context().stopScan();
            break;
        case 1:
        case 2:
            runner.context().startScan();
            break;
        case 3:
            Q_EMIT KvProgramContextProbe::registrySpies(runner.context()).first()->valueChanged();
            break;
        case 4:
            QVERIFY(XDispatch::waitForBackground(60'000));
            runner.advance(random.bounded(2) * 200);
            break;
        default:
            runner.advance(Delays[random.bounded(int(std::size(Delays)))]);
        }
        QVERIFY(runner.context().isEmpty() || runner.names() == Names);
    }
    QVERIFY2(published > 20, qPrintable(QString::number(published)));
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), Names);
}

void tst_ScanStress::catalogueMayEndAtAnyMoment()
{
    ScanRunner runner;
    QRandomGenerator random(21);
    for (int round = 0; round < 300; ++round) {
        runner.context().startScan();
        const int moment = random.bounded(6);
        if (moment > 3)
            QVERIFY(XDispatch::waitForBackground(60'000));
        for (int yields = random.bounded(50); moment > 0 && yields > 0; --yields)
            QThread::yieldCurrentThread();
        if (moment > 1)
            runner.advance(100);
        if (moment > 2)
            runner.advance(100);
        runner.recreate();
    }
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), Names);
}

void tst_ScanStress::utilitiesMayBeCalledMeanwhile()
{
    ScanRunner runner;
    std::atomic<bool> ends{false};
    std::atomic<int> wrong{0};
    std::thread thread([&ends, &wrong] {
        while (!ends) {
            wrong += KvProgramContext::appVersionNumber(u"C:/Apps/1.exe"_s) == u"1.2" ? 0 : 1;
            wrong += KvProgramContext::appInstalledPath(u"nowhere.exe"_s).isNull() ? 0 : 1;
        }
    });
    bool whole = true;
    for (int round = 0; round < 20; ++round)
        whole = runner.scan() && runner.names() == Names && whole;
    ends = true;
    thread.join();
    QVERIFY(whole);
    QCOMPARE(wrong.load(), 0);
}

void tst_ScanStress::systemClockDrivesAScan()
{
    const std::unique_ptr<KvProgramContext> context = KvProgramContextProbe::create();
    QSignalSpy changes(context.get(), &KvProgramContext::isEmptyChanged);
    context->startScan();
    QVERIFY(changes.wait(60'000));
    QCOMPARE(context->allApps().size(), Names.size());
    context->startScan();
    context->startScan();
    QVERIFY(changes.wait(60'000));
    QCOMPARE(changes.size(), 2);
    QCOMPARE(context->allApps().size(), Names.size());
}

QTEST_GUILESS_MAIN(tst_ScanStress)
#include "tst_scanstress.moc"
