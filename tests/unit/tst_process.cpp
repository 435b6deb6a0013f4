#include "../support/FakeFiles.h"
#include "../support/FakeSession.h"
#include "../support/FakeStarts.h"
#include "../support/LogCatcher.h"
#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/portable/MachinePlatform.h"
#include "Process.h"

#include <QtCore/QFile>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QSaveFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <thread>
#include <tuple>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString Command = u"x.exe -a"_s;

/** The one option of this program as a child: it tells what it was given, and ends with 7. */
const QString TellOption = u"--tell"_s;
constexpr int ToldExitCode = 7;

/** What the child does: writes its variables into a file, or without one waits to be ended. */
int tellEnvironment(const QString &path)
{
    if (path.isEmpty()) {
        QThread::sleep(60);
        return 1;
    }
    QSaveFile file(path);
    const QStringList variables = QProcessEnvironment::systemEnvironment().toStringList();
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(variables.join(u'\n').toUtf8()) > 0;
    return isWritten && file.commit() ? ToldExitCode : 1;
}

QStringList readLines(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(u'\n') : QStringList();
}

constexpr quint32 ElevationRequired = 740;
constexpr quint32 AccessDenied = 5;

using StartCommand = bool (*)(const QString &, qint64 *, QWindow::Visibility, const QString &, bool);

/** The first calls of a fresh process that borrows a token: kim's processes are 4 (elevated) and 8. */
const QStringList Borrowing{u"own token 32"_s,
                            u"privilege SeImpersonatePrivilege"_s,
                            u"adjust own token 29 2"_s,
                            u"close own token"_s,
                            u"list 4096"_s,
                            u"open 4 1024"_s,
                            u"token of process 4 0x2000a"_s,
                            u"close process 4"_s,
                            u"elevation of token 4"_s,
                            u"close token 4"_s,
                            u"open 8 1024"_s,
                            u"token of process 8 0x2000a"_s,
                            u"close process 8"_s,
                            u"elevation of token 8"_s,
                            u"user of token 8"_s,
                            u"copy token 8 0x18b 2 1"_s,
                            u"close token 8"_s};

QString created(const QString &call, const QString &environment = u"block"_s)
{
    return u"%1 <x.exe -a> in <> flags 0x620 startup 1 show 10 environment %2"_s.arg(call, environment);
}

const QString RanAs = u"runas <x.exe> <-a> in <> mask 0x0 show 10"_s;

/** A start of a process that was created, without the calls that opened its tokens. */
QStringList closing(const QStringList &tokens)
{
    return QStringList{u"close block"_s, u"close thread"_s, u"close process"_s} + tokens;
}

QStringList marked(const LogCatcher &log)
{
    QStringList texts;
    for (const LogCatcher::Line &line : log.lines()) {
        const char mark = line.type == QtWarningMsg ? 'W' : line.type == QtInfoMsg ? 'I' : '?';
        if (!line.text.startsWith(u"[KvSecurity]"))
            texts.append(QLatin1Char(mark) + u" "_s + line.text);
    }
    return texts;
}

const QString Detached = u"I [PROCESS] start detached: x.exe -a home: "_s;
const QString AsUser = u"I [PROCESS] start as user: x.exe -a home:  user: kim"_s;
const QString AsElevated = u"I [PROCESS] start as elevated: x.exe -a home:  user: kim"_s;
const QString AsRestricted = u"I [PROCESS] start as restricted: x.exe -a home:  user: kim"_s;
const QString AsAdmin = u"I [PROCESS] start as admin: x.exe -a home: "_s;

} // namespace

/** The chain over fakes that tell every call, and the child of an object for real. */
class TestProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void chain_data();
    void chain();
    void cycle_data();
    void cycle();
    void ids_data();
    void ids();
    void environments_data();
    void environments();
    void failedBlockIsNoError();
    void failedOwnTokenIsNoErrorForTheBlock();
    void visibilities_data();
    void visibilities();
    void workingDirectories_data();
    void workingDirectories();
    void commandLines_data();
    void commandLines();
    void listFormsCallTheirCommandForms();
    void splitting_data();
    void splitting();
    void executing_data();
    void executing();
    void startsFromManyThreads();

    void childTellsItsEnd();
    void childThatCannotStart();
    void cleanEnvironment();
    void cleanEnvironmentIsMadeOnce();

private:
    std::unique_ptr<FakeProcesses> m_tokens;
    std::unique_ptr<FakeStarts> m_starts;
    std::shared_ptr<FakeSession> m_session;
    std::shared_ptr<FakeFiles> m_files;
    std::unique_ptr<LogCatcher> m_log;
};

