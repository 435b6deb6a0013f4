#include "platform/win/WinProcessTable.h"

#include "platform/win/Handles.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <cwchar>
#include <vector>

namespace KvPlatform {

namespace {

constexpr qsizetype MostPathUnits = 32768;

struct SnapshotTraits
{
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void giveBack(Value handle) { CloseHandle(handle); }
};

using UniqueSnapshot = Unique<SnapshotTraits>;

class WinSnapshot final : public ProcessSnapshot
{
public:
    explicit WinSnapshot(UniqueSnapshot snapshot)
        : m_snapshot(std::move(snapshot))
    {
        m_entry.dwSize = sizeof m_entry;
    }

    std::optional<ListedProcess> next() override
    {
        const BOOL found =
            m_isBegun ? Process32NextW(m_snapshot.get(), &m_entry) : Process32FirstW(m_snapshot.get(), &m_entry);
        m_isBegun = true;
        if (!found)
            return std::nullopt;
        return ListedProcess{m_entry.th32ProcessID, QString::fromWCharArray(m_entry.szExeFile)};
    }

private:
    UniqueSnapshot m_snapshot;
    PROCESSENTRY32W m_entry = {};
    bool m_isBegun = false;
};

/**
 * What the system is given for one wait. It is the wait's owner's, and until the callback has run it is its own as
 * well, since a callback that is on its way can't be called back.
 */
struct EndWait
{
    std::function<void()> callback;
    std::shared_ptr<EndWait> self;
};

void CALLBACK onEnd(void *context, BOOLEAN)
{
    const std::shared_ptr<EndWait> wait = std::move(static_cast<EndWait *>(context)->self);
    wait->callback();
}

} // namespace

std::unique_ptr<ProcessSnapshot> WinProcessTable::snapshot() const
{
    UniqueSnapshot snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    return snapshot ? std::make_unique<WinSnapshot>(std::move(snapshot)) : nullptr;
}

HandleResult WinProcessTable::open(quint32 access, quint32 processId) const
{
    UniqueHandle process(OpenProcess(access, FALSE, processId));
    const DWORD error = process ? 0 : GetLastError();
    return {toNative(std::move(process)), error};
}

std::optional<QString> WinProcessTable::programPath(const NativeHandle &process, qsizetype capacity) const
{
    std::vector<wchar_t> path(static_cast<size_t>(qBound(qsizetype(1), capacity, MostPathUnits)));
    const DWORD length =
        K32GetModuleFileNameExW(process.native(), nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0)
        return std::nullopt;
    // The length of a path that is cut off may include its terminator.
    const size_t units = wcsnlen(path.data(), qMin(size_t(length), path.size()));
    return QString::fromWCharArray(path.data(), static_cast<qsizetype>(units));
}

std::optional<quint32> WinProcessTable::exitCode(const NativeHandle &process, quint32 *error) const
{
    DWORD code = 0;
    if (GetExitCodeProcess(process.native(), &code))
        return code;
    const DWORD reason = GetLastError();
    if (error)
        *error = reason;
    return std::nullopt;
}

quint32 WinProcessTable::poll(const NativeHandle &process) const
{
    return WaitForSingleObject(process.native(), 0);
}

HandleResult WinProcessTable::callAtEnd(const NativeHandle &process, std::function<void()> callback) const
{
    const auto wait = std::make_shared<EndWait>();
    wait->callback = std::move(callback);
    wait->self = wait;
    HANDLE handle = nullptr;
    if (!RegisterWaitForSingleObject(&handle, process.native(), onEnd, wait.get(), INFINITE, WT_EXECUTEONLYONCE)) {
        const DWORD error = GetLastError();
        wait->self.reset();
        return {NativeHandle(), error};
    }
    const auto unregister = [wait](void *native) {
        // Otherwise the callback is on its way, and gives itself back.
        if (UnregisterWait(native))
            wait->self.reset();
    };
    return {NativeHandle(handle, unregister), 0};
}

quint32 WinProcessTable::terminate(const NativeHandle &process, quint32 exitCode) const
{
    return TerminateProcess(process.native(), exitCode) ? 0 : GetLastError();
}

} // namespace KvPlatform
