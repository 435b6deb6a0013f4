// How a scan grows with the number of links, and how long it keeps the catalogue's thread.

#include "BenchMachine.h"
#include "BenchReport.h"
#include "KvProgramContext.h"
#include "KvProgramContextProbe.h"
#include "KvSecurity.h"
#include "platform/Platform.h"

#include <XClock.h>
#include <XDispatch.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QProcess>

#include <algorithm>
#include <ctime>
#include <malloc.h>

namespace {

double milliseconds(qint64 nanoseconds)
{
    return double(nanoseconds) / 1e6;
}

/** The processor time that this thread has used, which doesn't grow while it waits or others run. */
qint64 threadTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000000000 + time.tv_nsec;
}

/** Measures what this thread's event loop does between two moments in which it waits. */
class StretchMeter : public QObject
{
public:
    StretchMeter()
    {
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this, [this] {
            const qint64 stretch = threadTime() - m_since;
            longest = std::max(longest, stretch);
            total += stretch;
            m_since = threadTime();
        });
    }

    qint64 longest = 0;
    qint64 total = 0;

private:
    qint64 m_since = threadTime();
};

void useMachine(const QString &path)
{
    qputenv("KVPROGRAM_MACHINE", path.toLocal8Bit());
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
}

/** Scans, and lets the event loop settle; gives the time from the start to the last signal. */
qint64 scan(KvProgramContext &context)
{
    QEventLoop loop;
    QElapsedTimer timer;
    qint64 elapsed = 0;
    const auto connection = QObject::connect(&context, &KvProgramContext::isEmptyChanged, &context, [&] {
        elapsed = timer.nsecsElapsed();
        // A little later, so that the former records' end counts as well.
        XDispatch::main()->postLater(200, [&loop] { loop.quit(); });
    });
    timer.start();
    context.startScan();
    loop.exec();
    QObject::disconnect(connection);
    context.stopScan();
    return elapsed;
}

QJsonObject measureScan(int links)
{
    auto context = KvProgramContextProbe::create();
    QJsonObject result{{QStringLiteral("links"), links}};
    const std::size_t before = mallinfo2().uordblks;
    {
        StretchMeter meter;
        result.insert(QStringLiteral("firstScanMs"), milliseconds(scan(*context)));
        result.insert(QStringLiteral("firstLongestStretchMs"), milliseconds(meter.longest));
        result.insert(QStringLiteral("firstContextThreadMs"), milliseconds(meter.total));
    }
    const std::size_t after = mallinfo2().uordblks;
    const qsizetype records = context->allApps().size();
    result.insert(QStringLiteral("records"), records);
    result.insert(QStringLiteral("bytesForEachRecord"),
                  double(after - before) / double(std::max<qsizetype>(records, 1)));
    StretchMeter meter;
    result.insert(QStringLiteral("secondScanMs"), milliseconds(scan(*context)));
    result.insert(QStringLiteral("secondLongestStretchMs"), milliseconds(meter.longest));
    return result;
}

/** One merge of everything, and one completion, on a clock that stands still in between. */
QJsonObject measureSteps(int links)
{
    const auto clock = std::make_shared<XManualClock>();
    XClock::setCurrent(clock);
    auto context = KvProgramContextProbe::create();
    context->startScan();
    XDispatch::waitForBackground(600 * 1000);
    const auto run = [&clock](int delay) {
        QElapsedTimer timer;
        clock->advance(delay);
        timer.start();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return milliseconds(timer.nsecsElapsed());
    };
    QJsonObject result{{QStringLiteral("links"), links}};
    result.insert(QStringLiteral("mergeMs"), run(100));
    result.insert(QStringLiteral("completionMs"), run(100));
    result.insert(QStringLiteral("records"), context->allApps().size());
    context.reset();
    XClock::setCurrent(nullptr);
    return result;
}

QJsonObject compareWithDesktopFiles(const QString &program, int links, double scanMs)
{
    QProcess process;
    process.start(program, {QString::number(links)});
    process.waitForFinished(-1);
    const double gioMs = process.readAllStandardOutput().trimmed().toDouble();
    return {{QStringLiteral("entries"), links},
            {QStringLiteral("scanMicrosecondsForEach"), scanMs * 1000 / links},
            {QStringLiteral("gAppInfoGetAllMicrosecondsForEach"), gioMs * 1000 / links},
            {QStringLiteral("ratio"), gioMs > 0 ? scanMs / gioMs : 0}};
}

} // namespace

int main(int argc, char *argv[])
{
    // The plain dispatcher tells each time that it is about to wait; GLib's doesn't.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication application(argc, argv);
    if (argc < 2 || argc > 3)
        return 2;
    const int mostLinks = argc == 3 ? QByteArray(argv[2]).toInt() : 100000;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QJsonArray scans;
    QJsonArray steps;
    QJsonArray doubled;
    QJsonObject comparison;
    for (const int links : {100, 1000, 10000, 100000}) {
        if (links > mostLinks)
            break;
        std::fprintf(stderr, "%d links\n", links);
        const BenchMachine machine(links);
        useMachine(machine.path());
        scans.append(measureScan(links));
        steps.append(measureSteps(links));
        if (links == 10000) {
            const double scanMs = scans.last().toObject().value(QStringLiteral("firstScanMs")).toDouble();
            comparison = compareWithDesktopFiles(application.applicationDirPath() + QLatin1String("/desktop_files"),
                                                 links, scanMs);
        }
        const BenchMachine doubledMachine(links, true);
        useMachine(doubledMachine.path());
        doubled.append(measureSteps(links));
    }
    const auto time = [&scans](qsizetype i) {
        return scans.at(i).toObject().value(QStringLiteral("firstScanMs")).toDouble();
    };
    return writeReport(argv[1], {{QStringLiteral("scans"), scans},
                                 {QStringLiteral("steps"), steps},
                                 {QStringLiteral("stepsWithEveryTargetDoubled"), doubled},
                                 {QStringLiteral("timeOf100000To1000Links"), time(3) / time(1)},
                                 {QStringLiteral("desktopFiles"), comparison}});
}
