#include "XDispatch.h"
#include "XThreadPool.h"

#include <QtTest/QTest>

#include <QtCore/QElapsedTimer>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

/** Lets nobody on before `count` threads have come. */
class Barrier
{
public:
    explicit Barrier(int count)
        : m_missing(count)
    {}

    void wait()
    {
        std::unique_lock lock(m_mutex);
        if (--m_missing <= 0)
            m_full.notify_all();
        m_full.wait(lock, [this] { return m_missing <= 0; });
    }

    int missing()
    {
        const std::lock_guard lock(m_mutex);
        return m_missing;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_full;
    int m_missing;
};

XThreadPool::Settings quick(int baseSize)
{
    return {baseSize, 5ms, 20ms, 60s};
}

} // namespace

class tst_XThreadPool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void blockedJobsAllRun();
    void growsAtOnceUpToTheBase();
    void growsForBlockedJobs();
    void doesNotGrowWhileJobsEnd();
    void extraThreadsEndFirst();
    void idleThreadsEnd();
    void startsAgainAfterAllThreadsEnded();
    void throwingJobIsLogged();
    void jobsMayStartJobs();
    void waitForDone();
    void whatAJobHoldsEndsBeforeItCountsAsDone();
    void deletedWhileJobsRun();
    void manyStarters();
};

void tst_XThreadPool::blockedJobsAllRun()
{
    // The test function occupies the main thread: growth needs no event loop.
    constexpr int jobs = 64;
    QElapsedTimer timer;
    timer.start();
    const auto barrier = std::make_shared<Barrier>(jobs);
    for (int i = 0; i < jobs; ++i)
        XDispatch::runInBackground(nullptr, [barrier] { barrier->wait(); });
    QVERIFY(XDispatch::waitForBackground(60000));
    QCOMPARE(barrier->missing(), 0);
    qInfo("%d blocked jobs ran within %lld ms", jobs, static_cast<long long>(timer.elapsed()));
}

void tst_XThreadPool::growsAtOnceUpToTheBase()
{
    XThreadPool pool({4, 1h, 1h, 1h});
    for (int i = 0; i < 20; ++i) {
        pool.start([] {});
        QVERIFY(pool.waitForDone(20s));
    }
    QCOMPARE(pool.threadCount(), 1);
    const auto barrier = std::make_shared<Barrier>(4);
    for (int i = 0; i < 4; ++i)
        pool.start([barrier] { barrier->wait(); });
    QVERIFY(pool.waitForDone(20s));
    QCOMPARE(pool.threadCount(), 4);
}

void tst_XThreadPool::growsForBlockedJobs()
{
    XThreadPool pool({1, 5ms, 60s, 60s});
    const auto barrier = std::make_shared<Barrier>(20);
    for (int i = 0; i < 20; ++i)
        pool.start([barrier] { barrier->wait(); });
    QVERIFY(pool.waitForDone(20s));
    QCOMPARE(pool.threadCount(), 20);
}

void tst_XThreadPool::doesNotGrowWhileJobsEnd()
{
    XThreadPool pool({2, 60s, 60s, 60s});
    std::atomic<int> runs{0};
    for (int i = 0; i < 1000; ++i)
        pool.start([&runs] { ++runs; });
    QVERIFY(pool.waitForDone(20s));
    QCOMPARE(runs.load(), 1000);
    QCOMPARE(pool.threadCount(), 2);
}

void tst_XThreadPool::extraThreadsEndFirst()
{
    XThreadPool pool(quick(2));
    const auto barrier = std::make_shared<Barrier>(6);
    for (int i = 0; i < 6; ++i)
        pool.start([barrier] { barrier->wait(); });
    QVERIFY(pool.waitForDone(20s));
    QTRY_COMPARE_WITH_TIMEOUT(pool.threadCount(), 2, 20000);
    // Several times as long as extra threads live: those of the base stay.
    QTest::qWait(100);
    QCOMPARE(pool.threadCount(), 2);
}

