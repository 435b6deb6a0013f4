#include "../support/Semaphore.h"
#include "Child.h"
#include "KvProcessSpy.h"
#include "platform/Platform.h"
#include "platform/ProcessTable.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QOperatingSystemVersion>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <atomic>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int Patience = 60'000;
constexpr int AtOnce = 50;

/** A thousand ends, fifty at a time. */
constexpr int Batches = 20;

#ifdef Q_OS_WIN
// A start takes tens of milliseconds here.
constexpr int RaceBatches = Batches / 2;
constexpr int Kills = 100;
// The pool's come and go as the system likes.
constexpr int MostNewThreads = 8;
#else
constexpr int RaceBatches = Batches;
constexpr int Kills = 500;
constexpr int MostNewThreads = 0;
#endif

/** Systems make a few by themselves, at no particular round; what each round leaves behind shows many times over. */
constexpr int MostNewHandles = 4;

/** One process, and a spy that counts what it tells. */
struct Watch
{
    explicit Watch(Child process)
        : child(std::move(process))
    {
        QObject::connect(&spy, &KvProcessSpy::exited, &spy, [this](int code, QProcess::ExitStatus) {
            ++exits;
            lastCode = code;
        });
    }

    Child child;
    KvProcessSpy spy{nullptr};
    int exits = 0;
    int lastCode = 0;
};

using Watches = std::vector<std::unique_ptr<Watch>>;

bool allHaveExited(const Watches &watches)
{
    return std::all_of(watches.begin(), watches.end(), [](const auto &watch) { return watch->exits > 0; });
}

/** How long a process takes that does nothing, in milliseconds. */
int shortestLife()
{
    constexpr int Tries = 5;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < Tries; ++i)
        Child::start(0, 0).collect();
    return 1 + int(timer.elapsed()) / Tries;
}

/** Runs the loop for a while, for what must not come. */
void listen()
{
    QTest::qWait(20);
}

} // namespace

/** The spy over real processes: the host system's own, on every system. */
class tst_ProcessEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void byObjectIdAndName();
    void killed();
    void asksWhetherAProcessRuns();
    void outlivesTheSpy();
    void endedBeforeTheBind();
    void exitCodeOfTheRunning();
    void nobodysChild();
    void lowestAndOwnIds();

    void eachExitOnce();
    void endsWhileTheSpyGoes();
    void endsWhileTheSpyIsBoundAnew();
    void killsWhatEndsByItself();
    void namesWhileOthersComeAndGo();
    void spiesOnManyThreads();

private:
    void endBatch();
    void settle();

    int m_handles = 0;
    int m_threads = 0;
};

void tst_ProcessEnds::initTestCase()
{
    if (!KvPlatform::Platform::current()->processTable->snapshot())
        return QTest::qSkip("this system's processes can't be seen", __FILE__, __LINE__);
    // What the first watches make once and for all: a thread, a way to wake it, a pool.
    endBatch();
}

void tst_ProcessEnds::init()
{
    m_handles = Child::openHandles();
    m_threads = Child::threads();
}

void tst_ProcessEnds::cleanup()
{
    settle();
    QVERIFY2(Child::openHandles() <= m_handles + MostNewHandles, qPrintable(QString::number(Child::openHandles())));
    QVERIFY2(Child::threads() <= m_threads + MostNewThreads, qPrintable(QString::number(Child::threads())));
}

/** Waits until other threads have let go of what ended. */
void tst_ProcessEnds::settle()
{
    (void)QTest::qWaitFor([this] { return Child::openHandles() <= m_handles && Child::threads() <= m_threads; }, 2000);
}

