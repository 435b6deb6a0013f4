#include "../../benchmarks/windows/ProcessUse.h"
#include "Child.h"
#include "platform/win/Handles.h"

#include <QtCore/QDir>

Child Child::start(int milliseconds, int exitCode, const QString &path)
{
    const QString native = QDir::toNativeSeparators(path);
    std::wstring command = QStringLiteral("\"%1\" %2 %3").arg(native).arg(milliseconds).arg(exitCode).toStdWString();
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(KvPlatform::wide(native), command.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                        nullptr, &startup, &process))
        qFatal("can't start %s: %lu", qPrintable(native), GetLastError());
    CloseHandle(process.hThread);
    return Child(process.dwProcessId, process.hProcess);
}

Child::~Child()
{
    if (!m_handle)
        return;
    TerminateProcess(m_handle, static_cast<UINT>(-1));
    collect();
}

int Child::collect()
{
    const KvPlatform::UniqueHandle process(std::exchange(m_handle, nullptr));
    m_id = 0;
    DWORD code = 0;
    WaitForSingleObject(process.get(), INFINITE);
    GetExitCodeProcess(process.get(), &code);
    return static_cast<int>(code);
}

int Child::openHandles()
{
    return int(ProcessUse::now().handles);
}

int Child::threads()
{
    return ProcessUse::now().threads;
}
