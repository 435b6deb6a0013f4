#include "platform/portable/HostProcesses.h"

#include "platform/Files.h"
#include "platform/portable/CommandPrograms.h"
#include "platform/SystemValues.h"
#include "platform/WindowsPath.h"

#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtGui/QDesktopServices>

namespace KvPlatform {

namespace {

/** What a handle points to. */
struct Started
{
    quint32 processId = 0;
};

NativeHandle makeHandle(quint32 processId)
{
    return NativeHandle(new Started{processId}, [](void *native) { delete static_cast<Started *>(native); });
}

/** The first way to read the command line whose program is there; without one, the host looks for the first word. */
CommandProgram chooseProgram(const Files &files, const QString &command)
{
    const QList<CommandProgram> programs = commandPrograms(command);
    for (const CommandProgram &program : programs) {
        const QFileInfo file(files.hostPath(WindowsPath::fromNativeSeparators(program.program)));
        // A folder is executable, too.
        if (file.isFile() && file.isExecutable())
            return program;
    }
    return programs.first();
}

StartResult start(const CommandProgram &program, const QString &directory)
{
    QProcess process;
    process.setProgram(WindowsPath::fromNativeSeparators(program.program));
    process.setArguments(QProcess::splitCommand(program.arguments));
    process.setWorkingDirectory(WindowsPath::fromNativeSeparators(directory));
    qint64 id = 0;
    if (program.program.isEmpty() || !process.startDetached(&id))
        return {false, SystemError::FileNotFound, NativeHandle(), NativeHandle()};
    return {true, 0, makeHandle(quint32(id)), makeHandle(quint32(id))};
}

} // namespace

HostProcesses::HostProcesses(std::shared_ptr<const Files> files)
    : m_files(std::move(files))
{}

NativeHandle HostProcesses::createEnvironmentBlock(const NativeHandle &, bool) const
{
    return makeHandle(0);
}

StartResult HostProcesses::createProcess(const ProcessStart &start) const
{
    return KvPlatform::start(chooseProgram(*m_files, start.command), start.directory);
}

StartResult HostProcesses::createProcessAsUser(const NativeHandle &, const ProcessStart &start) const
{
    return createProcess(start);
}

StartResult HostProcesses::createProcessWithToken(const NativeHandle &, quint32, const ProcessStart &start) const
{
    return createProcess(start);
}

StartResult HostProcesses::shellExecute(const ShellStart &start) const
{
    return KvPlatform::start({start.file, start.parameters}, start.directory);
}

quint32 HostProcesses::processId(const NativeHandle &process) const
{
    const auto *const started = static_cast<const Started *>(process.native());
    return started ? started->processId : 0;
}

bool HostProcesses::openUrl(const QUrl &url) const
{
    return QDesktopServices::openUrl(url);
}

} // namespace KvPlatform