void tst_ProcessEnds::byObjectIdAndName()
{
#ifdef __SANITIZE_THREAD__
    return QTest::qSkip("the child of QProcess's vfork shares ThreadSanitizer's memory, and confuses it for good",
                        __FILE__, __LINE__);
#endif
    QProcess process;
    KvProcessSpy byObject(nullptr);
    KvProcessSpy byId(nullptr);
    KvProcessSpy byName(nullptr);
    const QTemporaryDir folder;
    const QString program = folder.filePath(u"kv Prógram.exe"_s);
    QVERIFY(QFile::copy(Child::program(), program));
    QVERIFY(byObject.bind(&process));
    QSignalSpy objectExited(&byObject, &KvProcessSpy::exited);
    QSignalSpy idExited(&byId, &KvProcessSpy::exited);
    QSignalSpy nameExited(&byName, &KvProcessSpy::exited);
    process.start(program, {u"600"_s, u"7"_s});
    QVERIFY(process.waitForStarted(Patience));
    QVERIFY(byId.bind(process.processId()));
    QVERIFY(byName.bind(u"KV PRÓGRAM.EXE"_s));
    for (const KvProcessSpy *const spy : {&byObject, &byId, &byName}) {
        QVERIFY(spy->isRunning());
        QCOMPARE(spy->processId(), process.processId());
        // Wine doesn't tell it to those who only watch.
        if (!spy->program().isEmpty() || QOperatingSystemVersion::currentType() != QOperatingSystemVersion::Windows)
            QCOMPARE(QFileInfo(spy->program()), QFileInfo(program));
    }
    QTRY_COMPARE_WITH_TIMEOUT(objectExited.size() + idExited.size() + nameExited.size(), 3, Patience);
    QCOMPARE(objectExited.at(0).at(0).toInt(), 7);
    QCOMPARE(objectExited.size(), 1);
    QCOMPARE(idExited.size(), 1);
    QCOMPARE(nameExited.size(), 1);
#ifdef Q_OS_WIN
    QCOMPARE(idExited.at(0).at(0).toInt(), 7);
    QCOMPARE(nameExited.at(0).at(0).toInt(), 7);
#endif
}

void tst_ProcessEnds::killed()
{
    Watch watch(Child::start(Child::Forever, 0));
    QVERIFY(watch.spy.bind(watch.child.id()));
    QSignalSpy changes(&watch.spy, &KvProcessSpy::stateChanged);
    QVERIFY(watch.spy.kill());
    QCOMPARE(changes.size(), 1);
    QCOMPARE(watch.spy.processId(), 0);
    QCOMPARE(watch.child.collect(), -1);
    listen();
    QCOMPARE(watch.exits, 0);
    QCOMPARE(changes.size(), 1);
}

void tst_ProcessEnds::asksWhetherAProcessRuns()
{
    QVERIFY(!KvProcessSpy::isRunning(0));
    QVERIFY(KvProcessSpy::isRunning(QCoreApplication::applicationPid()));
    Child child = Child::start(Child::Forever, 0);
    const qint64 id = child.id();
    QVERIFY(KvProcessSpy::isRunning(id));
    KvProcessSpy spy(nullptr);
    QVERIFY(spy.bind(id));
    QVERIFY(spy.kill());
    child.collect();
    QTRY_VERIFY_WITH_TIMEOUT(!KvProcessSpy::isRunning(id), Patience);
}

void tst_ProcessEnds::outlivesTheSpy()
{
    Child child = Child::start(300, 5);
    {
        KvProcessSpy spy(nullptr);
        QVERIFY(spy.bind(child.id()));
    }
    QVERIFY(KvProcessSpy::isRunning(child.id()));
    QCOMPARE(child.collect(), 5);
}

