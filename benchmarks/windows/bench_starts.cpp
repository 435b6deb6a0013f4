// What starting a program as the user costs beyond the system's own call.

#include "../BenchReport.h"
#include "platform/win/Handles.h"
#include "Process.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>

#include <userenv.h>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;
using KvPlatform::UniqueHandle;

namespace {

// What a run fails beyond. The goal is 1.05; the bound leaves room for a computer that is busy otherwise.
constexpr double WorstRatio = 1.5;

constexpr DWORD Flags =
    CREATE_UNICODE_ENVIRONMENT | CREATE_NEW_PROCESS_GROUP | NORMAL_PRIORITY_CLASS | CREATE_NO_WINDOW;

/** The smallest program that every Windows has. */
QString command()
{
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return u'"' + QString::fromWCharArray(folder) + u"\\cmd.exe\" /C exit 0"_s;
}

/** The system's own call, with what belongs to it. Gives the id of the process. */
qint64 startBarely(const QString &line, bool inheritEnvironment)
{
    QString text = line;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    void *block = nullptr;
    UniqueHandle token;
    if (!inheritEnvironment) {
        OpenProcessToken(GetCurrentProcess(), TOKEN_READ, token.put());
        CreateEnvironmentBlock(&block, token.get(), FALSE);
    }
    if (!CreateProcessW(nullptr, reinterpret_cast<wchar_t *>(text.data()), nullptr, nullptr, FALSE, Flags, block,
                        nullptr, &startup, &made))
        return 0;
    if (block)
        DestroyEnvironmentBlock(block);
    CloseHandle(made.hThread);
    CloseHandle(made.hProcess);
    return made.dwProcessId;
}

qint64 startAsUser(const QString &line, bool inheritEnvironment)
{
    qint64 pid = 0;
    Process::startCommandAsUser(line, &pid, QWindow::Hidden, QString(), inheritEnvironment);
    return pid;
}

/** The time of one start in milliseconds. Returns when the program has ended, so that no start disturbs the next. */
double timeOf(const std::function<qint64()> &start)
{
    QElapsedTimer timer;
    timer.start();
    const qint64 pid = start();
    const double time = double(timer.nsecsElapsed()) / 1e6;
    if (pid == 0)
        qFatal("a program didn't start");
    const UniqueHandle process(OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(pid)));
    WaitForSingleObject(process.get(), 60'000);
    return time;
}

/** The time that a part of all starts stays below. */
double quantile(QList<double> values, double part)
{
    std::sort(values.begin(), values.end());
    return values.at(qsizetype(part * double(values.size())));
}

QJsonObject compare(bool inheritEnvironment, int rounds)
{
    const QString line = command();
    QList<double> bareTimes;
    QList<double> userTimes;
    const auto addBareTime = [&] { bareTimes.append(timeOf([&] { return startBarely(line, inheritEnvironment); })); };
    const auto addUserTime = [&] { userTimes.append(timeOf([&] { return startAsUser(line, inheritEnvironment); })); };
    // The first starts only warm the caches.
    addBareTime();
    addUserTime();
    bareTimes.clear();
    userTimes.clear();
    // In turn, since what runs first in a round may have it harder.
    for (int i = 0; i < rounds; ++i) {
        if (i % 2 == 0)
            addBareTime();
        addUserTime();
        if (i % 2 != 0)
            addBareTime();
    }
    // The fastest tenth tells what a computer shows that has nothing else to do.
    return {{u"bareMs"_s, quantile(bareTimes, 0.5)},
            {u"userMs"_s, quantile(userTimes, 0.5)},
            {u"ratio"_s, quantile(userTimes, 0.5) / quantile(bareTimes, 0.5)},
            {u"ratioOfFastest"_s, quantile(userTimes, 0.1) / quantile(bareTimes, 0.1)}};
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2 || arguments.size() > 3) {
        std::fputs("usage: bench_starts REPORT [ROUNDS]\n", stderr);
        return 2;
    }
    const int rounds = std::max(1, arguments.value(2, u"100"_s).toInt());
    const QJsonObject inherited = compare(true, rounds);
    const QJsonObject own = compare(false, rounds);
    const QJsonObject report{{u"rounds"_s, rounds}, {u"inheritedEnvironment"_s, inherited}, {u"ownEnvironment"_s, own}};
    const bool isFast =
        inherited.value(u"ratio"_s).toDouble() <= WorstRatio && own.value(u"ratio"_s).toDouble() <= WorstRatio;
    if (!isFast)
        std::fputs("starts are slow\n", stderr);
    const int written = writeReport(argv[1], report);
    return isFast ? written : 1;
}
