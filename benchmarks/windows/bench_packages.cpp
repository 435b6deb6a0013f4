// What the package source costs beyond the system's own calls. Runs where the test server answers for the packages.

#include "../BenchReport.h"
#include "BarePackages.h"
#include "KvProgramContextProbe.h"
#include "PackagePlatform.h"
#include "platform/win/ComScope.h"

#include <XDispatch.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr int Packages = 500;

// What a run fails beyond. The goal is 1.10 where operations end on threads, as the system's do; the bound leaves room
// for a computer that is busy otherwise, and for code without optimisation.
constexpr double WorstRatio = 2;

QByteArray makeScript(const char *ending)
{
    QJsonArray packages;
    for (int i = 0; i < Packages; ++i) {
        const QString name = u"Bench.Package%1_1.0.%1.0_x64__kvbench"_s.arg(i);
        const QJsonObject entry{{u"displayName"_s, u"Package %1"_s.arg(i)},
                                {u"description"_s, u"Starts package number %1"_s.arg(i)},
                                {u"appUserModelId"_s, u"Bench.Package%1_kvbench!App"_s.arg(i)}};
        packages.append(QJsonObject{{u"fullName"_s, name},
                                    {u"displayName"_s, u"Package %1"_s.arg(i)},
                                    {u"publisherDisplayName"_s, u"Bench Company"_s},
                                    {u"version"_s, QJsonArray{1, 0, i, 0}},
                                    {u"entries"_s, QJsonArray{entry}}});
    }
    const QJsonObject operations{{u"*"_s, QString::fromLatin1(ending)}};
    return QJsonDocument(QJsonObject{{u"packages"_s, packages}, {u"operations"_s, operations}}).toJson();
}

/** The milliseconds that `function` takes on a thread as the pool has them. */
template<typename Function>
double timeOnWorker(Function function)
{
    double time = 0;
    std::thread([&] {
        const KvPlatform::ComScope com;
        QElapsedTimer timer;
        timer.start();
        function();
        time = double(timer.nsecsElapsed()) / 1e6;
    }).join();
    return time;
}

/** The time that the computer needs when nobody else has it; the others tell how much it was wanted elsewhere. */
double least(const QList<double> &values)
{
    return *std::min_element(values.begin(), values.end());
}

QJsonArray toJson(const QList<double> &values)
{
    QJsonArray array;
    for (const double value : values)
        array.append(value);
    return array;
}

QJsonObject compare(PackageServer &server, const char *ending, int rounds)
{
    if (!server.setScript(makeScript(ending)))
        qFatal("the script is no JSON");
    QList<double> bareTimes;
    QList<double> sourceTimes;
    // The first round only warms the caches.
    for (int i = 0; i <= rounds; ++i) {
        KvProgramContextProbe::Scan scan(nullptr, QSharedPointer<XDispatch>::create(XDispatch::main()),
                                         std::make_shared<KvProgramContextProbe::Rules>());
        int entries = 0;
        const double bareTime = timeOnWorker([&entries] { entries = readPackagesBarely(); });
        server.takeCalls();
        const double sourceTime = timeOnWorker([&scan] { KvProgramContextProbe::loadAppsFromPackageManager(scan); });
        server.takeCalls();
        scan.cancel();
        if (entries != Packages || scan.pendingApps.size() != Packages)
            qFatal("%d entries and %lld records instead of %d", entries, qlonglong(scan.pendingApps.size()), Packages);
        if (i == 0)
            continue;
        bareTimes.append(bareTime);
        sourceTimes.append(sourceTime);
    }
    return {{u"bareMs"_s, toJson(bareTimes)},
            {u"sourceMs"_s, toJson(sourceTimes)},
            {u"ratio"_s, least(sourceTimes) / least(bareTimes)}};
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2 || arguments.size() > 3) {
        std::fputs("usage: bench_packages REPORT [ROUNDS]\n", stderr);
        return 2;
    }
    const int rounds = std::max(1, arguments.value(2, u"25"_s).toInt());
    PackageServer *const server = PackagePlatform::findServer();
    if (!server) {
        std::fputs("the package classes are this Windows' own\n", stderr);
        return 2;
    }
    QJsonObject report{{u"packages"_s, Packages}};
    {
        const PackagePlatform platform;
        report.insert(u"onThreads"_s, compare(*server, "thread", rounds));
        // As no system does it: what remains is the source's own work.
        report.insert(u"atOnce"_s, compare(*server, "done", rounds));
    }
    const bool isFast = report.value(u"onThreads"_s).toObject().value(u"ratio"_s).toDouble() <= WorstRatio;
    if (!isFast)
        std::fputs("the source is slow\n", stderr);
    const int written = writeReport(argv[1], report);
    return isFast ? written : 1;
}
