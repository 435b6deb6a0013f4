#include "../support/FakeSession.h"
#include "../support/FakeTokens.h"
#include "../support/LogCatcher.h"
#include "KvSecurity.h"
#include "platform/Platform.h"

#include <QtTest/QTest>

#include <algorithm>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString NoSession = u"[FAIL] can not query session info"_s;
const QString NoAccount = u"[FAIL] can not lookup account name"_s;
const QString Elevated = u"[KvSecurity] inited, elevated: true"_s;
const QString NotElevated = u"[KvSecurity] inited, elevated: false"_s;

const QString KimSid = u"S-1-5-21-7"_s;

/** The calls that enable the privilege. */
const QStringList Enabling{u"own token 32"_s, u"privilege SeImpersonatePrivilege"_s, u"adjust own token 29 2"_s,
                           u"close own token"_s};

QByteArray kimsSid()
{
    return FakeSession::sid('\7');
}

QByteArray adasSid()
{
    return FakeSession::sid('\x8');
}

/** The lines with their levels, such as "W text". */
QStringList marked(const LogCatcher &log)
{
    QStringList texts;
    for (const LogCatcher::Line &line : log.lines()) {
        const char mark = line.type == QtWarningMsg ? 'W' : line.type == QtInfoMsg ? 'I' : '?';
        texts.append(QLatin1Char(mark) + u" "_s + line.text);
    }
    return texts;
}

QByteArray readSid()
{
    return QByteArray(reinterpret_cast<const char *>(KvSecurity::userSid()), KvSecurity::MaxSidSize);
}

QByteArray padded(const QByteArray &sid)
{
    return sid.leftJustified(KvSecurity::MaxSidSize, '\0');
}

} // namespace

class tst_KvSecurity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tellsTheConsoleUser();
    void anyQuestionInitializes_data();
    void anyQuestionInitializes();
    void successIsNotRepeated();
    void laterUserGoesUnnoticed();
    void nobodyAtTheConsole();
    void sessionIsLookedForAgain();
    void elevationStandsBehindTheSession();
    void unknownAccountIsLookedForAgain();
    void accountWithoutSidTextIsLookedForAgain();
    void unknownElevationIsNone();
    void largestSidFits();
    void oversizedSidIsCut();
    void longTextsDoNoHarm();
    void logHandlerMayAskBack();
    void manyThreads();

    void privilegeIsEnabledOnce();
    void privilegeFailures_data();
    void privilegeFailures();
    void borrowsWithTheseCalls();
    void firstMatchWins();
    void notThisProcess_data();
    void notThisProcess();
    void neverElevatedNorAnotherUsers();
    void everySidLengthIsCompared();
    void refusedProcessIsPassedOverSilently();
    void failedCopyGoesOnWithTheNext();
    void listFailsOnce();
    void listFailsTwice();
    void listHasALimit();
    void noProcesses();
    void nobodyToBorrowFrom();
    void tokenIsSearchedAnew();

private:
    void add(const FakeProcess &process) { m_tokens->processes.append(process); }

    std::shared_ptr<FakeSession> m_session;
    std::shared_ptr<FakeProcesses> m_tokens;
};

void tst_KvSecurity::init()
{
    KvSecurity::forget();
    m_session = std::make_shared<FakeSession>();
    m_session->signIn(u"kim"_s, kimsSid(), KimSid);
    m_session->elevated = false;
    m_tokens = std::make_shared<FakeProcesses>();
    auto platform = std::make_shared<KvPlatform::Platform>();
    platform->session = m_session;
    platform->tokens = m_tokens;
    KvPlatform::Platform::setCurrent(platform);
}

void tst_KvSecurity::cleanup()
{
    KvPlatform::Platform::setCurrent(nullptr);
    QCOMPARE(m_tokens->openHandles(), 0);
}

void tst_KvSecurity::tellsTheConsoleUser()
{
    const LogCatcher log;
    m_session->elevated = true;
    QCOMPARE(KvSecurity::userName(), u"kim"_s);
    QCOMPARE(KvSecurity::userSidString(), KimSid);
    QCOMPARE(readSid(), padded(kimsSid()));
    QCOMPARE(KvSecurity::isElevated(), true);
    QCOMPARE(marked(log), QStringList{u"I "_s + Elevated});
}

