#include "XClock.h"
#include "XDispatch.h"

#include <QtTest/QTest>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QThread>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/** A static object that uses the main dispatcher when everything else is gone. */
struct LateUser
{
    ~LateUser()
    {
        XDispatch dispatch(XDispatch::main());
        dispatch.postLater(0, [] {});
        XDispatch::main()->postLater(10, [] {});
        XDispatch::main()->removeAll(false);
    }
};

const LateUser lateUser;

/** Counts the wake-ups and deferred deletions that reach objects on the main thread. */
class EventCounter : public QObject
{
public:
    int wakes = 0;
    int deletions = 0;

    bool eventFilter(QObject *, QEvent *event) override
    {
        wakes += event->type() == QEvent::User ? 1 : 0;
        deletions += event->type() == QEvent::DeferredDelete ? 1 : 0;
        return false;
    }
};

// Exactly one turn of the event loop as far as posted events go; with a manual clock there are no others.
void turn()
{
    QCoreApplication::sendPostedEvents();
}

void onThread(const std::function<void()> &function)
{
    std::thread(function).join();
}

} // namespace

/** Every test function gets an application object of its own, as programs may build several one after the other. */
class tst_XDispatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void jobFromBeforeTheApplicationRuns();
    void mainIsOneOnTheMainThread();
    void jobOutlivesItsApplication();

    void manualClockTurnsForwardOnly();
    void systemClockIsTheDefault();

    void runsInOrder_data();
    void runsInOrder();
    void neverRunsInsideAPost();
    void waitsForTheClock();
    void clockIsTurnedByAnotherThread();
    void newClockMeasuresTheRest();
    void postsOfARunWaitForTheNextTurn();
    void repeatingJobLeavesTheLoopToOthers();
    void nestedLoopRunsTheOtherJobs();
    void throwingJobIsLogged();
    void emptyFunctionsAreIgnored();

    void unique_data();
    void unique();
    void uniqueDistinguishesReceiverAndKey();
    void uniqueMayBePostedAgainByItsJob();
    void uniqueOvertakesManyTimes();
    void receiverGone();
    void newReceiverAtAnOldAddress();

    void removeAll();
    void removeAllInsideAJob();
    void dispatchersAreIndependent();
    void jobDeletesItsDispatcher();
    void jobDeletesReceiverOfTheNext();
    void endOfAJobMayCallBack();
    void deletedOnAnotherThread();
    void parentGivesTheThread();

    void postsFromOtherThreadsRunHere();
    void oneWakeUpForManyPosts();
    void noWakeUpForLaterJobs();
    void manyPostsUnderOneKey();
    void runningClockWaits();
    void soonerJobShortensTheWait();
    void postingWhileTheDispatcherIsReplaced();

    void background();
    void backgroundDropsJobsOfAGoneContext();

private:
    XDispatch::Function note(const QString &text);
    QString notes();

    std::unique_ptr<QCoreApplication> m_application;
    std::shared_ptr<XManualClock> m_clock;
    std::unique_ptr<XDispatch> m_dispatch;
    QStringList m_notes;
    bool m_hasEarlyJobRun = false;
};

XDispatch::Function tst_XDispatch::note(const QString &text)
{
    return [this, text] { m_notes.append(text); };
}

QString tst_XDispatch::notes()
{
    return std::exchange(m_notes, {}).join(u' ');
}

void tst_XDispatch::initTestCase()
{
    QVERIFY(!QCoreApplication::instance());
    XDispatch::main()->postLater(0, [this] { m_hasEarlyJobRun = true; });
}

void tst_XDispatch::init()
{
    static int argc = 1;
    static char name[] = "tst_xdispatch";
    static char *argv[] = {name, nullptr};
    m_application = std::make_unique<QCoreApplication>(argc, argv);
    m_clock = std::make_shared<XManualClock>();
    XClock::setCurrent(m_clock);
    m_dispatch = std::make_unique<XDispatch>(XDispatch::main());
    m_notes.clear();
}

void tst_XDispatch::cleanup()
{
    QVERIFY(XDispatch::waitForBackground(20000));
    m_dispatch.reset();
    XDispatch::main()->removeAll(false);
    XClock::setCurrent(nullptr);
    m_application.reset();
}

