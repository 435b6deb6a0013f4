#include "Computer.h"
#include "platform/Platform.h"
#include "platform/Processes.h"
#include "platform/Tokens.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

// Published values of the system's access rights, flags and error codes.
constexpr quint32 TokenQuery = 0x8;
constexpr quint32 TokenDuplicate = 0x2;
constexpr quint32 TokenAssignPrimary = 0x1;
constexpr quint32 NoWindow = 0x08000000;
constexpr quint32 UnicodeEnvironment = 0x400;
constexpr quint32 KeepProcess = 0x40;
constexpr quint32 NoMessageBox = 0x400;
constexpr quint32 FileNotFound = 2;
constexpr quint32 StillActive = 259;
constexpr quint32 ExitCode = 7;
constexpr int Impersonation = 2;
constexpr int PrimaryToken = 1;

/** A start of the command interpreter, which every computer has. */
ProcessStart startOf(const QString &command)
{
    ProcessStart start;
    start.command = command;
    start.flags = NoWindow | UnicodeEnvironment;
    return start;
}

ProcessStart interpreter()
{
    return startOf(u"cmd.exe /C exit 7"_s);
}

NativeHandle primaryToken(const Platform &platform)
{
    const HandleResult own = platform.tokens->openOwnToken(TokenQuery | TokenDuplicate | TokenAssignPrimary);
    return std::move(platform.tokens->duplicate(own.handle, 0x18B, Impersonation, PrimaryToken).handle);
}

} // namespace

class ProcessesSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void programs_data();
    void programs();
    void missingPrograms_data();
    void missingPrograms();
    void otherTokens();
    void environmentBlocks();
    void shell();
    void missingFileOfTheShell();
    void emptyHandles();

private:
    /** Whether all that belongs to a process that was made is there. */
    static bool isGood(const Platform &platform, const StartResult &result)
    {
        const std::optional<quint32> code = platform.processes->exitCode(result.process);
        return result.succeeded && result.error == 0 && result.process &&
               platform.processes->processId(result.process) != 0 && (code == StillActive || code == ExitCode);
    }
};

void ProcessesSuite::programs_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("bare name") << u"cmd.exe /C exit 7"_s;
    QTest::newRow("bare name without suffix") << u"cmd /C exit 7"_s;
    QTest::newRow("path") << u"C:\\Windows\\System32\\cmd.exe /C exit 7"_s;
    QTest::newRow("quoted path") << u"\"C:\\Windows\\System32\\cmd.exe\" /C exit 7"_s;
    QTest::newRow("forward slashes") << u"\"C:/windows/system32/CMD.EXE\" /C exit 7"_s;
}

void ProcessesSuite::programs()
{
    QFETCH(const QString, command);
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const StartResult result = platform.processes->createProcess(startOf(command));
    QVERIFY2(isGood(platform, result), qPrintable(QString::number(result.error)));
    QVERIFY(result.thread);
}

void ProcessesSuite::missingPrograms_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("bare name") << u"kvc-no-such-program.exe -a"_s;
    QTest::newRow("path") << u"C:\\Windows\\kvc-no-such-program.exe -a"_s;
    QTest::newRow("quoted path") << u"\"C:\\Windows\\kvc no such program.exe\" -a"_s;
}

void ProcessesSuite::missingPrograms()
{
    QFETCH(const QString, command);
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const NativeHandle token = primaryToken(platform);
    const StartResult results[] = {platform.processes->createProcess(startOf(command)),
                                   platform.processes->createProcessAsUser(token, startOf(command))};
    for (const StartResult &result : results) {
        QVERIFY(!result.succeeded && !result.process && !result.thread);
        QCOMPARE(result.error, FileNotFound);
    }
}

void ProcessesSuite::otherTokens()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const NativeHandle token = primaryToken(platform);
    QVERIFY(token);
    if (!computer->abilities().tokensStartPrograms)
        return QTest::qSkip("this user may not start programs with other tokens", __FILE__, __LINE__);
    QVERIFY(isGood(platform, platform.processes->createProcessAsUser(token, interpreter())));
    QVERIFY(isGood(platform, platform.processes->createProcessWithToken(token, 0, interpreter())));
}

void ProcessesSuite::environmentBlocks()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const HandleResult own = platform.tokens->openOwnToken(TokenQuery | TokenDuplicate);
    const NativeHandle none;
    for (const NativeHandle *const token : {&own.handle, &none}) {
        for (const bool inherit : {false, true}) {
            ProcessStart start = interpreter();
            start.environment = platform.processes->createEnvironmentBlock(*token, inherit);
            QVERIFY(start.environment);
            QVERIFY(isGood(platform, platform.processes->createProcess(start)));
        }
    }
}

void ProcessesSuite::shell()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    ShellStart start{u"open"_s, u"cmd.exe"_s, u"/C exit 7"_s, {}, KeepProcess | NoMessageBox, 0};
    const StartResult kept = platform.processes->shellExecute(start);
    QVERIFY2(isGood(platform, kept), qPrintable(QString::number(kept.error)));
    QVERIFY(!kept.thread);
    start.mask = NoMessageBox;
    const StartResult given = platform.processes->shellExecute(start);
    QVERIFY(given.succeeded && !given.process && !given.thread);
}

void ProcessesSuite::missingFileOfTheShell()
{
    const auto computer = Computer::create();
    const ShellStart start{u"open"_s, u"C:\\Windows\\kvc-no-such-program.exe"_s, {}, {}, KeepProcess | NoMessageBox, 0};
    const StartResult result = computer->platform().processes->shellExecute(start);
    QVERIFY(!result.succeeded && !result.process);
    QCOMPARE(result.error, FileNotFound);
}

void ProcessesSuite::emptyHandles()
{
    const auto computer = Computer::create();
    const Processes &processes = *computer->platform().processes;
    QCOMPARE(processes.processId(NativeHandle()), 0U);
    QVERIFY(!processes.exitCode(NativeHandle()));
}

QTEST_GUILESS_MAIN(ProcessesSuite)
#include "ProcessesSuite.moc"
