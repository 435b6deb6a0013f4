#include "Child.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

Child Child::start(int milliseconds, int exitCode, const QString &path)
{
    QByteArray program = QFile::encodeName(path);
    QByteArray time = QByteArray::number(milliseconds);
    QByteArray code = QByteArray::number(exitCode);
    char *const arguments[] = {program.data(), time.data(), code.data(), nullptr};
    pid_t id = 0;
    if (::posix_spawn(&id, program.constData(), nullptr, nullptr, arguments, environ) != 0)
        qFatal("can't start %s", program.constData());
    return Child(id, nullptr);
}

Child::~Child()
{
    if (m_id == 0)
        return;
    ::kill(static_cast<pid_t>(m_id), SIGKILL);
    collect();
}

int Child::collect()
{
    int status = 0;
    ::waitpid(static_cast<pid_t>(std::exchange(m_id, 0)), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Child::openHandles()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

int Child::threads()
{
    return int(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}