void TestProcess::init()
{
    m_tokens = std::make_unique<FakeProcesses>();
    m_starts = std::make_unique<FakeStarts>(*m_tokens);
    m_session = std::make_shared<FakeSession>();
    m_files = std::make_shared<FakeFiles>();
    m_session->number = 3;
    m_session->elevated = true;
    m_session->signIn(u"kim"_s, FakeSession::sid('k'), u"S-1-5-7"_s);
    m_tokens->processes = {{4, FakeSession::sid('k'), true}, {8, FakeSession::sid('k'), false}};
    const auto platform = std::make_shared<KvPlatform::Platform>();
    platform->files = m_files;
    platform->session = m_session;
    // Not owned, so that what is still open at the end of a test can be counted.
    platform->tokens = std::shared_ptr<KvPlatform::Tokens>(std::shared_ptr<void>(), m_tokens.get());
    platform->processes = std::shared_ptr<KvPlatform::Processes>(std::shared_ptr<void>(), m_starts.get());
    KvPlatform::Platform::setCurrent(platform);
    KvSecurity::forget();
    m_log = std::make_unique<LogCatcher>();
}

void TestProcess::cleanup()
{
    m_log.reset();
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
    QCOMPARE(m_starts->openHandles(), 0);
    QCOMPARE(m_tokens->openHandles(), 0);
}

void TestProcess::chain_data()
{
    QTest::addColumn<StartCommand>("startCommand");
    QTest::addColumn<bool>("isElevated");
    QTest::addColumn<quint32>("sessionError");
    QTest::addColumn<quint32>("linkedError");
    QTest::addColumn<quint32>("ownError");
    QTest::addColumn<bool>("canBorrow");
    QTest::addColumn<QList<quint32>>("startErrors");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QStringList>("lines");

    const StartCommand detached = &Process::startCommandDetached;
    const StartCommand user = &Process::startCommandAsUser;
    const StartCommand elevated = &Process::startCommandAsUserElevated;
    const QList<quint32> good;
    const QString noPrivilege = u"W [PROCESS] no enough privilege, create as normal process instead: x.exe -a"_s;

    const QStringList detachedCalls =
        QStringList{u"own token 131080"_s, u"block of own token 0"_s, created(u"create"_s)} +
        closing({u"close own token"_s});
    const QStringList refusedDetached{u"own token 131080"_s, u"block of own token 0"_s, created(u"create"_s),
                                      u"close block"_s, u"close own token"_s};
    const QStringList adminCalls{RanAs};
    const QStringList sessionToken{u"token of session 3"_s};
    const QStringList userHead{u"token of session 3"_s, u"block of user token 0"_s, created(u"create as user token"_s)};
    const QStringList userCalls = userHead + closing({u"close user token"_s});
    const QStringList refusedUser = userHead + QStringList{u"close block"_s, u"close user token"_s};
    const QStringList elevatedHead{u"token of session 3"_s, u"link of user token"_s, u"block of user token 0"_s,
                                   created(u"create as linked token"_s)};
    const QStringList elevatedClosing{u"close linked token"_s, u"close user token"_s};
    const QStringList notLinked{u"token of session 3"_s, u"link of user token"_s, u"close user token"_s};
    const QStringList restrictedHead =
        QStringList{u"own token 131082"_s} + Borrowing +
        QStringList{u"block of own token 0"_s, created(u"create with copy of token 8 0"_s)};
    const QStringList restrictedClosing{u"close copy of token 8"_s, u"close own token"_s};
    const QStringList notBorrowed =
        QStringList{u"own token 131082"_s} + Borrowing.first(5) + QStringList{u"close own token"_s};

    QTest::newRow("detached") << detached << true << 0U << 0U << 0U << true << good << detachedCalls
                              << QStringList{Detached};
    QTest::newRow("detached, 740: admin")
        << detached << true << 0U << 0U << 0U << true << QList<quint32>{ElevationRequired}
        << refusedDetached + adminCalls << QStringList{AsAdmin};
    QTest::newRow("detached, 740: admin, 1223")
        << detached << true << 0U << 0U << 0U << true << QList<quint32>{ElevationRequired, 1223}
        << refusedDetached + QStringList{RanAs}
        << QStringList{u"W [FAIL] can't start as admin: x.exe -a home:  error: 1223"_s};
    QTest::newRow("detached, other error")
        << detached << true << 0U << 0U << 0U << true << QList<quint32>{2} << refusedDetached
        << QStringList{u"W [FAIL] can't start detached: x.exe -a home:  error: 2"_s};

    QTest::newRow("user, not elevated: detached")
        << user << false << 0U << 0U << 0U << true << good << detachedCalls << QStringList{Detached};
    QTest::newRow("user") << user << true << 0U << 0U << 0U << true << good << userCalls << QStringList{AsUser};
    QTest::newRow("user, other error") << user << true << 0U << 0U << 0U << true << QList<quint32>{AccessDenied}
                                       << refusedUser
                                       << QStringList{
                                              u"W [FAIL] can't start as user: x.exe -a home:  user: kim error: 5"_s};
    QTest::newRow("user, 740: elevated") << user << true << 0U << 0U << 0U << true << QList<quint32>{ElevationRequired}
                                         << refusedUser + elevatedHead + closing(elevatedClosing)
                                         << QStringList{AsElevated};
    QTest::newRow("user, no session token: restricted")
        << user << true << 1314U << 0U << 0U << true << good
        << sessionToken + restrictedHead + closing(restrictedClosing) << QStringList{AsRestricted};

    QTest::newRow("restricted, no own token: detached")
        << user << true << 1314U << 0U << 6U << true << good
        << sessionToken +
               QStringList{u"own token 131082"_s, u"own token 131080"_s, u"block of nothing 0"_s,
                           created(u"create"_s)} +
               closing({})
        << QStringList{u"W [FAIL] can't get current process token, err: 6"_s, Detached};
    QTest::newRow("restricted, nothing to borrow: detached")
        << user << true << 1314U << 0U << 0U << false << good << sessionToken + notBorrowed + detachedCalls
        << QStringList{Detached};
    QTest::newRow("restricted, 740: detached")
        << user << true << 1314U << 0U << 0U << true << QList<quint32>{ElevationRequired}
        << sessionToken + restrictedHead + QStringList{u"close block"_s} + restrictedClosing + detachedCalls
        << QStringList{Detached};
    QTest::newRow("restricted, 740: detached, 740: admin")
        << user << true << 1314U << 0U << 0U << true << QList<quint32>{ElevationRequired, ElevationRequired}
        << sessionToken + restrictedHead + QStringList{u"close block"_s} + restrictedClosing + refusedDetached +
               adminCalls
        << QStringList{AsAdmin};
    QTest::newRow("restricted, other error")
        << user << true << 1314U << 0U << 0U << true << QList<quint32>{1326}
        << sessionToken + restrictedHead + QStringList{u"close block"_s} + restrictedClosing
        << QStringList{u"W [FAIL] can't start as restricted: x.exe -a home:  user: kim error: 1326"_s};

    QTest::newRow("elevated, not elevated: detached")
        << elevated << false << 0U << 0U << 0U << true << good << detachedCalls << QStringList{noPrivilege, Detached};
    QTest::newRow("elevated, no session token: detached")
        << elevated << true << 1008U << 0U << 0U << true << good << sessionToken + detachedCalls
        << QStringList{u"W [FAIL] can't query logon user token, err: 1008"_s, Detached};
    QTest::newRow("elevated, no linked token: user")
        << elevated << true << 0U << 1312U << 0U << true << good << notLinked + userCalls
        << QStringList{u"W [FAIL] can't get user linked token, err: 1312"_s, AsUser};
    QTest::newRow("elevated") << elevated << true << 0U << 0U << 0U << true << good
                              << elevatedHead + closing(elevatedClosing) << QStringList{AsElevated};
    QTest::newRow("elevated, 740 is an error like any")
        << elevated << true << 0U << 0U << 0U << true << QList<quint32>{ElevationRequired}
        << elevatedHead + QStringList{u"close block"_s} + elevatedClosing
        << QStringList{u"W [FAIL] can't start as elevated: x.exe -a home:  user: kim error: 740"_s};
}