void tst_KvSecurity::anyQuestionInitializes_data()
{
    QTest::addColumn<int>("question");
    QTest::newRow("isElevated") << 0;
    QTest::newRow("userName") << 1;
    QTest::newRow("userSid") << 2;
    QTest::newRow("userSidString") << 3;
}

void tst_KvSecurity::anyQuestionInitializes()
{
    QFETCH(int, question);
    const LogCatcher log;
    switch (question) {
    case 0:
        QCOMPARE(KvSecurity::isElevated(), false);
        break;
    case 1:
        QCOMPARE(KvSecurity::userName(), u"kim"_s);
        break;
    case 2:
        QCOMPARE(readSid(), padded(kimsSid()));
        break;
    default:
        QCOMPARE(KvSecurity::userSidString(), KimSid);
    }
    QCOMPARE(m_session->calls.take(), QStringList({u"session"_s, u"user of 1"_s, u"account of kim"_s, u"elevated"_s}));
    QCOMPARE(marked(log), QStringList{u"I "_s + NotElevated});
}

void tst_KvSecurity::successIsNotRepeated()
{
    const LogCatcher log;
    KvSecurity::userName();
    m_session->calls.take();
    KvSecurity::userName();
    KvSecurity::isElevated();
    KvSecurity::userSid();
    KvSecurity::userSidString();
    QCOMPARE(m_session->calls.take(), QStringList());
    QCOMPARE(log.lines().size(), 1);
}

void tst_KvSecurity::laterUserGoesUnnoticed()
{
    const LogCatcher log;
    KvSecurity::userName();
    m_session->signIn(u"ada"_s, adasSid(), u"S-1-5-21-8"_s);
    m_session->elevated = true;
    QCOMPARE(KvSecurity::userName(), u"kim"_s);
    QCOMPARE(KvSecurity::userSidString(), KimSid);
    QCOMPARE(KvSecurity::isElevated(), false);
}

void tst_KvSecurity::nobodyAtTheConsole()
{
    m_session->user.reset();
    m_session->number = 0xFFFFFFFF;
    const LogCatcher log;
    QCOMPARE(KvSecurity::userName(), QString());
    QCOMPARE(m_session->calls.take(), QStringList({u"session"_s, u"user of 4294967295"_s}));
    QCOMPARE(KvSecurity::userSidString(), QString());
    QCOMPARE(readSid(), QByteArray(KvSecurity::MaxSidSize, '\0'));
    QCOMPARE(marked(log), QStringList(3, u"W "_s + NoSession));
}

void tst_KvSecurity::sessionIsLookedForAgain()
{
    m_session->user.reset();
    LogCatcher log;
    QCOMPARE(KvSecurity::userName(), QString());
    m_session->user = u"kim"_s;
    QCOMPARE(KvSecurity::userName(), u"kim"_s);
    QCOMPARE(marked(log), QStringList({u"W "_s + NoSession, u"I "_s + NotElevated}));
}

void tst_KvSecurity::elevationStandsBehindTheSession()
{
    m_session->elevated = true;
    m_session->user.reset();
    const LogCatcher log;
    QCOMPARE(KvSecurity::isElevated(), false);
    QVERIFY(!m_session->calls.take().contains(u"elevated"_s));
    QCOMPARE(marked(log), QStringList{u"W "_s + NoSession});
    m_session->user = u"kim"_s;
    QCOMPARE(KvSecurity::isElevated(), true);
}

void tst_KvSecurity::unknownAccountIsLookedForAgain()
{
    m_session->account.reset();
    m_session->elevated = true;
    LogCatcher log;
    QCOMPARE(KvSecurity::isElevated(), true);
    QCOMPARE(KvSecurity::userName(), QString());
    QCOMPARE(marked(log),
             QStringList({u"W "_s + NoAccount, u"I "_s + Elevated, u"W "_s + NoAccount, u"I "_s + Elevated}));
    log.clear();
    m_session->signIn(u"kim"_s, kimsSid(), KimSid);
    QCOMPARE(KvSecurity::userName(), u"kim"_s);
    QCOMPARE(marked(log), QStringList{u"I "_s + Elevated});
}

