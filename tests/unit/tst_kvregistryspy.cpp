#include "../support/FakeRegistry.h"
#include "../support/FakeSession.h"
#include "../support/FakeWatches.h"
#include "../support/LogCatcher.h"
#include "../support/MetaText.h"
#include "KvRegistrySpy.h"
#include "KvSecurity.h"
#include "platform/Platform.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString Sid = u"S-1-5-21-7"_s;

constexpr int RetryDelay = 2000;
constexpr int Patience = 2 * RetryDelay; // For one retry; its timer is a coarse one.

} // namespace

class tst_KvRegistrySpy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void normalForm_data();
    void normalForm();
    void normalFormIsStable_data() { normalForm_data(); }
    void normalFormIsStable();
    void normalFormAsksNoRegistry();
    void consoleUserIsNotTheProcessUser();
    void sessionIsAskedForTheConsoleHiveOnly();
    void consoleHiveWithoutUser();
    void userIsLookedForOnTheNextPath();
    void splitsPaths_data();
    void splitsPaths();
    void writtenValueIsThere();
    void missingValueGivesTheDefault_data();
    void missingValueGivesTheDefault();
    void typesSurvive_data();
    void typesSurvive();
    void overwrites();
    void removesAValue();
    void removesABranch();
    void emptyValueName();
    void nothingIsLogged();
    void anyThread();

    void declaresOneSignal();
    void unboundSpyHasNothing();
    void prefixIsTheNormalForm();
    void prefixStays();
    void valueIsNamedLikeTheKey();
    void keyValueReadsInsideTheKey();
    void keyValueTakesAbsolutePaths_data();
    void keyValueTakesAbsolutePaths();
    void keyValueKeepsARelativeName();
    void keyValueOnAnUnboundSpy();

    void bindOpensAndArmsTheKey_data();
    void bindOpensAndArmsTheKey();
    void bindOfAnUnknownRoot_data();
    void bindOfAnUnknownRoot();
    void bindOfAKeyThatDoesNotOpen();
    void bindOfAKeyThatCannotBeArmed();
    void bindEndsTheFormerWatch();
    void failedBindEndsTheFormerWatch();
    void unbindEndsTheWatch();
    void unbindOfASpyThatNeverBound();
    void endOfASpyEndsTheWatch();
    void changeIsArmedBeforeItIsTold();
    void changeInsideTheSlotIsToldOnceMore();
    void changeAfterARearmThatFails();
    void spyDeletedInsideItsSlot();
    void unbindInsideItsSlot();
    void bindInsideItsSlot();
    void bindForeverOnAKeyThatIsThere();
    void bindForeverWaitsForTheKey();
    void bindForeverLooksForTheUserAnew();
    void unbindDoesNotEndTheSearch();
    void bindDoesNotEndTheSearch();
    void endOfASpyEndsTheSearch();

private:
    std::shared_ptr<FakeSession> m_session;
    std::shared_ptr<FakeRegistryStore> m_registry;
    std::shared_ptr<FakeWatches> m_watches;
};

void tst_KvRegistrySpy::init()
{
    m_session = std::make_shared<FakeSession>();
    m_session->signIn(u"kim"_s, FakeSession::sid('\7'), Sid);
    m_session->elevated = false;
    m_registry = std::make_shared<FakeRegistryStore>();
    auto platform = std::make_shared<KvPlatform::Platform>();
    platform->session = m_session;
    platform->registry = m_registry;
    m_watches = std::make_shared<FakeWatches>();
    platform->watches = m_watches;
    KvPlatform::Platform::setCurrent(platform);
    KvSecurity::forget();
    const LogCatcher quiet;
    KvSecurity::userSidString();
}

void tst_KvRegistrySpy::cleanup()
{
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
}

