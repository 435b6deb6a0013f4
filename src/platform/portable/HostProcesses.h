#pragma once

#include "platform/Processes.h"

#include <memory>

namespace KvPlatform {

class Files;

/**
 * Starts on the host system: programs run detached with this process's rights and environment, whatever was asked for,
 * and with the host's separators in the program's path and the directory. Nobody tells their exit codes. May be called
 * from any thread.
 */
class HostProcesses final : public Processes
{
public:
    explicit HostProcesses(std::shared_ptr<const Files> files);

    /** There is nothing in it. */
    NativeHandle createEnvironmentBlock(const NativeHandle &token, bool inherit) const override;

    StartResult createProcess(const ProcessStart &start) const override;
    StartResult createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const override;
    StartResult createProcessWithToken(const NativeHandle &token, quint32 logonFlags,
                                       const ProcessStart &start) const override;
    StartResult shellExecute(const ShellStart &start) const override;
    quint32 processId(const NativeHandle &process) const override;
    bool openUrl(const QUrl &url) const override;

private:
    const std::shared_ptr<const Files> m_files;
};

} // namespace KvPlatform