void tst_KvSecurity::accountWithoutSidTextIsLookedForAgain()
{
    m_session->signIn(u"kim"_s, kimsSid(), QString());
    const LogCatcher log;
    QCOMPARE(KvSecurity::userName(), u"kim"_s);
    QCOMPARE(KvSecurity::userSidString(), QString());
    QCOMPARE(marked(log), QStringList(2, u"I "_s + NotElevated));
    m_session->signIn(u"kim"_s, kimsSid(), KimSid);
    QCOMPARE(KvSecurity::userSidString(), KimSid);
}

void tst_KvSecurity::unknownElevationIsNone()
{
    m_session->elevated.reset();
    const LogCatcher log;
    QCOMPARE(KvSecurity::isElevated(), false);
    QCOMPARE(marked(log), QStringList{u"I "_s + NotElevated});
}

void tst_KvSecurity::largestSidFits()
{
    const QByteArray largest = FakeSession::sid('\xAB', 15);
    QCOMPARE(largest.size(), KvSecurity::MaxSidSize);
    m_session->signIn(u"kim"_s, largest, KimSid);
    const LogCatcher log;
    QCOMPARE(readSid(), largest);
}

void tst_KvSecurity::oversizedSidIsCut()
{
    const QByteArray oversized = FakeSession::sid('\xAB', 100);
    m_session->signIn(u"kim"_s, oversized, KimSid);
    const LogCatcher log;
    QCOMPARE(readSid(), oversized.left(KvSecurity::MaxSidSize));
    QVERIFY(!KvSecurity::restrictedUserToken());
}

void tst_KvSecurity::longTextsDoNoHarm()
{
    const QString name(100000, u'k');
    m_session->signIn(name, kimsSid(), KimSid);
    m_session->account->domainName = QString(100000, u'd');
    const LogCatcher log;
    QCOMPARE(KvSecurity::userName(), name);
}

void tst_KvSecurity::logHandlerMayAskBack()
{
    m_session->user.reset();
    static QStringList texts;
    // Qt prints what a handler logs instead of giving it back to the handler.
    const QtMessageHandler former =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            texts.append(text + KvSecurity::userName() + KvSecurity::userSidString());
        });
    KvSecurity::userName();
    qInstallMessageHandler(former);
    QCOMPARE(texts, QStringList{NoSession});
}

void tst_KvSecurity::manyThreads()
{
    const LogCatcher log;
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 50; ++round) {
                if (KvSecurity::userName() == u"kim" && KvSecurity::userSidString() == KimSid &&
                    readSid() == padded(kimsSid()) && !KvSecurity::isElevated())
                    ++right;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(right, 8 * 50);
}

void tst_KvSecurity::privilegeIsEnabledOnce()
{
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take(), Enabling + QStringList{u"list 4096"_s});
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take(), QStringList{u"list 4096"_s});
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_KvSecurity::privilegeFailures_data()
{
    QTest::addColumn<quint32>("ownToken");
    QTest::addColumn<quint32>("lookup");
    QTest::addColumn<quint32>("adjust");
    QTest::addColumn<QString>("warning");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("own token") << 5U << 0U << 0U
                               << u"[FAIL] can't open current process token to adjust privileges, err: 5"_s
                               << Enabling.first(1);
    QTest::newRow("lookup") << 0U << 1313U << 0U << u"[FAIL] can't lookup privilege value, err: 1313"_s
                            << Enabling.first(2) + Enabling.last(1);
    QTest::newRow("adjust") << 0U << 0U << 4294967295U
                            << u"[FAIL] can't adjust current process token, err: 4294967295"_s << Enabling;
}

void tst_KvSecurity::privilegeFailures()
{
    QFETCH(quint32, ownToken);
    QFETCH(quint32, lookup);
    QFETCH(quint32, adjust);
    QFETCH(QString, warning);
    QFETCH(QStringList, calls);
    add({4, kimsSid()});
    m_tokens->ownTokenError = ownToken;
    m_tokens->lookupError = lookup;
    m_tokens->adjustError = adjust;
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take(), calls + calls);
    QCOMPARE(marked(log), QStringList(2, u"W "_s + warning));
    m_tokens->ownTokenError = m_tokens->lookupError = m_tokens->adjustError = 0;
    QVERIFY(KvSecurity::restrictedUserToken());
}