void tst_KvRegistrySpy::normalForm_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *path, const char *expected) {
        QTest::newRow(*path ? path : "nothing") << QString::fromLatin1(path) << QString::fromLatin1(expected);
    };
    row("HKLM\\Software\\X", "HKEY_LOCAL_MACHINE\\Software\\X");
    row("HKCU\\Software\\X", "HKEY_CURRENT_USER\\Software\\X");
    row("HKCR\\.txt", "HKEY_CLASSES_ROOT\\.txt");
    row("HKCC\\System", "HKEY_CURRENT_CONFIG\\System");
    row("HKU\\.DEFAULT\\X", "HKEY_USERS\\.DEFAULT\\X");
    row("hklm\\Software\\X", "HKEY_LOCAL_MACHINE\\Software\\X");
    row("hKcU\\sOftware\\x", "HKEY_CURRENT_USER\\sOftware\\x");
    row("HKEY_LOCAL_MACHINE\\Software\\X", "HKEY_LOCAL_MACHINE\\Software\\X");
    row("hkey_local_machine\\Software\\X", "HKEY_LOCAL_MACHINE\\Software\\X");
    row("HKEY_PERFORMANCE_DATA\\x", "HKEY_PERFORMANCE_DATA\\x");
    row("@HKCU\\Software\\X", "HKEY_USERS\\S-1-5-21-7\\Software\\X");
    row("@hkcu\\Software\\x", "HKEY_USERS\\S-1-5-21-7\\Software\\x");
    row("@HKCU", "HKEY_USERS\\S-1-5-21-7\\");
    row("@HKLM\\X", "@HKLM\\X");
    row("HKCU", "HKEY_CURRENT_USER\\");
    row("HKCU\\", "HKEY_CURRENT_USER\\");
    row("", "\\");
    row("\\", "\\");
    row("\\Software", "\\Software");
    row("Software\\Foo", "SOFTWARE\\Foo");
    row("HKLM\\Software\\X\\", "HKEY_LOCAL_MACHINE\\Software\\X\\");
    row("HKLM\\\\X", "HKEY_LOCAL_MACHINE\\\\X");
    row("HKLM/Software/X", "HKLM/SOFTWARE/X\\");
    row(" HKLM\\X", " HKLM\\X");
}

void tst_KvRegistrySpy::normalForm()
{
    QFETCH(QString, path);
    QTEST(KvRegistrySpy::hkey(path), "expected");
}

void tst_KvRegistrySpy::normalFormIsStable()
{
    QFETCH(QString, path);
    const QString once = KvRegistrySpy::hkey(path);
    QCOMPARE(KvRegistrySpy::hkey(once), once);
}

void tst_KvRegistrySpy::normalFormAsksNoRegistry()
{
    KvRegistrySpy::hkey(u"HKLM\\Software"_s);
    KvRegistrySpy::hkey(u"@HKCU\\Software"_s);
    QCOMPARE(m_registry->calls.take(), QStringList());
}

void tst_KvRegistrySpy::consoleUserIsNotTheProcessUser()
{
    KvRegistrySpy::writeValue(u"HKCU\\Software\\X"_s, u"process"_s);
    KvRegistrySpy::writeValue(u"@HKCU\\Software\\X"_s, u"console"_s);
    QCOMPARE(KvRegistrySpy::readValue(u"HKCU\\Software\\X"_s, {}), u"process"_s);
    QCOMPARE(KvRegistrySpy::readValue(u"HKU\\"_s + Sid + u"\\Software\\X"_s, {}), u"console"_s);
}

void tst_KvRegistrySpy::sessionIsAskedForTheConsoleHiveOnly()
{
    KvSecurity::forget();
    m_session->calls.take();
    const LogCatcher quiet;
    for (const QString &root : {u"HKLM"_s, u"HKCU"_s, u"HKU"_s, u"X"_s, QString()})
        KvRegistrySpy::hkey(root);
    QCOMPARE(m_session->calls.take(), QStringList());
    KvRegistrySpy::hkey(u"@HKCU"_s);
    QVERIFY(!m_session->calls.take().isEmpty());
}

void tst_KvRegistrySpy::consoleHiveWithoutUser()
{
    m_session->user.reset();
    KvSecurity::forget();
    const LogCatcher quiet;
    QCOMPARE(KvRegistrySpy::hkey(u"@HKCU\\Software\\X"_s), u"HKEY_USERS\\\\Software\\X"_s);
    QCOMPARE(KvRegistrySpy::readValue(u"@HKCU\\Software\\X"_s, 7), QVariant(7));
    QVERIFY(!KvRegistrySpy::containsKey(u"@HKCU\\Software\\X"_s));
    QCOMPARE(quiet.texts(QtWarningMsg), QStringList(3, u"[FAIL] can not query session info"_s));
}

void tst_KvRegistrySpy::userIsLookedForOnTheNextPath()
{
    m_session->user.reset();
    KvSecurity::forget();
    const LogCatcher quiet;
    QCOMPARE(KvRegistrySpy::hkey(u"@HKCU"_s), u"HKEY_USERS\\\\"_s);
    m_session->user = u"kim"_s;
    QCOMPARE(KvRegistrySpy::hkey(u"@HKCU"_s), u"HKEY_USERS\\"_s + Sid + u'\\');
    m_session->user.reset();
    QCOMPARE(KvRegistrySpy::hkey(u"@HKCU"_s), u"HKEY_USERS\\"_s + Sid + u'\\');
}

