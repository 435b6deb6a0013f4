// What the shortcuts and the watches cost: reading and writing the slots, hearing of a change, and waiting for one.

#include "BenchReport.h"
#include "KvProgramContextProbe.h"
#include "KvRegistrySpy.h"
#include "KvSecurity.h"
#include "platform/portable/MachinePlatform.h"
#include "platform/Registry.h"

#include <XClock.h>
#include <XDispatch.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>

#include <algorithm>
#include <malloc.h>
#include <sys/resource.h>

namespace {

constexpr int Records = 10000;
constexpr int Rounds = 200;
constexpr int IdleTime = 5000;
constexpr int Changes = 10000;

const QString Key = QStringLiteral("@HKCU\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo");

double microseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e3;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/** A machine folder whose watched keys are all there. */
class Machine
{
public:
    Machine()
    {
        QFile facts(m_folder.filePath(QStringLiteral("machine.json")));
        if (!facts.open(QIODevice::WriteOnly) ||
            facts.write(R"({"consoleUser": {"name": "kim", "sid": "S-1-5-21-1"}})") < 0)
            qFatal("can't write the machine");
        facts.close();
        KvPlatform::Platform::setCurrent(KvPlatform::createMachinePlatform(m_folder.path()));
        KvSecurity::forget();
        for (const char *root : {"HKLM", "@HKCU"}) {
            for (const char *key : {"Microsoft\\Windows\\CurrentVersion\\Uninstall", "RegisteredApplications"})
                KvRegistrySpy::writeValue(
                    QStringLiteral("%1\\Software\\%2\\x").arg(QLatin1String(root), QLatin1String(key)), 1);
        }
        KvRegistrySpy::writeValue(Key + QStringLiteral("\\x"), 1);
    }

    ~Machine() { KvPlatform::Platform::setCurrent(nullptr); }

private:
    QTemporaryDir m_folder;
};

/** A catalogue with many records, seven of which are pinned. */
class Catalogue
{
public:
    Catalogue()
        : context(KvProgramContextProbe::create())
    {
        for (int i = 0; i < Records; ++i) {
            auto *const app = new ProgramInfo(context.get());
            app->setTargetUrl(QUrl(QStringLiteral("https://program%1.example/%2").arg(i * 7919 % Records).arg(i)));
            KvProgramContextProbe::targetMap(*context).insert(app->targetUrl(), app);
            if (i % (Records / 7) == 0)
                context->addShortcut(app);
        }
    }

    const std::unique_ptr<KvProgramContext> context;
};

double timeOfRefresh(KvProgramContext &context)
{
    QList<double> times;
    for (int i = 0; i < Rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        KvProgramContextProbe::refreshShortcuts(context);
        times.append(microseconds(timer));
    }
    return median(times);
}

double timeOfSave(KvProgramContext &context)
{
    QList<double> times;
    for (int i = 0; i < Rounds / 10; ++i) {
        ProgramInfo *const app = context.shortcuts().constFirst();
        context.removeShortcutAt(0);
        QElapsedTimer timer;
        timer.start();
        context.addShortcut(app);
        times.append(microseconds(timer));
    }
    return median(times);
}

/** From before the write to after the signal, both in this process, with a registry in memory. */
double timeOfSignal(KvRegistrySpy &spy)
{
    QList<double> times;
    for (int i = 1; i <= Rounds; ++i) {
        QEventLoop loop;
        bool isTold = false;
        QObject::connect(&spy, &KvRegistrySpy::valueChanged, &loop, [&] {
            isTold = true;
            loop.quit();
        });
        QElapsedTimer timer;
        timer.start();
        KvPlatform::Platform::current()->registry->setValue(QStringLiteral("HKEY_LOCAL_MACHINE\\Software\\Bench"),
                                                            QStringLiteral("value"), i);
        loop.exec();
        times.append(microseconds(timer));
        if (!isTold)
            qFatal("change %d wasn't told", i);
    }
    return median(times);
}

long contextSwitches()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

/** How often the process wakes up while nothing changes, beyond the one that ends the measurement. */
QJsonObject measureIdle()
{
    QEventLoop loop;
    QTimer::singleShot(1000, &loop, &QEventLoop::quit);
    loop.exec();
    const long before = contextSwitches();
    // A precise timer wakes once, a coarse one may wake twice.
    QTimer::singleShot(IdleTime, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
    return {{QStringLiteral("ms"), IdleTime}, {QStringLiteral("wakeUps"), double(contextSwitches() - before - 1)}};
}

/** Memory before and after many changes that are all followed. */
QJsonObject measureLeftovers()
{
    const auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::createHostPlatform());
    KvPlatform::Platform::setCurrent(platform);
    KvSecurity::forget();
    KvRegistrySpy::writeValue(Key + QStringLiteral("\\x"), 1);
    const Catalogue catalogue;
    const auto change = [](int count) {
        for (int i = 0; i < count; ++i) {
            KvRegistrySpy::writeValue(Key + QStringLiteral("\\x"), i);
            QCoreApplication::processEvents();
        }
    };
    change(Changes / 10);
    const auto before = mallinfo2().uordblks;
    change(Changes);
    return {{QStringLiteral("changes"), Changes},
            {QStringLiteral("bytesBefore"), double(before)},
            {QStringLiteral("bytesAfter"), double(mallinfo2().uordblks)}};
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QJsonObject report{{QStringLiteral("records"), Records}};
    {
        const Machine machine;
        const Catalogue catalogue;
        report.insert(QStringLiteral("refreshMicroseconds"), timeOfRefresh(*catalogue.context));
        report.insert(QStringLiteral("addShortcutMicroseconds"), timeOfSave(*catalogue.context));
        report.insert(QStringLiteral("idle"), measureIdle());
    }
    {
        KvPlatform::Platform::setCurrent(KvPlatform::createHostPlatform());
        KvRegistrySpy spy(nullptr);
        spy.bind(QStringLiteral("HKLM\\Software"), true);
        KvRegistrySpy::writeValue(QStringLiteral("HKLM\\Software\\x"), 1);
        spy.bind(QStringLiteral("HKLM\\Software"), true);
        report.insert(QStringLiteral("changeToSignalMicroseconds"), timeOfSignal(spy));
    }
    report.insert(QStringLiteral("followedChanges"), measureLeftovers());
    return writeReport(argv[1], report);
}
