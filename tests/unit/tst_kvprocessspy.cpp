#include "../support/FakeProcessTable.h"
#include "../support/LogCatcher.h"
#include "../support/SignalLog.h"
#include "KvProcessSpy.h"
#include "platform/Platform.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <limits>
#include <memory>
#include <thread>

using namespace Qt::StringLiterals;
using KvPlatform::ProcessTable;

namespace {

constexpr quint32 Id = 40;
constexpr quint32 OtherId = 44;

const QString NoExitCode = u"[FAIL] can't get process exit code, err: 6"_s;
const QString EarlyRelease = u"[FAIL] process handle release early, app: "_s;

/** What binding to a running process by its id asks of the system. */
const QStringList Binding{u"open 40 0x100400"_s, u"path 40 260"_s, u"code 40"_s, u"poll 40"_s, u"watch 40"_s};

void runOnOtherThread(const std::function<void()> &function)
{
    std::thread(function).join();
}

/** The spy's own events, and nobody else's. */
void turnLoop()
{
    QCoreApplication::processEvents();
}

/** The codes and statuses that were told, such as "7 normal". */
QStringList exits(const QSignalSpy &spy)
{
    QStringList texts;
    for (const QList<QVariant> &values : spy) {
        const auto status = values.at(1).value<QProcess::ExitStatus>();
        texts.append(values.at(0).toString() + (status == QProcess::NormalExit ? u" normal"_s : u" crash"_s));
    }
    return texts;
}

QList<QProcess::ProcessState> states(const QSignalSpy &spy)
{
    QList<QProcess::ProcessState> result;
    for (const QList<QVariant> &values : spy)
        result.append(values.at(0).value<QProcess::ProcessState>());
    return result;
}

using States = QList<QProcess::ProcessState>;
using Bind = bool (*)(KvProcessSpy &);

/** A spy with a record of what it tells. */
struct Watched
{
    KvProcessSpy spy{nullptr};
    QSignalSpy changes{&spy, &KvProcessSpy::stateChanged};
    QSignalSpy exited{&spy, &KvProcessSpy::exited};
};

} // namespace

/** The spy over a process table that a test writes the script of, and over a QProcess. */
class tst_KvProcessSpy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsUnbound();
    void signalsInOrder();
    void strangersHaveNoExitToTell();

    void emptyNameChangesNothing();
    void names_data();
    void names();
    void firstMatchEndsTheWalk();
    void absolutePath();
    void nameWithoutMatchKeepsTheWatch();
    void refusedListKeepsTheWatch();
    void matchThatCantBeOpened();

    void bindsById();
    void unknownPathIsEmpty();
    void refusedProcess();
    void impossibleIds_data();
    void impossibleIds();
    void unreadableExitCode();
    void endedProcess_data();
    void endedProcess();
    void endsBetweenTheQuestions();
    void refusedWait();

    void endComesOnAnotherThread();
    void endWithUnreadableCode();
    void endedSpyKeepsWhatItKnows();
    void endAfterUnbind();
    void endAfterTheNextBind_data();
    void endAfterTheNextBind();
    void endAfterARefusedBind();
    void endAfterTheSpy();
    void arrangedExitStillArrives_data();
    void arrangedExitStillArrives();
    void arrangedExitDiesWithTheSpy();
    void destructionWaitsForReceivers();
    void endsAtOnceWhileBinding();

    void unbindOfUnboundIsSilent();
    void unbindClosesInOrder();
    void destructorUnbinds();
    void secondBindReplacesTheFirst();

    void killOfUnbound();
    void killEndsTheWatchFirst();
    void refusedKill_data();
    void refusedKill();
    void killOfEndedProcess();

    void asksWhetherAProcessRuns_data();
    void asksWhetherAProcessRuns();

    void receiverUnbindsWhileBinding();
    void receiverBindsAnotherWhileBinding();
    void receiverBindsWhenUnbound();
    void receiverBindsDuringDestruction();
    void receiverBindsBeforeAFailure_data();
    void receiverBindsBeforeAFailure();
    void receiverDeletesTheSpy();

    void nullProcessUnbinds();
    void mirrorsAProcess();
    void takesOverARunningProcess();
    void processThatDoesNotStart();
    void killOfAProcessObject();
    void processDiesBeforeTheSpy();
    void refreshesWithoutANewState();
    void processObjectReplacesAnId();
    void crashedProcess();

private:
    std::shared_ptr<FakeProcessTable> m_table;
};

void tst_KvProcessSpy::init()
{
    m_table = std::make_shared<FakeProcessTable>();
    m_table->add(Id, u"Player.exe"_s, u"C:\\Games\\Player.exe"_s);
    m_table->add(OtherId, u"other.exe"_s, u"C:\\Other\\other.exe"_s);
    const auto platform = std::make_shared<KvPlatform::Platform>();
    platform->processTable = m_table;
    KvPlatform::Platform::setCurrent(platform);
}