void tst_KvRegistrySpy::splitsPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("split");
    QTest::newRow("value") << u"hklm\\Software\\X\\Name"_s << u"[HKEY_LOCAL_MACHINE\\Software\\X] [Name]"_s;
    QTest::newRow("console") << u"@HKCU\\Software\\Name"_s << u"[HKEY_USERS\\S-1-5-21-7\\Software] [Name]"_s;
    QTest::newRow("in the root") << u"HKCU\\Name"_s << u"[HKEY_CURRENT_USER] [Name]"_s;
    QTest::newRow("trailing backslash") << u"HKCU\\Software\\"_s << u"[HKEY_CURRENT_USER\\Software] []"_s;
    QTest::newRow("root only") << u"HKCU"_s << u"[HKEY_CURRENT_USER] []"_s;
    QTest::newRow("nothing") << QString() << u"[] []"_s;
    QTest::newRow("slash in the name") << u"HKCU\\Software\\a/b"_s << u"[HKEY_CURRENT_USER\\Software] [a/b]"_s;
    QTest::newRow("unknown root") << u"Foo\\Name"_s << u"[FOO] [Name]"_s;
    QTest::newRow("blanks and umlauts") << u"HKCU\\Größe X\\Ä ö"_s << u"[HKEY_CURRENT_USER\\Größe X] [Ä ö]"_s;
}

void tst_KvRegistrySpy::splitsPaths()
{
    QFETCH(QString, path);
    QFETCH(QString, split);
    KvRegistrySpy::containsKey(path);
    KvRegistrySpy::readValue(path, {});
    KvRegistrySpy::writeValue(path, 1);
    KvRegistrySpy::removeKey(path);
    QCOMPARE(m_registry->calls.take(),
             QStringList({u"contains "_s + split, u"value "_s + split, u"set "_s + split, u"remove "_s + split}));
}

void tst_KvRegistrySpy::writtenValueIsThere()
{
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\Software\\Kelvo\\Name"_s));
    KvRegistrySpy::writeValue(u"HKCU\\Software\\Kelvo\\Name"_s, u"text"_s);
    QVERIFY(KvRegistrySpy::containsKey(u"HKEY_CURRENT_USER\\Software\\Kelvo\\Name"_s));
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\Software\\Kelvo"_s));
    QVERIFY(!KvRegistrySpy::containsKey(u"HKLM\\Software\\Kelvo\\Name"_s));
    QCOMPARE(KvRegistrySpy::readValue(u"hkcu\\Software\\Kelvo\\Name"_s, {}), u"text"_s);
}

void tst_KvRegistrySpy::missingValueGivesTheDefault_data()
{
    QTest::addColumn<QVariant>("defaultValue");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("text") << QVariant(u"x"_s);
    QTest::newRow("number") << QVariant(7);
    QTest::newRow("empty text") << QVariant(QString());
}

void tst_KvRegistrySpy::missingValueGivesTheDefault()
{
    QFETCH(QVariant, defaultValue);
    for (const QString &path :
         {u"HKCU\\Software\\Nothing"_s, u"HKLM\\X"_s, u"Foo\\Bar"_s, u"Foo"_s.repeated(1000) + u"\\x"_s}) {
        const QVariant value = KvRegistrySpy::readValue(path, defaultValue);
        QCOMPARE(value, defaultValue);
        QCOMPARE(value.isValid(), defaultValue.isValid());
    }
}

void tst_KvRegistrySpy::typesSurvive_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("text") << QVariant(u"Grüße"_s);
    QTest::newRow("empty text") << QVariant(QString());
    QTest::newRow("texts") << QVariant(QStringList{u"a"_s, u"b"_s});
    QTest::newRow("int") << QVariant(-1);
    QTest::newRow("64 bits") << QVariant(qint64(1) << 40);
}

void tst_KvRegistrySpy::typesSurvive()
{
    QFETCH(QVariant, value);
    KvRegistrySpy::writeValue(u"HKCU\\X\\v"_s, value);
    const QVariant read = KvRegistrySpy::readValue(u"HKCU\\X\\v"_s, u"default"_s);
    QCOMPARE(read, value);
    QCOMPARE(read.metaType(), value.metaType());
}

void tst_KvRegistrySpy::overwrites()
{
    KvRegistrySpy::writeValue(u"HKCU\\X\\v"_s, 1);
    KvRegistrySpy::writeValue(u"HKCU\\X\\v"_s, u"two"_s);
    QCOMPARE(KvRegistrySpy::readValue(u"HKCU\\X\\v"_s, {}), QVariant(u"two"_s));
}

