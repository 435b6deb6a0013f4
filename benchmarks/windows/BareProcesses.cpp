#include "../BareProcesses.h"

#include "platform/win/Handles.h"

#include <tlhelp32.h>

namespace {

struct SnapshotTraits
{
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void giveBack(Value handle) { CloseHandle(handle); }
};

} // namespace

bool waitBarely(qint64 processId)
{
    const KvPlatform::UniqueHandle process(OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(processId)));
    return process && WaitForSingleObject(process.get(), INFINITE) == WAIT_OBJECT_0;
}

int findBarely(const QString &name)
{
    const KvPlatform::Unique<SnapshotTraits> snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL found = Process32FirstW(snapshot.get(), &entry); found; found = Process32NextW(snapshot.get(), &entry)) {
        if (lstrcmpiW(entry.szExeFile, KvPlatform::wide(name)) == 0)
            return -1;
        ++count;
    }
    return count;
}
