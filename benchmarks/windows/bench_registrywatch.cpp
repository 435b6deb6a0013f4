// How long a change of the registry takes to be told, beside a loop that does nothing but wait for it; and whether
// watches and shortcuts leave anything behind.

#include "../BenchReport.h"
#include "KvRegistrySpy.h"
#include "platform/win/Handles.h"
#include "ProcessUse.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QWinEventNotifier>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

using namespace KvPlatform;

namespace {

constexpr wchar_t Key[] = L"Software\\KvProgram bench";
constexpr int Changes = 60;
constexpr int Binds = 2000;

// What a run fails beyond. Both ways share the event loop's delay, so that even a busy computer stays below this.
constexpr double WorstRatio = 1.5;
constexpr quint32 MostNewHandles = 2;

QElapsedTimer &timer()
{
    static QElapsedTimer timer;
    return timer;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

UniqueRegistryKey openKey(REGSAM access)
{
    UniqueRegistryKey key;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, Key, 0, nullptr, 0, access, nullptr, key.put(), nullptr) != ERROR_SUCCESS)
        qFatal("can't make the key");
    return key;
}

/** Changes the key each time it is asked to, on a thread of its own, and keeps the time of the change. */
class Writer
{
public:
    Writer()
        : m_thread([this] { run(); })
    {}

    ~Writer()
    {
        m_isEnding = true;
        SetEvent(m_wish.get());
        m_thread.join();
    }

    void ask() { SetEvent(m_wish.get()); }
    qint64 changedAt() const { return m_changedAt; }

private:
    void run()
    {
        const UniqueRegistryKey key = openKey(KEY_SET_VALUE);
        for (DWORD number = 0;; ++number) {
            WaitForSingleObject(m_wish.get(), INFINITE);
            if (m_isEnding)
                return;
            // The other side shall wait by then.
            Sleep(2);
            m_changedAt = timer().nsecsElapsed();
            RegSetValueExW(key.get(), L"value", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), sizeof number);
        }
    }

    UniqueHandle m_wish{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<qint64> m_changedAt{0};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread; // Last, since it uses the others.
};

double measureBareLoop()
{
    const UniqueRegistryKey key = openKey(KEY_NOTIFY);
    const UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    Writer writer;
    QList<double> times;
    for (int i = 0; i < Changes; ++i) {
        RegNotifyChangeKeyValue(key.get(), FALSE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET, event.get(),
                                TRUE);
        writer.ask();
        WaitForSingleObject(event.get(), INFINITE);
        times.append(double(timer().nsecsElapsed() - writer.changedAt()) / 1e3);
    }
    return median(times);
}

/** The median time of changes that are told by the event loop. */
double measureLoop(const std::function<void(const std::function<void()> &)> &connectTo)
{
    Writer writer;
    QEventLoop loop;
    QList<double> times;
    connectTo([&] {
        times.append(double(timer().nsecsElapsed() - writer.changedAt()) / 1e3);
        loop.quit();
    });
    for (int i = 0; i < Changes; ++i) {
        writer.ask();
        loop.exec();
    }
    return median(times);
}

/** The same by way of Qt's event loop, whose own delay for what other threads post is most of it. */
double measureNotifierLoop()
{
    const UniqueRegistryKey key = openKey(KEY_NOTIFY);
    const UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto arm = [&] {
        RegNotifyChangeKeyValue(key.get(), FALSE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET, event.get(),
                                TRUE);
    };
    arm();
    QWinEventNotifier notifier(event.get());
    return measureLoop([&](const std::function<void()> &onChange) {
        QObject::connect(&notifier, &QWinEventNotifier::activated, &notifier, [arm, onChange] {
            arm();
            onChange();
        });
    });
}

double measureSpy()
{
    KvRegistrySpy spy(nullptr);
    if (!spy.bind(QStringLiteral("HKCU\\") + QString::fromWCharArray(Key), false))
        qFatal("can't bind");
    return measureLoop([&](const std::function<void()> &onChange) {
        QObject::connect(&spy, &KvRegistrySpy::valueChanged, &spy, onChange);
    });
}

quint32 handlesAfter(int binds)
{
    const QString path = QStringLiteral("HKCU\\") + QString::fromWCharArray(Key);
    for (int i = 0; i < binds; ++i) {
        KvRegistrySpy spy(nullptr);
        spy.bind(path, i % 2);
        KvRegistrySpy::writeValue(path + QStringLiteral("\\value"), i);
        if (i % 3)
            QCoreApplication::processEvents();
    }
    return ProcessUse::now().handles;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    if (argc != 2) {
        std::fputs("usage: bench_registrywatch REPORT\n", stderr);
        return 2;
    }
    timer().start();
    QList<double> bare;
    QList<double> notifier;
    QList<double> spy;
    // In turns, so that what else goes on in the computer meets both.
    for (int round = 0; round < 5; ++round) {
        bare.append(measureBareLoop());
        notifier.append(measureNotifierLoop());
        spy.append(measureSpy());
    }
    const quint32 early = handlesAfter(Binds / 10);
    const quint32 late = handlesAfter(Binds);
    const double ratio = median(spy) / median(notifier);
    RegDeleteKeyW(HKEY_CURRENT_USER, Key);
    const bool isGood = ratio <= WorstRatio && late <= early + MostNewHandles;
    if (!isGood)
        std::fputs(ratio > WorstRatio ? "changes are told late\n" : "watches leave something behind\n", stderr);
    const int written = writeReport(argv[1], {{QStringLiteral("bareMicroseconds"), median(bare)},
                                              {QStringLiteral("notifierMicroseconds"), median(notifier)},
                                              {QStringLiteral("spyMicroseconds"), median(spy)},
                                              {QStringLiteral("ratio"), ratio},
                                              {QStringLiteral("handlesEarly"), qint64(early)},
                                              {QStringLiteral("handlesLate"), qint64(late)}});
    return isGood ? written : 1;
}