void tst_ProcessEnds::endedBeforeTheBind()
{
    Watch watch(Child::start(0, 9));
    QTRY_VERIFY_WITH_TIMEOUT(!KvProcessSpy::isRunning(watch.child.id()), Patience);
    QVERIFY(watch.spy.bind(watch.child.id()));
    QCOMPARE(watch.exits, 0);
    QVERIFY(!watch.spy.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(watch.exits, 1, Patience);
    QCOMPARE(watch.lastCode, 9);
}

void tst_ProcessEnds::exitCodeOfTheRunning()
{
#ifdef Q_OS_WIN
    Watch running(Child::start(Child::Forever, 0));
    Watch ended(Child::start(0, 259));
    QTRY_VERIFY_WITH_TIMEOUT(!KvProcessSpy::isRunning(ended.child.id()), Patience);
    QVERIFY(running.spy.bind(running.child.id()));
    QVERIFY(ended.spy.bind(ended.child.id()));
    QVERIFY(running.spy.isRunning());
    QVERIFY(!ended.spy.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(ended.exits, 1, Patience);
    QCOMPARE(ended.lastCode, 259);

    Watch ending(Child::start(200, 259));
    QVERIFY(ending.spy.bind(ending.child.id()));
    QVERIFY(ending.spy.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(ending.exits, 1, Patience);
    QCOMPARE(ending.lastCode, 259);
    QCOMPARE(running.exits, 0);
#else
    return QTest::qSkip("exit codes have eight bits here", __FILE__, __LINE__);
#endif
}

void tst_ProcessEnds::nobodysChild()
{
    KvProcessSpy spy(nullptr);
    QSignalSpy exited(&spy, &KvProcessSpy::exited);
    qint64 id = 0;
    QVERIFY(QProcess::startDetached(Child::program(), {u"500"_s, u"7"_s}, QString(), &id));
    QVERIFY(spy.bind(id));
    QVERIFY(spy.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 1, Patience);
#ifdef Q_OS_WIN
    QCOMPARE(exited.at(0).at(0).toInt(), 7);
#else
    // Only who has started a process learns its code.
    QCOMPARE(exited.at(0).at(0).toInt(), -1);
#endif
}

void tst_ProcessEnds::lowestAndOwnIds()
{
    KvProcessSpy spy(nullptr);
    QVERIFY(!spy.bind(qint64(0)));
    QVERIFY(!spy.bind(qint64(-1)));
    QVERIFY(!spy.bind((qint64(1) << 32) | QCoreApplication::applicationPid()));
    QVERIFY(spy.bind(QCoreApplication::applicationPid()));
    QVERIFY(spy.isRunning());
}

void tst_ProcessEnds::endBatch()
{
    Watches watches;
    for (int i = 0; i < AtOnce; ++i) {
        watches.push_back(std::make_unique<Watch>(Child::start(i % 5, i)));
        QVERIFY(watches.back()->spy.bind(watches.back()->child.id()));
    }
    QVERIFY(QTest::qWaitFor([&watches] { return allHaveExited(watches); }, Patience));
    QCoreApplication::processEvents();
    for (int i = 0; i < AtOnce; ++i) {
        Watch &watch = *watches.at(size_t(i));
        QCOMPARE(watch.exits, 1);
        QCOMPARE(watch.lastCode, i);
        QCOMPARE(watch.child.collect(), i);
    }
}

void tst_ProcessEnds::eachExitOnce()
{
    for (int batch = 0; batch < Batches && !QTest::currentTestFailed(); ++batch)
        endBatch();
}

void tst_ProcessEnds::endsWhileTheSpyGoes()
{
    int told = 0;
    for (int batch = 0; batch < RaceBatches; ++batch) {
        std::deque<Child> children;
        std::vector<std::unique_ptr<KvProcessSpy>> spies;
        for (int i = 0; i < AtOnce; ++i) {
            children.push_back(Child::start(2, 0));
            spies.push_back(std::make_unique<KvProcessSpy>(nullptr));
            connect(spies.back().get(), &KvProcessSpy::exited, this, [&told] { ++told; });
            QVERIFY(spies.back()->bind(children.back().id()));
        }
        // No loop runs here, so nobody may hear of any end.
        while (!spies.empty())
            spies.pop_back();
        while (!children.empty())
            children.pop_front();
    }
    QCoreApplication::processEvents();
    QCOMPARE(told, 0);
}

void tst_ProcessEnds::endsWhileTheSpyIsBoundAnew()
{
    KvProcessSpy spy(nullptr);
    int exits = 0;
    int lastCode = -1;
    connect(&spy, &KvProcessSpy::exited, this, [&](int code) {
        ++exits;
        lastCode = code;
    });
    for (int batch = 0; batch < RaceBatches; ++batch) {
        std::deque<Child> children;
        for (int i = 0; i <= AtOnce; ++i)
            children.push_back(Child::start(i == AtOnce ? 30 : i % 4, i == AtOnce ? 99 : i));
        for (const Child &child : children)
            QVERIFY(spy.bind(child.id()));
        // The last one's end comes once, and behind those that had been told when their turn was over.
        QVERIFY(QTest::qWaitFor([&] { return !spy.isRunning() && lastCode == 99; }, Patience));
        listen();
        QCOMPARE(lastCode, 99);
        QVERIFY(exits >= 1 && exits <= AtOnce + 1);
        exits = 0;
        lastCode = -1;
        while (!children.empty())
            children.pop_front();
    }
}

void tst_ProcessEnds::killsWhatEndsByItself()
{
    int ended = 0;
    const int life = shortestLife();
    for (int i = 0; i < Kills; ++i) {
        Watch watch(Child::start(0, 3));
        QVERIFY(watch.spy.bind(watch.child.id()));
        QThread::msleep(static_cast<unsigned long>(i % (2 * life)));
        watch.spy.kill();
        QCOMPARE(watch.spy.processId(), 0);
        QVERIFY(!watch.spy.isRunning());
        const int code = watch.child.collect();
        QVERIFY(code == 3 || code == -1);
        QCoreApplication::processEvents();
        // Told before the kill, or cut off by it.
        QVERIFY(watch.exits <= 1);
        QVERIFY(watch.exits == 0 || watch.lastCode == 3 || watch.lastCode == -1);
        ended += code == 3 ? 1 : 0;
    }
    qInfo("%d of %d had ended by themselves", ended, Kills);
}

void tst_ProcessEnds::namesWhileOthersComeAndGo()
{
    const QTemporaryDir folder;
    const QString needle = folder.filePath(u"kv-needle.exe"_s);
    QVERIFY(QFile::copy(Child::program(), needle));
    std::atomic<bool> isOver{false};
    std::atomic<int> others{0};
    std::thread churn([&] {
        std::deque<Child> children;
        while (!isOver) {
            children.push_back(Child::start(1, 0));
            ++others;
            if (children.size() > 20)
                children.pop_front();
        }
    });
    QStringList faults;
    int binds = 0;
    for (; binds < 50 || others < 500; ++binds) {
        Watch watch(Child::start(Child::Forever, 0, needle));
        if (!watch.spy.bind(u"Kv-Needle.EXE"_s))
            faults.append(u"not found"_s);
        if (watch.spy.processId() != watch.child.id())
            faults.append(QString::number(watch.spy.processId()));
        if (!watch.spy.kill())
            faults.append(u"not killed"_s);
        watch.child.collect();
        // Another may still be listed for a moment.
        if (!QTest::qWaitFor([&] { return !KvProcessSpy(nullptr).bind(u"kv-needle.exe"_s); }, Patience))
            faults.append(u"still listed"_s);
    }
    isOver = true;
    churn.join();
    QCOMPARE(faults, QStringList());
}

void tst_ProcessEnds::spiesOnManyThreads()
{
    std::atomic<int> exits{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&exits] {
            QEventLoop loop;
            for (int round = 0; round < 40; ++round) {
                const Child child = Child::start(round % 3, 5);
                KvProcessSpy spy(nullptr);
                QObject::connect(&spy, &KvProcessSpy::exited, &loop, [&](int code) {
                    exits += code == 5 ? 1 : 0;
                    loop.quit();
                });
                if (spy.bind(child.id()))
                    loop.exec();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(exits, 160);
}

QTEST_GUILESS_MAIN(tst_ProcessEnds)
#include "tst_processends.moc"
