#include "platform/portable/MachineSession.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

constexpr quint32 Query = 8;
constexpr quint32 QueryAndDuplicate = 10;
constexpr quint32 QueryProcess = 1024;

} // namespace

class TestMachineSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nobody();
    void console();
    void accounts();
    void sessionToken_data();
    void sessionToken();
    void ownToken();
    void linkedToken();
    void privileges();
    void processes_data();
    void processes();
    void borrowedToken();
    void wrongHandles();
    void rightsAreNeeded();

private:
    static MachineFacts twoUsers();
};

MachineFacts TestMachineSession::twoUsers()
{
    MachineFacts facts;
    facts.consoleUser = MachineUser{u"kim"_s, u"DESK"_s, u"S-1-5-21-1"_s, QByteArray("kim's")};
    facts.processUser = MachineUser{u"Ada"_s, u"DESK"_s, u"S-1-5-21-2"_s, QByteArray("ada's")};
    facts.elevated = true;
    return facts;
}

void TestMachineSession::nobody()
{
    const MachineSession session{MachineFacts()};
    QCOMPARE(session.activeConsoleSession(), 0xFFFFFFFF);
    QVERIFY(!session.sessionUserName(1));
    QVERIFY(!session.sessionUserName(0xFFFFFFFF));
    QVERIFY(!session.lookupAccount(QString()));
    QCOMPARE(session.isProcessElevated(), std::optional<bool>(false));
    const MachineTokens tokens{MachineFacts()};
    QCOMPARE(tokens.processIds(10).ids, QList<quint32>{MachineTokens::OwnProcess});
    const HandleResult own = tokens.openOwnToken(Query);
    QCOMPARE(tokens.isElevated(own.handle), std::optional<bool>(false));
    QVERIFY(!tokens.userSid(own.handle));
}

void TestMachineSession::console()
{
    const MachineSession session(twoUsers());
    QCOMPARE(session.activeConsoleSession(), 1U);
    QCOMPARE(session.sessionUserName(1).value_or(QString()), u"kim"_s);
    QVERIFY(!session.sessionUserName(0));
    QCOMPARE(session.isProcessElevated(), std::optional<bool>(true));
}

void TestMachineSession::accounts()
{
    MachineFacts facts = twoUsers();
    const auto kim = MachineSession(facts).lookupAccount(u"KIM"_s);
    QVERIFY(kim);
    QCOMPARE(kim->sid, QByteArray("kim's"));
    QCOMPARE(kim->sidText, u"S-1-5-21-1"_s);
    QCOMPARE(kim->domainName, u"DESK"_s);
    QCOMPARE(MachineSession(facts).lookupAccount(u"ada"_s)->sid, QByteArray("ada's"));
    QVERIFY(!MachineSession(facts).lookupAccount(u"eve"_s));
    facts.consoleUser->sid.clear();
    QVERIFY(!MachineSession(facts).lookupAccount(u"kim"_s));
}

void TestMachineSession::sessionToken_data()
{
    QTest::addColumn<bool>("isAllowed");
    QTest::addColumn<quint32>("session");
    QTest::addColumn<quint32>("error");
    QTest::newRow("allowed") << true << 1U << 0U;
    QTest::newRow("not allowed") << false << 1U << 1314U;
    QTest::newRow("other session") << true << 2U << 1008U;
    QTest::newRow("no session") << true << 0xFFFFFFFFU << 1008U;
}

void TestMachineSession::sessionToken()
{
    QFETCH(bool, isAllowed);
    QFETCH(quint32, session);
    QFETCH(quint32, error);
    MachineFacts facts = twoUsers();
    facts.tokens.session = isAllowed;
    const MachineTokens tokens(facts);
    const HandleResult result = tokens.sessionUserToken(session);
    QCOMPARE(result.error, error);
    QCOMPARE(bool(result.handle), error == 0);
    if (result.handle) {
        QCOMPARE(tokens.userSid(result.handle).value_or(QByteArray()), QByteArray("kim's"));
        QCOMPARE(tokens.isElevated(result.handle), std::optional<bool>(false));
    }
}

void TestMachineSession::ownToken()
{
    const MachineTokens tokens(twoUsers());
    const HandleResult own = tokens.openOwnToken(QueryAndDuplicate);
    QCOMPARE(own.error, 0U);
    QCOMPARE(tokens.isElevated(own.handle), std::optional<bool>(true));
    QCOMPARE(tokens.userSid(own.handle).value_or(QByteArray()), QByteArray("ada's"));
}

void TestMachineSession::linkedToken()
{
    MachineFacts facts = twoUsers();
    facts.tokens.session = true;
    const MachineTokens tokens(facts);
    const HandleResult user = tokens.sessionUserToken(1);
    const HandleResult linked = tokens.linkedToken(user.handle);
    QCOMPARE(linked.error, 0U);
    QCOMPARE(tokens.isElevated(linked.handle), std::optional<bool>(true));
    QCOMPARE(tokens.userSid(linked.handle).value_or(QByteArray()), QByteArray("kim's"));
    const HandleResult back = tokens.linkedToken(linked.handle);
    QCOMPARE(tokens.isElevated(back.handle), std::optional<bool>(false));

    facts.tokens.linked = false;
    QCOMPARE(MachineTokens(facts).linkedToken(user.handle).error, 1312U);
    QVERIFY(!MachineTokens(facts).linkedToken(user.handle).handle);
}