void tst_KvRegistrySpy::removesAValue()
{
    KvRegistrySpy::writeValue(u"HKCU\\X\\a"_s, 1);
    KvRegistrySpy::writeValue(u"HKCU\\X\\b"_s, 2);
    KvRegistrySpy::removeKey(u"HKCU\\X\\a"_s);
    KvRegistrySpy::removeKey(u"HKCU\\X\\missing"_s);
    KvRegistrySpy::removeKey(u"Nowhere\\X"_s);
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\X\\a"_s));
    QVERIFY(KvRegistrySpy::containsKey(u"HKCU\\X\\b"_s));
}

void tst_KvRegistrySpy::removesABranch()
{
    KvRegistrySpy::writeValue(u"HKCU\\X\\Sub\\a"_s, 1);
    KvRegistrySpy::writeValue(u"HKCU\\X\\Sub\\Deeper\\b"_s, 2);
    KvRegistrySpy::writeValue(u"HKCU\\X\\Subway\\c"_s, 3);
    KvRegistrySpy::removeKey(u"HKCU\\X\\Sub"_s);
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\X\\Sub\\a"_s));
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\X\\Sub\\Deeper\\b"_s));
    QVERIFY(KvRegistrySpy::containsKey(u"HKCU\\X\\Subway\\c"_s));
}

void tst_KvRegistrySpy::emptyValueName()
{
    KvRegistrySpy::writeValue(u"HKCU\\X\\"_s, 1);
    QVERIFY(!KvRegistrySpy::containsKey(u"HKCU\\X\\"_s));
    QVERIFY(!KvRegistrySpy::readValue(u"HKCU\\X\\"_s, 2).isValid());
}

void tst_KvRegistrySpy::nothingIsLogged()
{
    const LogCatcher log;
    for (const QString &path : {u"HKCU\\X\\a"_s, u"@HKCU\\X\\a"_s, u"Nowhere\\X"_s, u"HKLM"_s, QString()}) {
        KvRegistrySpy::containsKey(path);
        KvRegistrySpy::readValue(path, {});
        KvRegistrySpy::writeValue(path, 1);
        KvRegistrySpy::removeKey(path);
    }
    QCOMPARE(log.lines().size(), 0);
}

void tst_KvRegistrySpy::anyThread()
{
    KvRegistrySpy::writeValue(u"@HKCU\\X\\a"_s, 5);
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 100; ++round) {
                if (KvRegistrySpy::readValue(u"@hkcu\\X\\a"_s, {}).toInt() == 5 &&
                    KvRegistrySpy::hkey(u"HKLM\\x"_s) == u"HKEY_LOCAL_MACHINE\\x")
                    ++right;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(right, 600);
}

void tst_KvRegistrySpy::declaresOneSignal()
{
    const QMetaObject &meta = KvRegistrySpy::staticMetaObject;
    QCOMPARE(MetaText::methods(meta, QMetaMethod::Signal), QStringList{u"valueChanged()"_s});
    QCOMPARE(MetaText::properties(meta), QStringList());
}

void tst_KvRegistrySpy::unboundSpyHasNothing()
{
    const KvRegistrySpy spy(nullptr);
    QCOMPARE(spy.prefix(), QString());
    QVERIFY(!spy.value(u"default"_s).isValid());
    QCOMPARE(m_registry->calls.take(), QStringList());
}

void tst_KvRegistrySpy::prefixIsTheNormalForm()
{
    const LogCatcher quiet;
    KvRegistrySpy spy(nullptr);
    spy.bind(u"@hkcu\\Software\\X"_s, false);
    QCOMPARE(spy.prefix(), u"HKEY_USERS\\S-1-5-21-7\\Software\\X"_s);
    spy.bind(u"hklm\\Software\\Y"_s, true);
    QCOMPARE(spy.prefix(), u"HKEY_LOCAL_MACHINE\\Software\\Y"_s);
    spy.bind(u"Nowhere\\Z"_s, true);
    QCOMPARE(spy.prefix(), u"NOWHERE\\Z"_s);
}

void tst_KvRegistrySpy::prefixStays()
{
    const LogCatcher quiet;
    KvRegistrySpy spy(nullptr);
    spy.bind(u"HKLM\\Software\\X"_s, false);
    spy.unbind();
    spy.unbind();
    QCOMPARE(spy.prefix(), u"HKEY_LOCAL_MACHINE\\Software\\X"_s);
}

