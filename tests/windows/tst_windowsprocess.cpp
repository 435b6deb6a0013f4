#include "../../benchmarks/windows/ProcessUse.h"
#include "KvSecurity.h"
#include "LogCatcher.h"
#include "MenuPlatform.h"
#include "platform/Processes.h"
#include "platform/Session.h"
#include "platform/Tokens.h"
#include "platform/win/Handles.h"
#include "Process.h"
#include "ScanRunner.h"
#include "ShellLinkWriter.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLibrary>
#include <QtCore/QTemporaryDir>
#include <QtGui/QGuiApplication>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <tuple>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

constexpr int Patience = 60'000;
constexpr quint32 PrivilegeNotHeld = 1314;
constexpr quint32 BadProgram = 193;
const QString ProtocolKey = u"Software\\Classes\\kvtest-address"_s;

bool isWine()
{
    return QLibrary::resolve(u"ntdll"_s, "wine_get_version") != nullptr;
}

QString quoted(const QString &path)
{
    return u'"' + QDir::toNativeSeparators(path) + u'"';
}

/** The console of this computer, for a process that counts as elevated. */
class ElevatedSession final : public Session
{
public:
    quint32 activeConsoleSession() const override { return m_session->activeConsoleSession(); }
    std::optional<QString> sessionUserName(quint32 session) const override
    {
        return m_session->sessionUserName(session);
    }
    std::optional<Account> lookupAccount(const QString &name) const override { return m_session->lookupAccount(name); }
    std::optional<bool> isProcessElevated() const override { return true; }

private:
    const std::shared_ptr<Session> m_session = createPlatform()->session;
};

/** The tokens of this computer without the session user's, which Windows keeps from all but services. */
class OrdinaryTokens final : public Tokens
{
public:
    HandleResult sessionUserToken(quint32) const override { return {NativeHandle(), PrivilegeNotHeld}; }
    HandleResult openOwnToken(quint32 access) const override { return m_tokens->openOwnToken(access); }
    std::optional<quint64> lookupPrivilege(const QString &name, quint32 *error) const override
    {
        return m_tokens->lookupPrivilege(name, error);
    }
    quint32 adjustPrivilege(const NativeHandle &token, quint64 privilege, quint32 attributes) const override
    {
        return m_tokens->adjustPrivilege(token, privilege, attributes);
    }
    ProcessIds processIds(qsizetype capacity) const override { return m_tokens->processIds(capacity); }
    HandleResult openProcess(quint32 access, quint32 id) const override { return m_tokens->openProcess(access, id); }
    HandleResult openProcessToken(const NativeHandle &process, quint32 access) const override
    {
        return m_tokens->openProcessToken(process, access);
    }
    std::optional<bool> isElevated(const NativeHandle &token) const override { return m_tokens->isElevated(token); }
    std::optional<QByteArray> userSid(const NativeHandle &token) const override { return m_tokens->userSid(token); }
    HandleResult duplicate(const NativeHandle &token, quint32 access, int level, int type) const override
    {
        return m_tokens->duplicate(token, access, level, type);
    }

private:
    const std::shared_ptr<Tokens> m_tokens = createPlatform()->tokens;
};

/** Starts of this computer, of which the first fails. */
class ReluctantProcesses final : public Processes
{
public:
    NativeHandle createEnvironmentBlock(const NativeHandle &token, bool inherit) const override
    {
        return m_processes->createEnvironmentBlock(token, inherit);
    }
    StartResult createProcess(const ProcessStart &start) const override
    {
        if (m_count++ == 0)
            return {false, BadProgram, NativeHandle(), NativeHandle()};
        return m_processes->createProcess(start);
    }

private:
    const std::shared_ptr<Processes> m_processes = createPlatform()->processes;
    mutable std::atomic<int> m_count{0};
};

/** How a start is to go. */
enum class Way
{
    Detached,
    NotElevated,
    User,
    Restricted,
    Elevated,
    Admin,
};

/** This computer as the platform in force, bent so that a start goes the way that is wanted. */
class ScopedWay
{
public:
    explicit ScopedWay(Way way)
    {
        const auto platform = std::make_shared<Platform>(*createPlatform());
        if (way == Way::User || way == Way::Restricted || way == Way::Elevated)
            platform->session = std::make_shared<ElevatedSession>();
        if (way == Way::Restricted)
            platform->tokens = std::make_shared<OrdinaryTokens>();
        Platform::setCurrent(platform);
        KvSecurity::forget();
    }

