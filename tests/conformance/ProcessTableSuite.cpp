#include "../support/Semaphore.h"
#include "Child.h"
#include "Computer.h"
#include "platform/Platform.h"
#include "platform/ProcessTable.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtTest/QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

// Published values of the system's access rights and error codes.
constexpr quint32 Terminate = 0x1;
constexpr quint32 QueryAndRead = 0x410; // PROCESS_QUERY_INFORMATION, PROCESS_VM_READ
constexpr quint32 Query = 0x400;
constexpr quint32 Synchronize = 0x100000;
constexpr quint32 AccessDenied = 5;
constexpr quint32 InvalidHandle = 6;
constexpr quint32 InvalidParameter = 87;
constexpr quint32 WaitFailed = 0xFFFFFFFF;

constexpr int Patience = 30'000;

QStringList namesOf(const ProcessTable &table, qint64 id)
{
    QStringList names;
    const auto snapshot = table.snapshot();
    while (const auto process = snapshot ? snapshot->next() : std::nullopt) {
        if (process->id == quint32(id))
            names.append(process->executable);
    }
    return names;
}

/** Waits for the end as a caller has to who can only ask. */
bool waitForEnd(const ProcessTable &table, const NativeHandle &process)
{
    return QTest::qWaitFor([&] { return table.poll(process) == 0; }, Patience);
}

} // namespace

class ProcessTableSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void listsWhatRuns();
    void listsEachOnce();
    void programPath();
    void unknownProcesses();
    void emptyHandles();
    void rightsOfHandles();
    void exitCodes_data();
    void exitCodes();
    void callsOnceOnAnotherThread();
    void callsForAnEndedProcess();
    void everyWaitIsCalled();
    void endsAreToldApart();
    void noCallAfterTheWait();
    void waitEndsInsideItsCallback();
    void closingDoesNotWait();
    void terminates();
    void endedProcessIsNotTerminated();

private:
    std::unique_ptr<Computer> m_computer;
    const ProcessTable *m_table = nullptr;
};

void ProcessTableSuite::initTestCase()
{
    m_computer = Computer::create();
    m_table = m_computer->platform().processTable.get();
    if (!m_computer->abilities().seesProcesses)
        return QTest::qSkip("the machine folder sees no processes on this system", __FILE__, __LINE__);
}

void ProcessTableSuite::listsWhatRuns()
{
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    QCOMPARE(namesOf(*m_table, QCoreApplication::applicationPid()), QStringList{self});
    Child child = Child::start(Child::Forever, 0);
    const qint64 id = child.id();
    QCOMPARE(namesOf(*m_table, id), QStringList{QFileInfo(Child::program()).fileName()});
    const HandleResult process = m_table->open(Terminate, quint32(id));
    QCOMPARE(m_table->terminate(process.handle, 1), 0U);
    child.collect();
    QTRY_COMPARE_WITH_TIMEOUT(namesOf(*m_table, id), QStringList(), Patience);
}

void ProcessTableSuite::listsEachOnce()
{
    const auto snapshot = m_table->snapshot();
    QVERIFY(snapshot);
    QList<quint32> ids;
    while (const auto process = snapshot->next()) {
        QVERIFY(!process->executable.isEmpty());
        QVERIFY(!ids.contains(process->id));
        ids.append(process->id);
    }
    QVERIFY(ids.size() >= 1);
    QVERIFY(!snapshot->next());
}

void ProcessTableSuite::programPath()
{
    const Child child = Child::start(Child::Forever, 0);
    const HandleResult process = m_table->open(QueryAndRead, quint32(child.id()));
    QVERIFY(process.handle);
    QCOMPARE(process.error, 0U);
    // Windows tells of it once the child has come to load its libraries.
    QString path;
    QTRY_VERIFY(!(path = m_table->programPath(process.handle, 4096).value_or(QString())).isEmpty());
    QCOMPARE(QFileInfo(QDir::fromNativeSeparators(path)), QFileInfo(Child::program()));
    const QString start = m_table->programPath(process.handle, 3).value_or(QString());
    QVERIFY(start.size() <= 3);
    QVERIFY2(path.startsWith(start), qPrintable(start));
}

