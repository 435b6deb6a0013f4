#pragma once

#include "kvprogram_export.h"

#include <QtCore/QList>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtGui/QWindow>

/**
 * Starts programs: as children of this process, or detached at a chosen level of rights.
 *
 * An object is a QProcess whose children get an environment without Qt's own variables ("QT_", "QML_", "QSG_") and, on
 * Windows, inherit no handle of this process; so what they print can't be read there. It belongs to its thread.
 *
 * The static functions start a program that outlives this process, as the user at the console or with more rights, and
 * keep nothing of it. Each tries its own way and, where that is refused, hands over to the next:
 *
 *     startAsUserElevated   the user's elevated rights; without them startAsUser or startDetached
 *     startAsUser           the user's normal rights, even from an elevated process; from one that isn't, startDetached
 *     startDetached         this process's rights; a program that demands more goes to startAsAdmin
 *     startAsAdmin          administrator's rights, for which the system asks the user
 *
 * They may be called from any thread, and block until the system has created the process; where the system asks the
 * user, until there is an answer. True says that the process was created, not that it runs well. Failures are logged.
 *
 * What they take:
 *
 *     program              path of the program, with either separator
 *     arguments            each is put in quotes if it holds a blank and doesn't begin with a quote; nothing is escaped
 *     command              the whole command line, as Windows takes it
 *     pid                  if not null, gets the id of the new process, or 0 without one
 *     visibility           how the window is to open. Windows heeds it for AutomaticVisibility, and for the functions
 *                          with "Admin" in their names; Hidden keeps a console program from opening a console
 *     home                 working directory; this process's own if it is empty or doesn't exist
 *     inheritEnvironment   whether the program gets this process's environment, instead of its user's
 */
class KVPROGRAM_EXPORT Process : public QProcess
{
    Q_OBJECT

public:
    explicit Process(QObject *parent = nullptr);
    ~Process() override;

    /** As QProcess::start. */
    void start(const QString &program, const QList<QString> &arguments = {},
               QIODeviceBase::OpenMode mode = QIODeviceBase::ReadWrite);

    /** Whether the child is starting or running. */
    bool isRunning() const;

    /** With this process's rights. */
    static bool startDetached(const QString &program, const QList<QString> &arguments, qint64 *pid = nullptr,
                              QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                              const QString &home = QString(), bool inheritEnvironment = true);
    static bool startCommandDetached(const QString &command, qint64 *pid = nullptr,
                                     QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                     const QString &home = QString(), bool inheritEnvironment = true);

    /** With the normal rights of the user at the console. */
    static bool startAsUser(const QString &program, const QList<QString> &arguments, qint64 *pid = nullptr,
                            QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                            const QString &home = QString(), bool inheritEnvironment = true);
    static bool startCommandAsUser(const QString &command, qint64 *pid = nullptr,
                                   QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                   const QString &home = QString(), bool inheritEnvironment = true);

    /** With the elevated rights of the user at the console, if this process is a service. */
    static bool startAsUserElevated(const QString &program, const QList<QString> &arguments, qint64 *pid = nullptr,
                                    QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                    const QString &home = QString(), bool inheritEnvironment = true);
    static bool startCommandAsUserElevated(const QString &command, qint64 *pid = nullptr,
                                           QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                           const QString &home = QString(), bool inheritEnvironment = true);

    /**
     * With administrator's rights. A command's program is what stands in quotes, or in front of the first blank.
     * Windows itself tells the user, and waits, if there is no such program.
     */
    static bool startAsAdmin(const QString &program, const QList<QString> &arguments, qint64 *pid = nullptr,
                             QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                             const QString &home = QString());
    static bool startCommandAsAdmin(const QString &command, qint64 *pid = nullptr,
                                    QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                    const QString &home = QString());

    /**
     * Runs a command in the system's command interpreter with administrator's rights. Doesn't wait for its end: gives
     * the exit code as it is at that moment, so 259 while the interpreter runs; -1 if there is none to read, -2 if the
     * start failed or was refused.
     */
    static int executeAsAdmin(const QString &program, const QList<QString> &arguments,
                              QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                              const QString &home = QString());
    static int executeCommandAsAdmin(const QString &command,
                                     QWindow::Visibility visibility = QWindow::AutomaticVisibility,
                                     const QString &home = QString());

Q_SIGNALS:
    /** Repeats finished(). */
    void exited(int exitCode, QProcess::ExitStatus status);

private:
    // With a token borrowed from a process of the console user.
    static bool startCommandAsRestricted(const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                         const QString &home, bool inheritEnvironment);

    // Defined once for each system.
    void keepHandles();
};