void tst_KvProcessSpy::cleanup()
{
    KvPlatform::Platform::setCurrent(nullptr);
    turnLoop();
    // They share the table with the spies.
    m_table->callbacks.clear();
    QCOMPARE(m_table->openHandles(), 0);
    m_table.reset();
}

void tst_KvProcessSpy::startsUnbound()
{
    QObject parent;
    auto *const spy = new KvProcessSpy(&parent);
    QCOMPARE(spy->parent(), &parent);
    QCOMPARE(spy->program(), QString());
    QCOMPARE(spy->processId(), 0);
    QCOMPARE(spy->state(), QProcess::NotRunning);
    QCOMPARE(spy->exitCode(), 0);
    QVERIFY(!spy->isRunning());
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::signalsInOrder()
{
    const QMetaObject &meta = KvProcessSpy::staticMetaObject;
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(), "stateChanged(QProcess::ProcessState)");
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodSignature(), "exited(int,QProcess::ExitStatus)");
}

void tst_KvProcessSpy::strangersHaveNoExitToTell()
{
    KvProcessSpy spy(nullptr);
    const QSignalSpy exited(&spy, &KvProcessSpy::exited);
    QVERIFY(QMetaObject::invokeMethod(&spy, "tellExit"));
    QCOMPARE(exited.size(), 0);
}

void tst_KvProcessSpy::emptyNameChangesNothing()
{
    Watched watched;
    QVERIFY(!watched.spy.bind(QString()));
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->calls.take();
    QVERIFY(!watched.spy.bind(QString()));
    QCOMPARE(m_table->calls.take(), QStringList());
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QVERIFY(watched.spy.isRunning());
}

void tst_KvProcessSpy::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("as it is") << u"Player.exe"_s << true;
    QTest::newRow("capitals") << u"PLAYER.EXE"_s << true;
    QTest::newRow("small letters") << u"player.exe"_s << true;
    QTest::newRow("in a relative folder") << u"Some/Where/player.exe"_s << true;
    QTest::newRow("in a relative folder, backslashes") << u"Some\\Where\\player.exe"_s << true;
    QTest::newRow("without its suffix") << u"Player"_s << false;
    QTest::newRow("a part of it") << u"layer.exe"_s << false;
    QTest::newRow("only a folder") << u"Player.exe/"_s << false;
    QTest::newRow("blank") << u" "_s << false;
    QTest::newRow("very long") << QString(100'000, u'x') << false;
}

void tst_KvProcessSpy::names()
{
    QFETCH(QString, name);
    QFETCH(bool, isFound);
    Watched watched;
    QCOMPARE(watched.spy.bind(name), isFound);
    QCOMPARE(watched.spy.processId(), qint64(isFound ? Id : 0));
    QCOMPARE(watched.spy.isRunning(), isFound);
}

void tst_KvProcessSpy::firstMatchEndsTheWalk()
{
    m_table->processes.prepend({32, {}});
    m_table->processes.insert(2, {41, {}});
    m_table->at(32).executable = u"first.exe"_s;
    m_table->at(41).executable = u"player.exe"_s;
    Watched watched;
    QVERIFY(watched.spy.bind(u"player.exe"_s));
    const QStringList walk{u"snapshot"_s, u"next 32"_s, u"next 40"_s, u"close snapshot"_s};
    QCOMPARE(m_table->calls.take(), walk + Binding);
    QCOMPARE(watched.spy.processId(), qint64(Id));
}

void tst_KvProcessSpy::absolutePath()
{
    const QString formerFolder = QDir::currentPath();
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(u"here"_s) && QDir(folder.path()).mkdir(u"there"_s));
    for (const QString &place : {u"here"_s, u"there"_s}) {
        QFile file(folder.filePath(place + u"/Player.exe"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QVERIFY(QDir::setCurrent(folder.filePath(u"here"_s)));
    Watched watched;
    const bool here = watched.spy.bind(folder.filePath(u"here/Player.exe"_s));
    const bool sameByDots = watched.spy.bind(folder.filePath(u"there/../here/./Player.exe"_s));
    watched.spy.unbind();
    const bool there = watched.spy.bind(folder.filePath(u"there/Player.exe"_s));
    // Neither it nor the other process's file exists, which doesn't make them the same.
    const bool absent = watched.spy.bind(folder.filePath(u"there/Absent.exe"_s));
    QVERIFY(QDir::setCurrent(formerFolder));
    const bool elsewhere = watched.spy.bind(folder.filePath(u"here/Player.exe"_s));
    QVERIFY(here);
    QVERIFY(sameByDots);
    QVERIFY(!there);
    QVERIFY(!absent);
    QVERIFY(!elsewhere);
    QCOMPARE(watched.spy.processId(), 0);
}

void tst_KvProcessSpy::nameWithoutMatchKeepsTheWatch()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->calls.take();
    QVERIFY(!watched.spy.bind(u"absent.exe"_s));
    QCOMPARE(m_table->calls.take(), QStringList({u"snapshot"_s, u"next 40"_s, u"next 44"_s, u"close snapshot"_s}));
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QCOMPARE(states(watched.changes), States{QProcess::Running});
    m_table->end(Id, 3);
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"3 normal"_s});
}

