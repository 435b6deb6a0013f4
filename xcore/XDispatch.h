#pragma once

#include "XCoreGlobal.h"

#include <QtCore/QString>

#include <functional>
#include <memory>

class QObject;
class QThread;
class XDispatchQueue;

/**
 * Runs functions later on one thread, and long work on a pool of background threads.
 *
 * A dispatcher keeps the jobs that were posted to it until they are due. Jobs run on thread(), in the order in which
 * they become due, each from the thread's event loop and never inside a call to a post function. Every function may be
 * called from any thread, also from inside a job; a job may also delete the dispatcher that runs it. An empty function
 * is not posted at all. What a job throws is caught and logged.
 */
class XCORE_EXPORT XDispatch
{
public:
    using Function = std::function<void()>;

    /**
     * A dispatcher with a queue of its own on the thread of `parent`, which is only asked for that thread. Null stands
     * for the calling thread.
     */
    explicit XDispatch(const XDispatch *parent);

    /** Drops the jobs that still wait. Never waits for a job that is running. */
    ~XDispatch();

    XDispatch(const XDispatch &) = delete;
    XDispatch &operator=(const XDispatch &) = delete;

    /**
     * The dispatcher of the main thread: the application object's, or the first caller's if there is none yet. It lives
     * until the process ends; jobs that wait when the application object ends go on waiting for another one.
     */
    static XDispatch *main();

    /** The thread that runs the jobs. Owned by Qt. */
    QThread *thread() const;

    /** Runs `function` once, `delay` milliseconds from now at the earliest. A negative delay counts as 0. */
    void postLater(int delay, Function function);

    /**
     * Runs `function` once, `delay` milliseconds from now at the earliest, with at most one job waiting for each pair
     * of `receiver` and `key`.
     *
     * If such a job waits already, the one that is due first stays: a sooner post takes the place of a later one, and a
     * post that is due at the same time or later changes nothing. Nothing runs once the receiver is gone; the receiver
     * must live on thread() and must be alive during this call. Null counts as gone.
     */
    void postUniqueLater(QObject *receiver, const QString &key, int delay, Function function);

    /**
     * Drops every job that waits on this dispatcher, with and without a key. A job that is running goes on.
     * `waitForRunning` is accepted for the sake of the interface and has no effect here.
     */
    void removeAll(bool waitForRunning);

    /**
     * Runs `function` on a background thread, never on the caller's.
     *
     * The pool grows when jobs wait and none ends, so jobs that block on each other always get a thread. On Windows the
     * thread offers COM. `context` may be null; if it is given and gone before the job starts, the job is dropped.
     * The caller's thread must be sure that `context` is alive during this call. A job that has started always runs to
     * its end and must guard what it touches by itself: the context may be deleted while it runs.
     *
     * The end of the application object or of the process doesn't wait for background jobs; the process's end cuts off
     * those that still run.
     */
    static void runInBackground(QObject *context, Function function);

    /**
     * Blocks until no background job waits or runs, at most `timeout` milliseconds; gives whether that came true.
     * For tests and for the end of a program; never call it from a background job.
     */
    static bool waitForBackground(int timeout);

private:
    explicit XDispatch(QThread &thread);

    std::shared_ptr<XDispatchQueue> m_queue;
};
