#pragma once

#include "kvprogram_export.h"
#include "Process.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QString>

#include <memory>

/**
 * Watches one process, and tells when it ends. The process may be a QProcess of somebody else's, or any process of the
 * computer by its id or by the name of its executable; to who watches they look alike.
 *
 * A spy belongs to the thread that it lives on, and needs that thread's event loop. The constant accessors may be
 * called from any thread. Every bind replaces the former one, whose process's later end is no longer told; an exited()
 * that is on its way by then still arrives.
 */
class KVPROGRAM_EXPORT KvProcessSpy : public QObject
{
    Q_OBJECT

public:
    explicit KvProcessSpy(QObject *parent = nullptr);

    /** Unbinds. If the process is ending at this moment, waits until the receivers of stateChanged() have returned. */
    ~KvProcessSpy() override;

    /**
     * Watches the first process whose executable has this name, with or without a folder in front; letter case makes no
     * difference. An absolute path matches only if the process's bare name, looked up in the current folder, is that
     * very file. Gives whether it stands; if no process matches, the former watch stays.
     */
    bool bind(const QString &name);

    /**
     * Watches `process`, running or not, and mirrors its states. The spy doesn't own it, can't kill() it, and may
     * outlive it. Null only unbinds, and gives false.
     */
    bool bind(QProcess *process);

    /**
     * Watches a process by its id. Gives false if it can't be opened or asked. A process that has ended but can still
     * be opened gives true, and exited() follows.
     */
    bool bind(qint64 processId);

    /** Ends the watch and empties everything; exited() does not follow. */
    void unbind();

    /**
     * Unbinds, and then ends the process, with the exit code -1. Gives whether the system did so; false without any
     * effect on a spy that is not bound by id or name. Neither exited() follows, nor another stateChanged().
     */
    bool kill();

    /** Whether state() is not NotRunning. */
    bool isRunning() const;

    /** Whether a process of that id runs now, as far as this user may know. From any thread. */
    static bool isRunning(qint64 processId);

    /** The last exit code known, until the next bind or unbind; -1 for an end without one. */
    int exitCode() const;

    /** The id, 0 when unbound. */
    qint64 processId() const;

    /** The program's path with forward slashes; of a QProcess, its program() as it is. Empty if it can't be told. */
    QString program() const;

    /** A process that is watched by id or name is never Starting. */
    QProcess::ProcessState state() const;

Q_SIGNALS:
    /**
     * The state is another one. Of a process that is watched by id or name, the end is told from a thread of the
     * system's: a receiver on another thread gets it queued, a direct connection runs there.
     */
    void stateChanged(QProcess::ProcessState newState);

    /** The process has ended; once for each, on the spy's thread, and never inside a call of bind. */
    void exited(int exitCode, QProcess::ExitStatus status);

private Q_SLOTS:
    void tellExit();

private:
    struct Members;

    /** Called by the system on a thread of its own. */
    static void callBack(Members &members, quint64 binding);

    bool unbindForNext();
    bool giveUpBinding();
    void release();
    bool beginWatch();
    bool registerWait();
    void setState(QProcess::ProcessState newState);
    void onExited(int exitCode, QProcess::ExitStatus status);
    void onTerminated(quint64 binding);
    void announceExit(bool isNewState, int exitCode, QProcess::ExitStatus status);

    const std::shared_ptr<Members> m_members; // Shared with the system's callbacks, which may outlive the spy.
};