void tst_KvProcessSpy::refusedListKeepsTheWatch()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->lists = false;
    QVERIFY(!watched.spy.bind(u"Player.exe"_s));
    QVERIFY(watched.spy.isRunning());
}

void tst_KvProcessSpy::matchThatCantBeOpened()
{
    m_table->at(Id).opens = false;
    m_table->add(48, u"Player.exe"_s);
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(OtherId)));
    QVERIFY(!watched.spy.bind(u"Player.exe"_s));
    // There was a match, so the former watch has ended.
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QCOMPARE(watched.spy.processId(), 0);
}

void tst_KvProcessSpy::bindsById()
{
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QCOMPARE(m_table->calls.take(), Binding);
    QCOMPARE(watched.spy.program(), u"C:/Games/Player.exe"_s);
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QCOMPARE(watched.spy.state(), QProcess::Running);
    QCOMPARE(watched.spy.exitCode(), 0);
    QVERIFY(watched.spy.isRunning());
    turnLoop();
    QCOMPARE(states(watched.changes), States{QProcess::Running});
    QCOMPARE(exits(watched.exited), QStringList());
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::unknownPathIsEmpty()
{
    m_table->at(Id).path = std::nullopt;
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QCOMPARE(watched.spy.program(), QString());
    QVERIFY(watched.spy.isRunning());
}

void tst_KvProcessSpy::refusedProcess()
{
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(OtherId)));
    m_table->at(Id).opens = false;
    m_table->calls.take();
    QVERIFY(!watched.spy.bind(qint64(Id)));
    QCOMPARE(m_table->calls.take(), QStringList({u"close wait 44"_s, u"close process 44"_s, u"open 40 0x100400"_s}));
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QCOMPARE(watched.spy.processId(), 0);
    QCOMPARE(watched.spy.program(), QString());
    turnLoop();
    QVERIFY(watched.exited.isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::impossibleIds_data()
{
    QTest::addColumn<qint64>("id");
    QTest::newRow("negative") << qint64(-1);
    QTest::newRow("lowest") << std::numeric_limits<qint64>::min();
    QTest::newRow("highest") << std::numeric_limits<qint64>::max();
    QTest::newRow("another's in its low half") << ((qint64(1) << 32) | Id);
}

void tst_KvProcessSpy::impossibleIds()
{
    QFETCH(qint64, id);
    Watched watched;
    QVERIFY(!watched.spy.bind(id));
    QVERIFY(!KvProcessSpy::isRunning(id));
    QCOMPARE(watched.spy.processId(), 0);
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::unreadableExitCode()
{
    m_table->at(Id).code = std::nullopt;
    Watched watched;
    LogCatcher log;
    QVERIFY(!watched.spy.bind(qint64(Id)));
    QCOMPARE(log.texts(QtWarningMsg), QStringList{NoExitCode});
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(!watched.spy.isRunning());
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QCOMPARE(watched.spy.program(), u"C:/Games/Player.exe"_s);
    QCOMPARE(m_table->calls.take(), Binding.mid(0, 3));
    QCOMPARE(m_table->openHandles(), 1);
    watched.spy.unbind();
    QCOMPARE(m_table->calls.take(), QStringList{u"close process 40"_s});
    QCOMPARE(watched.spy.processId(), 0);
    turnLoop();
    QVERIFY(watched.changes.isEmpty() && watched.exited.isEmpty());
}

void tst_KvProcessSpy::endedProcess_data()
{
    QTest::addColumn<quint32>("code");
    QTest::addColumn<quint32>("pollResult");
    QTest::addColumn<int>("told");
    QTest::addColumn<bool>("isPolled");
    QTest::newRow("well") << 0U << 0U << 0 << false;
    QTest::newRow("with a code") << 7U << 0U << 7 << false;
    QTest::newRow("with a negative code") << 0xC0000005U << 0U << int(0xC0000005U) << false;
    QTest::newRow("with the code of those that run") << 259U << 0U << 259 << true;
    QTest::newRow("can't be told") << 259U << 0xFFFFFFFFU << 259 << true;
}

void tst_KvProcessSpy::endedProcess()
{
    QFETCH(quint32, code);
    QFETCH(quint32, pollResult);
    QFETCH(int, told);
    QFETCH(bool, isPolled);
    m_table->at(Id).code = code;
    m_table->at(Id).pollResult = pollResult;
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QCOMPARE(m_table->calls.take(), isPolled ? Binding.mid(0, 4) + QStringList{u"code 40"_s} : Binding.mid(0, 3));
    // Never in the same call.
    QVERIFY(watched.exited.isEmpty());
    QCOMPARE(watched.spy.exitCode(), told);
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QVERIFY(!watched.spy.isRunning());
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{QString::number(told) + u" normal"_s});
    QVERIFY(watched.changes.isEmpty());
}

void tst_KvProcessSpy::endsBetweenTheQuestions()
{
    m_table->at(Id).pollResult = 0;
    m_table->at(Id).codeAfterPoll = 31;
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"31 normal"_s});
    QCOMPARE(watched.spy.exitCode(), 31);
    QVERIFY(watched.changes.isEmpty());
}

