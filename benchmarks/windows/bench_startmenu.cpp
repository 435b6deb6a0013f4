// What the Start Menu source costs beyond the system's own calls, and whether scans leave anything behind.

#include "../BenchReport.h"
#include "BareLoop.h"
#include "MenuPlatform.h"
#include "PeBuilder.h"
#include "platform/win/ComScope.h"
#include "platform/win/Handles.h"
#include "ProcessUse.h"
#include "ScanRunner.h"
#include "ShellLinkBuilder.h"
#include "VersionBuilder.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QProcess>
#include <QtCore/QSemaphore>

#include <algorithm>
#include <functional>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr int Links = 1000;
constexpr int LinksOfRepeatedScans = 20;
constexpr int FirstScans = 10;
constexpr int RepeatedScans = 200; // At least 40, so that the counts at which it looks are in order.

// What a run fails beyond. The ratio's goal is 1.10; the bound leaves room for a computer that is busy otherwise.
constexpr double WorstRatio = 1.5;
// Of the memory after the first scans, and beyond what the system's own calls keep.
constexpr double MostGrowth = 0.02;
// Wine makes one now and then, at no particular scan; what each scan leaves behind shows many times over.
constexpr quint32 MostNewHandles = 2;

const QString FirstListOption = u"--first-list"_s;

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

double least(const QList<double> &values)
{
    return *std::min_element(values.cbegin(), values.cend());
}

QJsonArray toJson(const QList<double> &values)
{
    QJsonArray array;
    for (const double value : values)
        array.append(value);
    return array;
}

/** Runs `function` on a thread as the pool has them. */
void runOnWorker(const std::function<void()> &function)
{
    std::thread([&function] {
        const KvPlatform::ComScope com;
        function();
    }).join();
}

QByteArray makeProgram()
{
    VersionBuilder version;
    version.tables.append({0x0409,
                           0x04B0,
                           {{u"CompanyName"_s, u"Bench Company"_s},
                            {u"FileDescription"_s, u"A program to be found"_s},
                            {u"ProductName"_s, u"Bench Product"_s},
                            {u"ProductVersion"_s, u"1.2.3.4"_s}}});
    PeBuilder program;
    program.addVersion(version.build());
    return program.build();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("can't write %s", qPrintable(path));
}

/** Fills the common Start Menu with links in folders of a hundred, each to a program of its own. */
void addPrograms(const MenuPlatform &platform, int count)
{
    const QByteArray program = makeProgram();
    const QString programs = platform.path(u"programs"_s);
    QDir().mkpath(programs);
    for (int i = 0; i < count; ++i) {
        const QString target = u"%1/program%2.exe"_s.arg(programs).arg(i);
        const QString folder = u"%1/Group %2"_s.arg(platform.folders->common).arg(i / 100);
        ShellLinkBuilder link;
        // An older list, which every shell reads.
        link.idItems = ShellLinkBuilder::idList(QDir::toNativeSeparators(target), 3);
        link.description = u"Starts program number %1"_s.arg(i);
        link.arguments = u"--number %1"_s.arg(i);
        link.workingDirectory = QDir::toNativeSeparators(programs);
        QDir().mkpath(folder);
        writeFile(target, program);
        writeFile(u"%1/Program %2.lnk"_s.arg(folder).arg(i), link.build());
    }
}

/** One run of the source, without what follows it. Gives the number of records. */
qsizetype runSource(KvProgramContext &context, double &time)
{
    const QSharedPointer<XDispatch> dispatcher(new XDispatch(XDispatch::main()));
    KvProgramContextProbe::Scan scan(&context, dispatcher, std::make_shared<KvProgramContextProbe::Rules>());
    runOnWorker([&] {
        QElapsedTimer timer;
        timer.start();
        KvProgramContextProbe::loadAppsFromCommonStartMenu(scan);
        time = milliseconds(timer);
    });
    scan.cancel();
    return scan.pendingApps.size();
}

QJsonObject compareWithBareLoop(const MenuPlatform &platform, int rounds)
{
    const auto context = KvProgramContextProbe::create();
    QList<double> bareTimes;
    QList<double> sourceTimes;
    // The first round only warms the caches.
    for (int i = 0; i <= rounds; ++i) {
        int count = 0;
        double bareTime = 0;
        double sourceTime = 0;
        runOnWorker([&] {
            QElapsedTimer timer;
            timer.start();
            count = readLinksBarely(platform.folders->common);
            bareTime = milliseconds(timer);
        });
        const qsizetype records = runSource(*context, sourceTime);
        if (count != Links || records != Links)
            qFatal("%d links and %lld records instead of %d", count, qlonglong(records), Links);
        if (i == 0)
            continue;
        bareTimes.append(bareTime);
        sourceTimes.append(sourceTime);
    }
    return {{u"links"_s, Links},
            {u"bareMs"_s, toJson(bareTimes)},
            {u"sourceMs"_s, toJson(sourceTimes)},
            {u"ratio"_s, median(sourceTimes) / median(bareTimes)},
            {u"leastRatio"_s, least(sourceTimes) / least(bareTimes)}};
}