void tst_KvRegistrySpy::valueIsNamedLikeTheKey()
{
    const LogCatcher quiet;
    KvRegistrySpy::writeValue(u"HKLM\\Software\\X"_s, u"in the parent"_s);
    KvRegistrySpy::writeValue(u"HKLM\\Software\\X\\X"_s, u"in the key"_s);
    KvRegistrySpy spy(nullptr);
    spy.bind(u"HKLM\\Software\\X"_s, false);
    QCOMPARE(spy.value({}), QVariant(u"in the parent"_s));
    spy.bind(u"HKLM\\Software\\Missing"_s, false);
    QCOMPARE(spy.value(7), QVariant(7));
}

void tst_KvRegistrySpy::keyValueReadsInsideTheKey()
{
    const LogCatcher quiet;
    KvRegistrySpy::writeValue(u"HKLM\\Software\\X\\ValueName"_s, u"inside"_s);
    KvRegistrySpy spy(nullptr);
    spy.bind(u"HKLM\\Software\\X"_s, false);
    QCOMPARE(spy.keyValue(u"ValueName"_s, {}), QVariant(u"inside"_s));
    QCOMPARE(spy.keyValue(u"Missing"_s, 7), QVariant(7));
}

void tst_KvRegistrySpy::keyValueTakesAbsolutePaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("call");
    QTest::newRow("short root") << u"HKCU\\Software\\X\\Y"_s << u"value [HKEY_CURRENT_USER\\Software\\X] [Y]"_s;
    QTest::newRow("long root") << u"hkey_users\\X"_s << u"value [HKEY_USERS] [X]"_s;
    QTest::newRow("console") << u"@HKCU\\X\\Y"_s << u"value [HKEY_USERS\\S-1-5-21-7\\X] [Y]"_s;
    QTest::newRow("unknown long root") << u"hkey_x\\Y"_s << u"value [HKEY_X] [Y]"_s;
    QTest::newRow("root only") << u"HKCU"_s << u"value [HKEY_CURRENT_USER] []"_s;
}

void tst_KvRegistrySpy::keyValueTakesAbsolutePaths()
{
    QFETCH(QString, path);
    QFETCH(QString, call);
    const LogCatcher quiet;
    KvRegistrySpy spy(nullptr);
    spy.keyValue(path, {});
    QCOMPARE(m_registry->calls.take(), QStringList{call});
    spy.bind(u"HKLM\\Software\\X"_s, false);
    m_registry->calls.take();
    spy.keyValue(path, {});
    QCOMPARE(m_registry->calls.take(), QStringList{call});
}

void tst_KvRegistrySpy::keyValueKeepsARelativeName()
{
    const LogCatcher quiet;
    KvRegistrySpy spy(nullptr);
    spy.bind(u"HKLM\\Software\\X"_s, false);
    m_registry->calls.take();
    spy.keyValue(u"Sub\\Name"_s, {});
    spy.keyValue(u"lower"_s, {});
    QCOMPARE(m_registry->calls.take(), QStringList({u"value [HKEY_LOCAL_MACHINE\\Software\\X\\Sub] [Name]"_s,
                                                    u"value [HKEY_LOCAL_MACHINE\\Software\\X] [lower]"_s}));
}

void tst_KvRegistrySpy::keyValueOnAnUnboundSpy()
{
    const KvRegistrySpy spy(nullptr);
    QVERIFY(!spy.keyValue(u"Name"_s, u"default"_s).isValid());
    QVERIFY(!spy.keyValue(u"HKCUX\\Name"_s, u"default"_s).isValid());
    QCOMPARE(m_registry->calls.take(), QStringList());
    QCOMPARE(spy.keyValue(u"HKCU\\X\\Name"_s, u"default"_s), QVariant(u"default"_s));
}

void tst_KvRegistrySpy::bindOpensAndArmsTheKey_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("withSubtree");
    QTest::addColumn<QString>("opened");
    QTest::addColumn<QString>("prefix");
    const auto row = [](const char *path, bool withSubtree, const char *opened, const char *prefix) {
        QTest::newRow(path) << QString::fromLatin1(path) << withSubtree << QString::fromLatin1(opened)
                            << QString::fromLatin1(prefix);
    };
    row("HKLM\\Software\\X", false, "80000002 [Software\\X]", "HKEY_LOCAL_MACHINE\\Software\\X");
    row("hkcu\\Software\\x", true, "80000001 [Software\\x]", "HKEY_CURRENT_USER\\Software\\x");
    row("HKCR\\.txt", false, "80000000 [.txt]", "HKEY_CLASSES_ROOT\\.txt");
    row("HKCC\\System", true, "80000005 [System]", "HKEY_CURRENT_CONFIG\\System");
    row("HKU\\.DEFAULT", false, "80000003 [.DEFAULT]", "HKEY_USERS\\.DEFAULT");
    row("@HKCU\\X", true, "80000003 [S-1-5-21-7\\X]", "HKEY_USERS\\S-1-5-21-7\\X");
    row("hkey_users\\X", false, "80000003 [X]", "HKEY_USERS\\X");
    row("HKLM", true, "80000002 []", "HKEY_LOCAL_MACHINE\\");
}