void tst_XDispatch::jobFromBeforeTheApplicationRuns()
{
    turn();
    QVERIFY(m_hasEarlyJobRun);
}

void tst_XDispatch::mainIsOneOnTheMainThread()
{
    XDispatch *const main = XDispatch::main();
    QVERIFY(main);
    QCOMPARE(main->thread(), m_application->thread());
    XDispatch *other = nullptr;
    onThread([&other] { other = XDispatch::main(); });
    QCOMPARE(other, main);
}

void tst_XDispatch::jobOutlivesItsApplication()
{
    // The wake-up for the first and the timer for the second one are lost with the application object.
    XClock::setCurrent(nullptr);
    XDispatch::main()->postLater(30, note(u"timer"_s));
    turn();
    XDispatch::main()->postLater(0, note(u"event"_s));
    m_application.reset();
    QCOMPARE(notes(), QString());
    init();
    XClock::setCurrent(nullptr);
    QTRY_COMPARE(m_notes.join(u' '), u"event timer"_s);
}

void tst_XDispatch::manualClockTurnsForwardOnly()
{
    QVERIFY(!m_clock->isRunning());
    QCOMPARE(m_clock->now(), 0);
    m_clock->advance(7);
    m_clock->advance(-3);
    m_clock->advance(0);
    QCOMPARE(m_clock->now(), 7);
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    m_clock->advance(most);
    const std::int64_t end = m_clock->now();
    QVERIFY(end > most / 8);
    m_clock->advance(most);
    QCOMPARE(m_clock->now(), end);
    m_dispatch->postLater(std::numeric_limits<int>::max(), note(u"a"_s));
    turn();
    QCOMPARE(notes(), QString());
}

void tst_XDispatch::systemClockIsTheDefault()
{
    QCOMPARE(XClock::current().get(), m_clock.get());
    XClock::setCurrent(nullptr);
    const std::shared_ptr<XClock> clock = XClock::current();
    QVERIFY(clock);
    QVERIFY(clock->isRunning());
    const std::int64_t before = clock->now();
    QTRY_VERIFY(clock->now() > before);
}

void tst_XDispatch::runsInOrder_data()
{
    QTest::addColumn<QList<int>>("delays");
    QTest::addColumn<QString>("expected");

    QTest::newRow("none") << QList<int>() << QString();
    QTest::newRow("one") << QList<int>{5} << u"0"_s;
    QTest::newRow("rising") << QList<int>{1, 2, 3} << u"0 1 2"_s;
    QTest::newRow("falling") << QList<int>{3, 2, 1} << u"2 1 0"_s;
    QTest::newRow("same delay keeps the order") << QList<int>{4, 4, 4, 4} << u"0 1 2 3"_s;
    QTest::newRow("mixed") << QList<int>{9, 0, 9, 5, 0} << u"1 4 3 0 2"_s;
    QTest::newRow("negative is 0") << QList<int>{0, -5, std::numeric_limits<int>::min(), 0} << u"0 1 2 3"_s;
}

void tst_XDispatch::runsInOrder()
{
    QFETCH(const QList<int>, delays);
    QFETCH(const QString, expected);
    for (qsizetype i = 0; i < delays.size(); ++i)
        m_dispatch->postLater(delays.at(i), note(QString::number(i)));
    m_clock->advance(10);
    turn();
    QCOMPARE(notes(), expected);
    m_clock->advance(100);
    turn();
    QCOMPARE(notes(), QString());
}

void tst_XDispatch::neverRunsInsideAPost()
{
    m_dispatch->postLater(0, note(u"a"_s));
    m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"b"_s));
    m_clock->advance(5);
    QCOMPARE(notes(), QString());
    turn();
    QCOMPARE(notes(), u"a b"_s);
}

void tst_XDispatch::waitsForTheClock()
{
    m_dispatch->postLater(3600000, note(u"hour"_s));
    m_dispatch->postLater(15000, note(u"soon"_s));
    turn();
    m_clock->advance(14999);
    turn();
    QCOMPARE(notes(), QString());
    m_clock->advance(1);
    QCOMPARE(notes(), QString());
    turn();
    QCOMPARE(notes(), u"soon"_s);
    m_clock->advance(3600000 - 15000 - 1);
    turn();
    QCOMPARE(notes(), QString());
    m_clock->advance(1);
    turn();
    QCOMPARE(notes(), u"hour"_s);
}

