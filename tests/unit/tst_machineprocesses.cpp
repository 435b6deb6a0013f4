#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "platform/Platform.h"
#include "platform/portable/CommandPrograms.h"
#include "platform/portable/MachinePlatform.h"
#include "platform/portable/StartJournal.h"
#include "platform/Processes.h"
#include "platform/Session.h"
#include "platform/Tokens.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QSaveFile>
#include <QtCore/QTemporaryDir>
#include <QtGui/QDesktopServices>
#include <QtTest/QTest>

#include <set>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

/** The one option of this program as a child: it writes its arguments and its folder into a file. */
const QString TellOption = u"--tell"_s;

constexpr quint32 Query = 8;

int tell(const QStringList &arguments)
{
    QSaveFile file(arguments.value(2));
    const QJsonArray told = QJsonArray::fromStringList(QStringList{QDir::currentPath()} + arguments.mid(3));
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(told).toJson()) > 0 && file.commit() ? 0 : 1;
}

ProcessStart startOf(const QString &command)
{
    ProcessStart start;
    start.command = command;
    return start;
}

} // namespace

/** Starts on the machine folder, and those of the host system where no machine is named. */
class TestMachineProcesses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsCommandLines_data();
    void readsCommandLines();
    void findsThePrograms_data();
    void findsThePrograms();
    void prescribedErrors_data();
    void prescribedErrors();
    void writesStartsDown();
    void writesShellStartsDown();
    void tellsTheCallsApart();
    void wantsAToken();
    void shellKeepsTheProcessOnDemand();
    void processesRunForEver();
    void opensAddresses();
    void hostilePaths();
    void linesStayWholeFromManyThreads();
    void warnsOnceOfALostLine();

    void hostProgramRuns_data();
    void hostProgramRuns();
    void hostProgramThatIsNotThere();
    void hostEnvironmentBlock();
    void hostOpensAddresses();

protected Q_SLOTS:
    void onAddress(const QUrl &url) { m_opened.append(url); }

private:
    static QList<QJsonObject> starts(const MachineBuilder &machine);

    QList<QUrl> m_opened;
};

QList<QJsonObject> TestMachineProcesses::starts(const MachineBuilder &machine)
{
    QList<QJsonObject> result;
    const QList<QByteArray> lines = machine.read(u"starts.jsonl"_s).split('\n');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            result.append(QJsonDocument::fromJson(line).object());
    }
    return result;
}

void TestMachineProcesses::readsCommandLines_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("programs");
    QTest::addColumn<QString>("lastArguments");
    QTest::newRow("nothing") << QString() << QStringList{QString()} << QString();
    QTest::newRow("bare") << u"x.exe"_s << QStringList{u"x.exe"_s} << QString();
    QTest::newRow("arguments") << u"x.exe -a b"_s << QStringList({u"x.exe"_s, u"x.exe -a"_s, u"x.exe -a b"_s})
                               << QString();
    QTest::newRow("quoted") << u"\"C:\\a b\\x.exe\"  -a \"b\" "_s << QStringList{u"C:\\a b\\x.exe"_s} << u"-a \"b\""_s;
    QTest::newRow("no closing quote") << u"\"C:\\a b"_s << QStringList{u"C:\\a b"_s} << QString();
    QTest::newRow("only a quote") << u"\""_s << QStringList{QString()} << QString();
    QTest::newRow("blank in front") << u" x"_s << QStringList({QString(), u" x"_s}) << QString();
    const QString longText(261, u'n');
    QTest::newRow("long") << longText + u" a"_s << QStringList{longText + u" a"_s} << QString();
}

void TestMachineProcesses::readsCommandLines()
{
    QFETCH(const QString, command);
    QFETCH(const QStringList, programs);
    QFETCH(const QString, lastArguments);
    QStringList found;
    for (const CommandProgram &program : commandPrograms(command))
        found.append(program.program);
    QCOMPARE(found, programs);
    QCOMPARE(commandPrograms(command).last().arguments, lastArguments);
}

