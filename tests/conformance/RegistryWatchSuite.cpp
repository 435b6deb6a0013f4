#include "../support/FakeSession.h"
#include "../support/LogCatcher.h"
#include "Computer.h"
#include "KvRegistrySpy.h"
#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/Registry.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <future>
#include <thread>

using namespace Qt::StringLiterals;
using KvPlatform::Registry;

namespace {

const QString Key = Computer::registryKey();
const QString Child = Key + u"\\Child"_s;
const QString Deep = Child + u"\\Deep"_s;

constexpr int RetryDelay = 2000;

} // namespace

/** The watches of a back-end as a spy shows them. */
class RegistryWatchSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void change_data();
    void change();
    void batchIsToldOnce();
    void changeInsideTheSlotIsToldOnceMore();
    void changeOfAnotherThread();
    void spyOfAnotherThread();
    void twoSpiesOnOneKey();
    void deletedKey();
    void deletedKeyAbove();
    void rootAndHive();
    void missingKey_data();
    void missingKey();
    void spyDeletedInsideItsSlot();
    void unbindInsideItsSlot();
    void unbindDropsWhatWasNotTold();
    void bindAnewInsideItsSlot();
    void bindForeverWaitsForTheKey();
    void bindForeverLooksForTheUserAnew();
    void unbindDoesNotEndTheSearch();
    void manyWatches();

private:
    Registry &registry() { return *m_computer->platform().registry; }

    /** Changes the key in a way that every watch over it tells. */
    void changeForAll() { registry().setValue(Key, u"for all"_s, ++m_number); }

    std::unique_ptr<Computer> m_computer;
    int m_number = 0;
};

void RegistryWatchSuite::init()
{
    m_computer = Computer::create();
    registry().setValue(Key, u"own"_s, 1);
    registry().setValue(Child, u"childs"_s, 1);
    registry().setValue(Deep, u"deep"_s, 1);
    KvPlatform::Platform::setCurrent(std::make_shared<KvPlatform::Platform>(m_computer->platform()));
    KvSecurity::forget();
}

void RegistryWatchSuite::cleanup()
{
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
    m_computer.reset();
}

void RegistryWatchSuite::change_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("name"); // What is set; what is removed after a dash.
    QTest::addColumn<bool>("isToldWithout");
    QTest::addColumn<bool>("isToldWithSubtree");
    QTest::newRow("new value") << Key << u"new"_s << true << true;
    QTest::newRow("other data") << Key << u"own"_s << true << true;
    QTest::newRow("value removed") << Key << u"-own"_s << true << true;
    QTest::newRow("value of a child") << Child << u"childs"_s << false << true;
    QTest::newRow("new value of a child") << Child << u"new"_s << false << true;
    QTest::newRow("value of a child removed") << Child << u"-childs"_s << false << true;
    QTest::newRow("value far below") << Deep << u"deep"_s << false << true;
    QTest::newRow("new child") << Key << u"Other/value"_s << true << true;
    QTest::newRow("child removed") << Key << u"-Child"_s << true << true;
    QTest::newRow("new grandchild") << Child << u"Other/value"_s << false << true;
    QTest::newRow("grandchild removed") << Child << u"-Deep"_s << false << true;
    QTest::newRow("neighbour") << Key + u" 2"_s << u"value"_s << false << false;
}

void RegistryWatchSuite::change()
{
    QFETCH(QString, key);
    QFETCH(QString, name);
    QFETCH(bool, isToldWithout);
    QFETCH(bool, isToldWithSubtree);
    for (const bool withSubtree : {false, true}) {
        const LogCatcher log;
        init();
        KvRegistrySpy spy(nullptr);
        QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
        QVERIFY(spy.bind(Key, withSubtree));
        if (name.startsWith(u'-'))
            registry().remove(key, name.mid(1));
        else
            registry().setValue(key, name, u"changed"_s);
        const bool isTold = withSubtree ? isToldWithSubtree : isToldWithout;
        if (isTold)
            QTRY_COMPARE(changes.size(), 1);
        // Notices come in their order: what is told by now is all there is.
        changeForAll();
        QTRY_COMPARE(changes.size(), isTold ? 2 : 1);
        registry().remove(Key + u" 2"_s, QString());
    }
}

void RegistryWatchSuite::batchIsToldOnce()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Key, true));
    for (int i = 0; i < 100; ++i)
        registry().setValue(Child, u"value %1"_s.arg(i % 10), i);
    QTRY_COMPARE(changes.size(), 1);
    changeForAll();
    QTRY_COMPARE(changes.size(), 2);
}

void RegistryWatchSuite::changeInsideTheSlotIsToldOnceMore()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(spy.bind(Key, false));
    int told = 0;
    connect(&spy, &KvRegistrySpy::valueChanged, this, [this, &told] {
        if (++told <= 5)
            changeForAll();
    });
    changeForAll();
    QTRY_COMPARE(told, 6);
}