    ~ScopedWay()
    {
        Platform::setCurrent(nullptr);
        KvSecurity::forget();
    }

    ScopedWay(const ScopedWay &) = delete;
    ScopedWay &operator=(const ScopedWay &) = delete;
};

bool start(Way way, const QString &command, qint64 *pid, const QString &home, bool inheritEnvironment)
{
    constexpr auto Automatic = QWindow::AutomaticVisibility;
    switch (way) {
    case Way::Detached:
        return Process::startCommandDetached(command, pid, Automatic, home, inheritEnvironment);
    case Way::Admin:
        return Process::startCommandAsAdmin(command, pid, Automatic, home);
    case Way::Elevated:
        return Process::startCommandAsUserElevated(command, pid, Automatic, home, inheritEnvironment);
    default:
        return Process::startCommandAsUser(command, pid, Automatic, home, inheritEnvironment);
    }
}

/** The protocol "kvtest-address:", which starts a command. For all users, since Wine heeds no classes of one user. */
class ScopedProtocol
{
public:
    explicit ScopedProtocol(const QString &command)
    {
        m_isThere = set(ProtocolKey, u"URL Protocol"_s, QString()) &&
                    set(ProtocolKey + u"\\shell\\open\\command"_s, QString(), command);
    }
    ~ScopedProtocol() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, wide(ProtocolKey)); }
    ScopedProtocol(const ScopedProtocol &) = delete;
    ScopedProtocol &operator=(const ScopedProtocol &) = delete;

    bool isThere() const { return m_isThere; }

private:
    static bool set(const QString &key, const QString &name, const QString &text)
    {
        const DWORD size = static_cast<DWORD>((text.size() + 1) * qsizetype(sizeof(wchar_t)));
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, wide(key), wide(name), REG_SZ, wide(text), size) == ERROR_SUCCESS;
    }

    bool m_isThere = false;
};

/** COM for this thread in the kind of apartment that Qt uses on it as well. */
struct ComApartment
{
    ComApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment &) = delete;
    ComApartment &operator=(const ComApartment &) = delete;
};

} // namespace

/** Real programs started in every way; the program tells what it was given. */
class TestWindowsProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void ways_data();
    void ways();
    void commandLines_data();
    void commandLines();
    void workingDirectories_data();
    void workingDirectories();
    void hiddenAndShown_data();
    void hiddenAndShown();
    void programsThatAreNotThere_data();
    void programsThatAreNotThere();
    void executeAsAdmin();
    void borrowedToken();
    void startsLeaveNothingOpen();

    void childEnds_data();
    void childEnds();
    void childIsKilled();
    void childOfTheChild();
    void childInheritsNoHandles();
    void childHasACleanEnvironment();

    void launchesAScannedLink();
    void launchesThroughTheLink_data();
    void launchesThroughTheLink();
    void launchesTheShellOfAnAddress();
    void launchesAnAddress();

private:
    /** What the program has written into m_told, once it is there; the file is gone then. */
    QJsonObject waitForTold();
    QString tellCommand() const { return quoted(m_program) + u" tell "_s + quoted(m_told); }
    bool write(const QString &link, const ShellLinkWriter::Link &content) const
    {
        return ShellLinkWriter::write(link, content);
    }

    ComApartment m_com;
    QTemporaryDir m_folder;
    QString m_program;
    QString m_told;
};

void TestWindowsProcess::initTestCase()
{
    const QString folder = m_folder.filePath(u"My 夜 programs"_s);
    m_program = folder + u"/tell 🎮.exe"_s;
    m_told = m_folder.filePath(u"told.json"_s);
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::copy(QStringLiteral(KV_CHILD), m_program));
    qputenv("KV_TEST_INHERITED", "yes");
}

void TestWindowsProcess::init()
{
    QFile::remove(m_told);
}

QJsonObject TestWindowsProcess::waitForTold()
{
    QByteArray text;
    // Who has given the file its name may still hold it.
    const auto isRead = [this, &text] {
        QFile file(m_told);
        text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return !text.isEmpty();
    };
    if (!QTest::qWaitFor(isRead, Patience) || !QFile::remove(m_told))
        return {};
    return QJsonDocument::fromJson(text).object();
}