void ProcessTableSuite::unknownProcesses()
{
    for (const quint32 id : {0U, 99999996U, 0xFFFFFFFCU}) {
        const HandleResult process = m_table->open(Synchronize, id);
        QVERIFY(!process.handle);
        QCOMPARE(process.error, InvalidParameter);
    }
}

void ProcessTableSuite::emptyHandles()
{
    const NativeHandle none;
    quint32 error = 0;
    QVERIFY(!m_table->programPath(none, 260));
    QVERIFY(!m_table->exitCode(none, &error));
    QCOMPARE(error, InvalidHandle);
    QVERIFY(!m_table->exitCode(none, nullptr));
    QCOMPARE(m_table->poll(none), WaitFailed);
    QCOMPARE(m_table->terminate(none, 1), InvalidHandle);
}

void ProcessTableSuite::rightsOfHandles()
{
    const Child child = Child::start(Child::Forever, 0);
    const HandleResult waiting = m_table->open(Synchronize, quint32(child.id()));
    const HandleResult asking = m_table->open(Query, quint32(child.id()));
    QVERIFY(waiting.handle && asking.handle);
    quint32 error = 0;
    QVERIFY(!m_table->exitCode(waiting.handle, &error));
    QCOMPARE(error, AccessDenied);
    QCOMPARE(m_table->exitCode(asking.handle, &error), std::optional<quint32>(ProcessTable::StillActive));
    QCOMPARE(m_table->poll(asking.handle), WaitFailed);
    QCOMPARE(m_table->poll(waiting.handle), ProcessTable::WaitTimeout);
    QCOMPARE(m_table->terminate(asking.handle, 1), AccessDenied);
    QCOMPARE(m_table->poll(waiting.handle), ProcessTable::WaitTimeout);
}

void ProcessTableSuite::exitCodes_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("well") << 0;
    QTest::newRow("with a code") << 7;
    QTest::newRow("largest that every system has") << 255;
    if (Computer::create()->abilities().wideExitCodes) {
        QTest::newRow("that of those that run") << 259;
        QTest::newRow("negative") << -2;
    }
}

void ProcessTableSuite::exitCodes()
{
    QFETCH(int, code);
    Child child = Child::start(50, code);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    QVERIFY(process.handle);
    QVERIFY(waitForEnd(*m_table, process.handle));
    QCOMPARE(m_table->exitCode(process.handle, nullptr), std::optional<quint32>(quint32(code)));
    QCOMPARE(child.collect(), code);
    // Whoever has asked before keeps the answer.
    QCOMPARE(m_table->exitCode(process.handle, nullptr), std::optional<quint32>(quint32(code)));
    QCOMPARE(m_table->poll(process.handle), 0U);
}

void ProcessTableSuite::callsOnceOnAnotherThread()
{
    const Child child = Child::start(50, 3);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    std::atomic<int> calls{0};
    std::thread::id caller;
    std::optional<quint32> code;
    Semaphore called;
    const HandleResult wait = m_table->callAtEnd(process.handle, [&] {
        ++calls;
        caller = std::this_thread::get_id();
        code = m_table->exitCode(process.handle, nullptr);
        called.release();
    });
    QVERIFY(wait.handle);
    QCOMPARE(wait.error, 0U);
    QVERIFY(called.tryAcquire(1, Patience));
    QVERIFY(caller != std::this_thread::get_id());
    QCOMPARE(code, std::optional<quint32>(3));
    QVERIFY(!called.tryAcquire(1, 50));
    QCOMPARE(calls, 1);
}

void ProcessTableSuite::callsForAnEndedProcess()
{
    const Child child = Child::start(0, 3);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    QVERIFY(waitForEnd(*m_table, process.handle));
    Semaphore called;
    const HandleResult wait = m_table->callAtEnd(process.handle, [&called] { called.release(); });
    QVERIFY(wait.handle);
    QVERIFY(called.tryAcquire(1, Patience));
}

void ProcessTableSuite::everyWaitIsCalled()
{
    constexpr int Waits = 100;
    const Child child = Child::start(100, 3);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    Semaphore called;
    std::vector<NativeHandle> waits;
    for (int i = 0; i < Waits; ++i)
        waits.push_back(m_table->callAtEnd(process.handle, [&called] { called.release(); }).handle);
    QVERIFY(called.tryAcquire(Waits, Patience));
    waits.clear();
    QCOMPARE(called.available(), 0);
}

