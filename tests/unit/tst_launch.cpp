#include "../support/FakeFiles.h"
#include "../support/FakeLinks.h"
#include "../support/FakeSession.h"
#include "../support/FakeStarts.h"
#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "../support/ScanRunner.h"
#include "../support/ShellLinkBuilder.h"
#include "KvProgramContext.h"
#include "KvSecurity.h"
#include "platform/Platform.h"

#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

const QString Link = u"C:/Menu/My game.lnk"_s;
const QString LinkCommand = u"cmd.exe /C start \"\" /I /MAX \"C:\\Menu\\My game.lnk\""_s;

/** The start of a target, told by the fake: as a window over the whole screen, with an environment of its own. */
QString started(const QString &command, const QString &directory = QString())
{
    return u"create <%1> in <%2> flags 0x620 startup 0 show 3 environment block"_s.arg(command, directory);
}

/** The start of a command interpreter that nobody sees. */
QString startedHidden(const QString &command, const QString &directory = QString())
{
    return u"create <%1> in <%2> flags 0x8000620 startup 0 show 0 environment block"_s.arg(command, directory);
}

} // namespace

/** ProgramInfo::launch for files and addresses, over fakes and over the machine folder. */
class TestLaunch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void desktop_data();
    void desktop();
    void desktopWithoutLinkFails();
    void desktopGoesThroughItsLink();
    void linkThatFailsToo();
    void launchAsksForNoId();
    void elevatedProcessStartsAsTheUser();
    void web_data();
    void web();
    void nothing_data();
    void nothing();
    void recordStaysAsItIs();
    void scannedPrograms();

private:
    /** The starts and addresses among the calls since the last time. */
    QStringList takeStarts();
    QStringList lines() const;
    void loadLink(ProgramInfo &record);

    std::unique_ptr<FakeProcesses> m_tokens;
    std::unique_ptr<FakeStarts> m_starts;
    std::shared_ptr<FakeSession> m_session;
    std::shared_ptr<FakeFiles> m_files;
    std::shared_ptr<FakeLinks> m_links;
    std::unique_ptr<LogCatcher> m_log;
};

void TestLaunch::init()
{
    m_tokens = std::make_unique<FakeProcesses>();
    m_starts = std::make_unique<FakeStarts>(*m_tokens);
    m_session = std::make_shared<FakeSession>();
    m_files = std::make_shared<FakeFiles>();
    m_links = std::make_shared<FakeLinks>(std::make_shared<FakeCalls>());
    m_session->elevated = false;
    m_session->signIn(u"kim"_s, FakeSession::sid('k'), u"S-1-5-7"_s);
    m_files->existing = {u"C:/My Games/夜"_s};
    const auto platform = std::make_shared<KvPlatform::Platform>();
    platform->files = m_files;
    platform->links = m_links;
    platform->session = m_session;
    // Not owned, so that what is still open at the end of a test can be counted.
    platform->tokens = std::shared_ptr<KvPlatform::Tokens>(std::shared_ptr<void>(), m_tokens.get());
    platform->processes = std::shared_ptr<KvPlatform::Processes>(std::shared_ptr<void>(), m_starts.get());
    KvPlatform::Platform::setCurrent(platform);
    KvSecurity::forget();
    m_log = std::make_unique<LogCatcher>();
    KvSecurity::isElevated();
    m_log->clear();
}

void TestLaunch::cleanup()
{
    m_log.reset();
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
    QCOMPARE(m_starts->openHandles(), 0);
    QCOMPARE(m_tokens->openHandles(), 0);
}

QStringList TestLaunch::takeStarts()
{
    QStringList starts;
    for (const QString &call : m_tokens->calls.take()) {
        if (call.startsWith(u"create"_s) || call.startsWith(u"runas"_s) || call.startsWith(u"open http"_s))
            starts.append(call);
    }
    return starts;
}

QStringList TestLaunch::lines() const
{
    QStringList texts;
    for (const LogCatcher::Line &line : m_log->lines())
        texts.append((line.type == QtWarningMsg ? u"W "_s : line.type == QtInfoMsg ? u"I "_s : u"? "_s) + line.text);
    return texts;
}

/** Gives the record the link file, and the target "C:/x y.exe" with the arguments "--from-link". */
void TestLaunch::loadLink(ProgramInfo &record)
{
    m_links->links.insert(u"C:\\Menu\\My game.lnk"_s, FakeLink::to(u"C:\\x y.exe"_s, u"My game"_s, u"--from-link"_s));
    QVERIFY(record.loadFromLinkFile(Link));
}