void TestWindowsProcess::ways_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<QString>("line");
    QTest::newRow("detached") << Way::Detached << false << u"[PROCESS] start detached:"_s;
    QTest::newRow("user, not elevated") << Way::NotElevated << false << u"[PROCESS] start detached:"_s;
    QTest::newRow("user") << Way::User << false << u"[PROCESS] start as user:"_s;
    QTest::newRow("restricted") << Way::Restricted << false << u"[PROCESS] start as restricted:"_s;
    QTest::newRow("elevated") << Way::Elevated << true << u"[PROCESS] start as elevated:"_s;
    QTest::newRow("admin") << Way::Admin << true << u"[PROCESS] start as admin:"_s;
}

void TestWindowsProcess::ways()
{
    QFETCH(const Way, way);
    QFETCH(const bool, isElevated);
    QFETCH(const QString, line);
    if (!isWine() && way != Way::Detached && way != Way::NotElevated)
        return QTest::qSkip("wants the rights of a service, or asks the user", __FILE__, __LINE__);
    for (const bool inheritEnvironment : {false, true}) {
        const ScopedWay scope(way);
        const LogCatcher log;
        const QString command = tellCommand() + u" a \"b c\""_s;
        qint64 pid = 99;
        const bool isStarted = start(way, command, &pid, m_folder.path(), inheritEnvironment);
        QStringList lines;
        for (const LogCatcher::Line &logged : log.lines())
            lines.append(logged.text);
        QVERIFY2(isStarted, qPrintable(lines.join(u'\n')));
        QVERIFY2(lines.last().startsWith(line + u' ' + command), qPrintable(lines.last()));

        const QJsonObject told = waitForTold();
        QCOMPARE(told.value(u"commandLine"_s).toString(), command);
        QCOMPARE(told.value(u"processId"_s).toInteger(), pid);
        QCOMPARE(QDir(told.value(u"directory"_s).toString()), QDir(m_folder.path()));
        QCOMPARE(told.value(u"elevated"_s).toBool(), isElevated);
        if (way == Way::Admin)
            continue;
        QCOMPARE(told.value(u"startupFlags"_s).toInt(), 1);
        QCOMPARE(told.value(u"show"_s).toInt(), 10);
        QCOMPARE(told.value(u"priority"_s).toInt(), 0x20);
        const QString environment = QString::fromUtf8(QJsonDocument(told.value(u"environment"_s).toArray()).toJson());
        QCOMPARE(environment.contains(u"KV_TEST_INHERITED=yes"_s), inheritEnvironment);
        QVERIFY2(environment.contains(u"SystemRoot="_s, Qt::CaseInsensitive), qPrintable(environment));
    }
}

void TestWindowsProcess::commandLines_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("tail");
    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("bare") << QStringList{u"a"_s} << u" a"_s;
    QTest::newRow("blank") << QStringList{u"a b"_s} << u" \"a b\""_s;
    QTest::newRow("in quotes already") << QStringList{u"\"a b\""_s} << u" \"a b\""_s;
    QTest::newRow("quotes within") << QStringList{u"a \"b\" c"_s, u"a\"b"_s} << u" \"a \"b\" c\" a\"b"_s;
    QTest::newRow("backslash at the end") << QStringList{u"C:\\d\\"_s, u"C:\\a b\\"_s} << u" C:\\d\\ \"C:\\a b\\\""_s;
    QTest::newRow("empty") << QStringList{u"a"_s, QString(), u"b"_s, QString()} << u" a  b "_s;
    QTest::newRow("percent") << QStringList{u"%SystemRoot%"_s, u"50 %"_s} << u" %SystemRoot% \"50 %\""_s;
    QTest::newRow("carets") << QStringList{u"a^b"_s, u"a ^& b|c>d"_s} << u" a^b \"a ^& b|c>d\""_s;
    QTest::newRow("new lines") << QStringList{u"a\nb"_s, u"a b\r\nc"_s} << u" a\nb \"a b\r\nc\""_s;
    QTest::newRow("beyond the BMP") << QStringList{u"🎮"_s, u"🎮 𠮷"_s} << u" 🎮 \"🎮 𠮷\""_s;
    const QString longText(32'000, u'n');
    QTest::newRow("long") << QStringList{longText} << u' ' + longText;
}

void TestWindowsProcess::commandLines()
{
    QFETCH(QStringList, arguments);
    QFETCH(const QString, tail);
    QVERIFY(Process::startDetached(m_program, QStringList{u"tell"_s, m_told} + arguments));
    QCOMPARE(waitForTold().value(u"commandLine"_s).toString(), quoted(m_program) + u" tell "_s + m_told + tail);
}