/** The other process: scans, and tells how old it was when the first list was there. */
int tellFirstList(QCoreApplication &application, const QString &folder)
{
    MenuPlatform platform;
    platform.folders->common = folder;
    const auto context = KvProgramContextProbe::create();
    const double scanStart = ProcessUse::millisecondsSinceStart();
    QObject::connect(context.get(), &KvProgramContext::isEmptyChanged, &application, [&] {
        std::printf("%lld %f %f\n", qlonglong(context->allApps().size()), scanStart,
                    ProcessUse::millisecondsSinceStart());
        std::fflush(stdout);
        application.quit();
    });
    context->startScan();
    return application.exec();
}

void measureFirstList(const MenuPlatform &platform, QJsonObject &report)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {FirstListOption, platform.folders->common});
    process.waitForFinished(-1);
    const QList<QByteArray> numbers = process.readAllStandardOutput().simplified().split(' ');
    if (numbers.size() != 3 || numbers.first().toInt() != Links)
        qFatal("the other process has found %s", numbers.first().constData());
    report.insert(u"startToScanMs"_s, numbers.at(1).toDouble());
    report.insert(u"startToFirstListMs"_s, numbers.at(2).toDouble());
}

/** Brings the pool to the size up to which it grows at once, and waits until all its threads are idle. */
void fillPool()
{
    const int size = std::max(4, 2 * static_cast<int>(std::thread::hardware_concurrency()));
    QSemaphore arrived;
    QSemaphore leave;
    for (int i = 0; i < size; ++i) {
        XDispatch::runInBackground(nullptr, [&] {
            arrived.release();
            leave.acquire();
        });
    }
    arrived.acquire(size);
    leave.release(size);
    XDispatch::waitForBackground(60'000);
}

/** What the process holds after some of many repetitions; they are told by their number. */
struct Leftovers
{
    QList<ProcessUse> uses;
    QJsonArray json;

    /** How much more memory there is at the end than after the first ones. */
    qint64 growth() const { return uses.last().privateBytes - uses.first().privateBytes; }
};

Leftovers repeat(int count, const std::function<void(int)> &function)
{
    Leftovers leftovers;
    int done = 0;
    fillPool();
    for (const int target : {FirstScans, count / 4, count / 2, count}) {
        for (; done < target; ++done)
            function(done);
        fillPool();
        const ProcessUse use = ProcessUse::now();
        leftovers.uses.append(use);
        leftovers.json.append(QJsonObject{{u"scans"_s, done},
                                          {u"handles"_s, qint64(use.handles)},
                                          {u"threads"_s, use.threads},
                                          {u"privateBytes"_s, use.privateBytes}});
    }
    return leftovers;
}

/** The same links by the system's calls alone, which keep some memory of their own. */
Leftovers repeatBareLoop(const MenuPlatform &platform, int count)
{
    return repeat(count, [&platform](int) {
        runOnWorker([&platform] {
            if (readLinksBarely(platform.folders->common) != LinksOfRepeatedScans)
                qFatal("the bare loop has lost a link");
        });
    });
}

Leftovers repeatScans(int count)
{
    ScanRunner runner;
    return repeat(count, [&runner](int number) {
        const bool isPublished = runner.scan();
        const qsizetype found = runner.context().allApps().size();
        if (!isPublished || found != LinksOfRepeatedScans)
            qFatal("scan %d: %s, %d programs", number, isPublished ? "published" : "not published", int(found));
    });
}

QJsonObject measureLeftovers(int count, bool &isClean)
{
    MenuPlatform platform;
    addPrograms(platform, LinksOfRepeatedScans);
    const Leftovers bare = repeatBareLoop(platform, count);
    const Leftovers scans = repeatScans(count);
    const ProcessUse &early = scans.uses.first();
    const ProcessUse &late = scans.uses.last();
    const qint64 ownGrowth = scans.growth() - std::max(qint64(0), bare.growth());
    isClean = late.handles <= early.handles + MostNewHandles && late.threads == early.threads &&
              double(ownGrowth) <= double(early.privateBytes) * MostGrowth;
    return {{u"links"_s, LinksOfRepeatedScans},
            {u"bareUses"_s, bare.json},
            {u"uses"_s, scans.json},
            {u"growth"_s, double(late.privateBytes) / double(early.privateBytes)},
            {u"ownGrowth"_s, double(ownGrowth) / double(early.privateBytes)}};
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == FirstListOption)
        return tellFirstList(application, arguments.at(2));
    if (arguments.size() < 2 || arguments.size() > 4) {
        std::fputs("usage: bench_startmenu REPORT [ROUNDS [SCANS]]\n", stderr);
        return 2;
    }
    const int rounds = std::max(1, arguments.value(2, u"9"_s).toInt());
    const int scans = std::max(4 * FirstScans, arguments.value(3, QString::number(RepeatedScans)).toInt());
    // An apartment of Qt's kind, since Qt wants one on this thread when it meets a link.
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    // First, while nothing else has left its traces: a process that was started, for one, keeps threads for a while.
    bool isClean = false;
    const QJsonObject leftovers = measureLeftovers(scans, isClean);
    QJsonObject report;
    {
        const MenuPlatform platform;
        addPrograms(platform, Links);
        report = compareWithBareLoop(platform, rounds);
        measureFirstList(platform, report);
    }
    report.insert(u"repeatedScans"_s, leftovers);
    // What else the computer does makes single rounds slower, never faster.
    const bool isFast = report.value(u"leastRatio"_s).toDouble() <= WorstRatio;
    if (!isClean || !isFast)
        std::fputs(isClean ? "the source is slow\n" : "scans leave something behind\n", stderr);
    const int written = writeReport(argv[1], report);
    return isClean && isFast ? written : 1;
}
