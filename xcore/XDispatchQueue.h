#pragma once

#include "XClock.h"

#include <QtCore/QPointer>
#include <QtCore/QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

class QEvent;
class QObject;
class QThread;

/**
 * The jobs that wait for one thread, and the object on that thread which is woken when one is due.
 *
 * Jobs are kept by the time at which they are due, then by the order in which they were posted. One wake-up runs the
 * jobs that are due when it begins; what is posted meanwhile waits for the next turn of the event loop, so that a job
 * which posts itself again can't keep the loop from other events. All functions may be called from any thread unless
 * they say otherwise.
 */
class XDispatchQueue final : public std::enable_shared_from_this<XDispatchQueue>
{
public:
    using Function = std::function<void()>;

    /** An open queue for `thread`, which must not be null. Its owner must close it. */
    static std::shared_ptr<XDispatchQueue> create(QThread *thread);

    ~XDispatchQueue();

    XDispatchQueue(const XDispatchQueue &) = delete;
    XDispatchQueue &operator=(const XDispatchQueue &) = delete;

    /** The thread that runs the jobs; null if Qt has deleted it. Not to be called after close. */
    QThread *thread() const;

    /** See XDispatch::postLater. */
    void post(int delay, Function function);

    /** See XDispatch::postUniqueLater. */
    void postUnique(QObject *receiver, const QString &key, int delay, Function function);

    /** Drops all jobs that wait. */
    void clear();

    /**
     * Drops all jobs that wait and refuses new ones. The object on the thread is deleted: at once if this is that
     * thread and no job of the queue is running, else by that thread's event loop.
     */
    void close();

    /** Makes the threads of all queues look at the clock again. */
    static void wakeAll();

    /** The same for a new application object: wake-ups that were under way got lost with the one before. */
    static void restartAll();

private:
    class Waker;
    struct Registry;

    struct Key
    {
        const QObject *receiver = nullptr;
        QString text;
        bool operator==(const Key &other) const { return receiver == other.receiver && text == other.text; }
    };

    struct KeyHash
    {
        std::size_t operator()(const Key &key) const;
    };

    struct Slot
    {
        std::int64_t due = 0;
        std::uint64_t order = 0;
        bool operator<(const Slot &other) const { return due != other.due ? due < other.due : order < other.order; }
    };

    struct Job
    {
        Function function;
        bool isKeyed = false;
        QPointer<QObject> receiver;
        Key key;
    };

    using Jobs = std::map<Slot, Job>;
    using KeyedJobs = std::unordered_map<Key, Jobs::iterator, KeyHash>;

    XDispatchQueue();

    bool handle(const QEvent &event);
    void run(const Slot &end);
    bool take(const Slot &end, Job &job);
    void wake(bool isRestart);

    // These expect that m_mutex is locked.
    std::int64_t now();
    std::int64_t dueIn(int delay);
    Jobs::iterator insert(std::int64_t due, Job job);
    void postWake();
    void arm();
    void stopTimer();

    Waker *m_waker = nullptr;

    std::mutex m_mutex;
    Jobs m_jobs;
    KeyedJobs m_keyedJobs;
    std::uint64_t m_nextOrder = 0;
    bool m_isClosed = false;
    bool m_isWakePosted = false;
    std::optional<std::int64_t> m_armedFor;

    // The queue's own time runs on without a jump when another clock comes into force: it is that clock's plus m_shift.
    std::shared_ptr<XClock> m_clock;
    std::int64_t m_shift = 0;

    // Only touched on the thread of the jobs.
    int m_timer = 0;
    int m_runDepth = 0;
};