void TestProcess::chain()
{
    QFETCH(const StartCommand, startCommand);
    QFETCH(const bool, isElevated);
    QFETCH(const quint32, sessionError);
    QFETCH(const quint32, linkedError);
    QFETCH(const quint32, ownError);
    QFETCH(const bool, canBorrow);
    QFETCH(const QList<quint32>, startErrors);
    QFETCH(const QStringList, calls);
    QFETCH(const QStringList, lines);
    m_session->elevated = isElevated;
    m_tokens->sessionTokenError = sessionError;
    m_tokens->linkedTokenError = linkedError;
    m_tokens->ownTokenError = ownError;
    m_starts->errors = startErrors;
    if (!canBorrow)
        m_tokens->processes.clear();
    const bool expected = lines.last().startsWith(u'I');
    QCOMPARE(startCommand(Command, nullptr, QWindow::AutomaticVisibility, QString(), false), expected);
    QCOMPARE(m_tokens->calls.take(), calls);
    QCOMPARE(marked(*m_log), lines);
    QVERIFY(m_starts->openedHandles() > 0);
}

void TestProcess::cycle_data()
{
    QTest::addColumn<StartCommand>("startCommand");
    QTest::addColumn<int>("rounds");
    QTest::addColumn<quint32>("lastError");
    QTest::addColumn<QString>("lastLine");
    const QString failed = u"W [FAIL] can't start as user: x.exe -a home:  user: kim error: 5"_s;
    QTest::newRow("ends well") << StartCommand(&Process::startCommandAsUser) << 100 << 0U << AsUser;
    QTest::newRow("ends badly") << StartCommand(&Process::startCommandAsUser) << 7 << AccessDenied << failed;
    QTest::newRow("from the other") << StartCommand(&Process::startCommandAsUserElevated) << 7 << 0U << AsUser;
}

/** A program that demands elevation, for a user who has no other token: both functions go on calling each other. */
void TestProcess::cycle()
{
    QFETCH(const StartCommand, startCommand);
    QFETCH(const int, rounds);
    QFETCH(const quint32, lastError);
    QFETCH(const QString, lastLine);
    m_tokens->sessionTokenError = 0;
    m_starts->errors = QList<quint32>(rounds, ElevationRequired) + QList<quint32>{lastError};
    QCOMPARE(startCommand(Command, nullptr, QWindow::AutomaticVisibility, QString(), false), lastError == 0);
    QCOMPARE(m_starts->starts(), rounds + 1);
    const int unlinked = rounds + (startCommand == &Process::startCommandAsUserElevated ? 1 : 0);
    QCOMPARE(marked(*m_log),
             QStringList(unlinked, u"W [FAIL] can't get user linked token, err: 1312"_s) + QStringList{lastLine});
    const QStringList calls = m_tokens->calls.take();
    QCOMPARE(calls.count(u"link of user token"_s), qsizetype(unlinked));
    QCOMPARE(calls.count(u"close user token"_s), calls.count(u"token of session 3"_s));
}