void tst_XDispatch::clockIsTurnedByAnotherThread()
{
    m_dispatch->postLater(50, note(u"a"_s));
    turn();
    onThread([this] { m_clock->advance(50); });
    turn();
    QCOMPARE(notes(), u"a"_s);
}

void tst_XDispatch::newClockMeasuresTheRest()
{
    const auto other = std::make_shared<XManualClock>();
    other->advance(1000000);
    m_dispatch->postLater(100, note(u"a"_s));
    m_dispatch->postLater(300, note(u"c"_s));
    m_clock->advance(60);
    turn();

    XClock::setCurrent(other);
    turn();
    m_dispatch->postLater(50, note(u"b"_s));
    m_clock->advance(5000);
    other->advance(39);
    turn();
    QCOMPARE(notes(), QString());
    other->advance(1);
    turn();
    QCOMPARE(notes(), u"a"_s);
    other->advance(10);
    turn();
    QCOMPARE(notes(), u"b"_s);

    XClock::setCurrent(m_clock);
    m_clock->advance(189);
    turn();
    QCOMPARE(notes(), QString());
    m_clock->advance(1);
    turn();
    QCOMPARE(notes(), u"c"_s);
}

void tst_XDispatch::postsOfARunWaitForTheNextTurn()
{
    m_dispatch->postLater(0, [this] {
        m_notes.append(u"a"_s);
        m_dispatch->postLater(0, note(u"c"_s));
        m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"d"_s));
    });
    m_dispatch->postLater(0, note(u"b"_s));
    turn();
    QCOMPARE(notes(), u"a b"_s);
    turn();
    QCOMPARE(notes(), u"c d"_s);
}

void tst_XDispatch::repeatingJobLeavesTheLoopToOthers()
{
    QEventLoop loop;
    int count = 0;
    XDispatch::Function again;
    again = [&] {
        if (++count < 1000)
            m_dispatch->postLater(0, again);
    };
    m_dispatch->postLater(0, again);
    QMetaObject::invokeMethod(
        &loop, [&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); },
        Qt::QueuedConnection);
    loop.exec();
    QVERIFY(count >= 1);
    QVERIFY2(count < 10, "the job kept the loop from the event that ends it");
}

void tst_XDispatch::nestedLoopRunsTheOtherJobs()
{
    m_dispatch->postLater(0, [this] {
        QEventLoop loop;
        m_dispatch->postLater(0, [&loop] { loop.quit(); });
        m_notes.append(u"in"_s);
        loop.exec();
        m_notes.append(u"out"_s);
    });
    m_dispatch->postLater(0, note(u"other"_s));
    turn();
    QCOMPARE(notes(), u"in other out"_s);
    turn();
    QCOMPARE(notes(), QString());

    m_dispatch->postLater(0, [this] {
        turn();
        m_notes.append(u"out"_s);
    });
    m_dispatch->postLater(0, note(u"other without a new post"_s));
    turn();
    QCOMPARE(notes(), u"other without a new post out"_s);
}

void tst_XDispatch::throwingJobIsLogged()
{
    m_dispatch->postLater(0, [] { throw std::runtime_error("broken"); });
    m_dispatch->postLater(0, [] { throw 5; });
    m_dispatch->postLater(0, note(u"a"_s));
    QTest::ignoreMessage(QtWarningMsg, "XDispatch: a job threw an exception: broken");
    QTest::ignoreMessage(QtWarningMsg, "XDispatch: a job threw an exception of unknown type");
    turn();
    QCOMPARE(notes(), u"a"_s);
}

void tst_XDispatch::emptyFunctionsAreIgnored()
{
    m_dispatch->postLater(0, nullptr);
    m_dispatch->postUniqueLater(this, u"k"_s, 0, nullptr);
    m_dispatch->postUniqueLater(nullptr, u"k"_s, 0, note(u"no receiver"_s));
    XDispatch::runInBackground(nullptr, nullptr);
    m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"a"_s));
    turn();
    QCOMPARE(notes(), u"a"_s);
}

