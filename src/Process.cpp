#include "Process_p.h"

#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <QtCore/QProcessEnvironment>

namespace {

QProcessEnvironment makeCleanEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QStringList names = environment.keys();
    for (const QString &name : names) {
        if (name.startsWith(QLatin1String("QT_")) || name.startsWith(QLatin1String("QML_")) ||
            name.startsWith(QLatin1String("QSG_")))
            environment.remove(name);
    }
    return environment;
}

/** This process's environment without what would lead other Qt programs astray, as it was at the first call. */
const QProcessEnvironment &cleanEnvironment()
{
    // Never destroyed: a child may still be started while the process ends.
    static const auto *const environment = new QProcessEnvironment(makeCleanEnvironment());
    return *environment;
}

void appendArgument(QString &command, const QString &argument)
{
    if (!command.isEmpty())
        command += u' ';
    if (!argument.startsWith(u'"') && argument.contains(u' '))
        command += u'"' + argument + u'"';
    else
        command += argument;
}

QString commandLine(const QString &program, const QList<QString> &arguments)
{
    QString command;
    appendArgument(command, WindowsPath::toNativeSeparators(program));
    for (const QString &argument : arguments)
        appendArgument(command, argument);
    return command;
}

} // namespace

QString ProcessParts::workingDirectory(const QString &home)
{
    if (home.isEmpty() || !KvPlatform::Platform::current()->files->exists(home))
        return QString();
    return WindowsPath::toNativeSeparators(home);
}

quint16 ProcessParts::showCommand(QWindow::Visibility visibility)
{
    switch (visibility) {
    case QWindow::Hidden:
        return 0; // SW_HIDE
    case QWindow::Windowed:
        return 1; // SW_SHOWNORMAL
    case QWindow::Minimized:
        return 2; // SW_SHOWMINIMIZED
    case QWindow::Maximized:
    case QWindow::FullScreen:
        return 3; // SW_SHOWMAXIMIZED
    case QWindow::AutomaticVisibility:
        break;
    }
    return 10; // SW_SHOWDEFAULT
}

Process::Process(QObject *parent)
    : QProcess(parent)
{
    setProcessEnvironment(cleanEnvironment());
    keepHandles();
    connect(this, &QProcess::finished, this, &Process::exited);
}

Process::~Process() = default;

void Process::start(const QString &program, const QList<QString> &arguments, QIODeviceBase::OpenMode mode)
{
    QProcess::start(program, arguments, mode);
}

bool Process::isRunning() const
{
    return state() != QProcess::NotRunning;
}

bool Process::startDetached(const QString &program, const QList<QString> &arguments, qint64 *pid,
                            QWindow::Visibility visibility, const QString &home, bool inheritEnvironment)
{
    return startCommandDetached(commandLine(program, arguments), pid, visibility, home, inheritEnvironment);
}

bool Process::startAsUser(const QString &program, const QList<QString> &arguments, qint64 *pid,
                          QWindow::Visibility visibility, const QString &home, bool inheritEnvironment)
{
    return startCommandAsUser(commandLine(program, arguments), pid, visibility, home, inheritEnvironment);
}

bool Process::startAsUserElevated(const QString &program, const QList<QString> &arguments, qint64 *pid,
                                  QWindow::Visibility visibility, const QString &home, bool inheritEnvironment)
{
    return startCommandAsUserElevated(commandLine(program, arguments), pid, visibility, home, inheritEnvironment);
}

bool Process::startAsAdmin(const QString &program, const QList<QString> &arguments, qint64 *pid,
                           QWindow::Visibility visibility, const QString &home)
{
    return startCommandAsAdmin(commandLine(program, arguments), pid, visibility, home);
}

int Process::executeAsAdmin(const QString &program, const QList<QString> &arguments, QWindow::Visibility visibility,
                            const QString &home)
{
    return executeCommandAsAdmin(commandLine(program, arguments), visibility, home);
}