void TestWindowsProcess::workingDirectories_data()
{
    QTest::addColumn<QString>("home");
    QTest::addColumn<QString>("directory");
    QTest::newRow("none") << QString() << QDir::currentPath();
    QTest::newRow("missing") << m_folder.filePath(u"gone"_s) << QDir::currentPath();
    QTest::newRow("there") << m_folder.filePath(u"My 夜 programs"_s) << m_folder.filePath(u"My 夜 programs"_s);
}

void TestWindowsProcess::workingDirectories()
{
    QFETCH(const QString, home);
    QFETCH(const QString, directory);
    QVERIFY(Process::startCommandAsUser(tellCommand(), nullptr, QWindow::AutomaticVisibility, home));
    QCOMPARE(QDir(waitForTold().value(u"directory"_s).toString()), QDir(directory));
}

void TestWindowsProcess::hiddenAndShown_data()
{
    QTest::addColumn<int>("visibility");
    QTest::addColumn<int>("startupFlags");
    QTest::addColumn<int>("show");
    QTest::newRow("hidden") << int(QWindow::Hidden) << 0 << 0;
    QTest::newRow("automatic") << int(QWindow::AutomaticVisibility) << 1 << 10;
    QTest::newRow("windowed") << int(QWindow::Windowed) << 0 << 1;
    QTest::newRow("minimized") << int(QWindow::Minimized) << 0 << 2;
    QTest::newRow("maximized") << int(QWindow::Maximized) << 0 << 3;
    QTest::newRow("full screen") << int(QWindow::FullScreen) << 0 << 3;
}

void TestWindowsProcess::hiddenAndShown()
{
    QFETCH(const int, visibility);
    QFETCH(const int, startupFlags);
    QFETCH(const int, show);
    QVERIFY(Process::startCommandDetached(tellCommand(), nullptr, static_cast<QWindow::Visibility>(visibility)));
    const QJsonObject told = waitForTold();
    QCOMPARE(told.value(u"startupFlags"_s).toInt(), startupFlags);
    QCOMPARE(told.value(u"show"_s).toInt(), show);
}

void TestWindowsProcess::programsThatAreNotThere_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("error");
    const std::pair<const char *, Way> ways[] = {{"detached", Way::Detached},
                                                 {"user, not elevated", Way::NotElevated},
                                                 {"user", Way::User},
                                                 {"restricted", Way::Restricted},
                                                 {"elevated", Way::Elevated}};
    for (const auto &[name, way] : ways) {
        QTest::addRow("%s", name) << way << quoted(m_folder.filePath(u"gone.exe"_s)) << u" error: 2"_s;
        QTest::addRow("%s, empty command", name) << way << QString() << u" error: "_s;
    }
    // Not for an administrator: the shell tells the user with a message, and waits.
}

void TestWindowsProcess::programsThatAreNotThere()
{
    QFETCH(const Way, way);
    QFETCH(const QString, command);
    QFETCH(const QString, error);
    if (!isWine() && way != Way::Detached && way != Way::NotElevated)
        return QTest::qSkip("wants the rights of a service, or asks the user", __FILE__, __LINE__);
    const ScopedWay scope(way);
    const LogCatcher log;
    qint64 pid = 99;
    QVERIFY(!start(way, command, &pid, QString(), false));
    QCOMPARE(pid, qint64(0));
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    // For no program at all the systems give different numbers.
    const bool hasError = command.isEmpty() ? warnings.first().contains(error) : warnings.first().endsWith(error);
    QVERIFY2(warnings.first().startsWith(u"[FAIL] can't start"_s) && hasError, qPrintable(warnings.first()));
}

void TestWindowsProcess::executeAsAdmin()
{
    if (!isWine())
        return QTest::qSkip("asks the user", __FILE__, __LINE__);
    const int code = Process::executeAsAdmin(m_program, {u"tell"_s, m_told, u"a b"_s}, QWindow::Hidden);
    QVERIFY2(code == 259 || code == 0, qPrintable(QString::number(code)));
    const QJsonObject told = waitForTold();
    QCOMPARE(told.value(u"elevated"_s).toBool(), true);
    QCOMPARE(told.value(u"arguments"_s).toArray().last().toString(), u"a b"_s);
}

void TestWindowsProcess::borrowedToken()
{
    const auto tokens = Platform::current()->tokens;
    const NativeHandle token = KvSecurity::restrictedUserToken();
    QVERIFY(token);
    QCOMPARE(tokens->isElevated(token), std::optional<bool>(false));
    const QByteArray sid = tokens->userSid(token).value_or(QByteArray());
    QVERIFY(!sid.isEmpty());
    QCOMPARE(sid, QByteArray(reinterpret_cast<const char *>(KvSecurity::userSid()), sid.size()));
}