void tst_XDispatch::unique_data()
{
    QTest::addColumn<QList<int>>("delays");
    QTest::addColumn<int>("due");
    QTest::addColumn<QString>("winner");

    QTest::newRow("sooner overtakes") << QList<int>{3600000, 15000} << 15000 << u"1"_s;
    QTest::newRow("later is dropped") << QList<int>{15000, 3600000} << 15000 << u"0"_s;
    QTest::newRow("equal is dropped") << QList<int>{15000, 15000} << 15000 << u"0"_s;
    QTest::newRow("soonest of many") << QList<int>{50, 40, 60, 20, 20, 30} << 20 << u"3"_s;
    QTest::newRow("at once overtakes") << QList<int>{1, 0, -1} << 0 << u"1"_s;
}

void tst_XDispatch::unique()
{
    QFETCH(const QList<int>, delays);
    QFETCH(const int, due);
    QFETCH(const QString, winner);
    for (qsizetype i = 0; i < delays.size(); ++i) {
        m_dispatch->postUniqueLater(this, u"key"_s, delays.at(i), note(QString::number(i)));
        // With and without the thread having looked at the job that is replaced.
        if (i % 2 == 1 && due > 0)
            turn();
    }
    m_clock->advance(due - 1);
    if (due > 0)
        turn();
    QCOMPARE(notes(), QString());
    m_clock->advance(1);
    turn();
    QCOMPARE(notes(), winner);
    m_clock->advance(10000000);
    turn();
    QCOMPARE(notes(), QString());
}

void tst_XDispatch::uniqueDistinguishesReceiverAndKey()
{
    QObject other;
    m_dispatch->postUniqueLater(this, u"k"_s, 1, note(u"a"_s));
    m_dispatch->postUniqueLater(this, u"l"_s, 1, note(u"b"_s));
    m_dispatch->postUniqueLater(&other, u"k"_s, 1, note(u"c"_s));
    m_dispatch->postUniqueLater(this, QString(), 1, note(u"d"_s));
    m_dispatch->postUniqueLater(this, u"k"_s, 1, note(u"no"_s));
    m_clock->advance(1);
    turn();
    QCOMPARE(notes(), u"a b c d"_s);
}

void tst_XDispatch::uniqueMayBePostedAgainByItsJob()
{
    m_dispatch->postUniqueLater(this, u"k"_s, 0, [this] {
        m_notes.append(u"a"_s);
        m_dispatch->postUniqueLater(this, u"k"_s, 10, note(u"b"_s));
    });
    turn();
    QCOMPARE(notes(), u"a"_s);
    m_clock->advance(10);
    turn();
    QCOMPARE(notes(), u"b"_s);
}

void tst_XDispatch::uniqueOvertakesManyTimes()
{
    const auto token = std::make_shared<int>(0);
    for (int delay = 1000; delay > 0; --delay)
        m_dispatch->postUniqueLater(this, u"k"_s, delay, [token] { ++*token; });
    QCOMPARE(token.use_count(), 2);
    m_clock->advance(1000);
    turn();
    QCOMPARE(*token, 1);
}

void tst_XDispatch::receiverGone()
{
    auto receiver = std::make_unique<QObject>();
    m_dispatch->postUniqueLater(receiver.get(), u"k"_s, 10, note(u"gone"_s));
    m_dispatch->postLater(10, note(u"a"_s));
    receiver.reset();
    m_clock->advance(10);
    turn();
    QCOMPARE(notes(), u"a"_s);
}

void tst_XDispatch::newReceiverAtAnOldAddress()
{
    alignas(QObject) unsigned char place[sizeof(QObject)];
    QObject *receiver = new (place) QObject;
    m_dispatch->postUniqueLater(receiver, u"k"_s, 10, note(u"old"_s));
    receiver->~QObject();
    receiver = new (place) QObject;
    m_dispatch->postUniqueLater(receiver, u"k"_s, 20, note(u"new"_s));
    m_clock->advance(10);
    turn();
    QCOMPARE(notes(), QString());
    m_clock->advance(10);
    turn();
    QCOMPARE(notes(), u"new"_s);
    receiver->~QObject();
}