void tst_XThreadPool::idleThreadsEnd()
{
    XThreadPool pool({4, 1h, 1ms, 30ms});
    const auto barrier = std::make_shared<Barrier>(4);
    for (int i = 0; i < 4; ++i)
        pool.start([barrier] { barrier->wait(); });
    QVERIFY(pool.waitForDone(20s));
    QTRY_COMPARE_WITH_TIMEOUT(pool.threadCount(), 0, 20000);
}

void tst_XThreadPool::startsAgainAfterAllThreadsEnded()
{
    XThreadPool pool({2, 5ms, 1ms, 1ms});
    std::atomic<int> runs{0};
    for (int i = 1; i <= 20; ++i) {
        pool.start([&runs] { ++runs; });
        QVERIFY(pool.waitForDone(20s));
        QCOMPARE(runs.load(), i);
        if (i % 5 == 0)
            QTRY_COMPARE(pool.threadCount(), 0);
    }
}

void tst_XThreadPool::throwingJobIsLogged()
{
    XThreadPool pool(quick(1));
    std::atomic<int> runs{0};
    QTest::ignoreMessage(QtWarningMsg, "XDispatch: a job threw an exception: broken");
    QTest::ignoreMessage(QtWarningMsg, "XDispatch: a job threw an exception of unknown type");
    pool.start([] { throw std::runtime_error("broken"); });
    pool.start([] { throw 5; });
    pool.start([&runs] { ++runs; });
    pool.start(nullptr);
    QVERIFY(pool.waitForDone(20s));
    QCOMPARE(runs.load(), 1);
}

void tst_XThreadPool::jobsMayStartJobs()
{
    XThreadPool pool(quick(1));
    std::atomic<int> runs{0};
    for (int i = 0; i < 10; ++i) {
        pool.start([&] {
            // Waits for a job that has to come behind all others.
            const auto barrier = std::make_shared<Barrier>(2);
            pool.start([barrier] { barrier->wait(); });
            barrier->wait();
            ++runs;
        });
    }
    QVERIFY(pool.waitForDone(20s));
    QCOMPARE(runs.load(), 10);
}

void tst_XThreadPool::waitForDone()
{
    XThreadPool pool(quick(1));
    QVERIFY(pool.waitForDone(0ms));
    const auto barrier = std::make_shared<Barrier>(2);
    pool.start([barrier] { barrier->wait(); });
    QVERIFY(!pool.waitForDone(0ms));
    QVERIFY(!pool.waitForDone(-5ms));
    QVERIFY(!pool.waitForDone(10ms));
    barrier->wait();
    QVERIFY(pool.waitForDone(20s));
}

void tst_XThreadPool::whatAJobHoldsEndsBeforeItCountsAsDone()
{
    XThreadPool pool(quick(2));
    for (int i = 0; i < 200; ++i) {
        const auto token = std::make_shared<int>(i);
        pool.start([token] {});
        QVERIFY(pool.waitForDone(20s));
        QCOMPARE(token.use_count(), 1);
    }
}

void tst_XThreadPool::deletedWhileJobsRun()
{
    const auto running = std::make_shared<Barrier>(2);
    const auto ending = std::make_shared<Barrier>(2);
    const auto ended = std::make_shared<Barrier>(2);
    const auto waiting = std::make_shared<std::atomic<int>>(0);
    {
        XThreadPool pool({1, 1h, 1h, 1h});
        pool.start([=] {
            running->wait();
            ending->wait();
            ended->wait();
        });
        running->wait();
        pool.start([waiting] { ++*waiting; });
    }
    QCOMPARE(waiting.use_count(), 1L);
    ending->wait();
    ended->wait();
    QCOMPARE(waiting->load(), 0);
}

void tst_XThreadPool::manyStarters()
{
    XThreadPool pool({3, 2ms, 1ms, 3ms});
    std::atomic<int> runs{0};
    std::vector<std::thread> starters;
    for (int t = 0; t < 4; ++t) {
        starters.emplace_back([&] {
            for (int i = 0; i < 500; ++i)
                pool.start([&runs] { ++runs; });
        });
    }
    for (std::thread &starter : starters)
        starter.join();
    QVERIFY(pool.waitForDone(60s));
    QCOMPARE(runs.load(), 2000);
}

QTEST_GUILESS_MAIN(tst_XThreadPool)
#include "tst_xthreadpool.moc"