void TestProcess::ids_data()
{
    QTest::addColumn<StartCommand>("startCommand");
    QTest::addColumn<bool>("hasSessionToken");
    QTest::addColumn<QList<quint32>>("errors");
    QTest::addColumn<bool>("hasProcess");
    QTest::addColumn<qint64>("expected");
    const StartCommand admin = [](const QString &command, qint64 *pid, QWindow::Visibility visibility,
                                  const QString &home,
                                  bool) { return Process::startCommandAsAdmin(command, pid, visibility, home); };
    const std::tuple<const char *, StartCommand, bool> ways[] = {
        {"detached", &Process::startCommandDetached, true},
        {"user", &Process::startCommandAsUser, true},
        {"restricted", &Process::startCommandAsUser, false},
        {"elevated", &Process::startCommandAsUserElevated, true},
        {"admin", admin, true}};
    for (const auto &[name, function, hasToken] : ways) {
        QTest::addRow("%s", name) << function << hasToken << QList<quint32>{} << true << qint64(FakeStarts::ProcessId);
        QTest::addRow("%s, failed", name) << function << hasToken << QList<quint32>{2} << true << qint64(0);
        QTest::addRow("%s, no handle", name) << function << hasToken << QList<quint32>{} << false << qint64(0);
    }
    QTest::newRow("detached, handed over")
        << StartCommand(&Process::startCommandDetached) << true << QList<quint32>{ElevationRequired} << true
        << qint64(FakeStarts::ProcessId);
    QTest::newRow("detached, handed over, failed") << StartCommand(&Process::startCommandDetached) << true
                                                   << QList<quint32>{ElevationRequired, 1223} << true << qint64(0);
}

void TestProcess::ids()
{
    QFETCH(const StartCommand, startCommand);
    QFETCH(const bool, hasSessionToken);
    QFETCH(const QList<quint32>, errors);
    QFETCH(const bool, hasProcess);
    QFETCH(const qint64, expected);
    m_tokens->sessionTokenError = hasSessionToken ? 0 : 1314;
    m_tokens->linkedTokenError = 0;
    m_starts->errors = errors;
    m_starts->hasProcess = hasProcess;
    qint64 pid = 99;
    startCommand(Command, &pid, QWindow::AutomaticVisibility, QString(), true);
    QCOMPARE(pid, expected);
}

void TestProcess::environments_data()
{
    QTest::addColumn<StartCommand>("startCommand");
    QTest::addColumn<bool>("hasSessionToken");
    QTest::addColumn<QStringList>("calls");
    const QStringList closed{u"close thread"_s, u"close process"_s};
    const QString inherited = u"inherited"_s;
    QTest::newRow("detached") << StartCommand(&Process::startCommandDetached) << true
                              << QStringList{created(u"create"_s, inherited)} + closed;
    QTest::newRow("user") << StartCommand(&Process::startCommandAsUser) << true
                          << QStringList{u"token of session 3"_s, created(u"create as user token"_s, inherited)} +
                                 closed + QStringList{u"close user token"_s};
    QTest::newRow("elevated") << StartCommand(&Process::startCommandAsUserElevated) << true
                              << QStringList{u"token of session 3"_s, u"link of user token"_s,
                                             created(u"create as linked token"_s, inherited)} +
                                     closed + QStringList{u"close linked token"_s, u"close user token"_s};
    QTest::newRow("restricted") << StartCommand(&Process::startCommandAsUser) << false
                                << QStringList{u"token of session 3"_s, u"own token 131082"_s} + Borrowing +
                                       QStringList{created(u"create with copy of token 8 0"_s, inherited)} + closed +
                                       QStringList{u"close copy of token 8"_s, u"close own token"_s};
}

void TestProcess::environments()
{
    QFETCH(const StartCommand, startCommand);
    QFETCH(const bool, hasSessionToken);
    QFETCH(const QStringList, calls);
    m_tokens->sessionTokenError = hasSessionToken ? 0 : 1314;
    m_tokens->linkedTokenError = 0;
    QVERIFY(startCommand(Command, nullptr, QWindow::AutomaticVisibility, QString(), true));
    QCOMPARE(m_tokens->calls.take(), calls);
}

void TestProcess::failedBlockIsNoError()
{
    m_starts->hasBlock = false;
    QVERIFY(Process::startCommandDetached(Command, nullptr, QWindow::AutomaticVisibility, QString(), false));
    QCOMPARE(m_tokens->calls.take(),
             QStringList({u"own token 131080"_s, u"block of own token 0"_s, created(u"create"_s, u"inherited"_s),
                          u"close thread"_s, u"close process"_s, u"close own token"_s}));
    QCOMPARE(marked(*m_log), QStringList{Detached});
}