void tst_XDispatch::removeAll()
{
    const auto token = std::make_shared<int>(0);
    for (const bool waitForRunning : {false, true}) {
        m_dispatch->postLater(0, [this, token] { m_notes.append(u"plain"_s); });
        m_dispatch->postUniqueLater(this, u"k"_s, 0, [this, token] { m_notes.append(u"unique"_s); });
        m_dispatch->postLater(100, [this, token] { m_notes.append(u"late"_s); });
        QCOMPARE(token.use_count(), 4);
        m_dispatch->removeAll(waitForRunning);
        QCOMPARE(token.use_count(), 1);
        m_clock->advance(1000);
        turn();
        QCOMPARE(notes(), QString());
    }
    m_dispatch->postUniqueLater(this, u"k"_s, 5, note(u"after"_s));
    m_clock->advance(5);
    turn();
    QCOMPARE(notes(), u"after"_s);
}

void tst_XDispatch::removeAllInsideAJob()
{
    m_dispatch->postLater(0, [this] {
        m_notes.append(u"a"_s);
        m_dispatch->removeAll(false);
        m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"c"_s));
        m_notes.append(u"b"_s);
    });
    m_dispatch->postLater(0, note(u"dropped"_s));
    m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"dropped"_s));
    turn();
    QCOMPARE(notes(), u"a b"_s);
    turn();
    QCOMPARE(notes(), u"c"_s);
}

void tst_XDispatch::dispatchersAreIndependent()
{
    XDispatch second(m_dispatch.get());
    QCOMPARE(second.thread(), m_dispatch->thread());
    m_dispatch->postUniqueLater(this, u"k"_s, 0, note(u"a"_s));
    second.postUniqueLater(this, u"k"_s, 0, note(u"b"_s));
    XDispatch::main()->postUniqueLater(this, u"k"_s, 0, note(u"c"_s));
    m_dispatch->removeAll(false);
    turn();
    QCOMPARE(notes(), u"b c"_s);
    second.postLater(0, note(u"d"_s));
    m_dispatch.reset();
    turn();
    QCOMPARE(notes(), u"d"_s);
}

void tst_XDispatch::jobDeletesItsDispatcher()
{
    const auto token = std::make_shared<int>(0);
    m_dispatch->postLater(0, [this, token] {
        m_dispatch.reset();
        m_notes.append(u"a"_s);
    });
    m_dispatch->postLater(0, [this, token] { m_notes.append(u"dropped"_s); });
    m_dispatch->postLater(100, [this, token] { m_notes.append(u"dropped"_s); });
    turn();
    QCOMPARE(notes(), u"a"_s);
    QCOMPARE(token.use_count(), 1);
    m_clock->advance(100);
    turn();
    QCOMPARE(notes(), QString());
}

void tst_XDispatch::jobDeletesReceiverOfTheNext()
{
    auto receiver = std::make_unique<QObject>();
    m_dispatch->postUniqueLater(receiver.get(), u"k"_s, 0, [&receiver, this] {
        receiver.reset();
        m_notes.append(u"a"_s);
    });
    m_dispatch->postUniqueLater(receiver.get(), u"l"_s, 0, note(u"gone"_s));
    turn();
    QCOMPARE(notes(), u"a"_s);
}

void tst_XDispatch::endOfAJobMayCallBack()
{
    // The end of what a job holds posts: a lock held meanwhile would block for ever.
    const auto guard = [this](const QString &text) {
        return std::shared_ptr<void>(nullptr, [this, text](void *) { XDispatch::main()->postLater(0, note(text)); });
    };
    XDispatch *const main = XDispatch::main();
    main->postUniqueLater(this, u"k"_s, 10, [held = guard(u"replaced"_s)] {});
    main->postUniqueLater(this, u"k"_s, 5, [held = guard(u"removed"_s)] {});
    main->postUniqueLater(this, u"k"_s, 5, [held = guard(u"refused"_s)] {});
    turn();
    QCOMPARE(notes(), u"replaced refused"_s);
    main->removeAll(false);
    main->postLater(0, [held = guard(u"run"_s)] {});
    turn();
    QCOMPARE(notes(), u"removed"_s);
    turn();
    QCOMPARE(notes(), u"run"_s);
}