void TestWindowsProcess::startsLeaveNothingOpen()
{
    constexpr int Rounds = 20;
    constexpr quint32 MostNewHandles = 2;
    const QString good = quoted(m_program) + u" exit 0"_s;
    const QString bad = quoted(m_folder.filePath(u"gone.exe"_s));
    const QList<Way> ways =
        isWine() ? QList<Way>{Way::Detached, Way::User, Way::Restricted, Way::Elevated} : QList<Way>{Way::Detached};
    quint32 handles = 0;
    // The first rounds only make what the system keeps.
    for (int round = 0; round < Rounds; ++round) {
        for (const Way way : ways) {
            const ScopedWay scope(way);
            const LogCatcher log;
            QVERIFY(start(way, good, nullptr, QString(), false));
            QVERIFY(!start(way, bad, nullptr, QString(), false));
        }
        if (round == 2)
            handles = ProcessUse::now().handles;
    }
    const quint32 now = ProcessUse::now().handles;
    QVERIFY2(now <= handles + MostNewHandles, qPrintable(u"%1 handles became %2"_s.arg(handles).arg(now)));
}

void TestWindowsProcess::childEnds_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<int>("expected");
    QTest::newRow("0") << u"0"_s << 0;
    QTest::newRow("7") << u"7"_s << 7;
    QTest::newRow("259") << u"259"_s << 259;
}

void TestWindowsProcess::childEnds()
{
    QFETCH(const QString, code);
    QFETCH(const int, expected);
    Process process;
    QSignalSpy exited(&process, &Process::exited);
    process.start(m_program, {u"wait"_s, u"50"_s, code});
    QVERIFY(process.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 1, Patience);
    QCOMPARE(exited.first(), QVariantList({expected, QVariant::fromValue(QProcess::NormalExit)}));
    QVERIFY(!process.isRunning());
}

void TestWindowsProcess::childIsKilled()
{
    Process process;
    QSignalSpy exited(&process, &Process::exited);
    process.start(m_program, {u"wait"_s, QString::number(Patience), u"0"_s});
    QVERIFY(process.waitForStarted(Patience));
    process.kill();
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 1, Patience);
    QCOMPARE(exited.first().at(1).value<QProcess::ExitStatus>(), QProcess::CrashExit);
}

void TestWindowsProcess::childOfTheChild()
{
    Process process;
    QSignalSpy exited(&process, &Process::exited);
    process.start(m_program, {u"spawn"_s, m_told});
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 1, Patience);
    QCOMPARE(exited.first().first().toInt(), 0);
    QVERIFY(QFile::exists(m_told));
    QVERIFY(waitForTold().value(u"processId"_s).toInteger() > 0);
}

void TestWindowsProcess::childInheritsNoHandles()
{
    const QString name = u"kv-test-event-%1"_s.arg(QCoreApplication::applicationPid());
    SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const UniqueHandle event(CreateEventW(&inheritable, TRUE, FALSE, wide(name)));
    QVERIFY(event);
    const QString value = QString::number(reinterpret_cast<quintptr>(event.get()));
    const QStringList arguments{u"handle"_s, value, name, m_told};
    const auto told = [this, &arguments](QProcess &process) {
        process.start(m_program, arguments);
        process.waitForFinished(Patience);
        QFile file(m_told);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    // Shows that there is something to inherit.
    QProcess plain;
    QCOMPARE(told(plain), QByteArray("inherited"));
    Process process;
    QCOMPARE(told(process), QByteArray("not inherited"));
}

void TestWindowsProcess::childHasACleanEnvironment()
{
    Process process;
    process.start(m_program, {u"tell"_s, m_told});
    QVERIFY(process.waitForFinished(Patience));
    const QJsonArray variables = waitForTold().value(u"environment"_s).toArray();
    QVERIFY(!variables.isEmpty());
    for (const QJsonValue &variable : variables) {
        const QString text = variable.toString();
        QVERIFY2(!text.startsWith(u"QT_"_s) && !text.startsWith(u"QML_"_s) && !text.startsWith(u"QSG_"_s),
                 qPrintable(text));
    }
    // This process has some of them.
    QVERIFY(qEnvironmentVariableIsSet("QT_QPA_PLATFORM"));
    QVERIFY(Process::startCommandDetached(tellCommand()));
    const QString all = QString::fromUtf8(QJsonDocument(waitForTold().value(u"environment"_s).toArray()).toJson());
    QVERIFY(all.contains(u"QT_QPA_PLATFORM="_s));
}

void TestWindowsProcess::launchesAScannedLink()
{
    const MenuPlatform platform;
    KvSecurity::forget();
    const QString arguments = u"tell "_s + quoted(m_told) + u" 夜"_s;
    QVERIFY(write(platform.path(u"common/Games/My game.lnk"_s), {m_program, arguments, {}, m_folder.path()}));
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList{u"My game"_s});
    QVERIFY(runner.context().allApps().first()->launch());
    const QJsonObject told = waitForTold();
    QCOMPARE(told.value(u"commandLine"_s).toString(), quoted(m_program) + u' ' + arguments);
    QCOMPARE(QDir(told.value(u"directory"_s).toString()), QDir(m_folder.path()));
    QCOMPARE(told.value(u"startupFlags"_s).toInt(), 0);
    QCOMPARE(told.value(u"show"_s).toInt(), 3);
    QCOMPARE(told.value(u"elevated"_s).toBool(), false);
    const QString environment = QString::fromUtf8(QJsonDocument(told.value(u"environment"_s).toArray()).toJson());
    QVERIFY(!environment.contains(u"KV_TEST_INHERITED"_s));
}

