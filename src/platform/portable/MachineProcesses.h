#pragma once

#include "platform/Processes.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>

#include <memory>

namespace KvPlatform {

struct CommandProgram;
class Files;
class StartJournal;
class Tokens;

/**
 * Starts on a machine: nothing runs, but each start is written down, and succeeds if its program is there.
 *
 * A file beside the program, named after it with ".start.json" behind, makes it fail with the system error that it
 * holds as "error". A process that was started runs for ever, with an id that no process of the host has. May be called
 * from any thread.
 */
class MachineProcesses final : public Processes
{
public:
    MachineProcesses(std::shared_ptr<const Files> files, std::shared_ptr<const Tokens> tokens,
                     std::shared_ptr<const StartJournal> journal);

    /** There is nothing in it. */
    NativeHandle createEnvironmentBlock(const NativeHandle &token, bool inherit) const override;

    StartResult createProcess(const ProcessStart &start) const override;

    /** Written down as "elevated" if the token is. */
    StartResult createProcessAsUser(const NativeHandle &token, const ProcessStart &start) const override;
    StartResult createProcessWithToken(const NativeHandle &token, quint32 logonFlags,
                                       const ProcessStart &start) const override;
    StartResult shellExecute(const ShellStart &start) const override;
    std::optional<quint32> exitCode(const NativeHandle &process) const override;
    quint32 processId(const NativeHandle &process) const override;

    /** Any address is taken. */
    bool openUrl(const QUrl &url) const override;

private:
    StartResult create(const QString &call, const ProcessStart &start) const;
    StartResult finish(QJsonObject entry, quint32 error) const;
    quint32 errorOf(const QList<CommandProgram> &programs) const;
    QString find(const QString &program) const;
    quint32 prescribedError(const QString &path) const;

    const std::shared_ptr<const Files> m_files;
    const std::shared_ptr<const Tokens> m_tokens;
    const std::shared_ptr<const StartJournal> m_journal;
};

} // namespace KvPlatform
