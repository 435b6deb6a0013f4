#include "Process_p.h"

#include "platform/Platform.h"
#include "platform/Processes.h"
#include "platform/SystemValues.h"

#include <QtCore/QDebug>

using KvPlatform::Platform;
using KvPlatform::Processes;
using KvPlatform::ShellStart;
using KvPlatform::StartResult;

namespace {

// Constants of shellapi.h.
constexpr quint32 KeepProcessAndWait = 0x140; // SEE_MASK_NOCLOSEPROCESS, SEE_MASK_NOASYNC

constexpr int NoExitCode = -1;
constexpr int NotStarted = -2;

ShellStart makeStart(const QString &file, const QString &parameters, const QString &home,
                     QWindow::Visibility visibility)
{
    ShellStart start;
    start.verb = QStringLiteral("runas");
    start.file = file;
    start.parameters = parameters;
    start.directory = ProcessParts::workingDirectory(home);
    start.showCommand = ProcessParts::showCommand(visibility);
    return start;
}

/** What follows `end` and one more character; a null text if that is all. */
QString restBehind(const QString &command, qsizetype end)
{
    const qsizetype begin = end + 1;
    return end >= 0 && begin < command.size() ? command.mid(begin) : QString();
}

/** The command's program and the rest of it. */
std::pair<QString, QString> split(const QString &command)
{
    if (command.startsWith(u'"')) {
        const qsizetype quote = command.indexOf(u'"', 1);
        const QString file = quote < 0 ? command.mid(1) : command.mid(1, quote - 1);
        return {file, restBehind(command, quote < 0 ? quote : quote + 1)};
    }
    const qsizetype blank = command.indexOf(u' ');
    return {command.left(blank), restBehind(command, blank)};
}

} // namespace

bool Process::startCommandAsAdmin(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                  const QString &home)
{
    const std::shared_ptr<Processes> processes = Platform::current()->processes;
    const auto [file, parameters] = split(command);
    ShellStart start = makeStart(file, parameters, home, visibility);
    start.mask = pid ? KvPlatform::KeepProcess : 0;
    StartResult result = processes->shellExecute(start);
    if (pid)
        *pid = result.process ? processes->processId(result.process) : 0;
    result.process.reset();
    if (result.succeeded)
        qInfo().noquote() << "[PROCESS] start as admin:" << command << "home:" << start.directory;
    else
        qWarning().noquote() << "[FAIL] can't start as admin:" << command << "home:" << start.directory
                             << "error:" << result.error;
    return result.succeeded;
}

int Process::executeCommandAsAdmin(const QString &command, QWindow::Visibility visibility, const QString &home)
{
    const std::shared_ptr<Processes> processes = Platform::current()->processes;
    const QString parameters = QStringLiteral("/S /C \"") + command + u'"';
    ShellStart start = makeStart(QStringLiteral("cmd.exe"), parameters, home, visibility);
    start.mask = KeepProcessAndWait;
    const StartResult result = processes->shellExecute(start);
    if (!result.succeeded) {
        qWarning().noquote() << "[FAIL] can't execute command:" << command << "home:" << start.directory
                             << "error:" << result.error;
        return NotStarted;
    }
    qInfo().noquote() << "[PROCESS] execute command:" << command << "home:" << start.directory;
    if (!result.process)
        return NoExitCode;
    const std::optional<quint32> code = processes->exitCode(result.process);
    return code ? static_cast<int>(*code) : NoExitCode;
}