void RegistryWatchSuite::changeOfAnotherThread()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    const QThread *toldOn = nullptr;
    connect(
        &spy, &KvRegistrySpy::valueChanged, &spy, [&toldOn] { toldOn = QThread::currentThread(); },
        Qt::DirectConnection);
    QVERIFY(spy.bind(Key, false));
    std::thread([this] { changeForAll(); }).join();
    QTRY_VERIFY(toldOn);
    QCOMPARE(toldOn, QThread::currentThread());
}

void RegistryWatchSuite::spyOfAnotherThread()
{
    const LogCatcher log;
    std::promise<bool> bound;
    std::atomic<int> told{0};
    std::thread thread([&bound, &told] {
        QEventLoop loop;
        KvRegistrySpy spy(nullptr);
        connect(
            &spy, &KvRegistrySpy::valueChanged, &loop,
            [&told, &loop] {
                told += QThread::currentThread() == loop.thread() ? 1 : 1000;
                if (told >= 2)
                    loop.quit();
            },
            Qt::DirectConnection);
        const bool isBound = spy.bind(Key, false);
        bound.set_value(isBound);
        if (isBound)
            loop.exec();
    });
    const bool isBound = bound.get_future().get();
    const QDeadlineTimer patience(5000);
    for (int i = 1; isBound && i <= 2; ++i) {
        changeForAll();
        while (told < i && !patience.hasExpired())
            QTest::qWait(1);
    }
    thread.join();
    QCOMPARE(told.load(), 2);
}

void RegistryWatchSuite::twoSpiesOnOneKey()
{
    const LogCatcher log;
    KvRegistrySpy one(nullptr);
    auto two = std::make_unique<KvRegistrySpy>(nullptr);
    QSignalSpy ones(&one, &KvRegistrySpy::valueChanged);
    QSignalSpy twos(two.get(), &KvRegistrySpy::valueChanged);
    QVERIFY(one.bind(Key, false));
    QVERIFY(two->bind(Key, true));
    changeForAll();
    QTRY_COMPARE(ones.size(), 1);
    QTRY_COMPARE(twos.size(), 1);
    two.reset();
    changeForAll();
    QTRY_COMPARE(ones.size(), 2);
}

void RegistryWatchSuite::deletedKey()
{
    if (!m_computer->abilities().deletionIsTold)
        return QTest::qSkip("this system doesn't tell", __FILE__, __LINE__);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Child, true));
    registry().remove(Key, u"Child"_s);
    QTRY_COMPARE(changes.size(), 1);
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[FAIL] can't watch registry key: "_s + Child + u" err: 1018"_s});
    // A key of the same name is another one.
    registry().setValue(Child, u"value"_s, 1);
    QTest::qWait(100);
    QCOMPARE(changes.size(), 1);
    QVERIFY(spy.bind(Child, true));
    registry().setValue(Child, u"value"_s, 2);
    QTRY_COMPARE(changes.size(), 2);
}

void RegistryWatchSuite::deletedKeyAbove()
{
    if (!m_computer->abilities().deletionIsTold)
        return QTest::qSkip("this system doesn't tell", __FILE__, __LINE__);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Deep, false));
    registry().remove(Key, QString());
    QTRY_COMPARE(changes.size(), 1);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void RegistryWatchSuite::rootAndHive()
{
    const LogCatcher log;
    KvRegistrySpy root(nullptr);
    KvRegistrySpy hive(nullptr);
    QSignalSpy roots(&root, &KvRegistrySpy::valueChanged);
    QSignalSpy hives(&hive, &KvRegistrySpy::valueChanged);
    QVERIFY(root.bind(u"HKCU"_s, true));
    QVERIFY(hive.bind(QString(Key).replace(u"HKEY_CURRENT_USER"_s, u"@HKCU"_s), true));
    changeForAll();
    QTRY_VERIFY(roots.size() >= 1);
    QTRY_COMPARE(hives.size(), 1);
}

void RegistryWatchSuite::missingKey_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("missing") << Key + u"\\Absent"_s;
    QTest::newRow("far below what is missing") << Key + u"\\Absent\\x\\y"_s;
    QTest::newRow("user without a SID") << u"HKEY_USERS\\\\Software"_s;
    QTest::newRow("name with a zero") << Key + u"\\Abs"_s + QChar(0);
}

void RegistryWatchSuite::missingKey()
{
    QFETCH(QString, key);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(!spy.bind(key, true));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().startsWith(u"[FAIL] can't open registry key: "_s));
    QVERIFY(!registry().contains(key, u"."_s));
}

void RegistryWatchSuite::spyDeletedInsideItsSlot()
{
    const LogCatcher log;
    auto *const spy = new KvRegistrySpy(this);
    QVERIFY(spy->bind(Key, false));
    connect(spy, &KvRegistrySpy::valueChanged, this, [this, spy] {
        changeForAll();
        delete spy;
    });
    changeForAll();
    QTRY_VERIFY(!findChild<KvRegistrySpy *>());
    changeForAll();
    QTest::qWait(50);
}

