#include "XDispatchQueue.h"

#include "XGuardedCall.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QThread>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace {

// Timers up to this length are worth the cost of a precise one; a coarse one may fire early and is then armed again.
constexpr std::int64_t longestPreciseTimer = 2000;

std::int64_t sum(std::int64_t time, std::int64_t step)
{
    using Limits = std::numeric_limits<std::int64_t>;
    if (step > 0)
        return time > Limits::max() - step ? Limits::max() : time + step;
    return time < Limits::min() - step ? Limits::min() : time + step;
}

} // namespace

/** The object on the thread. It has no fields of its own: what it needs is in the registry. */
class XDispatchQueue::Waker final : public QObject
{
public:
    ~Waker() override;

protected:
    bool event(QEvent *event) override;
};

/**
 * All living wakers with their queues, also those that wait for their deletion by a thread that has no event loop any
 * more. A waker may be built, used and deleted on different threads; the mutex orders these steps.
 */
struct XDispatchQueue::Registry
{
    std::mutex mutex;
    std::unordered_map<const Waker *, std::weak_ptr<XDispatchQueue>> queues;

    // Never deleted: other static objects may still use dispatchers while they are destroyed.
    static Registry &instance()
    {
        static Registry *const registry = new Registry;
        return *registry;
    }

    void add(const Waker *waker, const std::shared_ptr<XDispatchQueue> &queue)
    {
        const std::lock_guard lock(mutex);
        queues.emplace(waker, queue);
    }

    void remove(const Waker *waker)
    {
        const std::lock_guard lock(mutex);
        queues.erase(waker);
    }

    std::shared_ptr<XDispatchQueue> queueOf(const Waker *waker)
    {
        const std::lock_guard lock(mutex);
        const auto found = queues.find(waker);
        return found == queues.end() ? nullptr : found->second.lock();
    }

    std::vector<std::shared_ptr<XDispatchQueue>> all()
    {
        const std::lock_guard lock(mutex);
        std::vector<std::shared_ptr<XDispatchQueue>> result;
        result.reserve(queues.size());
        for (const auto &entry : queues) {
            if (std::shared_ptr<XDispatchQueue> queue = entry.second.lock())
                result.push_back(std::move(queue));
        }
        return result;
    }
};

XDispatchQueue::Waker::~Waker()
{
    Registry::instance().remove(this);
}

bool XDispatchQueue::Waker::event(QEvent *event)
{
    // Has to come first for every event, also for the one that deletes this object: see Registry.
    const std::shared_ptr<XDispatchQueue> queue = Registry::instance().queueOf(this);
    // A job may delete this object, so it must not be touched once the queue has taken the event.
    return (queue && queue->handle(*event)) || QObject::event(event);
}

std::size_t XDispatchQueue::KeyHash::operator()(const Key &key) const
{
    return static_cast<std::size_t>(qHash(key.text)) ^ std::hash<const void *>()(key.receiver);
}

XDispatchQueue::XDispatchQueue() = default;
XDispatchQueue::~XDispatchQueue() = default;

std::shared_ptr<XDispatchQueue> XDispatchQueue::create(QThread *thread)
{
    std::shared_ptr<XDispatchQueue> queue(new XDispatchQueue);
    queue->m_waker = new Waker;
    Registry::instance().add(queue->m_waker, queue);
    queue->m_waker->moveToThread(thread);
    return queue;
}

QThread *XDispatchQueue::thread() const
{
    return m_waker->thread();
}

void XDispatchQueue::post(int delay, Function function)
{
    if (!function)
        return;
    Job job;
    job.function = std::move(function);
    const std::lock_guard lock(m_mutex);
    if (!m_isClosed)
        insert(dueIn(delay), std::move(job));
}

void XDispatchQueue::postUnique(QObject *receiver, const QString &key, int delay, Function function)
{
    if (!function || !receiver)
        return;
    Job dropped; // Outlives the lock: the end of what a job holds may call back.
    const std::lock_guard lock(m_mutex);
    if (m_isClosed)
        return;
    const std::int64_t due = dueIn(delay);
    const Key id{receiver, key};
    const auto found = m_keyedJobs.find(id);
    if (found != m_keyedJobs.end()) {
        const Jobs::iterator waiting = found->second;
        // Without a receiver it belongs to an earlier object at the same address.
        if (waiting->second.receiver && waiting->first.due <= due)
            return;
        dropped = std::move(waiting->second);
        m_jobs.erase(waiting);
        m_keyedJobs.erase(found);
    }
    m_keyedJobs.emplace(id, insert(due, Job{std::move(function), true, receiver, id}));
}

void XDispatchQueue::clear()
{
    Jobs dropped;
    const std::lock_guard lock(m_mutex);
    m_keyedJobs.clear();
    dropped.swap(m_jobs);
}