void TestMachineSession::privileges()
{
    const MachineTokens tokens(twoUsers());
    quint32 error = 0;
    const auto privilege = tokens.lookupPrivilege(u"seImpersonateprivilege"_s, &error);
    QCOMPARE(privilege, std::optional<quint64>(29));
    QCOMPARE(error, 0U);
    QVERIFY(!tokens.lookupPrivilege(u"SeNothing"_s, &error));
    QCOMPARE(error, 1313U);
    QVERIFY(!tokens.lookupPrivilege(QString(), nullptr));
    QCOMPARE(tokens.adjustPrivilege(tokens.openOwnToken(0x20).handle, *privilege, 2), 0U);
    QCOMPARE(tokens.adjustPrivilege(tokens.openOwnToken(Query).handle, *privilege, 2), 5U);
    QCOMPARE(tokens.adjustPrivilege(NativeHandle(), *privilege, 2), 6U);
}

void TestMachineSession::processes_data()
{
    QTest::addColumn<bool>("isBorrowed");
    QTest::addColumn<qsizetype>("capacity");
    QTest::addColumn<QList<quint32>>("ids");
    const quint32 own = MachineTokens::OwnProcess;
    const quint32 user = MachineTokens::UserProcess;
    QTest::newRow("both") << true << qsizetype(4096) << QList<quint32>{own, user};
    QTest::newRow("own") << false << qsizetype(4096) << QList<quint32>{own};
    QTest::newRow("one fits") << true << qsizetype(1) << QList<quint32>{own};
    QTest::newRow("none fits") << true << qsizetype(0) << QList<quint32>();
    QTest::newRow("negative") << true << qsizetype(-1) << QList<quint32>();
}

void TestMachineSession::processes()
{
    QFETCH(bool, isBorrowed);
    QFETCH(qsizetype, capacity);
    QFETCH(QList<quint32>, ids);
    MachineFacts facts = twoUsers();
    facts.tokens.borrowed = isBorrowed;
    const MachineTokens tokens(facts);
    const ProcessIds result = tokens.processIds(capacity);
    QVERIFY(result.succeeded);
    QCOMPARE(result.ids, ids);
    QCOMPARE(result.bytesReturned, quint32(4 * ids.size()));
    QCOMPARE(tokens.openProcess(QueryProcess, MachineTokens::UserProcess).error, isBorrowed ? 0U : 87U);
}

void TestMachineSession::borrowedToken()
{
    const MachineTokens tokens(twoUsers());
    HandleResult process = tokens.openProcess(QueryProcess, MachineTokens::UserProcess);
    const HandleResult token = tokens.openProcessToken(process.handle, QueryAndDuplicate);
    process.handle.reset();
    QCOMPARE(tokens.isElevated(token.handle), std::optional<bool>(false));
    QCOMPARE(tokens.userSid(token.handle).value_or(QByteArray()), QByteArray("kim's"));
    const HandleResult copy = tokens.duplicate(token.handle, 0x18B, 2, 1);
    QCOMPARE(copy.error, 0U);
    QVERIFY(copy.handle.native() != token.handle.native());
    QCOMPARE(tokens.userSid(copy.handle).value_or(QByteArray()), QByteArray("kim's"));
    const HandleResult sameRights = tokens.duplicate(token.handle, 0, 2, 1);
    QVERIFY(tokens.userSid(sameRights.handle));
    QCOMPARE(tokens.duplicate(token.handle, 0x18B, 4, 1).error, 87U);
    QCOMPARE(tokens.duplicate(token.handle, 0x18B, 2, 3).error, 87U);
}

void TestMachineSession::wrongHandles()
{
    const MachineTokens tokens(twoUsers());
    const HandleResult process = tokens.openProcess(QueryProcess, MachineTokens::OwnProcess);
    const HandleResult token = tokens.openOwnToken(QueryAndDuplicate);
    QCOMPARE(tokens.openProcessToken(token.handle, Query).error, 6U);
    QCOMPARE(tokens.openProcessToken(NativeHandle(), Query).error, 6U);
    QCOMPARE(tokens.duplicate(process.handle, Query, 2, 1).error, 6U);
    QVERIFY(!tokens.isElevated(process.handle));
    QVERIFY(!tokens.userSid(NativeHandle()));
    QCOMPARE(tokens.openProcess(QueryProcess, 4).error, 87U);
}

void TestMachineSession::rightsAreNeeded()
{
    const MachineTokens tokens(twoUsers());
    const HandleResult process = tokens.openProcess(1, MachineTokens::OwnProcess);
    QCOMPARE(tokens.openProcessToken(process.handle, Query).error, 5U);
    const HandleResult token = tokens.openOwnToken(0x20);
    QVERIFY(!tokens.isElevated(token.handle));
    QVERIFY(!tokens.userSid(token.handle));
    QCOMPARE(tokens.duplicate(token.handle, Query, 2, 1).error, 5U);
}

QTEST_GUILESS_MAIN(TestMachineSession)
#include "tst_machinesession.moc"