void TestLaunch::desktop_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("workingDir");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &target, const QString &arguments, const QString &workingDir,
                        const QString &expected) {
        QTest::newRow(name) << target << arguments << workingDir << expected;
    };
    row("plain", u"C:/x.exe"_s, {}, {}, started(u"\"C:\\x.exe\""_s));
    row("blank", u"C:/My Games/x y.exe"_s, {}, {}, started(u"\"C:\\My Games\\x y.exe\""_s));
    row("arguments", u"C:/x y.exe"_s, u"-a \"b c\" /d/e"_s, {}, started(u"\"C:\\x y.exe\" -a \"b c\" /d/e"_s));
    row("blank arguments", u"C:/x.exe"_s, u" "_s, {}, started(u"\"C:\\x.exe\"  "_s));
    row("directory", u"C:/x.exe"_s, {}, u"C:\\My Games\\夜"_s, started(u"\"C:\\x.exe\""_s, u"C:\\My Games\\夜"_s));
    row("missing directory", u"C:/x.exe"_s, {}, u"C:/Gone"_s, started(u"\"C:\\x.exe\""_s));
    row("share", u"//desk/games/x.exe"_s, {}, {}, started(u"\"\\\\desk\\games\\x.exe\""_s));
    row("percent and hash", u"C:/100%25#1?.exe"_s, {}, {}, started(u"\"C:\\100%25#1?.exe\""_s));
    row("beyond the BMP", u"C:/夜 🎮.exe"_s, u"𠮷"_s, {}, started(u"\"C:\\夜 🎮.exe\" 𠮷"_s));
    row("caret, percent and new line", u"C:/x.exe"_s, u"a^b %PATH%\nc"_s, {},
        started(u"\"C:\\x.exe\" a^b %PATH%\nc"_s));
}

void TestLaunch::desktop()
{
    QFETCH(const QString, target);
    QFETCH(const QString, arguments);
    QFETCH(const QString, workingDir);
    QFETCH(const QString, expected);
    ProgramInfo record;
    record.setDesktopTarget(target, false);
    record.setArguments(arguments);
    record.setWorkingDir(workingDir);
    QVERIFY(record.launch());
    QCOMPARE(takeStarts(), QStringList{expected});
    QCOMPARE(m_log->texts(QtWarningMsg), QStringList());
}

void TestLaunch::desktopWithoutLinkFails()
{
    m_starts->errors = {2};
    ProgramInfo record;
    record.setDesktopTarget(u"C:/x.exe"_s, false);
    QVERIFY(!record.launch());
    QCOMPARE(takeStarts(), QStringList{started(u"\"C:\\x.exe\""_s)});
    QCOMPARE(lines(), QStringList{u"W [FAIL] can't start detached: \"C:\\x.exe\" home:  error: 2"_s});
}

void TestLaunch::desktopGoesThroughItsLink()
{
    m_starts->errors = {193};
    ProgramInfo record;
    loadLink(record);
    record.setWorkingDir(u"C:/My Games/夜"_s);
    QVERIFY(record.launch());
    const QString directory = u"C:\\My Games\\夜"_s;
    QCOMPARE(takeStarts(), QStringList({started(u"\"C:\\x y.exe\" --from-link"_s, directory),
                                        startedHidden(LinkCommand, directory)}));
    QCOMPARE(lines(), QStringList({u"W [FAIL] can't start detached: \"C:\\x y.exe\" --from-link home: "_s + directory +
                                       u" error: 193"_s,
                                   u"I [PROCESS] re-launch with link file: "_s + Link,
                                   u"I [PROCESS] start detached: %1 home: %2"_s.arg(LinkCommand, directory)}));
}

void TestLaunch::linkThatFailsToo()
{
    m_starts->errors = {193, 2};
    ProgramInfo record;
    loadLink(record);
    QVERIFY(!record.launch());
    QCOMPARE(takeStarts().size(), 2);
    QCOMPARE(lines().last(), u"W [FAIL] can't start detached: %1 home:  error: 2"_s.arg(LinkCommand));
}

void TestLaunch::launchAsksForNoId()
{
    m_starts->errors = {740};
    ProgramInfo record;
    record.setDesktopTarget(u"C:/x.exe"_s, false);
    QVERIFY(record.launch());
    const QStringList calls = m_tokens->calls.take();
    // With nobody to tell the id to, the shell isn't asked for the process.
    QVERIFY(calls.contains(u"runas <C:\\x.exe> <> in <> mask 0x0 show 3"_s));
    QVERIFY(!calls.contains(u"id of process"_s));
}

void TestLaunch::elevatedProcessStartsAsTheUser()
{
    m_session->elevated = true;
    m_tokens->sessionTokenError = 0;
    KvSecurity::forget();
    ProgramInfo record;
    record.setDesktopTarget(u"C:/x.exe"_s, false);
    QVERIFY(record.launch());
    QCOMPARE(takeStarts(), QStringList{started(u"\"C:\\x.exe\""_s).replace(u"create"_s, u"create as user token"_s)});
    QCOMPARE(lines().last(), u"I [PROCESS] start as user: \"C:\\x.exe\" home:  user: kim"_s);
}

