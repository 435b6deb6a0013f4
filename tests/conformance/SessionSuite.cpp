#include "Computer.h"
#include "platform/Platform.h"
#include "platform/Session.h"
#include "platform/Tokens.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

// Published values of the system's access rights, attributes and error codes.
constexpr quint32 ProcessQueryInformation = 0x400;
constexpr quint32 TokenDuplicate = 0x2;
constexpr quint32 TokenQuery = 0x8;
constexpr quint32 TokenAdjustPrivileges = 0x20;
constexpr quint32 ReadControl = 0x20000;
constexpr quint32 PrivilegeEnabled = 2;
constexpr quint32 AccessDenied = 5;
constexpr quint32 InvalidHandle = 6;
constexpr quint32 InvalidParameter = 87;
constexpr quint32 NoSuchLogonSession = 1312;
constexpr quint32 NoSuchPrivilege = 1313;
constexpr quint32 PrivilegeNotHeld = 1314;
constexpr int Impersonation = 2;
constexpr int PrimaryToken = 1;

} // namespace

class SessionSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void consoleUser();
    void sessionToken();
    void unknownAccounts_data();
    void unknownAccounts();
    void unknownSession();
    void elevation();
    void ownToken();
    void privileges();
    void processes();
    void unknownProcess();
    void emptyHandles();
    void duplicates();
    void linkedToken();
    void rightsOfHandles();
};

void SessionSuite::consoleUser()
{
    const auto computer = Computer::create();
    const Session &session = *computer->platform().session;
    const std::optional<QString> name = session.sessionUserName(session.activeConsoleSession());
    QVERIFY(name && !name->isEmpty());
    const std::optional<Account> account = session.lookupAccount(*name);
    QVERIFY(account);
    QVERIFY2(account->sidText.startsWith(u"S-1-5-21-"_s), qPrintable(account->sidText));
    QVERIFY(!account->domainName.isEmpty());
    // A revision, a count of further numbers of four bytes each, and an authority of six bytes.
    QVERIFY(account->sid.size() >= 8 && account->sid.size() <= 68);
    QCOMPARE(account->sid.at(0), char(1));
    QCOMPARE(account->sid.size(), qsizetype(8 + 4 * account->sid.at(1)));
    QCOMPARE(account->sidText.count(u'-'), qsizetype(2 + account->sid.at(1)));
    if (!computer->abilities().accountsIgnoreCase)
        return QTest::qSkip("this system compares account names by letter case", __FILE__, __LINE__);
    QCOMPARE(session.lookupAccount(name->toUpper()).value_or(Account()).sid, account->sid);
}

void SessionSuite::sessionToken()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const HandleResult result = platform.tokens->sessionUserToken(platform.session->activeConsoleSession());
    if (computer->abilities().tokensNeedRights) {
        QVERIFY(!result.handle);
        QCOMPARE(result.error, PrivilegeNotHeld);
    } else {
        QVERIFY(result.handle);
        QCOMPARE(result.error, 0U);
        const HandleResult own = platform.tokens->openOwnToken(TokenQuery);
        QCOMPARE(platform.tokens->userSid(result.handle), platform.tokens->userSid(own.handle));
    }
}

void SessionSuite::unknownAccounts_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("unknown") << u"kvc-nobody"_s;
    QTest::newRow("long") << QString(5000, u'n');
}

void SessionSuite::unknownAccounts()
{
    QFETCH(QString, name);
    const auto computer = Computer::create();
    QVERIFY(!computer->platform().session->lookupAccount(name));
}

void SessionSuite::unknownSession()
{
    const auto computer = Computer::create();
    if (!computer->abilities().sessionsAreToldApart)
        return QTest::qSkip("this system has one user for every session", __FILE__, __LINE__);
    QVERIFY(!computer->platform().session->sessionUserName(4711));
}

void SessionSuite::elevation()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const HandleResult token = platform.tokens->openOwnToken(TokenQuery);
    QVERIFY(token.handle);
    QVERIFY(platform.session->isProcessElevated());
    QCOMPARE(platform.tokens->isElevated(token.handle), platform.session->isProcessElevated());
}

void SessionSuite::ownToken()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const HandleResult token = platform.tokens->openOwnToken(TokenQuery);
    QVERIFY(token.handle);
    QCOMPARE(token.error, 0U);
    const std::optional<QString> name = platform.session->sessionUserName(platform.session->activeConsoleSession());
    QCOMPARE(platform.tokens->userSid(token.handle), platform.session->lookupAccount(name.value_or(QString()))->sid);
}