void tst_KvProcessSpy::refusedWait()
{
    m_table->at(Id).canBeWatched = false;
    Watched watched;
    const LogCatcher log;
    QVERIFY(!watched.spy.bind(qint64(Id)));
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(states(watched.changes), States{QProcess::Running});
    QVERIFY(watched.spy.isRunning());
    watched.spy.unbind();
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
}

void tst_KvProcessSpy::endComesOnAnotherThread()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QThread *changedOn = nullptr;
    QThread *exitedOn = nullptr;
    connect(
        &watched.spy, &KvProcessSpy::stateChanged, &watched.spy, [&changedOn] { changedOn = QThread::currentThread(); },
        Qt::DirectConnection);
    connect(&watched.spy, &KvProcessSpy::exited, &watched.spy, [&] { exitedOn = QThread::currentThread(); });
    QThread *other = nullptr;
    runOnOtherThread([&] {
        other = QThread::currentThread();
        m_table->end(Id, 7);
    });
    QVERIFY(other && other != thread());
    QCOMPARE(changedOn, other);
    QCOMPARE(watched.spy.state(), QProcess::NotRunning);
    QCOMPARE(watched.spy.exitCode(), 7);
    QVERIFY(!exitedOn);
    turnLoop();
    QCOMPARE(exitedOn, thread());
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QCOMPARE(exits(watched.exited), QStringList{u"7 normal"_s});
}

void tst_KvProcessSpy::endWithUnreadableCode()
{
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->end(Id, std::nullopt);
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"-1 normal"_s});
    QCOMPARE(watched.spy.exitCode(), -1);
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::endedSpyKeepsWhatItKnows()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->end(Id, 7);
    turnLoop();
    QCOMPARE(watched.spy.program(), u"C:/Games/Player.exe"_s);
    QCOMPARE(watched.spy.processId(), qint64(Id));
    QCOMPARE(watched.spy.exitCode(), 7);
    QCOMPARE(m_table->openHandles(), 2);
    watched.spy.unbind();
    QCOMPARE(watched.spy.program(), QString());
    QCOMPARE(watched.spy.processId(), 0);
    QCOMPARE(watched.spy.exitCode(), 0);
    QCOMPARE(m_table->openHandles(), 0);
    turnLoop();
    QCOMPARE(watched.changes.size(), 2);
    QCOMPARE(watched.exited.size(), 1);
}

void tst_KvProcessSpy::endAfterUnbind()
{
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    watched.spy.unbind();
    m_table->calls.take();
    runOnOtherThread([this] { m_table->end(Id, 7); });
    QCOMPARE(log.texts(QtWarningMsg), QStringList{EarlyRelease});
    QCOMPARE(log.lines().size(), 1);
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"-1 normal"_s});
    QCOMPARE(watched.spy.exitCode(), -1);
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::endAfterTheNextBind_data()
{
    QTest::addColumn<bool>("isObject");
    QTest::newRow("by id") << false;
    QTest::newRow("to an object") << true;
}

void tst_KvProcessSpy::endAfterTheNextBind()
{
    QFETCH(bool, isObject);
    QProcess process;
    process.setProgram(u"not started"_s);
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QVERIFY(isObject ? watched.spy.bind(&process) : watched.spy.bind(qint64(OtherId)));
    const QProcess::ProcessState state = watched.spy.state();
    runOnOtherThread([this] { m_table->end(Id, 7); });
    turnLoop();
    QVERIFY(watched.exited.isEmpty());
    QCOMPARE(watched.spy.state(), state);
    QCOMPARE(watched.spy.program(), isObject ? u"not started"_s : u"C:/Other/other.exe"_s);
    QCOMPARE(watched.spy.exitCode(), 0);
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::endAfterARefusedBind()
{
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QVERIFY(!watched.spy.bind(qint64(4711)));
    m_table->end(Id, 7);
    QCOMPARE(log.texts(QtWarningMsg), QStringList{EarlyRelease});
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"-1 normal"_s});
}