void TestMachineProcesses::findsThePrograms_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("quoted") << u"\"C:\\My Games\\x.exe\" -a"_s << true;
    QTest::newRow("other letter case and separators") << u"\"c:/my games/X.EXE\""_s << true;
    QTest::newRow("without quotes") << u"C:\\My Games\\x.exe -a"_s << true;
    QTest::newRow("without suffix") << u"C:\\My Games\\x -a"_s << true;
    QTest::newRow("name of System32") << u"cmd.exe /C start"_s << true;
    QTest::newRow("name of Windows") << u"explorer"_s << true;
    QTest::newRow("name of no such folder") << u"x.exe"_s << false;
    QTest::newRow("missing") << u"C:\\My Games\\y.exe"_s << false;
    QTest::newRow("no program") << u"C:\\My Games\\readme.txt"_s << false;
    QTest::newRow("folder") << u"C:\\Folder.exe"_s << false;
    QTest::newRow("relative") << u"Games\\x.exe"_s << false;
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("only blanks") << u"   "_s << false;
    QTest::newRow("long") << QString(32'000, u'n') << false;
    QTest::newRow("blanks") << QString(32'000, u' ') << false;
}

void TestMachineProcesses::findsThePrograms()
{
    QFETCH(const QString, command);
    QFETCH(const bool, isFound);
    MachineBuilder machine;
    machine.addFile(u"C:/My Games/x.exe"_s);
    machine.addFile(u"C:/My Games/readme.txt"_s);
    machine.addFolder(u"C:/Folder.exe"_s);
    machine.addFile(u"C:/Windows/explorer.exe"_s);
    machine.addFile(u"C:/Windows/System32/cmd.exe"_s);
    const ScopedMachine scope(machine);
    const StartResult result = Platform::current()->processes->createProcess(startOf(command));
    QCOMPARE(result.succeeded, isFound);
    QCOMPARE(result.error, isFound ? 0U : 2U);
    QCOMPARE(bool(result.process), isFound);
    QCOMPARE(bool(result.thread), isFound);
    const QList<QJsonObject> written = starts(machine);
    QCOMPARE(written.size(), 1);
    QCOMPARE(written.first().value(u"command"_s).toString(), command);
    QCOMPARE(written.first().contains(u"error"_s), !isFound);
}

void TestMachineProcesses::prescribedErrors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<quint32>("error");
    QTest::newRow("740") << QByteArray(R"({ "error": 740 })") << 740U;
    QTest::newRow("largest") << QByteArray(R"({ "error": 4294967295 })") << 4294967295U;
    QTest::newRow("none") << QByteArray("{}") << 0U;
    QTest::newRow("zero") << QByteArray(R"({ "error": 0 })") << 0U;
    QTest::newRow("negative") << QByteArray(R"({ "error": -1 })") << 0U;
    QTest::newRow("too large") << QByteArray(R"({ "error": 1e30 })") << 0U;
    QTest::newRow("text") << QByteArray(R"({ "error": "740" })") << 0U;
    QTest::newRow("no object") << QByteArray("[740]") << 0U;
    QTest::newRow("broken") << QByteArray("{ \"error\": 7") << 0U;
    QTest::newRow("empty") << QByteArray() << 0U;
}

void TestMachineProcesses::prescribedErrors()
{
    QFETCH(const QByteArray, text);
    QFETCH(const quint32, error);
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s);
    machine.addFile(u"C:/x.exe.start.json"_s, text);
    const ScopedMachine scope(machine);
    const StartResult result = Platform::current()->processes->createProcess(startOf(u"\"C:\\x.exe\""_s));
    QCOMPARE(result.succeeded, error == 0);
    QCOMPARE(result.error, error);
    QCOMPARE(starts(machine).first().value(u"error"_s).toInteger(), qint64(error));
}

void TestMachineProcesses::writesStartsDown()
{
    MachineBuilder machine;
    machine.addFile(u"C:/夜.exe"_s);
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    ProcessStart start = startOf(u"C:\\夜.exe \"a\nb\""_s);
    start.directory = u"C:\\Games"_s;
    start.flags = 1568;
    start.showCommand = 3;
    start.startupFlags = 1;
    processes.createProcess(start);
    start.environment = processes.createEnvironmentBlock(NativeHandle(), false);
    start.command = u"gone"_s;
    processes.createProcess(start);
    const QJsonObject first{{u"call"_s, u"detached"_s},
                            {u"command"_s, u"C:\\夜.exe \"a\nb\""_s},
                            {u"directory"_s, u"C:\\Games"_s},
                            {u"flags"_s, 1568},
                            {u"show"_s, 3},
                            {u"environment"_s, u"inherit"_s}};
    QJsonObject second = first;
    second.insert(u"command"_s, u"gone"_s);
    second.insert(u"environment"_s, u"block"_s);
    second.insert(u"error"_s, 2);
    QCOMPARE(starts(machine), QList<QJsonObject>({first, second}));
}