void SessionSuite::privileges()
{
    const auto computer = Computer::create();
    const Tokens &tokens = *computer->platform().tokens;
    quint32 error = 0;
    const std::optional<quint64> privilege = tokens.lookupPrivilege(u"SeImpersonatePrivilege"_s, &error);
    QCOMPARE(privilege, std::optional<quint64>(29));
    QCOMPARE(error, 0U);
    QVERIFY(!tokens.lookupPrivilege(u"SeNothingPrivilege"_s, &error));
    QCOMPARE(error, NoSuchPrivilege);
    QVERIFY(!tokens.lookupPrivilege(u"SeNothingPrivilege"_s, nullptr));

    const HandleResult token = tokens.openOwnToken(TokenAdjustPrivileges);
    QVERIFY(token.handle);
    QCOMPARE(tokens.adjustPrivilege(token.handle, *privilege, PrivilegeEnabled), 0U);
    // One that nobody has.
    const std::optional<quint64> foreign = tokens.lookupPrivilege(u"SeAssignPrimaryTokenPrivilege"_s, nullptr);
    QCOMPARE(tokens.adjustPrivilege(token.handle, foreign.value_or(0), PrivilegeEnabled), 0U);
}

void SessionSuite::processes()
{
    const auto computer = Computer::create();
    const Platform &platform = computer->platform();
    const ProcessIds all = platform.tokens->processIds(4096);
    QVERIFY(all.succeeded);
    QVERIFY(all.ids.size() >= 1);
    QCOMPARE(all.bytesReturned, quint32(4 * all.ids.size()));
    const ProcessIds one = platform.tokens->processIds(1);
    QVERIFY(one.succeeded);
    QCOMPARE(one.ids, QList<quint32>{all.ids.first()});
    QVERIFY(platform.tokens->processIds(0).ids.isEmpty());
    QVERIFY(platform.tokens->processIds(-1).ids.isEmpty());

    int readable = 0;
    for (const quint32 id : all.ids) {
        const HandleResult process = platform.tokens->openProcess(ProcessQueryInformation, id);
        const HandleResult token =
            platform.tokens->openProcessToken(process.handle, TokenQuery | TokenDuplicate | ReadControl);
        if (process.handle && token.handle)
            readable += platform.tokens->userSid(token.handle) && platform.tokens->isElevated(token.handle) ? 1 : 0;
    }
    QVERIFY(readable >= 1);
}

void SessionSuite::unknownProcess()
{
    const auto computer = Computer::create();
    const HandleResult process = computer->platform().tokens->openProcess(ProcessQueryInformation, 99999996);
    QVERIFY(!process.handle);
    QCOMPARE(process.error, InvalidParameter);
}

void SessionSuite::emptyHandles()
{
    const auto computer = Computer::create();
    const Tokens &tokens = *computer->platform().tokens;
    const NativeHandle none;
    QVERIFY(!tokens.isElevated(none));
    QVERIFY(!tokens.userSid(none));
    QCOMPARE(tokens.adjustPrivilege(none, 29, PrivilegeEnabled), InvalidHandle);
    QCOMPARE(tokens.openProcessToken(none, TokenQuery).error, InvalidHandle);
    QCOMPARE(tokens.linkedToken(none).error, InvalidHandle);
    QCOMPARE(tokens.duplicate(none, TokenQuery, Impersonation, PrimaryToken).error, InvalidHandle);
}

void SessionSuite::duplicates()
{
    const auto computer = Computer::create();
    const Tokens &tokens = *computer->platform().tokens;
    const HandleResult token = tokens.openOwnToken(TokenQuery | TokenDuplicate);
    QVERIFY(token.handle);
    const HandleResult copy = tokens.duplicate(token.handle, 0x18B, Impersonation, PrimaryToken);
    QVERIFY(copy.handle);
    QCOMPARE(copy.error, 0U);
    QCOMPARE(tokens.userSid(copy.handle), tokens.userSid(token.handle));
    QCOMPARE(tokens.isElevated(copy.handle), tokens.isElevated(token.handle));
}

void SessionSuite::linkedToken()
{
    const auto computer = Computer::create();
    const Tokens &tokens = *computer->platform().tokens;
    const HandleResult own = tokens.openOwnToken(TokenQuery);
    const HandleResult linked = tokens.linkedToken(own.handle);
    if (!linked.handle) {
        QCOMPARE(linked.error, NoSuchLogonSession);
        return QTest::qSkip("this user has only one token", __FILE__, __LINE__);
    }
    QCOMPARE(linked.error, 0U);
    QCOMPARE(tokens.userSid(linked.handle), tokens.userSid(own.handle));
    QCOMPARE(tokens.isElevated(linked.handle), std::optional<bool>(!tokens.isElevated(own.handle).value_or(false)));
}

void SessionSuite::rightsOfHandles()
{
    const auto computer = Computer::create();
    const Tokens &tokens = *computer->platform().tokens;
    const HandleResult query = tokens.openOwnToken(TokenQuery);
    const HandleResult duplicate = tokens.openOwnToken(TokenDuplicate);
    QVERIFY(query.handle && duplicate.handle);
    QVERIFY(!tokens.userSid(duplicate.handle));
    QVERIFY(!tokens.isElevated(duplicate.handle));
    QCOMPARE(tokens.linkedToken(duplicate.handle).error, AccessDenied);
    QCOMPARE(tokens.duplicate(query.handle, TokenQuery, Impersonation, PrimaryToken).error, AccessDenied);
    QCOMPARE(tokens.adjustPrivilege(query.handle, 29, PrivilegeEnabled), AccessDenied);
}

QTEST_GUILESS_MAIN(SessionSuite)
#include "SessionSuite.moc"