void XDispatchQueue::close()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isClosed = true;
    }
    // From here on only the waker's own thread uses it, and sees that the queue is closed.
    const QThread *const thread = m_waker->thread();
    const bool isHere = thread == QThread::currentThread();
    if ((isHere && m_runDepth == 0) || !thread || thread->isFinished())
        delete m_waker;
    else
        m_waker->deleteLater();
    clear();
}

void XDispatchQueue::wakeAll()
{
    for (const std::shared_ptr<XDispatchQueue> &queue : Registry::instance().all())
        queue->wake(false);
}

void XDispatchQueue::restartAll()
{
    for (const std::shared_ptr<XDispatchQueue> &queue : Registry::instance().all())
        queue->wake(true);
}

void XDispatchQueue::wake(bool isRestart)
{
    const std::lock_guard lock(m_mutex);
    if (m_isClosed)
        return;
    now(); // Takes over from the clock before at the moment of the change.
    m_armedFor.reset();
    if (isRestart)
        m_isWakePosted = false;
    if (!m_jobs.empty())
        postWake();
}

bool XDispatchQueue::handle(const QEvent &event)
{
    Slot end;
    {
        // Also hands the event over from the thread that has posted it.
        const std::lock_guard lock(m_mutex);
        if (event.type() == QEvent::Timer)
            stopTimer();
        else if (event.type() == QEvent::User)
            m_isWakePosted = false;
        else
            return false;
        m_armedFor.reset();
        end = Slot{now(), m_nextOrder};
    }
    run(end);
    return true;
}

void XDispatchQueue::run(const Slot &end)
{
    ++m_runDepth;
    Job job;
    while (take(end, job)) {
        if (!job.isKeyed || job.receiver)
            xCallGuarded(job.function);
        job = Job();
    }
    --m_runDepth;
    const std::lock_guard lock(m_mutex);
    arm();
}

bool XDispatchQueue::take(const Slot &end, Job &job)
{
    const std::lock_guard lock(m_mutex);
    const auto isDue = [this, &end] {
        return !m_jobs.empty() && m_jobs.begin()->first.due <= end.due && m_jobs.begin()->first.order < end.order;
    };
    if (m_isClosed || !isDue())
        return false;
    const Jobs::iterator first = m_jobs.begin();
    job = std::move(first->second);
    m_jobs.erase(first);
    if (job.isKeyed)
        m_keyedJobs.erase(job.key);
    // The job may run an event loop of its own, and that must get on with the others.
    if (isDue())
        postWake();
    return true;
}

std::int64_t XDispatchQueue::now()
{
    std::shared_ptr<XClock> clock = XClock::current();
    if (m_clock && clock != m_clock)
        m_shift = sum(m_shift, m_clock->now() - clock->now());
    m_clock = std::move(clock);
    return sum(m_clock->now(), m_shift);
}

std::int64_t XDispatchQueue::dueIn(int delay)
{
    const std::int64_t start = now();
    if (delay <= 0)
        return start;
    // A running clock is somewhere inside its millisecond, which must not be counted as a whole one.
    return sum(start, m_clock->isRunning() ? std::int64_t(delay) + 1 : delay);
}

XDispatchQueue::Jobs::iterator XDispatchQueue::insert(std::int64_t due, Job job)
{
    const Jobs::iterator place = m_jobs.emplace(Slot{due, m_nextOrder++}, std::move(job)).first;
    if (!m_armedFor || due < *m_armedFor)
        postWake();
    return place;
}

void XDispatchQueue::postWake()
{
    if (m_isWakePosted)
        return;
    m_isWakePosted = true;
    // A plain event of Qt's: nothing of it is written here and read on the other thread. Under the lock, so that the
    // waker can't go meanwhile; Qt calls nothing of ours from there.
    QCoreApplication::postEvent(m_waker, new QEvent(QEvent::User));
}

void XDispatchQueue::arm()
{
    if (m_isClosed)
        return;
    stopTimer();
    m_armedFor.reset();
    if (m_jobs.empty() || m_isWakePosted)
        return;
    const std::int64_t due = m_jobs.begin()->first.due;
    const std::int64_t left = sum(due, -now());
    if (left <= 0) {
        postWake();
        return;
    }
    if (m_clock->isRunning()) {
        const int interval = static_cast<int>(std::min<std::int64_t>(left, std::numeric_limits<int>::max()));
        m_timer = m_waker->startTimer(interval, left <= longestPreciseTimer ? Qt::PreciseTimer : Qt::CoarseTimer);
        if (m_timer == 0)
            return;
    }
    m_armedFor = due;
}

void XDispatchQueue::stopTimer()
{
    if (m_timer != 0)
        m_waker->killTimer(std::exchange(m_timer, 0));
}

namespace {

void restartQueues()
{
    XDispatchQueue::restartAll();
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(restartQueues)