void TestWindowsProcess::launchesThroughTheLink_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << u"game"_s;
    QTest::newRow("blanks") << u"My game"_s;
    QTest::newRow("Unicode") << u"夜 🎮"_s;
    QTest::newRow("ampersand") << u"My game & more"_s;
    QTest::newRow("percent and caret") << u"100% ^ game"_s;
    QTest::newRow("parentheses") << u"My game (1)"_s;
}

void TestWindowsProcess::launchesThroughTheLink()
{
    QFETCH(const QString, name);
    if (isWine() && name.contains(u'夜'))
        return QTest::qSkip("this system's interpreter finds no link of such a name", __FILE__, __LINE__);
    const MenuPlatform menus;
    const auto platform = std::make_shared<Platform>(*Platform::current());
    platform->processes = std::make_shared<ReluctantProcesses>();
    Platform::setCurrent(platform);
    KvSecurity::forget();
    const QString program = menus.path(u"My program.exe"_s);
    QVERIFY(QFile::copy(m_program, program));
    const QString arguments = u"tell "_s + quoted(m_told) + u" \"from the link\""_s;
    const QString link = menus.path(u"common/%1.lnk"_s.arg(name));
    QVERIFY(write(link, {program, arguments, {}, {}}));
    ScanRunner runner;
    QVERIFY(runner.scan());
    const LogCatcher log;
    QVERIFY(runner.context().allApps().first()->launch());
    const QJsonObject told = waitForTold();
    QCOMPARE(told.value(u"arguments"_s).toArray().last().toString(), u"from the link"_s);
    const QStringList infos = log.texts(QtInfoMsg);
    QVERIFY2(infos.contains(u"[PROCESS] re-launch with link file: "_s + link), qPrintable(infos.join(u'\n')));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).first().endsWith(u"error: 193"_s));
}

void TestWindowsProcess::launchesTheShellOfAnAddress()
{
    ProgramInfo record;
    record.setTargetUrl(QUrl(u"https://example.invalid/meeting"_s));
    record.setShell(m_program);
    record.setArguments(u"tell "_s + quoted(m_told) + u" --url=https://example.invalid/meeting"_s);
    QVERIFY(record.launch());
    QCOMPARE(waitForTold().value(u"arguments"_s).toArray().last().toString(),
             u"--url=https://example.invalid/meeting"_s);
}

void TestWindowsProcess::launchesAnAddress()
{
    const ScopedProtocol protocol(tellCommand() + u" \"%1\""_s);
    if (!protocol.isThere())
        return QTest::qSkip("this user may not add a protocol", __FILE__, __LINE__);
    ProgramInfo record;
    record.setTargetUrl(QUrl(u"kvtest-address:meeting/7?a=%25"_s));
    QVERIFY(record.launch());
    QCOMPARE(waitForTold().value(u"arguments"_s).toArray().last().toString(), u"kvtest-address:meeting/7?a=%25"_s);
}

int main(int argc, char *argv[])
{
    // Only this one hands addresses to the system.
    qputenv("QT_QPA_PLATFORM", "windows");
    const QGuiApplication application(argc, argv);
    TestWindowsProcess test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_windowsprocess.moc"