void tst_KvRegistrySpy::bindOpensAndArmsTheKey()
{
    QFETCH(QString, path);
    QFETCH(bool, withSubtree);
    QFETCH(QString, opened);
    QFETCH(QString, prefix);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(path, withSubtree));
    QCOMPARE(m_watches->calls.take(),
             QStringList({u"open "_s + opened + u" 110"_s, u"arm %1 5"_s.arg(withSubtree), u"notify"_s}));
    QCOMPARE(spy.prefix(), prefix);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[REGISTRY] bind "_s + prefix});
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(changes.size(), 0);
}

void tst_KvRegistrySpy::bindOfAnUnknownRoot_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("unknown") << u"Nowhere\\X"_s << u"NOWHERE\\X"_s;
    QTest::newRow("relative") << u"Software\\Foo"_s << u"SOFTWARE\\Foo"_s;
    QTest::newRow("other long name") << u"HKEY_PERFORMANCE_DATA\\X"_s << u"HKEY_PERFORMANCE_DATA\\X"_s;
    QTest::newRow("nothing") << QString() << u"\\"_s;
}

void tst_KvRegistrySpy::bindOfAnUnknownRoot()
{
    QFETCH(QString, path);
    QFETCH(QString, prefix);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(!spy.bind(path, false));
    QCOMPARE(spy.prefix(), prefix);
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[FAIL] invalid registry key: "_s + prefix});
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(m_watches->calls.take(), QStringList());
}

void tst_KvRegistrySpy::bindOfAKeyThatDoesNotOpen()
{
    m_watches->openErrors.insert(u"Software\\X"_s, 5);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(!spy.bind(u"HKLM\\Software\\X"_s, false));
    QCOMPARE(log.texts(QtWarningMsg),
             QStringList{u"[FAIL] can't open registry key: HKEY_LOCAL_MACHINE\\Software\\X err: 5"_s});
    spy.unbind();
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(m_watches->calls.take(), QStringList{u"open 80000002 [Software\\X] 110"_s});
}

void tst_KvRegistrySpy::bindOfAKeyThatCannotBeArmed()
{
    m_watches->armError = 6;
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(!spy.bind(u"HKLM\\X"_s, false));
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[FAIL] can't watch registry key: HKEY_LOCAL_MACHINE\\X err: 6"_s});
    QCOMPARE(m_watches->openKeys(), QStringList{u"X"_s});
    spy.unbind();
    QCOMPARE(m_watches->openKeys(), QStringList());
    QCOMPARE(log.lines().size(), 1);
}

void tst_KvRegistrySpy::bindEndsTheFormerWatch()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    QVERIFY(spy.bind(u"HKLM\\Y"_s, false));
    QCOMPARE(log.texts(QtInfoMsg),
             QStringList({u"[REGISTRY] bind HKEY_LOCAL_MACHINE\\X"_s, u"[REGISTRY] unbind HKEY_LOCAL_MACHINE\\X"_s,
                          u"[REGISTRY] bind HKEY_LOCAL_MACHINE\\Y"_s}));
    QCOMPARE(m_watches->openKeys(), QStringList{u"Y"_s});
    m_watches->fire(u"X"_s);
    QCOMPARE(changes.size(), 0);
    m_watches->fire(u"Y"_s);
    QCOMPARE(changes.size(), 1);
}

void tst_KvRegistrySpy::failedBindEndsTheFormerWatch()
{
    m_watches->openErrors.insert(u"Y"_s, 2);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    QVERIFY(!spy.bind(u"HKLM\\Y"_s, false));
    QCOMPARE(m_watches->openKeys(), QStringList());
    QCOMPARE(spy.prefix(), u"HKEY_LOCAL_MACHINE\\Y"_s);
}

