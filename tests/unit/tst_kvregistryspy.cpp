#include "../support/FakeRegistry.h"
#include "../support/FakeSession.h"
#include "../support/LogCatcher.h"
#include "../support/MetaText.h"
#include "KvRegistrySpy.h"
#include "KvSecurity.h"
#include "platform/Platform.h"

#include <QtTest/QTest>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString Sid = u"S-1-5-21-7"_s;

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

private:
    std::shared_ptr<FakeSession> m_session;
    std::shared_ptr<FakeRegistryStore> m_registry;
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

QTEST_GUILESS_MAIN(tst_KvRegistrySpy)
#include "tst_kvregistryspy.moc"