void RegistryWatchSuite::unbindInsideItsSlot()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Key, false));
    connect(&spy, &KvRegistrySpy::valueChanged, &spy, [this, &spy] {
        changeForAll();
        spy.unbind();
    });
    changeForAll();
    QTRY_COMPARE(changes.size(), 1);
    changeForAll();
    QTest::qWait(50);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(log.texts(QtInfoMsg), (QStringList{u"[REGISTRY] bind "_s + Key, u"[REGISTRY] unbind "_s + Key}));
}

void RegistryWatchSuite::unbindDropsWhatWasNotTold()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Key, false));
    changeForAll();
    spy.unbind();
    QTest::qWait(50);
    QCOMPARE(changes.size(), 0);
    QVERIFY(spy.bind(Key, false));
    changeForAll();
    QTRY_COMPARE(changes.size(), 1);
}

void RegistryWatchSuite::bindAnewInsideItsSlot()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(Key, false));
    connect(&spy, &KvRegistrySpy::valueChanged, &spy, [&spy] { spy.bind(Child, false); });
    changeForAll();
    QTRY_COMPARE(changes.size(), 1);
    QCOMPARE(spy.prefix(), Child);
    registry().setValue(Child, u"childs"_s, 7);
    QTRY_COMPARE(changes.size(), 2);
}

void RegistryWatchSuite::bindForeverWaitsForTheKey()
{
    const LogCatcher log;
    const QString path = Key + u"\\Later"_s;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    spy.bindForever(path, true);
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[FAIL] can't open registry key: "_s + path + u" err: 2"_s});
    QTest::qWait(RetryDelay + RetryDelay / 4);
    registry().setValue(path, u"value"_s, 1);
    QElapsedTimer sinceThen;
    sinceThen.start();
    const QStringList bound{u"[REGISTRY] bind "_s + path};
    QTRY_COMPARE_WITH_TIMEOUT(log.texts(QtInfoMsg), bound, 2 * RetryDelay);
    // The timer is a coarse one, and the computer may be busy.
    QVERIFY2(sinceThen.elapsed() < RetryDelay + RetryDelay / 4, qPrintable(QString::number(sinceThen.elapsed())));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QCOMPARE(changes.size(), 0);
    registry().setValue(path + u"\\Below"_s, u"value"_s, 1);
    QTRY_COMPARE(changes.size(), 1);
}

void RegistryWatchSuite::bindForeverLooksForTheUserAnew()
{
    const KvPlatform::Platform &own = m_computer->platform();
    const std::optional<QString> user = own.session->sessionUserName(own.session->activeConsoleSession());
    const std::optional<KvPlatform::Account> account = user ? own.session->lookupAccount(*user) : std::nullopt;
    QVERIFY(account);
    const auto session = std::make_shared<FakeSession>();
    session->elevated = false;
    const auto platform = std::make_shared<KvPlatform::Platform>(own);
    platform->session = session;
    KvPlatform::Platform::setCurrent(platform);
    KvSecurity::forget();

    const LogCatcher log;
    const QString path = QString(Key).replace(u"HKEY_CURRENT_USER"_s, u"@HKCU"_s);
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    spy.bindForever(path, true);
    QVERIFY(spy.prefix().startsWith(u"HKEY_USERS\\\\"_s));
    session->signIn(*user, account->sid, account->sidText);
    const QString prefix = QString(path).replace(u"@HKCU"_s, u"HKEY_USERS\\"_s + account->sidText);
    QTRY_COMPARE_WITH_TIMEOUT(spy.prefix(), prefix, 2 * RetryDelay);
    QCOMPARE(log.texts(QtWarningMsg).filter(u"registry key"_s).size(), 1);
    changeForAll();
    QTRY_COMPARE(changes.size(), 1);
}

void RegistryWatchSuite::unbindDoesNotEndTheSearch()
{
    const LogCatcher log;
    const QString path = Key + u"\\Later"_s;
    KvRegistrySpy spy(nullptr);
    KvRegistrySpy never(nullptr);
    never.unbind();
    spy.bindForever(path, true);
    spy.unbind();
    QCOMPARE(log.texts(QtInfoMsg), QStringList());
    registry().setValue(path, u"value"_s, 1);
    QTRY_COMPARE_WITH_TIMEOUT(log.texts(QtInfoMsg), QStringList{u"[REGISTRY] bind "_s + path}, 2 * RetryDelay);
    spy.unbind();
    spy.unbind();
    QCOMPARE(log.texts(QtInfoMsg).size(), 2);
}

void RegistryWatchSuite::manyWatches()
{
    const LogCatcher log;
    std::vector<std::unique_ptr<KvRegistrySpy>> spies;
    int told = 0;
    for (int i = 0; i < 200; ++i) {
        spies.push_back(std::make_unique<KvRegistrySpy>(nullptr));
        connect(spies.back().get(), &KvRegistrySpy::valueChanged, this, [&told] { ++told; });
        QVERIFY(spies.back()->bind(i % 2 ? Key : Child, i % 3 == 0));
    }
    registry().setValue(Child, u"childs"_s, 2);
    // All over the child, and those over its parent that look below.
    QTRY_COMPARE(told, 100 + 33);
}

QTEST_GUILESS_MAIN(RegistryWatchSuite)
#include "RegistryWatchSuite.moc"