void TestMachineProcesses::writesShellStartsDown()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x y.exe"_s);
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    ShellStart start{u"runas"_s, u"C:\\x y.exe"_s, u"-a b"_s, u"C:\\Games"_s, 320, 10};
    QVERIFY(processes.shellExecute(start).succeeded);
    start.parameters.clear();
    start.file = u"gone.exe"_s;
    QCOMPARE(processes.shellExecute(start).error, 2U);
    const QJsonObject first{{u"call"_s, u"admin"_s},
                            {u"command"_s, u"C:\\x y.exe -a b"_s},
                            {u"file"_s, u"C:\\x y.exe"_s},
                            {u"parameters"_s, u"-a b"_s},
                            {u"mask"_s, 320},
                            {u"directory"_s, u"C:\\Games"_s},
                            {u"flags"_s, 0},
                            {u"show"_s, 10},
                            {u"environment"_s, u"inherit"_s}};
    QJsonObject second = first;
    second.insert(u"command"_s, u"gone.exe"_s);
    second.insert(u"file"_s, u"gone.exe"_s);
    second.insert(u"parameters"_s, u""_s);
    second.insert(u"error"_s, 2);
    QCOMPARE(starts(machine), QList<QJsonObject>({first, second}));
}

void TestMachineProcesses::tellsTheCallsApart()
{
    MachineBuilder machine;
    machine.addConsoleUser();
    machine.facts().insert(u"tokens"_s, QJsonObject{{u"session"_s, true}});
    machine.addFile(u"C:/x.exe"_s);
    const ScopedMachine scope(machine);
    const auto platform = Platform::current();
    const HandleResult user = platform->tokens->sessionUserToken(platform->session->activeConsoleSession());
    const HandleResult linked = platform->tokens->linkedToken(user.handle);
    QVERIFY(user.handle && linked.handle);
    const ProcessStart start = startOf(u"C:\\x.exe"_s);
    QVERIFY(platform->processes->createProcess(start).succeeded);
    QVERIFY(platform->processes->createProcessAsUser(user.handle, start).succeeded);
    QVERIFY(platform->processes->createProcessAsUser(linked.handle, start).succeeded);
    QVERIFY(platform->processes->createProcessWithToken(user.handle, 0, start).succeeded);
    QVERIFY(platform->processes->shellExecute({u"runas"_s, u"C:\\x.exe"_s, {}, {}, 0, 1}).succeeded);
    QStringList calls;
    for (const QJsonObject &written : starts(machine))
        calls.append(written.value(u"call"_s).toString());
    QCOMPARE(calls, QStringList({u"detached"_s, u"user"_s, u"elevated"_s, u"restricted"_s, u"admin"_s}));
}

void TestMachineProcesses::wantsAToken()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s);
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    QCOMPARE(processes.createProcessAsUser(NativeHandle(), startOf(u"C:\\x.exe"_s)).error, 6U);
    QCOMPARE(processes.createProcessWithToken(NativeHandle(), 0, startOf(u"C:\\x.exe"_s)).error, 6U);
    QCOMPARE(starts(machine).size(), 0);
}

void TestMachineProcesses::shellKeepsTheProcessOnDemand()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s);
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    for (const quint32 mask : {0U, 0x40U, 0x100U, 0x140U}) {
        const StartResult result = processes.shellExecute({u"runas"_s, u"C:\\x.exe"_s, {}, {}, mask, 1});
        QVERIFY(result.succeeded);
        QCOMPARE(bool(result.process), (mask & 0x40) != 0);
        QVERIFY(!result.thread);
    }
}

void TestMachineProcesses::processesRunForEver()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s);
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    std::set<quint32> ids;
    for (int i = 0; i < 100; ++i) {
        const StartResult result = processes.createProcess(startOf(u"C:\\x.exe"_s));
        QCOMPARE(processes.exitCode(result.process), std::optional<quint32>(259));
        const quint32 id = processes.processId(result.process);
        // No process of the host has such an id.
        QVERIFY(id > 0x40000000 && id % 4 == 0);
        ids.insert(id);
    }
    QCOMPARE(ids.size(), size_t(100));
    QCOMPARE(processes.processId(NativeHandle()), 0U);
    QVERIFY(!processes.exitCode(NativeHandle()));
}

void TestMachineProcesses::opensAddresses()
{
    MachineBuilder machine;
    const ScopedMachine scope(machine);
    QVERIFY(Platform::current()->processes->openUrl(QUrl(u"https://example.org/a b?c=%25"_s)));
    QCOMPARE(starts(machine),
             QList<QJsonObject>({{{u"call"_s, u"url"_s}, {u"url"_s, u"https://example.org/a%20b?c=%25"_s}}}));
}