void tst_XDispatch::deletedOnAnotherThread()
{
    EventCounter counter;
    m_application->installEventFilter(&counter);
    const auto token = std::make_shared<int>(0);
    m_dispatch->postLater(0, [this, token] { m_notes.append(u"dropped"_s); });
    onThread([this] { m_dispatch.reset(); });
    QCOMPARE(token.use_count(), 1);
    QCOMPARE(counter.deletions, 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(counter.deletions, 1);
    turn();
    QCOMPARE(notes(), QString());

    m_dispatch = std::make_unique<XDispatch>(XDispatch::main());
    m_dispatch.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(counter.deletions, 1);
}

void tst_XDispatch::parentGivesTheThread()
{
    QThread *ran = nullptr;
    QThread *here = nullptr;
    onThread([&] {
        here = QThread::currentThread();
        XDispatch local(nullptr);
        XDispatch child(&local);
        QCOMPARE(local.thread(), here);
        QCOMPARE(child.thread(), here);
        child.postLater(0, [&ran] { ran = QThread::currentThread(); });
        QCoreApplication::sendPostedEvents();
        XDispatch ofMain(XDispatch::main());
        QCOMPARE(ofMain.thread(), m_application->thread());
    });
    QVERIFY(here);
    QCOMPARE(ran, here);
}

void tst_XDispatch::postsFromOtherThreadsRunHere()
{
    constexpr int threads = 4;
    constexpr int posts = 500;
    std::vector<int> last(threads, -1);
    bool isOrdered = true;
    bool isHere = true;
    int runs = 0;
    std::vector<std::thread> posters;
    for (std::size_t t = 0; t < threads; ++t) {
        posters.emplace_back([&, t] {
            for (int i = 0; i < posts; ++i) {
                m_dispatch->postLater(0, [&, t, i] {
                    isHere = isHere && QThread::currentThread() == m_application->thread();
                    isOrdered = isOrdered && last[t] == i - 1;
                    last[t] = i;
                    ++runs;
                });
            }
        });
    }
    QTRY_COMPARE(runs, threads * posts);
    for (std::thread &poster : posters)
        poster.join();
    QVERIFY(isOrdered);
    QVERIFY(isHere);
}

void tst_XDispatch::oneWakeUpForManyPosts()
{
    EventCounter counter;
    m_application->installEventFilter(&counter);
    int runs = 0;
    for (int i = 0; i < 1000; ++i)
        m_dispatch->postLater(i % 2, [&runs] { ++runs; });
    turn();
    QCOMPARE(counter.wakes, 1);
    QCOMPARE(runs, 500);
}

void tst_XDispatch::noWakeUpForLaterJobs()
{
    m_dispatch->postLater(10, note(u"first"_s));
    turn();
    EventCounter counter;
    m_application->installEventFilter(&counter);
    m_dispatch->postLater(10, note(u"same"_s));
    m_dispatch->postUniqueLater(this, u"k"_s, 20, note(u"later"_s));
    m_dispatch->postUniqueLater(this, u"k"_s, 15, note(u"sooner"_s));
    turn();
    QCOMPARE(counter.wakes, 0);
    m_clock->advance(9);
    turn();
    m_dispatch->postLater(0, note(u"now"_s));
    turn();
    QCOMPARE(notes(), u"now"_s);
    m_clock->advance(20);
    turn();
    QCOMPARE(notes(), u"first same sooner"_s);
}

void tst_XDispatch::manyPostsUnderOneKey()
{
    EventCounter counter;
    m_application->installEventFilter(&counter);
    std::atomic<int> runs{0};
    std::vector<std::thread> posters;
    for (int t = 0; t < 4; ++t) {
        posters.emplace_back([&] {
            for (int i = 0; i < 25000; ++i)
                m_dispatch->postUniqueLater(this, u"merge"_s, 2000, [&runs] { ++runs; });
        });
    }
    for (std::thread &poster : posters)
        poster.join();
    turn();
    QCOMPARE(counter.wakes, 1);
    m_clock->advance(2000);
    turn();
    QCOMPARE(runs.load(), 1);
}

void tst_XDispatch::runningClockWaits()
{
    XClock::setCurrent(nullptr);
    QElapsedTimer timer;
    timer.start();
    std::optional<qint64> elapsed;
    m_dispatch->postLater(3600000, note(u"hour"_s));
    QEventLoop loop;
    m_dispatch->postLater(30, [&] {
        elapsed = timer.nsecsElapsed();
        loop.quit();
    });
    loop.exec();
    QVERIFY(elapsed.has_value());
    QVERIFY2(*elapsed >= 30 * 1000000, qPrintable(QString::number(*elapsed)));
    QCOMPARE(notes(), QString());
}

void tst_XDispatch::soonerJobShortensTheWait()
{
    XClock::setCurrent(nullptr);
    m_dispatch->postUniqueLater(this, u"k"_s, 3600000, note(u"hour"_s));
    QCoreApplication::processEvents();
    onThread([this] { m_dispatch->postUniqueLater(this, u"k"_s, 5, note(u"soon"_s)); });
    QTRY_COMPARE(m_notes.join(u' '), u"soon"_s);
}

void tst_XDispatch::postingWhileTheDispatcherIsReplaced()
{
    std::mutex mutex;
    std::shared_ptr<XDispatch> current = std::make_shared<XDispatch>(XDispatch::main());
    std::atomic<bool> isEnding{false};
    std::atomic<int> runs{0};
    const auto get = [&] {
        const std::lock_guard lock(mutex);
        return current;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; !isEnding; ++i) {
                get()->postLater(i % 3, [&runs] { ++runs; });
                get()->postUniqueLater(this, QString::number(i % 5), 5 - i % 7, [&runs] { ++runs; });
                if (i % 50 == t)
                    get()->removeAll(false);
                m_clock->advance(1);
                // The lock isn't fair everywhere: without this the replacing thread hardly gets its turn.
                std::this_thread::yield();
            }
        });
    }
    constexpr int Rounds = 300;
    int rounds = 0;
    threads.emplace_back([&] {
        for (; rounds < Rounds; ++rounds) {
            auto next = std::make_shared<XDispatch>(get().get());
            // Every dispatcher has to come to run something, or the jobs would only be dropped.
            for (const int before = runs; runs < before + 3;)
                std::this_thread::yield();
            const std::lock_guard lock(mutex);
            current.swap(next);
        }
        isEnding = true;
    });
    while (!isEnding) {
        QCoreApplication::processEvents();
        get()->postLater(0, [&runs] { ++runs; });
        const std::shared_ptr<XDispatch> held = get();
        std::this_thread::yield();
    }
    for (std::thread &thread : threads)
        thread.join();
    current.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(rounds, Rounds);
    QVERIFY(runs >= 3 * Rounds);
}