void tst_KvSecurity::borrowsWithTheseCalls()
{
    add({11, adasSid()});
    add({12, kimsSid()});
    const LogCatcher log;
    KvPlatform::NativeHandle token = KvSecurity::restrictedUserToken();
    const QStringList expected{
        u"list 4096"_s,
        u"open 11 1024"_s,
        u"token of process 11 0x2000a"_s,
        u"close process 11"_s,
        u"elevation of token 11"_s,
        u"user of token 11"_s,
        u"close token 11"_s,
        u"open 12 1024"_s,
        u"token of process 12 0x2000a"_s,
        u"close process 12"_s,
        u"elevation of token 12"_s,
        u"user of token 12"_s,
        u"copy token 12 0x18b 2 1"_s,
        u"close token 12"_s,
    };
    QCOMPARE(m_tokens->calls.take(), Enabling + expected);
    QVERIFY(token);
    QCOMPARE(FakeProcesses::nameOf(token), u"copy of token 12"_s);
    QCOMPARE(m_tokens->openHandles(), 1);
    token.reset();
    QCOMPARE(m_tokens->openHandles(), 0);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_KvSecurity::firstMatchWins()
{
    for (const quint32 id : {31U, 30U, 29U})
        add({id, kimsSid()});
    const LogCatcher log;
    const KvPlatform::NativeHandle token = KvSecurity::restrictedUserToken();
    QVERIFY(token);
    QCOMPARE(FakeProcesses::nameOf(token), u"copy of token 31"_s);
    QVERIFY(!m_tokens->calls.take().contains(u"open 30 1024"_s));
}

void tst_KvSecurity::notThisProcess_data()
{
    QTest::addColumn<QByteArray>("sid");
    QTest::addColumn<int>("elevated");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<bool>("tokenOpens");
    QTest::addColumn<QString>("lastCall");
    QTest::newRow("refuses to open") << kimsSid() << 0 << false << true << u"open 4 1024"_s;
    QTest::newRow("token refused") << kimsSid() << 0 << true << false << u"close process 4"_s;
    QTest::newRow("elevated") << kimsSid() << 1 << true << true << u"close token 4"_s;
    QTest::newRow("elevation unknown") << kimsSid() << -1 << true << true << u"close token 4"_s;
    QTest::newRow("user unknown") << QByteArray() << 0 << true << true << u"close token 4"_s;
    QTest::newRow("another user") << adasSid() << 0 << true << true << u"close token 4"_s;
    QTest::newRow("elevated and another user") << adasSid() << 1 << true << true << u"close token 4"_s;
}

void tst_KvSecurity::notThisProcess()
{
    QFETCH(QByteArray, sid);
    QFETCH(int, elevated);
    QFETCH(bool, opens);
    QFETCH(bool, tokenOpens);
    QFETCH(QString, lastCall);
    add({4, sid, elevated < 0 ? std::nullopt : std::optional<bool>(elevated == 1), opens, tokenOpens});
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take().last(), lastCall);
    QCOMPARE(m_tokens->openHandles(), 0);
    QCOMPARE(marked(log), QStringList{u"I "_s + NotElevated});

    add({8, kimsSid()});
    const KvPlatform::NativeHandle token = KvSecurity::restrictedUserToken();
    QVERIFY(token);
    QCOMPARE(FakeProcesses::nameOf(token), u"copy of token 8"_s);
}

void tst_KvSecurity::neverElevatedNorAnotherUsers()
{
    // Every combination of the two for a handful of processes; only the plain ones of the user may be lent.
    const LogCatcher log;
    for (int mask = 0; mask < 256; ++mask) {
        m_tokens->processes.clear();
        quint32 wanted = 0;
        for (int process = 0; process < 4; ++process) {
            const bool elevated = (mask >> (2 * process) & 1) != 0;
            const bool another = (mask >> (2 * process) & 2) != 0;
            const auto id = static_cast<quint32>(4 * process + 4);
            add({id, another ? adasSid() : kimsSid(), elevated});
            if (!elevated && !another && wanted == 0)
                wanted = id;
        }
        const KvPlatform::NativeHandle token = KvSecurity::restrictedUserToken();
        QCOMPARE(bool(token), wanted != 0);
        if (token)
            QCOMPARE(FakeProcesses::nameOf(token), u"copy of token %1"_s.arg(wanted));
        QCOMPARE(m_tokens->openHandles(), token ? 1 : 0);
    }
}

