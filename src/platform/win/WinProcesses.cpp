#include "platform/win/WinProcesses.h"

#include "platform/win/Handles.h"

#include <QtGui/QDesktopServices>

#include <shellapi.h>
#include <userenv.h>

#include <vector>

namespace KvPlatform {

namespace {

static_assert(sizeof(void *) != 8 || (sizeof(STARTUPINFOW) == 104 && sizeof(SHELLEXECUTEINFOW) == 112));

/** The arguments of a start in the form in which all three calls take them. */
class NativeStart
{
public:
    explicit NativeStart(const ProcessStart &start)
        : m_command(static_cast<size_t>(start.command.size()) + 1)
        , m_directory(start.directory)
    {
        start.command.toWCharArray(m_command.data());
        m_record.cb = sizeof m_record;
        m_record.dwFlags = start.startupFlags;
        m_record.wShowWindow = start.showCommand;
    }

    wchar_t *command() { return m_command.data(); }
    const wchar_t *directory() const { return m_directory.isEmpty() ? nullptr : wide(m_directory); }
    STARTUPINFOW *record() { return &m_record; }
    PROCESS_INFORMATION *made() { return &m_made; }

    /** To be called at once after the call, before anything else can change the thread's last error. */
    StartResult result(bool succeeded) const
    {
        const DWORD error = GetLastError();
        if (!succeeded)
            return {false, error, NativeHandle(), NativeHandle()};
        return {true, 0, toNative(UniqueHandle(m_made.hProcess)), toNative(UniqueHandle(m_made.hThread))};
    }

private:
    std::vector<wchar_t> m_command; // The system writes into it, which an empty QString's text doesn't allow.
    QString m_directory;
    STARTUPINFOW m_record = {};
    PROCESS_INFORMATION m_made = {};
};

const wchar_t *wideOrNull(const QString &text)
{
    return text.isEmpty() ? nullptr : wide(text);
}

} // namespace

NativeHandle WinProcesses::createEnvironmentBlock(const NativeHandle &token, bool inherit) const
{
    void *block = nullptr;
    CreateEnvironmentBlock(&block, token.native(), inherit);
    return NativeHandle(block, [](void *native) { DestroyEnvironmentBlock(native); });
}

StartResult WinProcesses::createProcess(const ProcessStart &start) const
{
    NativeStart native(start);
    return native.result(CreateProcessW(nullptr, native.command(), nullptr, nullptr, FALSE, start.flags,
                                        start.environment.native(), native.directory(), native.record(),
                                        native.made()));
}

StartResult WinProcesses::createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const
{
    NativeStart native(start);
    return native.result(CreateProcessAsUserW(token.native(), nullptr, native.command(), nullptr, nullptr, FALSE,
                                              start.flags, start.environment.native(), native.directory(),
                                              native.record(), native.made()));
}

StartResult WinProcesses::createProcessWithToken(const NativeHandle &token, quint32 logonFlags,
                                                 const ProcessStart &start) const
{
    NativeStart native(start);
    return native.result(CreateProcessWithTokenW(token.native(), logonFlags, nullptr, native.command(), start.flags,
                                                 start.environment.native(), native.directory(), native.record(),
                                                 native.made()));
}

StartResult WinProcesses::shellExecute(const ShellStart &start) const
{
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = start.mask;
    info.lpVerb = wide(start.verb);
    info.lpFile = wide(start.file);
    info.lpParameters = wideOrNull(start.parameters);
    info.lpDirectory = wideOrNull(start.directory);
    info.nShow = start.showCommand;
    const bool succeeded = ShellExecuteExW(&info);
    const DWORD error = GetLastError();
    return {succeeded, succeeded ? 0 : error, toNative(UniqueHandle(info.hProcess)), NativeHandle()};
}

std::optional<quint32> WinProcesses::exitCode(const NativeHandle &process) const
{
    DWORD code = 0;
    return GetExitCodeProcess(process.native(), &code) ? std::optional<quint32>(code) : std::nullopt;
}

quint32 WinProcesses::processId(const NativeHandle &process) const
{
    return process ? GetProcessId(process.native()) : 0;
}

bool WinProcesses::openUrl(const QUrl &url) const
{
    return QDesktopServices::openUrl(url);
}

} // namespace KvPlatform
