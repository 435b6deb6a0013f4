// How much later than the system itself a spy tells of an end, and what the search for a name costs beyond its calls.

#include "BareProcesses.h"
#include "BenchReport.h"
#include "Child.h"
#include "KvProcessSpy.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>

#include <algorithm>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// What a run fails beyond. The goals are 2 ms and 1.2; the bounds leave room for a computer that is busy otherwise.
constexpr double WorstDelay = 50;
constexpr double WorstRatio = 1.6;

const QString AbsentName = u"kv-nobody-is-called-so.exe"_s;

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/** The time from the return of a bare wait on a thread of its own to exited(), for one and the same end, in ms. */
double delayOfOneExit()
{
    Child child = Child::start(30, 0);
    QElapsedTimer timer;
    timer.start();
    qint64 bareTime = 0;
    std::thread waiter([&] {
        if (waitBarely(child.id()))
            bareTime = timer.nsecsElapsed();
    });
    KvProcessSpy spy(nullptr);
    QEventLoop loop;
    qint64 spyTime = 0;
    QObject::connect(&spy, &KvProcessSpy::exited, &loop, [&] {
        spyTime = timer.nsecsElapsed();
        loop.quit();
    });
    if (!spy.bind(child.id()))
        qFatal("can't watch a process");
    loop.exec();
    waiter.join();
    if (bareTime == 0)
        qFatal("can't wait for a process");
    child.collect();
    return double(spyTime - bareTime) / 1e6;
}

QJsonObject measureExits(int rounds)
{
    QList<double> delays;
    // The first ones only warm the caches.
    for (int i = -3; i < rounds; ++i) {
        const double delay = delayOfOneExit();
        if (i >= 0)
            delays.append(delay);
    }
    std::sort(delays.begin(), delays.end());
    return {{u"rounds"_s, rounds},
            {u"firstTenthDelayMs"_s, delays.at(delays.size() / 10)},
            {u"medianDelayMs"_s, median(delays)},
            {u"ninthTenthDelayMs"_s, delays.at(delays.size() * 9 / 10)},
            {u"largestDelayMs"_s, delays.last()}};
}

QJsonObject measureWalk(int rounds, int processes)
{
    std::vector<Child> children;
    for (int i = 0; i < processes; ++i)
        children.push_back(Child::start(Child::Forever, 0));
    QList<double> bareTimes;
    QList<double> spyTimes;
    int count = 0;
    KvProcessSpy spy(nullptr);
    for (int i = -3; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        count = findBarely(AbsentName);
        const double bareTime = double(timer.nsecsElapsed()) / 1e6;
        timer.start();
        const bool isFound = spy.bind(AbsentName);
        const double spyTime = double(timer.nsecsElapsed()) / 1e6;
        if (isFound || count < processes)
            qFatal("%d processes, and one that is not there", count);
        if (i < 0)
            continue;
        bareTimes.append(bareTime);
        spyTimes.append(spyTime);
    }
    return {{u"rounds"_s, rounds},
            {u"processes"_s, count},
            {u"bareMs"_s, median(bareTimes)},
            {u"spyMs"_s, median(spyTimes)},
            {u"ratio"_s, median(spyTimes) / median(bareTimes)}};
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2 || arguments.size() > 4) {
        std::fputs("usage: bench_exits REPORT [ROUNDS [PROCESSES]]\n", stderr);
        return 2;
    }
    const int rounds = std::max(1, arguments.value(2, u"100"_s).toInt());
    const int processes = std::max(1, arguments.value(3, u"500"_s).toInt());
    const QJsonObject exits = measureExits(rounds);
    const QJsonObject walk = measureWalk(rounds, processes);
    const bool isFast =
        exits.value(u"medianDelayMs"_s).toDouble() <= WorstDelay && walk.value(u"ratio"_s).toDouble() <= WorstRatio;
    if (!isFast)
        std::fputs("the spy is slow\n", stderr);
    const int written = writeReport(argv[1], {{u"exits"_s, exits}, {u"walk"_s, walk}});
    return isFast ? written : 1;
}
