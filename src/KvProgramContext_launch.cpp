#include "KvProgramContext_p.h"

#include "platform/Processes.h"
#include "platform/WindowsPath.h"
#include "Process.h"

#include <QtCore/QDebug>

namespace {

QString quoted(const QString &path)
{
    return u'"' + WindowsPath::toNativeSeparators(path) + u'"';
}

QString commandLine(const QString &program, const QString &arguments)
{
    return arguments.isEmpty() ? quoted(program) : quoted(program) + u' ' + arguments;
}

bool start(const QString &command, QWindow::Visibility visibility, const QString &workingDir)
{
    return Process::startCommandAsUser(command, nullptr, visibility, workingDir, false);
}

} // namespace

bool ProgramInfo::launch()
{
    switch (m_type) {
    case TypeManaged:
        return launchManaged(Q_FUNC_INFO);
    case TypeDesktop:
        return launchDesktop();
    case TypeWeb:
        return launchWeb();
    case TypeNone:
        break;
    }
    return false;
}

bool ProgramInfo::launchDesktop()
{
    if (start(commandLine(WindowsPath::fromUrl(m_targetUrl), m_arguments), QWindow::FullScreen, m_workingDir))
        return true;
    if (m_linkFile.isEmpty())
        return false;
    qInfo().noquote() << "[PROCESS] re-launch with link file:" << m_linkFile;
    // The shell knows more ways to start a link's program than we do. The link brings its own arguments.
    return start(QStringLiteral("cmd.exe /C start \"\" /I /MAX ") + quoted(m_linkFile), QWindow::Hidden, m_workingDir);
}

bool ProgramInfo::launchWeb()
{
    if (!m_targetUrl.isValid())
        return false;
    if (!m_shell.isEmpty() && start(commandLine(m_shell, m_arguments), QWindow::FullScreen, m_workingDir))
        return true;
    return KvPlatform::Platform::current()->processes->openUrl(m_targetUrl);
}