void TestProcess::failedOwnTokenIsNoErrorForTheBlock()
{
    m_tokens->ownTokenError = 5;
    QVERIFY(Process::startCommandDetached(Command, nullptr, QWindow::AutomaticVisibility, QString(), false));
    QVERIFY(m_tokens->calls.take().contains(u"block of nothing 0"_s));
    QCOMPARE(marked(*m_log), QStringList{Detached});
}

void TestProcess::visibilities_data()
{
    QTest::addColumn<int>("visibility");
    QTest::addColumn<QString>("flags");
    QTest::addColumn<int>("startup");
    QTest::addColumn<int>("show");
    QTest::newRow("Hidden") << int(QWindow::Hidden) << u"8000620"_s << 0 << 0;
    QTest::newRow("AutomaticVisibility") << int(QWindow::AutomaticVisibility) << u"620"_s << 1 << 10;
    QTest::newRow("Windowed") << int(QWindow::Windowed) << u"620"_s << 0 << 1;
    QTest::newRow("Minimized") << int(QWindow::Minimized) << u"620"_s << 0 << 2;
    QTest::newRow("Maximized") << int(QWindow::Maximized) << u"620"_s << 0 << 3;
    QTest::newRow("FullScreen") << int(QWindow::FullScreen) << u"620"_s << 0 << 3;
    QTest::newRow("6") << 6 << u"620"_s << 0 << 10;
    QTest::newRow("7") << 7 << u"620"_s << 0 << 10;
}

void TestProcess::visibilities()
{
    QFETCH(const int, visibility);
    QFETCH(const QString, flags);
    QFETCH(const int, startup);
    QFETCH(const int, show);
    const auto wanted = static_cast<QWindow::Visibility>(visibility);
    m_tokens->sessionTokenError = 0;
    m_tokens->linkedTokenError = 0;
    const QString record =
        u" <x.exe -a> in <> flags 0x%1 startup %2 show %3 environment inherited"_s.arg(flags).arg(startup).arg(show);
    QVERIFY(Process::startCommandDetached(Command, nullptr, wanted, QString(), true));
    QVERIFY(m_tokens->calls.take().contains(u"create"_s + record));
    QVERIFY(Process::startCommandAsUser(Command, nullptr, wanted, QString(), true));
    QVERIFY(m_tokens->calls.take().contains(u"create as user token"_s + record));
    QVERIFY(Process::startCommandAsUserElevated(Command, nullptr, wanted, QString(), true));
    QVERIFY(m_tokens->calls.take().contains(u"create as linked token"_s + record));
    m_tokens->sessionTokenError = 1314;
    QVERIFY(Process::startCommandAsUser(Command, nullptr, wanted, QString(), true));
    QVERIFY(m_tokens->calls.take().contains(u"create with copy of token 8 0"_s + record));
    QVERIFY(Process::startCommandAsAdmin(Command, nullptr, wanted));
    QCOMPARE(m_starts->shellStarts.last().showCommand, show);
    QCOMPARE(Process::executeCommandAsAdmin(Command, wanted), 259);
    QCOMPARE(m_starts->shellStarts.last().showCommand, show);
}

void TestProcess::workingDirectories_data()
{
    QTest::addColumn<QString>("home");
    QTest::addColumn<QString>("directory");
    QTest::newRow("none") << QString() << QString();
    QTest::newRow("missing") << u"C:/Gone"_s << QString();
    QTest::newRow("there") << u"C:/My Games/夜"_s << u"C:\\My Games\\夜"_s;
    QTest::newRow("there, with backslashes") << u"C:\\Games"_s << u"C:\\Games"_s;
}

void TestProcess::workingDirectories()
{
    QFETCH(const QString, home);
    QFETCH(const QString, directory);
    m_files->existing = {u"C:/My Games/夜"_s, u"C:\\Games"_s};
    m_tokens->sessionTokenError = 0;
    const auto startedThere = [this, &directory] {
        return !m_tokens->calls.take().filter(u" in <"_s + directory + u"> "_s).isEmpty();
    };
    constexpr auto Automatic = QWindow::AutomaticVisibility;
    QVERIFY(Process::startCommandDetached(Command, nullptr, Automatic, home));
    QVERIFY(startedThere());
    QVERIFY(Process::startCommandAsUser(Command, nullptr, Automatic, home));
    QVERIFY(startedThere());
    m_tokens->sessionTokenError = 1314;
    QVERIFY(Process::startCommandAsUser(Command, nullptr, Automatic, home));
    QVERIFY(startedThere());
    QVERIFY(Process::startCommandAsAdmin(Command, nullptr, Automatic, home));
    QVERIFY(startedThere());
    QCOMPARE(Process::executeCommandAsAdmin(Command, Automatic, home), 259);
    QVERIFY(startedThere());
    QCOMPARE(marked(*m_log),
             QStringList({u"I [PROCESS] start detached: x.exe -a home: "_s + directory,
                          u"I [PROCESS] start as user: x.exe -a home: %1 user: kim"_s.arg(directory),
                          u"I [PROCESS] start as restricted: x.exe -a home: %1 user: kim"_s.arg(directory),
                          u"I [PROCESS] start as admin: x.exe -a home: "_s + directory,
                          u"I [PROCESS] execute command: x.exe -a home: "_s + directory}));
}

