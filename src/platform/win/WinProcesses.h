#pragma once

#include "platform/Processes.h"

namespace KvPlatform {

/**
 * The computer's own starts. May be called from any thread, but openUrl from the main one only; shellExecute wants COM
 * on its thread for some kinds of files.
 */
class WinProcesses final : public Processes
{
public:
    NativeHandle createEnvironmentBlock(const NativeHandle &token, bool inherit) const override;
    StartResult createProcess(const ProcessStart &start) const override;
    StartResult createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const override;
    StartResult createProcessWithToken(const NativeHandle &token, quint32 logonFlags,
                                       const ProcessStart &start) const override;
    StartResult shellExecute(const ShellStart &start) const override;
    std::optional<quint32> exitCode(const NativeHandle &process) const override;
    quint32 processId(const NativeHandle &process) const override;
    bool openUrl(const QUrl &url) const override;
};

} // namespace KvPlatform