void TestMachineProcesses::hostilePaths()
{
    MachineBuilder machine;
    const ScopedMachine scope(machine);
    const Processes &processes = *Platform::current()->processes;
    for (const QString &command :
         {u"\"C:\\..\\..\\..\\bin\\sh\""_s, u"\\\\share\\x.exe"_s, QString(1, QChar(0)), u"C:"_s, u"C:\\"_s, u"\\"_s,
          u"\\\\?\\C:\\x.exe"_s, QString(200'000, u'"'), QString(QChar(0xD800)) + u".exe"_s})
        QVERIFY2(!processes.createProcess(startOf(command)).succeeded, qPrintable(command.left(40)));
    QCOMPARE(starts(machine).size(), 9);
}

void TestMachineProcesses::linesStayWholeFromManyThreads()
{
    constexpr int Threads = 4;
    constexpr int Lines = 100;
    const MachineBuilder machine;
    const QString path = machine.path() + u"/starts.jsonl"_s;
    // Two journals of one file, as two processes have them.
    const StartJournal journals[] = {StartJournal(path), StartJournal(path)};
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([&journals, i] {
            for (int line = 0; line < Lines; ++line)
                journals[i % 2].append({{u"thread"_s, i}, {u"text"_s, QString(3000, u'x')}});
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const QList<QJsonObject> written = starts(machine);
    QCOMPARE(written.size(), Threads * Lines);
    for (const QJsonObject &start : written)
        QCOMPARE(start.value(u"text"_s).toString().size(), 3000);
}

void TestMachineProcesses::warnsOnceOfALostLine()
{
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s);
    QVERIFY(QDir(machine.path()).mkpath(u"starts.jsonl"_s));
    const ScopedMachine scope(machine);
    const LogCatcher log;
    QVERIFY(Platform::current()->processes->createProcess(startOf(u"C:\\x.exe"_s)).succeeded);
    QVERIFY(Platform::current()->processes->openUrl(QUrl(u"https://example.org"_s)));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY2(log.texts(QtWarningMsg).first().startsWith(u"[MACHINE] "_s), qPrintable(log.texts(QtWarningMsg).first()));
}

void TestMachineProcesses::hostProgramRuns_data()
{
    QTest::addColumn<int>("call");
    QTest::newRow("CreateProcessW") << 0;
    QTest::newRow("CreateProcessAsUserW") << 1;
    QTest::newRow("CreateProcessWithTokenW") << 2;
    QTest::newRow("ShellExecuteExW") << 3;
}

void TestMachineProcesses::hostProgramRuns()
{
    QFETCH(const int, call);
    const auto platform = createHostPlatform();
    const Processes &processes = *platform->processes;
    const HandleResult token = platform->tokens->openOwnToken(Query);
    const QTemporaryDir folder;
    const QString told = folder.filePath(u"told by the child"_s);
    const QString program = QString(QCoreApplication::applicationFilePath()).replace(u'/', u'\\');
    const QString arguments = u"%1 \"%2\" a \"b c\" \\d"_s.arg(TellOption, told);
    ProcessStart start = startOf(u'"' + program + u"\" "_s + arguments);
    start.directory = QString(folder.path()).replace(u'/', u'\\');
    StartResult result;
    if (call == 0)
        result = processes.createProcess(start);
    else if (call == 1)
        result = processes.createProcessAsUser(token.handle, start);
    else if (call == 2)
        result = processes.createProcessWithToken(token.handle, 0, start);
    else
        result = processes.shellExecute({u"runas"_s, program, arguments, start.directory, 0x40, 1});
    QVERIFY(result.succeeded);
    QVERIFY(processes.processId(result.process) != 0);
    QVERIFY(!processes.exitCode(result.process));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(told), 60'000);
    QFile file(told);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QJsonArray seen = QJsonDocument::fromJson(file.readAll()).array();
    QCOMPARE(QDir(seen.at(0).toString()).canonicalPath(), QDir(folder.path()).canonicalPath());
    QCOMPARE(seen.toVariantList().mid(1), QVariantList({u"a"_s, u"b c"_s, u"\\d"_s}));
}

void TestMachineProcesses::hostProgramThatIsNotThere()
{
    const auto platform = createHostPlatform();
    for (const QString &command : {u"\\no\\such\\program -a"_s, u"kv-no-such-program"_s, u"\"\""_s, QString()}) {
        const StartResult result = platform->processes->createProcess(startOf(command));
        QVERIFY2(!result.succeeded, qPrintable(command));
        QCOMPARE(result.error, 2U);
        QVERIFY(!result.process);
    }
}

void TestMachineProcesses::hostEnvironmentBlock()
{
    const auto platform = createHostPlatform();
    const NativeHandle block = platform->processes->createEnvironmentBlock(NativeHandle(), false);
    QVERIFY(block);
    QCOMPARE(platform->processes->processId(NativeHandle()), 0U);
}

void TestMachineProcesses::hostOpensAddresses()
{
    QDesktopServices::setUrlHandler(u"kvtest"_s, this, "onAddress");
    const QUrl url(u"kvtest:/a%20b"_s);
    QVERIFY(createHostPlatform()->processes->openUrl(url));
    QDesktopServices::unsetUrlHandler(u"kvtest"_s);
    QCOMPARE(m_opened, QList<QUrl>{url});
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == TellOption)
        return tell(QCoreApplication::arguments());
    TestMachineProcesses test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_machineprocesses.moc"