void TestProcess::commandLines_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("command");
    const QString x = u"x.exe"_s;
    const QStringList none;
    const QString longText(32'000, u'n');
    QTest::newRow("nothing") << QString() << none << QString();
    QTest::newRow("only an argument") << QString() << QStringList{u"a"_s} << u"a"_s;
    QTest::newRow("only empty arguments") << QString() << QStringList{QString(), QString()} << QString();
    QTest::newRow("program") << x << none << x;
    QTest::newRow("bare") << x << QStringList{u"a"_s} << u"x.exe a"_s;
    QTest::newRow("blank") << x << QStringList{u"a b"_s} << u"x.exe \"a b\""_s;
    QTest::newRow("in quotes already") << x << QStringList{u"\"a b\""_s} << u"x.exe \"a b\""_s;
    QTest::newRow("quote in front only") << x << QStringList{u"\"a b"_s} << u"x.exe \"a b"_s;
    QTest::newRow("quote within") << x << QStringList{u"a\"b"_s} << u"x.exe a\"b"_s;
    QTest::newRow("quote and blank within") << x << QStringList{u"a \"b\" c"_s} << u"x.exe \"a \"b\" c\""_s;
    QTest::newRow("only a quote") << x << QStringList{u"\""_s} << u"x.exe \""_s;
    QTest::newRow("only a blank") << x << QStringList{u" "_s} << u"x.exe \" \""_s;
    QTest::newRow("backslash at the end") << x << QStringList{u"C:\\d\\"_s} << u"x.exe C:\\d\\"_s;
    QTest::newRow("blank, backslash at the end") << x << QStringList{u"C:\\a b\\"_s} << u"x.exe \"C:\\a b\\\""_s;
    QTest::newRow("backslash and quote") << x << QStringList{u"a\\\" b"_s} << u"x.exe \"a\\\" b\""_s;
    QTest::newRow("empty last") << x << QStringList{QString()} << u"x.exe "_s;
    QTest::newRow("empty between") << x << QStringList{u"a"_s, QString(), u"b"_s} << u"x.exe a  b"_s;
    QTest::newRow("slashes") << u"C:/dir/x.exe"_s << QStringList{u"/f"_s, u"a/b"_s} << u"C:\\dir\\x.exe /f a/b"_s;
    QTest::newRow("program with a blank") << u"C:/a b/x.exe"_s << QStringList{u"-v"_s} << u"\"C:\\a b\\x.exe\" -v"_s;
    QTest::newRow("program in quotes") << u"\"C:/a b/x.exe\""_s << none << u"\"C:\\a b\\x.exe\""_s;
    QTest::newRow("percent") << x << QStringList{u"%PATH%"_s, u"50 %"_s} << u"x.exe %PATH% \"50 %\""_s;
    QTest::newRow("carets") << x << QStringList{u"a^b"_s, u"a ^& b"_s} << u"x.exe a^b \"a ^& b\""_s;
    QTest::newRow("new lines") << x << QStringList{u"a\nb"_s, u"a b\r\nc"_s} << u"x.exe a\nb \"a b\r\nc\""_s;
    QTest::newRow("tab is no blank") << x << QStringList{u"a\tb"_s} << u"x.exe a\tb"_s;
    QTest::newRow("other spaces are no blank") << x << QStringList{u"a\u00a0b\u3000c"_s} << u"x.exe a\u00a0b\u3000c"_s;
    QTest::newRow("beyond the BMP") << u"C:/夜 𠮷/🎮.exe"_s << QStringList{u"🎮"_s, u"🎮 𠮷"_s}
                                    << u"\"C:\\夜 𠮷\\🎮.exe\" 🎮 \"🎮 𠮷\""_s;
    QTest::newRow("long") << x << QStringList{longText} << u"x.exe "_s + longText;
    QTest::newRow("long with blanks") << x << QStringList{longText + u" z"_s} << u"x.exe \""_s + longText + u" z\""_s;
    QTest::newRow("many") << x << QStringList(16'000, u"a"_s) << x + u" a"_s.repeated(16'000);
}

void TestProcess::commandLines()
{
    QFETCH(const QString, program);
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, command);
    QVERIFY(Process::startDetached(program, arguments));
    QCOMPARE(m_tokens->calls.take().first(),
             u"create <"_s + command + u"> in <> flags 0x620 startup 1 show 10 environment inherited"_s);
}