void tst_KvSecurity::everySidLengthIsCompared()
{
    // SIDs that begin alike: a service's is the beginning of a longer one.
    const QByteArray longer = FakeSession::sid('\7', 15);
    QByteArray changed = longer;
    changed.back() = '\x9';
    m_session->signIn(u"kim"_s, longer, KimSid);
    add({4, kimsSid()});
    add({5, changed});
    add({6, longer.chopped(4)});
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    add({7, longer});
    QVERIFY(KvSecurity::restrictedUserToken());
}

void tst_KvSecurity::refusedProcessIsPassedOverSilently()
{
    add({4, kimsSid(), false, false});
    add({5, kimsSid()});
    KvSecurity::userName();
    const LogCatcher log;
    QVERIFY(KvSecurity::restrictedUserToken());
    QCOMPARE(log.lines().size(), 0);
}

void tst_KvSecurity::failedCopyGoesOnWithTheNext()
{
    add({4, kimsSid(), false, true, true, 1314});
    add({5, kimsSid(), false, true, true, 6});
    add({6, kimsSid()});
    KvSecurity::userName();
    const LogCatcher log;
    const KvPlatform::NativeHandle token = KvSecurity::restrictedUserToken();
    QVERIFY(token);
    QCOMPARE(FakeProcesses::nameOf(token), u"copy of token 6"_s);
    QCOMPARE(m_tokens->openHandles(), 1);
    QCOMPARE(marked(log), QStringList({u"W [FAIL] can't create restricted token, err: 1314"_s,
                                       u"W [FAIL] can't create restricted token, err: 6"_s}));
}

void tst_KvSecurity::listFailsOnce()
{
    m_tokens->failingLists = 1;
    m_tokens->bytesOnFailure = 20003;
    add({4, kimsSid()});
    const LogCatcher log;
    QVERIFY(KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take().mid(Enabling.size(), 3),
             QStringList({u"list 4096"_s, u"list 5000"_s, u"open 4 1024"_s}));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_KvSecurity::listFailsTwice()
{
    m_tokens->failingLists = 2;
    add({4, kimsSid()});
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(m_tokens->calls.take(), Enabling + QStringList({u"list 4096"_s, u"list 4096"_s}));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
    QVERIFY(KvSecurity::restrictedUserToken());
}

void tst_KvSecurity::listHasALimit()
{
    for (quint32 id = 1; id <= 4096; ++id)
        add({id, adasSid(), false, false});
    add({4097, kimsSid()});
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QVERIFY(!m_tokens->calls.take().contains(u"open 4097 1024"_s));
    m_tokens->processes[4095] = {4096, kimsSid()};
    QVERIFY(KvSecurity::restrictedUserToken());
}

void tst_KvSecurity::noProcesses()
{
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_KvSecurity::nobodyToBorrowFrom()
{
    m_session->user.reset();
    add({4, kimsSid()});
    add({5, FakeSession::sid('\0', 0)});
    const LogCatcher log;
    QVERIFY(!KvSecurity::restrictedUserToken());
    QCOMPARE(log.texts(QtWarningMsg), QStringList{NoSession});
}

void tst_KvSecurity::tokenIsSearchedAnew()
{
    add({4, kimsSid()});
    const LogCatcher log;
    const KvPlatform::NativeHandle first = KvSecurity::restrictedUserToken();
    const KvPlatform::NativeHandle second = KvSecurity::restrictedUserToken();
    QVERIFY(first);
    QVERIFY(second);
    QVERIFY(first.native() != second.native());
    QCOMPARE(m_tokens->calls.take().count(u"copy token 4 0x18b 2 1"_s), 2);
    QCOMPARE(m_tokens->openHandles(), 2);
}

QTEST_GUILESS_MAIN(tst_KvSecurity)
#include "tst_kvsecurity.moc"