void tst_KvRegistrySpy::unbindEndsTheWatch()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    spy.unbind();
    spy.unbind();
    QCOMPARE(log.texts(QtInfoMsg),
             QStringList({u"[REGISTRY] bind HKEY_LOCAL_MACHINE\\X"_s, u"[REGISTRY] unbind HKEY_LOCAL_MACHINE\\X"_s}));
    QCOMPARE(m_watches->openKeys(), QStringList());
    QCOMPARE(m_watches->fire(u"X"_s), 0);
    QCOMPARE(changes.size(), 0);
}

void tst_KvRegistrySpy::unbindOfASpyThatNeverBound()
{
    const LogCatcher log;
    {
        KvRegistrySpy spy(nullptr);
        spy.unbind();
    }
    QCOMPARE(log.lines().size(), 0);
}

void tst_KvRegistrySpy::endOfASpyEndsTheWatch()
{
    const LogCatcher log;
    {
        KvRegistrySpy spy(nullptr);
        QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    }
    QCOMPARE(log.texts(QtInfoMsg).last(), u"[REGISTRY] unbind HKEY_LOCAL_MACHINE\\X"_s);
    QCOMPARE(m_watches->openKeys(), QStringList());
}

void tst_KvRegistrySpy::changeIsArmedBeforeItIsTold()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(spy.bind(u"HKLM\\X"_s, true));
    connect(&spy, &KvRegistrySpy::valueChanged, this, [this] { m_watches->calls.add(u"told"_s); });
    for (int change = 0; change < 3; ++change) {
        m_watches->calls.take();
        QCOMPARE(m_watches->fire(u"X"_s), 1);
        QCOMPARE(m_watches->calls.take(), QStringList({u"arm 1 5"_s, u"told"_s}));
    }
    QCOMPARE(log.lines().size(), 1);
}

void tst_KvRegistrySpy::changeInsideTheSlotIsToldOnceMore()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    int told = 0;
    connect(&spy, &KvRegistrySpy::valueChanged, this, [this, &told] {
        if (++told == 1)
            m_watches->fire(u"X"_s);
    });
    m_watches->fire(u"X"_s);
    QCOMPARE(told, 2);
}

void tst_KvRegistrySpy::changeAfterARearmThatFails()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    m_watches->armError = 1018;
    m_watches->fire(u"X"_s);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(log.texts(QtWarningMsg),
             QStringList{u"[FAIL] can't watch registry key: HKEY_LOCAL_MACHINE\\X err: 1018"_s});
    m_watches->armError = 0;
    QCOMPARE(m_watches->fire(u"X"_s), 0);
    QCOMPARE(m_watches->openKeys(), QStringList{u"X"_s});
    spy.unbind();
    QCOMPARE(log.texts(QtInfoMsg).last(), u"[REGISTRY] unbind HKEY_LOCAL_MACHINE\\X"_s);
}

void tst_KvRegistrySpy::spyDeletedInsideItsSlot()
{
    const LogCatcher log;
    auto *const spy = new KvRegistrySpy(this);
    QVERIFY(spy->bind(u"HKLM\\X"_s, false));
    connect(spy, &KvRegistrySpy::valueChanged, this, [spy] { delete spy; });
    QCOMPARE(m_watches->fire(u"X"_s), 1);
    QCOMPARE(m_watches->openKeys(), QStringList());
    QVERIFY(!findChild<KvRegistrySpy *>());
}

void tst_KvRegistrySpy::unbindInsideItsSlot()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    connect(&spy, &KvRegistrySpy::valueChanged, &spy, &KvRegistrySpy::unbind);
    m_watches->fire(u"X"_s);
    QCOMPARE(m_watches->openKeys(), QStringList());
    QCOMPARE(changes.size(), 1);
}

void tst_KvRegistrySpy::bindInsideItsSlot()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    QVERIFY(spy.bind(u"HKLM\\X"_s, false));
    connect(&spy, &KvRegistrySpy::valueChanged, &spy, [&spy] { spy.bind(u"HKLM\\Y"_s, true); });
    m_watches->fire(u"X"_s);
    QCOMPARE(m_watches->openKeys(), QStringList{u"Y"_s});
    m_watches->fire(u"Y"_s);
    QCOMPARE(changes.size(), 2);
}

void tst_KvRegistrySpy::bindForeverOnAKeyThatIsThere()
{
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    spy.bindForever(u"HKLM\\X"_s, true);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[REGISTRY] bind HKEY_LOCAL_MACHINE\\X"_s});
    QVERIFY(m_watches->calls.take().contains(u"arm 1 5"_s));
    // What stands needs no second try.
    QTest::qWait(RetryDelay + RetryDelay / 4);
    QCOMPARE(m_watches->calls.take(), QStringList());
    QCOMPARE(log.lines().size(), 1);
}

