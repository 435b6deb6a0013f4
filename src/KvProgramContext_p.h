#pragma once

#include "KvProgramContext.h"

#include "platform/Platform.h"

#include <QtCore/QMutex>

#include <atomic>

/** What the metadata file says. Filled in the catalogue's constructor and never changed after that. */
struct KvProgramContext::Rules
{
    QList<Rule> ignoreRules;  ///< Programs to hide.
    QList<Rule> metadataApps; ///< Entries to offer although no scan finds them.
    QList<Rule> meetingRules; ///< Programs to mark as meeting programs.
};

/**
 * One scan: the state that the catalogue shares with the scan's background jobs.
 *
 * Held by the catalogue and by each job that runs, it lives until the last of them is done with it. A scan that has
 * been cancelled stays so, and from that moment on nothing of it reaches the catalogue, which may then be gone.
 */
struct KvProgramContext::Scan
{
    Scan(KvProgramContext *owner, QSharedPointer<XDispatch> jobs, std::shared_ptr<const Rules> fixed);

    /** Deletes the records that nobody took over. */
    ~Scan();

    Scan(const Scan &) = delete;
    Scan &operator=(const Scan &) = delete;

    /** Whether sources and merge are to stop and to drop what they hold. From any thread. */
    bool isCancelled() const;

    /** On the catalogue's thread; whatever post() has posted by then is in the dispatcher's queue. */
    void cancel();

    /** Posts a job of the catalogue's under `key`, from any thread; does nothing once the scan is cancelled. */
    void post(const QString &key, int delay, void (KvProgramContext::*job)());

    const QSharedPointer<XDispatch> dispatcher;
    const std::shared_ptr<const Rules> rules;

    QMutex mutex;                     ///< Guards pendingApps and nothing else.
    QList<ProgramInfo *> pendingApps; ///< Accepted records that wait for the merge.
    std::atomic<int> pendingJobs{0};  ///< Sources that have not ended.

private:
    QMutex m_postMutex; // Held while a job is posted, so that cancel() can't come in the middle of it.
    std::atomic<bool> m_cancelled{false};
    KvProgramContext *const m_owner;
};

/**
 * `text` with its environment variables replaced by their values in this process's environment; unknown ones stay as
 * they are. A text without a percent sign is returned as it is. May be called from any thread.
 */
QString expandEnvironment(const QString &text);

/**
 * Looks up the signed-in local user once for the process, whether that works or not, and keeps its id. Called by the
 * package source.
 */
void findCurrentUser();

/** The id that findCurrentUser has found; empty until then. May be called from any thread. */
QString nonRoamableId();

/** Lets findCurrentUser look again. For tests. */
void forgetCurrentUser();
