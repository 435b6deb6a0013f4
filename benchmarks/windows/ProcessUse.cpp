#include "ProcessUse.h"

#include "platform/win/Handles.h"

#include <psapi.h>
#include <tlhelp32.h>

namespace {

struct FileHandleTraits
{
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void giveBack(Value handle) { CloseHandle(handle); }
};

int countThreads()
{
    const KvPlatform::Unique<FileHandleTraits> snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof thread;
    int count = 0;
    for (BOOL found = Thread32First(snapshot.get(), &thread); found; found = Thread32Next(snapshot.get(), &thread))
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    return count;
}

/** Counts by asking for each value that a handle may have; for systems that don't tell the number. */
quint32 countHandlesOneByOne()
{
    constexpr quintptr Largest = 0x10000;
    quint32 count = 0;
    DWORD flags = 0;
    for (quintptr value = 4; value < Largest; value += 4)
        count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
    return count;
}

quint32 countHandles()
{
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) && count > 0 ? count : countHandlesOneByOne();
}

/** Adds up the pages of the address space; for systems that don't tell the sum. */
qint64 addUpPrivatePages()
{
    qint64 sum = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (const char *place = nullptr; VirtualQuery(place, &region, sizeof region) != 0;
         place = static_cast<const char *>(region.BaseAddress) + region.RegionSize)
        sum += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? static_cast<qint64>(region.RegionSize) : 0;
    return sum;
}

qint64 sumPrivateBytes()
{
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    auto *const counters = reinterpret_cast<PROCESS_MEMORY_COUNTERS *>(&memory);
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), counters, sizeof memory) || memory.PrivateUsage == 0)
        return addUpPrivatePages();
    return static_cast<qint64>(memory.PrivateUsage);
}

quint64 toNumber(const FILETIME &time)
{
    return quint64(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

} // namespace

ProcessUse ProcessUse::now()
{
    return {countHandles(), countThreads(), sumPrivateBytes()};
}

double ProcessUse::millisecondsSinceStart()
{
    FILETIME start = {};
    FILETIME other = {};
    FILETIME current = {};
    GetProcessTimes(GetCurrentProcess(), &start, &other, &other, &other);
    GetSystemTimePreciseAsFileTime(&current);
    constexpr double UnitsPerMillisecond = 10'000;
    return double(toNumber(current) - toNumber(start)) / UnitsPerMillisecond;
}