void tst_KvProcessSpy::endAfterTheSpy()
{
    const LogCatcher log;
    QVERIFY(std::make_unique<KvProcessSpy>(nullptr)->bind(qint64(Id)));
    QCOMPARE(m_table->openHandles(), 0);
    runOnOtherThread([this] { m_table->end(Id, 7); });
    turnLoop();
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::arrangedExitStillArrives_data()
{
    QTest::addColumn<bool>("isBoundAgain");
    QTest::newRow("unbound") << false;
    QTest::newRow("bound again") << true;
}

void tst_KvProcessSpy::arrangedExitStillArrives()
{
    QFETCH(bool, isBoundAgain);
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->end(Id, 7);
    if (isBoundAgain)
        QVERIFY(watched.spy.bind(qint64(OtherId)));
    else
        watched.spy.unbind();
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"7 normal"_s});
    QCOMPARE(watched.spy.isRunning(), isBoundAgain);
    QCOMPARE(watched.spy.exitCode(), 0);
}

void tst_KvProcessSpy::arrangedExitDiesWithTheSpy()
{
    int told = 0;
    {
        KvProcessSpy spy(nullptr);
        connect(&spy, &KvProcessSpy::exited, this, [&told] { ++told; });
        QVERIFY(spy.bind(qint64(Id)));
        m_table->end(Id, 7);
    }
    turnLoop();
    QCOMPARE(told, 0);
}

void tst_KvProcessSpy::destructionWaitsForReceivers()
{
    FakeGate gate;
    std::atomic<bool> hasReturned{false};
    auto spy = std::make_unique<KvProcessSpy>(nullptr);
    QVERIFY(spy->bind(qint64(Id)));
    connect(
        spy.get(), &KvProcessSpy::stateChanged, spy.get(),
        [&] {
            gate.pass();
            hasReturned = true;
        },
        Qt::DirectConnection);
    gate.close();
    std::thread pool([this] { m_table->end(Id, 7); });
    const bool hasArrived = gate.waitForArrivals(1);
    std::thread opener([&gate] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        gate.open();
    });
    spy.reset();
    const bool wasWaitedFor = hasReturned;
    pool.join();
    opener.join();
    QVERIFY(hasArrived);
    QVERIFY(wasWaitedFor);
}

void tst_KvProcessSpy::endsAtOnceWhileBinding()
{
    // The spies on one thread, the ends on another, and nothing in between.
    for (int i = 0; i < 300; ++i) {
        m_table->callbacks.clear();
        const LogCatcher log;
        std::atomic<int> changes{0};
        int exits = 0;
        auto spy = std::make_unique<KvProcessSpy>(nullptr);
        connect(
            spy.get(), &KvProcessSpy::stateChanged, spy.get(), [&changes] { ++changes; }, Qt::DirectConnection);
        connect(spy.get(), &KvProcessSpy::exited, this, [&exits] { ++exits; });
        QVERIFY(spy->bind(qint64(Id)));
        std::thread pool([callback = m_table->callbacks.first()] { callback(); });
        if (i % 3 == 0)
            spy.reset();
        else if (i % 3 == 1)
            spy->unbind();
        else
            spy->bind(qint64(OtherId));
        pool.join();
        turnLoop();
        QVERIFY(exits <= 1);
        QCOMPARE(changes, i % 3 == 2 ? 3 : 2);
    }
}

void tst_KvProcessSpy::unbindOfUnboundIsSilent()
{
    Watched watched;
    watched.spy.unbind();
    turnLoop();
    QVERIFY(watched.changes.isEmpty() && watched.exited.isEmpty());
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::unbindClosesInOrder()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->calls.take();
    QString programOnChange;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this,
            [&] { programOnChange = watched.spy.program() + u'|' + QString::number(watched.spy.processId()); });
    watched.spy.unbind();
    QCOMPARE(m_table->calls.take(), QStringList({u"close wait 40"_s, u"close process 40"_s}));
    QCOMPARE(programOnChange, u"|0"_s);
    turnLoop();
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QVERIFY(watched.exited.isEmpty());
}

void tst_KvProcessSpy::destructorUnbinds()
{
    QStringList told;
    {
        KvProcessSpy spy(nullptr);
        QVERIFY(spy.bind(qint64(Id)));
        m_table->calls.take();
        connect(&spy, &KvProcessSpy::stateChanged, this, [&told] { told.append(u"changed"_s); });
        connect(&spy, &KvProcessSpy::exited, this, [&told] { told.append(u"exited"_s); });
    }
    turnLoop();
    QCOMPARE(told, QStringList{u"changed"_s});
    QCOMPARE(m_table->calls.take(), QStringList({u"close wait 40"_s, u"close process 40"_s}));
}