void tst_KvRegistrySpy::bindForeverWaitsForTheKey()
{
    m_watches->openErrors.insert(u"X"_s, 2);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    QSignalSpy changes(&spy, &KvRegistrySpy::valueChanged);
    spy.bindForever(u"HKLM\\X"_s, true);
    const QStringList failure{u"[FAIL] can't open registry key: HKEY_LOCAL_MACHINE\\X err: 2"_s};
    QCOMPARE(log.texts(QtWarningMsg), failure);
    const QStringList tried{u"open 80000002 [X] 110"_s};
    QCOMPARE(m_watches->calls.take(), tried);
    QStringList triedAgain;
    QTRY_VERIFY_WITH_TIMEOUT(!(triedAgain += m_watches->calls.take()).isEmpty(), Patience);
    QCOMPARE(triedAgain, tried);
    m_watches->openErrors.clear();
    QTRY_COMPARE_WITH_TIMEOUT(m_watches->openKeys(), QStringList{u"X"_s}, Patience);
    QCOMPARE(log.texts(QtWarningMsg), failure);
    QCOMPARE(log.texts(QtInfoMsg), QStringList{u"[REGISTRY] bind HKEY_LOCAL_MACHINE\\X"_s});
    QCOMPARE(changes.size(), 0);
    m_watches->armError = 1018;
    m_watches->fire(u"X"_s);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void tst_KvRegistrySpy::bindForeverLooksForTheUserAnew()
{
    m_session->user.reset();
    KvSecurity::forget();
    m_watches->openErrors.insert(u"\\X"_s, 161);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    spy.bindForever(u"@HKCU\\X"_s, true);
    QCOMPARE(spy.prefix(), u"HKEY_USERS\\\\X"_s);
    QCOMPARE(log.texts(QtWarningMsg).filter(u"registry key"_s),
             QStringList{u"[FAIL] can't open registry key: HKEY_USERS\\\\X err: 161"_s});
    m_session->user = u"kim"_s;
    QTRY_COMPARE_WITH_TIMEOUT(m_watches->openKeys(), QStringList{Sid + u"\\X"_s}, Patience);
    QCOMPARE(spy.prefix(), u"HKEY_USERS\\"_s + Sid + u"\\X"_s);
    QCOMPARE(log.texts(QtWarningMsg).filter(u"registry key"_s).size(), 1);
}

void tst_KvRegistrySpy::unbindDoesNotEndTheSearch()
{
    m_watches->openErrors.insert(u"X"_s, 2);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    spy.bindForever(u"HKLM\\X"_s, true);
    spy.unbind();
    QCOMPARE(log.texts(QtInfoMsg), QStringList());
    m_watches->openErrors.clear();
    QTRY_COMPARE_WITH_TIMEOUT(m_watches->openKeys(), QStringList{u"X"_s}, Patience);
    spy.unbind();
    m_watches->calls.take();
    QTest::qWait(RetryDelay + RetryDelay / 4);
    QCOMPARE(m_watches->calls.take(), QStringList());
}

void tst_KvRegistrySpy::bindDoesNotEndTheSearch()
{
    m_watches->openErrors.insert(u"X"_s, 2);
    const LogCatcher log;
    KvRegistrySpy spy(nullptr);
    spy.bindForever(u"HKLM\\X"_s, true);
    QVERIFY(spy.bind(u"HKLM\\Y"_s, false));
    // While the search goes on, nothing is told of a failure.
    m_watches->armError = 1018;
    m_watches->fire(u"Y"_s);
    QVERIFY(!spy.bind(u"Nowhere\\Z"_s, false));
    m_watches->armError = 0;
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(log.texts(QtWarningMsg).last().contains(u"invalid"_s));
    m_watches->openErrors.clear();
    QTest::qWait(RetryDelay + RetryDelay / 4);
    QCOMPARE(m_watches->openKeys(), QStringList());
}

void tst_KvRegistrySpy::endOfASpyEndsTheSearch()
{
    m_watches->openErrors.insert(u"X"_s, 2);
    const LogCatcher log;
    {
        KvRegistrySpy spy(nullptr);
        spy.bindForever(u"HKLM\\X"_s, true);
    }
    m_watches->calls.take();
    QTest::qWait(RetryDelay + RetryDelay / 4);
    QCOMPARE(m_watches->calls.take(), QStringList());
    QCOMPARE(log.lines().size(), 1);
}

QTEST_GUILESS_MAIN(tst_KvRegistrySpy)
#include "tst_kvregistryspy.moc"