void TestLaunch::web_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QList<quint32>>("errors");
    QTest::addColumn<bool>("opensUrls");
    QTest::addColumn<QStringList>("starts");
    QTest::addColumn<bool>("result");
    const QString opened = u"open https://example.org/a%20b?c=%25"_s;
    const QString shell = u"C:/My Meeting/meet.exe"_s;
    const QString shellStart = started(u"\"C:\\My Meeting\\meet.exe\" --url=x y"_s, u"C:\\My Games\\夜"_s);
    const QString shellOnly = started(u"\"C:\\My Meeting\\meet.exe\""_s, u"C:\\My Games\\夜"_s);
    const QList<quint32> good;
    QTest::newRow("system") << QString() << QString() << good << true << QStringList{opened} << true;
    QTest::newRow("system, with arguments") << QString() << u"-a"_s << good << true << QStringList{opened} << true;
    QTest::newRow("system that refuses") << QString() << QString() << good << false << QStringList{opened} << false;
    QTest::newRow("shell") << shell << u"--url=x y"_s << good << false << QStringList{shellStart} << true;
    QTest::newRow("shell without arguments") << shell << QString() << good << false << QStringList{shellOnly} << true;
    QTest::newRow("shell that fails") << shell << QString() << QList<quint32>{2} << true
                                      << QStringList{shellOnly, opened} << true;
    QTest::newRow("both fail") << shell << QString() << QList<quint32>{2} << false << QStringList{shellOnly, opened}
                               << false;
}

void TestLaunch::web()
{
    QFETCH(const QString, shell);
    QFETCH(const QString, arguments);
    QFETCH(const QList<quint32>, errors);
    QFETCH(const bool, opensUrls);
    QFETCH(const QStringList, starts);
    QFETCH(const bool, result);
    m_starts->errors = errors;
    m_starts->opensUrls = opensUrls;
    ProgramInfo record;
    record.setTargetUrl(QUrl(u"https://example.org/a b?c=%25"_s));
    record.setShell(shell);
    record.setArguments(arguments);
    record.setWorkingDir(u"C:/My Games/夜"_s);
    QCOMPARE(record.launch(), result);
    QCOMPARE(takeStarts(), starts);
    // What the shell's failure is worth is told by the start alone.
    QCOMPARE(m_log->lines().size(), shell.isEmpty() ? 0 : 1);
}

void TestLaunch::nothing_data()
{
    QTest::addColumn<QUrl>("target");
    QTest::newRow("no target") << QUrl();
    QTest::newRow("invalid address") << QUrl(u"http://a b:c/"_s, QUrl::StrictMode);
}

void TestLaunch::nothing()
{
    QFETCH(const QUrl, target);
    ProgramInfo record;
    loadLink(record);
    record.setShell(u"C:/shell.exe"_s);
    record.setTargetUrl(target);
    QCOMPARE(record.type(), ProgramInfo::TypeNone);
    QVERIFY(!record.launch());
    QCOMPARE(m_tokens->calls.take(), QStringList());
    QCOMPARE(lines(), QStringList());
}

void TestLaunch::recordStaysAsItIs()
{
    ProgramInfo record;
    loadLink(record);
    const auto state = [&record] {
        return std::tuple(record.targetUrl(), record.displayName(), record.arguments(), record.workingDir());
    };
    const auto before = state();
    QVERIFY(record.launch());
    QVERIFY(record.launch());
    QVERIFY(state() == before);
    QCOMPARE(m_starts->starts(), 2);
}

/** From the link in the Start Menu to what the machine was asked for. */
void TestLaunch::scannedPrograms()
{
    MachineBuilder machine;
    machine.addConsoleUser();
    machine.setFolder(u"CommonPrograms"_s, u"C:/Menu"_s);
    machine.addFile(u"C:/Games/good one.exe"_s);
    machine.addFile(u"C:/Games/bad.exe"_s);
    machine.addFile(u"C:/Games/bad.exe.start.json"_s, R"({ "error": 193 })");
    machine.addFile(u"C:/Windows/System32/cmd.exe"_s);
    machine.addLinkTo(u"C:/Menu/Good.lnk"_s, u"C:/Games/good one.exe"_s);
    machine.addLinkTo(u"C:/Menu/Sub/Bad.lnk"_s, u"C:/Games/bad.exe"_s);
    const ScopedMachine scope(machine);
    KvSecurity::forget();
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList({u"Bad"_s, u"Good"_s}));
    for (ProgramInfo *const app : runner.context().allApps())
        QVERIFY(app->launch());

    const QList<QByteArray> written = machine.read(u"starts.jsonl"_s).trimmed().split('\n');
    QStringList commands;
    for (const QByteArray &line : written) {
        const QJsonObject start = QJsonDocument::fromJson(line).object();
        commands.append(start.value(u"call"_s).toString() + u' ' + start.value(u"command"_s).toString() + u' ' +
                        QString::number(start.value(u"error"_s).toInt()));
    }
    QCOMPARE(commands, QStringList({u"detached \"C:\\Games\\bad.exe\" 193"_s,
                                    u"detached cmd.exe /C start \"\" /I /MAX \"C:\\Menu\\Sub\\Bad.lnk\" 0"_s,
                                    u"detached \"C:\\Games\\good one.exe\" 0"_s}));
}

QTEST_GUILESS_MAIN(TestLaunch)
#include "tst_launch.moc"