void tst_KvProcessSpy::secondBindReplacesTheFirst()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->calls.take();
    QVERIFY(watched.spy.bind(qint64(OtherId)));
    QCOMPARE(m_table->calls.take().mid(0, 3),
             QStringList({u"close wait 40"_s, u"close process 40"_s, u"open 44 0x100400"_s}));
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning, QProcess::Running}));
    QCOMPARE(watched.spy.program(), u"C:/Other/other.exe"_s);
    m_table->end(OtherId, 9, 1);
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"9 normal"_s});
}

void tst_KvProcessSpy::killOfUnbound()
{
    Watched watched;
    QVERIFY(!watched.spy.kill());
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::killEndsTheWatchFirst()
{
    Watched watched;
    QVERIFY(watched.spy.bind(u"player.exe"_s));
    m_table->calls.take();
    QStringList callsBeforeChange;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this, [&] { callsBeforeChange = m_table->calls.take(); });
    QVERIFY(watched.spy.kill());
    QCOMPARE(callsBeforeChange, QStringList({u"close wait 40"_s, u"close process 40"_s}));
    QCOMPARE(m_table->calls.take(),
             QStringList({u"open 40 0x1"_s, u"terminate 40 0xffffffff"_s, u"close process 40"_s}));
    turnLoop();
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QVERIFY(watched.exited.isEmpty());
    QCOMPARE(watched.spy.processId(), 0);
    QVERIFY(!watched.spy.kill());
}

void tst_KvProcessSpy::refusedKill_data()
{
    QTest::addColumn<bool>("opens");
    QTest::newRow("can't be opened") << false;
    QTest::newRow("can't be ended") << true;
}

void tst_KvProcessSpy::refusedKill()
{
    QFETCH(bool, opens);
    Watched watched;
    const LogCatcher log;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->at(Id).opens = opens;
    m_table->at(Id).terminateError = 5;
    QVERIFY(!watched.spy.kill());
    QCOMPARE(states(watched.changes), States({QProcess::Running, QProcess::NotRunning}));
    QVERIFY(log.lines().isEmpty());
}

void tst_KvProcessSpy::killOfEndedProcess()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->end(Id, 7);
    m_table->at(Id).terminateError = 5;
    QVERIFY(!watched.spy.kill());
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"7 normal"_s});
    QCOMPARE(watched.spy.exitCode(), 0);
}

void tst_KvProcessSpy::asksWhetherAProcessRuns_data()
{
    QTest::addColumn<quint32>("id");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<quint32>("pollResult");
    QTest::addColumn<bool>("runs");
    QTest::newRow("runs") << Id << true << 258U << true;
    QTest::newRow("has ended") << Id << true << 0U << false;
    QTest::newRow("can't be told") << Id << true << 0xFFFFFFFFU << false;
    QTest::newRow("can't be opened") << Id << false << 258U << false;
    QTest::newRow("id 0") << 0U << true << 258U << false;
    QTest::newRow("unknown id") << 4711U << true << 258U << false;
}

void tst_KvProcessSpy::asksWhetherAProcessRuns()
{
    QFETCH(quint32, id);
    QFETCH(bool, opens);
    QFETCH(quint32, pollResult);
    QFETCH(bool, runs);
    m_table->at(Id).opens = opens;
    m_table->at(Id).pollResult = pollResult;
    QCOMPARE(KvProcessSpy::isRunning(qint64(id)), runs);
    QStringList calls{u"open %1 0x100000"_s.arg(id)};
    if (id == Id && opens)
        calls += {u"poll 40"_s, u"close process 40"_s};
    QCOMPARE(m_table->calls.take(), calls);
}

void tst_KvProcessSpy::receiverUnbindsWhileBinding()
{
    Watched watched;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this, [&watched](QProcess::ProcessState state) {
        if (state == QProcess::Running)
            watched.spy.unbind();
    });
    QVERIFY(!watched.spy.bind(qint64(Id)));
    QCOMPARE(watched.spy.state(), QProcess::NotRunning);
    QCOMPARE(m_table->openHandles(), 0);
    QVERIFY(m_table->callbacks.isEmpty());
}

void tst_KvProcessSpy::receiverBindsAnotherWhileBinding()
{
    Watched watched;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this, [&watched](QProcess::ProcessState state) {
        if (state == QProcess::Running && watched.spy.processId() == qint64(Id))
            QVERIFY(watched.spy.bind(qint64(OtherId)));
    });
    QVERIFY(!watched.spy.bind(qint64(Id)));
    QCOMPARE(watched.spy.processId(), qint64(OtherId));
    QVERIFY(watched.spy.isRunning());
    QCOMPARE(m_table->callbacks.size(), 1);
    QCOMPARE(m_table->openHandles(), 2);
}