void TestProcess::listFormsCallTheirCommandForms()
{
    m_tokens->sessionTokenError = 0;
    m_tokens->linkedTokenError = 0;
    m_files->existing = {u"C:/home"_s};
    const QStringList arguments{u"a b"_s};
    const QString record = u" <C:\\x.exe \"a b\"> in <C:\\home> flags 0x620 startup 0 show 2 environment "_s;
    constexpr auto Minimized = QWindow::Minimized;
    const QString home = u"C:/home"_s;
    qint64 pid = 0;
    const auto calledWithId = [this, &pid](const QString &call) {
        const bool hasId = std::exchange(pid, 0) == FakeStarts::ProcessId;
        return m_tokens->calls.take().contains(call) && hasId;
    };
    QVERIFY(Process::startDetached(u"C:/x.exe"_s, arguments, &pid, Minimized, home, true));
    QVERIFY(calledWithId(u"create"_s + record + u"inherited"_s));
    QVERIFY(Process::startAsUser(u"C:/x.exe"_s, arguments, &pid, Minimized, home, false));
    QVERIFY(calledWithId(u"create as user token"_s + record + u"block"_s));
    QVERIFY(Process::startAsUserElevated(u"C:/x.exe"_s, arguments, &pid, Minimized, home, false));
    QVERIFY(calledWithId(u"create as linked token"_s + record + u"block"_s));
    QVERIFY(Process::startAsAdmin(u"C:/x.exe"_s, arguments, &pid, Minimized, home));
    QVERIFY(calledWithId(u"runas <C:\\x.exe> <\"a b\"> in <C:\\home> mask 0x40 show 2"_s));
    QCOMPARE(Process::executeAsAdmin(u"C:/x.exe"_s, arguments, Minimized, home), 259);
    QCOMPARE(m_tokens->calls.take().first(),
             u"runas <cmd.exe> </S /C \"C:\\x.exe \"a b\"\"> in <C:\\home> mask 0x140 show 2"_s);
}

void TestProcess::splitting_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("parameters");
    const QString longText(32'000, u'n');
    QTest::newRow("quoted") << u"\"C:\\a b\\x.exe\" -v"_s << u"C:\\a b\\x.exe"_s << u"-v"_s;
    QTest::newRow("bare") << u"x.exe -a \"b c\""_s << u"x.exe"_s << u"-a \"b c\""_s;
    QTest::newRow("no blank") << u"C:\\x.exe"_s << u"C:\\x.exe"_s << QString();
    QTest::newRow("blank at the end") << u"x.exe "_s << u"x.exe"_s << QString();
    QTest::newRow("two blanks") << u"x.exe  -a"_s << u"x.exe"_s << u" -a"_s;
    QTest::newRow("blank in front") << u" x.exe -a"_s << QString() << u"x.exe -a"_s;
    QTest::newRow("only quoted") << u"\"a b\""_s << u"a b"_s << QString();
    QTest::newRow("quoted, blank at the end") << u"\"a b\" "_s << u"a b"_s << QString();
    QTest::newRow("one character behind the quote is lost") << u"\"a b\"-v"_s << u"a b"_s << u"v"_s;
    QTest::newRow("no closing quote") << u"\"a b -v"_s << u"a b -v"_s << QString();
    QTest::newRow("only a quote") << u"\""_s << QString() << QString();
    QTest::newRow("two quotes") << u"\"\""_s << QString() << QString();
    QTest::newRow("empty quotes") << u"\"\" -v"_s << QString() << u"-v"_s;
    QTest::newRow("three quotes") << u"\"a\"b\" c"_s << u"a"_s << u"\" c"_s;
    QTest::newRow("quote later") << u"a\"b c\" d"_s << u"a\"b"_s << u"c\" d"_s;
    QTest::newRow("tab") << u"a\tb c"_s << u"a\tb"_s << u"c"_s;
    QTest::newRow("new line") << u"a\nb c\nd"_s << u"a\nb"_s << u"c\nd"_s;
    QTest::newRow("beyond the BMP") << u"\"🎮 𠮷\" 🎮"_s << u"🎮 𠮷"_s << u"🎮"_s;
    QTest::newRow("nothing") << QString() << QString() << QString();
    QTest::newRow("long") << u"\""_s + longText + u"\" "_s + longText << longText << longText;
}

void TestProcess::splitting()
{
    QFETCH(const QString, command);
    QFETCH(const QString, file);
    QFETCH(const QString, parameters);
    QVERIFY(Process::startCommandAsAdmin(command));
    QCOMPARE(m_starts->shellStarts.size(), 1);
    const KvPlatform::ShellStart &start = m_starts->shellStarts.first();
    QCOMPARE(start.verb, u"runas"_s);
    QCOMPARE(start.file, file);
    QCOMPARE(start.parameters, parameters);
    QCOMPARE(start.mask, 0U);
    QCOMPARE(marked(*m_log), QStringList{u"I [PROCESS] start as admin: "_s + command + u" home: "_s});
}

void TestProcess::executing_data()
{
    QTest::addColumn<quint32>("error");
    QTest::addColumn<bool>("hasProcess");
    QTest::addColumn<bool>("hasCode");
    QTest::addColumn<quint32>("code");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("line");
    const QString good = u"I [PROCESS] execute command: x.exe -a home: "_s;
    const QString refused = u"W [FAIL] can't execute command: x.exe -a home:  error: 1223"_s;
    QTest::newRow("running") << 0U << true << true << 259U << 259 << good;
    QTest::newRow("ended") << 0U << true << true << 0U << 0 << good;
    QTest::newRow("ended badly") << 0U << true << true << 0xC0000005U << -1073741819 << good;
    QTest::newRow("no handle") << 0U << false << true << 0U << -1 << good;
    QTest::newRow("no exit code") << 0U << true << false << 0U << -1 << good;
    QTest::newRow("declined") << 1223U << true << true << 0U << -2 << refused;
}