void ProcessTableSuite::endsAreToldApart()
{
    constexpr int Children = 3;
    Semaphore called[Children];
    std::vector<Child> children;
    std::vector<NativeHandle> processes;
    std::vector<NativeHandle> waits;
    for (Semaphore &semaphore : called) {
        children.push_back(Child::start(Child::Forever, 0));
        const quint32 access = Terminate | Query | Synchronize;
        processes.push_back(m_table->open(access, quint32(children.back().id())).handle);
        const auto call = [&semaphore] { semaphore.release(); };
        waits.push_back(m_table->callAtEnd(processes.back(), call).handle);
        QVERIFY(waits.back());
    }
    for (const int ending : {1, 0, 2}) {
        QCOMPARE(m_table->terminate(processes.at(size_t(ending)), 1), 0U);
        QVERIFY(called[ending].tryAcquire(1, Patience));
        for (const Semaphore &semaphore : called)
            QCOMPARE(semaphore.available(), 0);
    }
}

void ProcessTableSuite::noCallAfterTheWait()
{
    Child child = Child::start(50, 0);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    const auto content = std::make_shared<Semaphore>();
    HandleResult wait = m_table->callAtEnd(process.handle, [content] { content->release(); });
    Semaphore called;
    const HandleResult other = m_table->callAtEnd(process.handle, [&called] { called.release(); });
    QVERIFY(wait.handle);
    wait.handle = NativeHandle();
    // Nothing of the callback is left either.
    QCOMPARE(content.use_count(), 1L);
    QVERIFY(called.tryAcquire(1, Patience));
    QVERIFY(!content->tryAcquire(1, 50));
}

void ProcessTableSuite::waitEndsInsideItsCallback()
{
    const Child child = Child::start(50, 0);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    NativeHandle wait;
    Semaphore isSet;
    Semaphore called;
    wait = m_table
               ->callAtEnd(process.handle,
                           [&] {
                               isSet.acquire();
                               wait = NativeHandle();
                               called.release();
                           })
               .handle;
    isSet.release();
    QVERIFY(called.tryAcquire(1, Patience));
}

void ProcessTableSuite::closingDoesNotWait()
{
    const Child child = Child::start(0, 0);
    const HandleResult process = m_table->open(Query | Synchronize, quint32(child.id()));
    const auto began = std::make_shared<Semaphore>();
    const auto leave = std::make_shared<Semaphore>();
    Semaphore left;
    HandleResult wait = m_table->callAtEnd(process.handle, [began, leave, &left] {
        began->release();
        leave->acquire();
        left.release();
    });
    QVERIFY(began->tryAcquire(1, Patience));
    wait.handle = NativeHandle();
    leave->release();
    QVERIFY(left.tryAcquire(1, Patience));
    // The callback gives back what it held.
    QTRY_COMPARE_WITH_TIMEOUT(leave.use_count(), 1L, Patience);
}

void ProcessTableSuite::terminates()
{
    Child child = Child::start(Child::Forever, 0);
    const HandleResult process = m_table->open(Terminate | Query | Synchronize, quint32(child.id()));
    QCOMPARE(m_table->terminate(process.handle, 0xFFFFFFFF), 0U);
    QVERIFY(waitForEnd(*m_table, process.handle));
    const quint32 expected = m_computer->abilities().wideExitCodes ? 0xFFFFFFFF : 128 + 9;
    QCOMPARE(m_table->exitCode(process.handle, nullptr), std::optional<quint32>(expected));
    QCOMPARE(child.collect(), -1);
}

void ProcessTableSuite::endedProcessIsNotTerminated()
{
    if (!m_computer->abilities().endIsFinal)
        return QTest::qSkip("this system terminates ended processes", __FILE__, __LINE__);
    const Child child = Child::start(0, 7);
    const HandleResult process = m_table->open(Terminate | Query | Synchronize, quint32(child.id()));
    QVERIFY(waitForEnd(*m_table, process.handle));
    QCOMPARE(m_table->terminate(process.handle, 1), AccessDenied);
    QCOMPARE(m_table->exitCode(process.handle, nullptr), std::optional<quint32>(7));
}

QTEST_GUILESS_MAIN(ProcessTableSuite)
#include "ProcessTableSuite.moc"