void tst_KvProcessSpy::receiverBindsWhenUnbound()
{
    m_table->add(48, u"third.exe"_s);
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    bool isFirst = true;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this, [&](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning && std::exchange(isFirst, false))
            QVERIFY(watched.spy.bind(qint64(OtherId)));
    });
    QVERIFY(watched.spy.bind(qint64(48)));
    QCOMPARE(watched.spy.processId(), qint64(48));
    QVERIFY(watched.spy.isRunning());
    QCOMPARE(m_table->openHandles(), 2);
    m_table->end(OtherId, 1, 1);
    turnLoop();
    QVERIFY(watched.exited.isEmpty());
}

void tst_KvProcessSpy::receiverBindsDuringDestruction()
{
    auto spy = std::make_unique<KvProcessSpy>(nullptr);
    QVERIFY(spy->bind(qint64(Id)));
    KvProcessSpy *const receiver = spy.get();
    connect(receiver, &KvProcessSpy::stateChanged, this, [receiver](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            QVERIFY(receiver->bind(qint64(OtherId)));
    });
    spy.reset();
    QCOMPARE(m_table->callbacks.size(), 2);
    QCOMPARE(m_table->openHandles(), 0);
    m_table->end(OtherId, 1, 1);
}

void tst_KvProcessSpy::receiverBindsBeforeAFailure_data()
{
    QTest::addColumn<Bind>("bind");
    QTest::newRow("refused process") << Bind([](KvProcessSpy &spy) { return spy.bind(qint64(4711)); });
    QTest::newRow("null object") << Bind([](KvProcessSpy &spy) { return spy.bind(static_cast<QProcess *>(nullptr)); });
    QTest::newRow("unreadable exit code") << Bind([](KvProcessSpy &spy) { return spy.bind(qint64(48)); });
}

void tst_KvProcessSpy::receiverBindsBeforeAFailure()
{
    QFETCH(Bind, bind);
    m_table->add(48, u"third.exe"_s).code = std::nullopt;
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    bool isFirst = true;
    connect(&watched.spy, &KvProcessSpy::stateChanged, this, [&](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning && std::exchange(isFirst, false))
            QVERIFY(watched.spy.bind(qint64(OtherId)));
    });
    QVERIFY(!bind(watched.spy));
    QVERIFY(!watched.spy.isRunning());
    const auto running = QProcess::Running;
    const auto notRunning = QProcess::NotRunning;
    QCOMPARE(states(watched.changes), States({running, notRunning, running, notRunning}));
    watched.spy.unbind();
    QCOMPARE(m_table->openHandles(), 0);
}