void TestProcess::executing()
{
    QFETCH(const quint32, error);
    QFETCH(const bool, hasProcess);
    QFETCH(const bool, hasCode);
    QFETCH(const quint32, code);
    QFETCH(const int, result);
    QFETCH(const QString, line);
    m_starts->errors = {error};
    m_starts->hasProcess = hasProcess;
    m_starts->code = hasCode ? std::optional<quint32>(code) : std::nullopt;
    QCOMPARE(Process::executeCommandAsAdmin(Command), result);
    QCOMPARE(marked(*m_log), QStringList{line});
    const QString asked = u"runas <cmd.exe> </S /C \"x.exe -a\"> in <> mask 0x140 show 10"_s;
    const QStringList read{u"exit code of process"_s, u"close process"_s};
    QCOMPARE(m_tokens->calls.take(), QStringList{asked} + (error == 0 && hasProcess ? read : QStringList()));
}

void TestProcess::startsFromManyThreads()
{
    m_tokens->sessionTokenError = 0;
    constexpr int Threads = 4;
    constexpr int Rounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < Rounds; ++round)
                Process::startAsUser(u"C:/x.exe"_s, {u"a b"_s}, nullptr, QWindow::Hidden, u"C:/gone"_s, false);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(m_starts->starts(), Threads * Rounds);
    QCOMPARE(m_log->texts(QtWarningMsg), QStringList());
}

void TestProcess::childTellsItsEnd()
{
    QTemporaryDir folder;
    Process process;
    QVERIFY(!process.isRunning());
    QSignalSpy exited(&process, &Process::exited);
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QCoreApplication::applicationFilePath(), {TellOption, folder.filePath(u"told"_s)},
                  QIODeviceBase::ReadOnly);
    QVERIFY(process.isRunning());
    QCOMPARE(process.openMode(), QIODeviceBase::ReadOnly);
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 1, 60'000);
    QCOMPARE(exited.first(), finished.first());
    QCOMPARE(exited.first().at(0).toInt(), ToldExitCode);
    QCOMPARE(exited.first().at(1).value<QProcess::ExitStatus>(), QProcess::NormalExit);
    QVERIFY(!process.isRunning());

    process.start(QCoreApplication::applicationFilePath(), {TellOption});
    QVERIFY(process.waitForStarted(60'000));
    process.kill();
    QTRY_COMPARE_WITH_TIMEOUT(exited.size(), 2, 60'000);
    QCOMPARE(exited.last().at(1).value<QProcess::ExitStatus>(), QProcess::CrashExit);
}

void TestProcess::childThatCannotStart()
{
    Process process;
    QSignalSpy exited(&process, &Process::exited);
    process.start(u"kv-no-such-program"_s);
    QVERIFY(!process.waitForStarted(60'000));
    QVERIFY(!process.isRunning());
    QCOMPARE(exited.size(), 0);
}

void TestProcess::cleanEnvironment()
{
    const QStringList dropped{u"QT_KV_TEST=1"_s, u"QML_KV_TEST=1"_s, u"QSG_KV_TEST=1"_s};
    const QStringList kept{u"KV_QT_TEST=1"_s, u"QTKV_TEST=1"_s, u"qml_kv_lower=1"_s, u"QS_KV_TEST=1"_s};
    QTemporaryDir folder;
    const QString child = folder.filePath(u"child"_s);
    Process process;
    process.start(QCoreApplication::applicationFilePath(), {TellOption, child});
    QVERIFY(process.waitForFinished(60'000));
    const QStringList seen = readLines(child);
    for (const QString &variable : kept)
        QVERIFY2(seen.contains(variable), qPrintable(variable));
    for (const QString &variable : dropped)
        QVERIFY2(!seen.contains(variable), qPrintable(variable));

    // What is started detached gets them all.
    KvPlatform::Platform::setCurrent(KvPlatform::createHostPlatform());
    const QString detached = folder.filePath(u"detached"_s);
    QVERIFY(Process::startDetached(QCoreApplication::applicationFilePath(), {TellOption, detached}));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(detached), 60'000);
    const QStringList all = readLines(detached);
    for (const QString &variable : dropped + kept)
        QVERIFY2(all.contains(variable), qPrintable(variable));
}

void TestProcess::cleanEnvironmentIsMadeOnce()
{
    const Process earlier;
    qputenv("KV_LATE_TEST", "1");
    const Process later;
    qunsetenv("KV_LATE_TEST");
    QVERIFY(!later.processEnvironment().contains(u"KV_LATE_TEST"_s));
    QVERIFY(later.processEnvironment() == earlier.processEnvironment());
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == TellOption)
        return tellEnvironment(arguments.value(2));
    for (const char *name :
         {"QT_KV_TEST", "QML_KV_TEST", "QSG_KV_TEST", "KV_QT_TEST", "QTKV_TEST", "qml_kv_lower", "QS_KV_TEST"})
        qputenv(name, "1");
    TestProcess test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_process.moc"
