// Time and allocations of loading the library, and of the catalogue's construction on an empty machine.

#include "BenchReport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QLibrary>
#include <QtCore/QTemporaryDir>

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>

namespace {

std::atomic<long> allocations{0};

struct Measure
{
    Measure() { timer.start(); }

    QJsonObject result() const
    {
        return {{QStringLiteral("ms"), double(timer.nsecsElapsed()) / 1e6},
                {QStringLiteral("allocations"), double(allocations - before)}};
    }

    QElapsedTimer timer;
    long before = allocations;
};

} // namespace

// Every allocation of the process comes by here: a symbol of the program goes before the C library's.
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);
extern "C" void *__libc_realloc(void *pointer, std::size_t size);

extern "C" __attribute__((visibility("default"))) void *malloc(std::size_t size) noexcept
{
    ++allocations;
    return __libc_malloc(size);
}

extern "C" __attribute__((visibility("default"))) void *calloc(std::size_t count, std::size_t size) noexcept
{
    ++allocations;
    return __libc_calloc(count, size);
}

extern "C" __attribute__((visibility("default"))) void *realloc(void *pointer, std::size_t size) noexcept
{
    ++allocations;
    return __libc_realloc(pointer, size);
}

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    QCoreApplication application(argc, argv);
    const QTemporaryDir machine;
    QFile facts(machine.filePath(QStringLiteral("machine.json")));
    if (!facts.open(QIODevice::WriteOnly) || facts.write("{}") != 2)
        return 1;
    facts.close();
    qputenv("KVPROGRAM_MACHINE", machine.path().toLocal8Bit());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    const Measure load;
    void *const library = dlopen(KV_LIBRARY, RTLD_NOW | RTLD_GLOBAL);
    const QJsonObject loaded = load.result();
    if (!library)
        return 1;
    using Instance = void *(*)();
    const auto instance = reinterpret_cast<Instance>(dlsym(library, "_ZN16KvProgramContext8instanceEv"));
    if (!instance)
        return 1;
    const Measure construction;
    instance();
    const QJsonObject constructed = construction.result();
    return writeReport(argv[1],
                       {{QStringLiteral("libraryLoad"), loaded}, {QStringLiteral("construction"), constructed}});
}