void tst_XDispatch::background()
{
    std::mutex mutex;
    QSet<QThread *> threads;
    QObject context;
    for (int i = 0; i < 20; ++i) {
        XDispatch::runInBackground(i % 2 == 0 ? &context : nullptr, [&] {
            const std::lock_guard lock(mutex);
            threads.insert(QThread::currentThread());
        });
    }
    QVERIFY(XDispatch::waitForBackground(20000));
    const std::lock_guard lock(mutex);
    QVERIFY(!threads.isEmpty());
    QVERIFY(!threads.contains(QThread::currentThread()));
}

void tst_XDispatch::backgroundDropsJobsOfAGoneContext()
{
    std::mutex gate;
    std::atomic<int> blocked{0};
    std::atomic<int> runs{0};
    auto context = std::make_unique<QObject>();
    std::unique_lock closed(gate);
    const int blockers = 64;
    for (int i = 0; i < blockers; ++i) {
        XDispatch::runInBackground(nullptr, [&] {
            ++blocked;
            const std::lock_guard wait(gate);
        });
    }
    // All threads are at the gate or have older jobs to do first, so this one can't start yet.
    XDispatch::runInBackground(context.get(), [&runs] { ++runs; });
    context.reset();
    QVERIFY(!XDispatch::waitForBackground(0));
    closed.unlock();
    QVERIFY(XDispatch::waitForBackground(20000));
    QCOMPARE(blocked.load(), blockers);
    QCOMPARE(runs.load(), 0);
}

// Qt's macro for a program without an application object isn't standard C++: it leaves out a variadic argument.
int main(int argc, char *argv[])
{
    tst_XDispatch test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_xdispatch.moc"