void tst_KvProcessSpy::receiverDeletesTheSpy()
{
    auto *spy = new KvProcessSpy(nullptr);
    connect(spy, &KvProcessSpy::stateChanged, this, [spy](QProcess::ProcessState state) {
        if (state == QProcess::Running)
            delete spy;
    });
    QVERIFY(!spy->bind(qint64(Id)));
    QCOMPARE(m_table->openHandles(), 0);

    spy = new KvProcessSpy(nullptr);
    QVERIFY(spy->bind(qint64(Id)));
    bool isFirst = true;
    connect(spy, &KvProcessSpy::stateChanged, this, [spy, &isFirst] {
        if (std::exchange(isFirst, false))
            delete spy;
    });
    QVERIFY(!spy->bind(qint64(OtherId)));
    QCOMPARE(m_table->openHandles(), 0);

    spy = new KvProcessSpy(nullptr);
    QProcess process;
    QVERIFY(spy->bind(&process));
    connect(spy, &KvProcessSpy::stateChanged, this, [spy](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            delete spy;
    });
    process.start(QCoreApplication::applicationFilePath(), {u"-functions"_s});
    QVERIFY(process.waitForFinished(60'000));
    turnLoop();
}

void tst_KvProcessSpy::nullProcessUnbinds()
{
    Watched watched;
    QVERIFY(watched.spy.bind(qint64(Id)));
    QVERIFY(!watched.spy.bind(static_cast<QProcess *>(nullptr)));
    QCOMPARE(watched.spy.processId(), 0);
    QVERIFY(!watched.spy.isRunning());
    QCOMPARE(m_table->openHandles(), 0);
}

void tst_KvProcessSpy::mirrorsAProcess()
{
    Watched watched;
    SignalLog order(&watched.spy);
    QProcess process;
    QVERIFY(watched.spy.bind(&process));
    QCOMPARE(watched.spy.state(), QProcess::NotRunning);
    process.start(QCoreApplication::applicationFilePath(), {u"--exit"_s, u"7"_s});
    QTRY_COMPARE_WITH_TIMEOUT(watched.exited.size(), 1, 60'000);
    QCOMPARE(states(watched.changes), States({QProcess::Starting, QProcess::Running, QProcess::NotRunning}));
    QCOMPARE(exits(watched.exited), QStringList{u"7 normal"_s});
    QCOMPARE(watched.spy.program(), QCoreApplication::applicationFilePath());
    QCOMPARE(watched.spy.exitCode(), 7);
    QCOMPARE(order.take(), QStringList({u"stateChanged"_s, u"stateChanged"_s, u"stateChanged"_s, u"exited"_s}));
    QCOMPARE(m_table->calls.take(), QStringList());
}

void tst_KvProcessSpy::takesOverARunningProcess()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {u"--wait"_s});
    QVERIFY(process.waitForStarted(60'000));
    Watched watched;
    QVERIFY(watched.spy.bind(&process));
    QCOMPARE(states(watched.changes), States{QProcess::Running});
    QCOMPARE(watched.spy.processId(), process.processId());
    QVERIFY(watched.spy.processId() != 0);
    QVERIFY(watched.spy.isRunning());
    watched.spy.unbind();
    QCOMPARE(process.state(), QProcess::Running);
    process.kill();
    QVERIFY(process.waitForFinished(60'000));
    turnLoop();
    QVERIFY(watched.exited.isEmpty());
    QCOMPARE(watched.changes.size(), 2);
}

void tst_KvProcessSpy::processThatDoesNotStart()
{
    Watched watched;
    QProcess process;
    QVERIFY(watched.spy.bind(&process));
    process.start(u"/no/such/program"_s);
    QTRY_COMPARE_WITH_TIMEOUT(watched.spy.state(), QProcess::NotRunning, 60'000);
    turnLoop();
    QCOMPARE(states(watched.changes), States({QProcess::Starting, QProcess::NotRunning}));
    QVERIFY(watched.exited.isEmpty());
}

void tst_KvProcessSpy::killOfAProcessObject()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {u"--wait"_s});
    QVERIFY(process.waitForStarted(60'000));
    Watched watched;
    QVERIFY(watched.spy.bind(&process));
    QVERIFY(!watched.spy.kill());
    QCOMPARE(watched.spy.state(), QProcess::Running);
    QCOMPARE(process.state(), QProcess::Running);
    QVERIFY(!process.waitForFinished(50));
    process.kill();
    QVERIFY(process.waitForFinished(60'000));
}

void tst_KvProcessSpy::processDiesBeforeTheSpy()
{
    Watched watched;
    {
        QProcess process;
        process.setProgram(u"short"_s);
        QVERIFY(watched.spy.bind(&process));
    }
    QCOMPARE(watched.spy.program(), u"short"_s);
    watched.spy.unbind();
    QCOMPARE(watched.spy.program(), QString());
    QVERIFY(watched.spy.bind(qint64(Id)));
}

void tst_KvProcessSpy::refreshesWithoutANewState()
{
    Watched watched;
    QProcess process;
    QVERIFY(watched.spy.bind(&process));
    QCOMPARE(watched.spy.program(), QString());
    process.setProgram(u"named later"_s);
    // The very state that the spy has already.
    Q_EMIT process.finished(3, QProcess::NormalExit);
    QCOMPARE(watched.spy.program(), u"named later"_s);
    QVERIFY(watched.changes.isEmpty());
    turnLoop();
    QCOMPARE(exits(watched.exited), QStringList{u"3 normal"_s});
}

void tst_KvProcessSpy::processObjectReplacesAnId()
{
    Watched watched;
    QProcess process;
    QVERIFY(watched.spy.bind(qint64(Id)));
    m_table->calls.take();
    QVERIFY(watched.spy.bind(&process));
    QCOMPARE(m_table->calls.take(), QStringList({u"close wait 40"_s, u"close process 40"_s}));
    QCOMPARE(watched.spy.processId(), 0);
    QVERIFY(watched.spy.bind(qint64(Id)));
    Q_EMIT process.finished(3, QProcess::NormalExit);
    turnLoop();
    QVERIFY(watched.exited.isEmpty());
    QVERIFY(watched.spy.isRunning());
}

void tst_KvProcessSpy::crashedProcess()
{
    Watched watched;
    QProcess process;
    QVERIFY(watched.spy.bind(&process));
    process.start(QCoreApplication::applicationFilePath(), {u"--wait"_s});
    QVERIFY(process.waitForStarted(60'000));
    process.kill();
    QTRY_COMPARE_WITH_TIMEOUT(watched.exited.size(), 1, 60'000);
    QCOMPARE(watched.exited.at(0).at(1).value<QProcess::ExitStatus>(), QProcess::CrashExit);
    QCOMPARE(watched.exited.at(0).at(0).toInt(), process.exitCode());
}

/** The test itself, or a process for it to watch. */
int main(int argc, char *argv[])
{
    if (argc == 3 && QByteArrayView(argv[1]) == "--exit")
        return QByteArray(argv[2]).toInt();
    if (argc == 2 && QByteArrayView(argv[1]) == "--wait") {
        std::this_thread::sleep_for(std::chrono::minutes(2));
        return 0;
    }
    QCoreApplication application(argc, argv);
    tst_KvProcessSpy test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_kvprocessspy.moc"
