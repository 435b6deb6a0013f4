#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Packages.h"
#include "platform/Platform.h"
#include "platform/portable/MachineEnvironment.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachineFolders.h"
#include "platform/portable/MachinePlatform.h"
#include "platform/Registry.h"
#include "platform/Session.h"
#include "platform/ShellLinks.h"
#include "platform/Tokens.h"
#include "platform/VersionResources.h"

#include <XEnvironment.h>

#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

class TestMachineFacts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults();
    void everything();
    void wrongMembers_data();
    void wrongMembers();
    void malformedFiles_data();
    void malformedFiles();
    void missingFile();
    void processUserIsConsoleUser();
    void sids_data();
    void sids();
    void expansion_data();
    void expansion();
    void expansionOfProcessEnvironment();
    void folders();
    void safeAnswers();
    void currentPlatform();
    void scopedMachine();
    void hostMachine();

private:
    static MachineFacts parsed(const QByteArray &json, QStringList *faults);
};

MachineFacts TestMachineFacts::parsed(const QByteArray &json, QStringList *faults)
{
    return MachineFacts::parse(json, faults);
}

void TestMachineFacts::defaults()
{
    QStringList faults;
    const MachineFacts facts = parsed("{}", &faults);
    QCOMPARE(faults, QStringList());
    QVERIFY(!facts.consoleUser);
    QVERIFY(!facts.processUser);
    QVERIFY(!facts.elevated);
    QCOMPARE(facts.uiLanguage, quint16(1033));
    QVERIFY(facts.environment.isEmpty());
    QVERIFY(facts.folders.isEmpty());
    QVERIFY(facts.packages.isEmpty());
    QVERIFY(!facts.packagesError);
    QVERIFY(!facts.tokens.session);
    QVERIFY(facts.tokens.linked);
    QVERIFY(facts.tokens.borrowed);
    QVERIFY(facts.metadata.isEmpty());
}

void TestMachineFacts::everything()
{
    QStringList faults;
    const MachineFacts facts = parsed(R"({
        "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" },
        "processUser": { "name": "ada", "sid": "S-1-5-18" },
        "elevated": true, "uiLanguage": 1031,
        "environment": { "SystemRoot": "C:\\Windows" },
        "folders": { "Programs": "C:/Start", "Other": "C:/Other" },
        "tokens": { "session": true, "linked": false, "borrowed": false },
        "users": [ { "type": 1, "authenticationStatus": 2, "nonRoamableId": "user-1" } ],
        "packages": [ { "fullName": "F", "displayName": "D", "publisherDisplayName": "P",
            "version": { "major": 1, "minor": 2, "build": 3, "revision": 65535 },
            "entries": [ { "displayName": "N", "description": "T", "appUserModelId": "I", "logo": "C:/l.png" } ] } ],
        "metadata": "C:/m.json", "unknown": 1 })",
                                      &faults);
    QCOMPARE(faults, QStringList());
    QCOMPARE(facts.consoleUser->domain, u"DESK"_s);
    QCOMPARE(facts.consoleUser->sidText, u"S-1-5-21-1-2-3-1001"_s);
    QCOMPARE(facts.processUser->name, u"ada"_s);
    QCOMPARE(facts.processUser->sid, QByteArray::fromHex("010100000000000512000000"));
    QVERIFY(facts.elevated);
    QCOMPARE(facts.uiLanguage, quint16(1031));
    QCOMPARE(facts.environment.value(u"SYSTEMROOT"_s), u"C:\\Windows"_s);
    QCOMPARE(facts.folders.size(), 1);
    QCOMPARE(facts.folders.value(Folder::Programs), u"C:/Start"_s);
    QVERIFY(facts.tokens.session && !facts.tokens.linked && !facts.tokens.borrowed);
    QCOMPARE(facts.users.at(0).nonRoamableId, u"user-1"_s);
    QCOMPARE(facts.packages.at(0).version.revision, quint16(65535));
    QCOMPARE(facts.packages.at(0).entries.at(0).logo, u"C:/l.png"_s);
    QCOMPARE(facts.metadata, u"C:/m.json"_s);
}

void TestMachineFacts::wrongMembers_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::addColumn<QString>("fault");
    const QPair<const char *, const char *> rows[] = {
        {R"("consoleUser": "kim")", "consoleUser"},
        {R"("consoleUser": [])", "consoleUser"},
        {R"("consoleUser": {"name": 1})", "consoleUser.name"},
        {R"("consoleUser": {"name": "kim", "sid": "S-1"})", "consoleUser.sid"},
        {R"("consoleUser": {"name": "kim", "sid": 5})", "consoleUser.sid"},
        {R"("consoleUser": {"name": "kim", "domain": {}})", "consoleUser.domain"},
        {R"("processUser": 7)", "processUser"},
        {R"("elevated": "yes")", "elevated"},
        {R"("elevated": 1)", "elevated"},
        {R"("uiLanguage": "1033")", "uiLanguage"},
        {R"("uiLanguage": 65536)", "uiLanguage"},
        {R"("uiLanguage": -1)", "uiLanguage"},
        {R"("uiLanguage": 1.5)", "uiLanguage"},
        {R"("uiLanguage": 1e300)", "uiLanguage"},
        {R"("environment": [])", "environment"},
        {R"("environment": {"A": 1})", "environment.A"},
        {R"("folders": "C:/")", "folders"},
        {R"("folders": {"Programs": {}})", "folders.Programs"},
        {R"("users": 3)", "users"},
        {R"("users": [3])", "users[0]"},
        {R"("users": [{"type": "local"}])", "users[0].type"},
        {R"("packages": "none")", "packages"},
        {R"("packages": {})", "packages"},
        {R"("packages": {"error": "x"})", "packages.error"},
        {R"("packages": [{}, []])", "packages[1]"},
        {R"("packages": [{"version": "1.2.3.4"}])", "packages[0].version"},
        {R"("packages": [{"version": {"major": 70000}}])", "packages[0].version.major"},
        {R"("packages": [{"entries": {}}])", "packages[0].entries"},
        {R"("packages": [{"entries": [null]}])", "packages[0].entries[0]"},
        {R"("packages": [{"entries": [{"displayName": 1}]}])", "packages[0].entries[0].displayName"},
        {R"("packages": [{"error": {"code": "x"}}])", "packages[0].error.code"},
        {R"("tokens": true)", "tokens"},
        {R"("tokens": {"session": "no"})", "tokens.session"},
        {R"("metadata": ["C:/m.json"])", "metadata"},
    };
    for (const auto &[member, fault] : rows)
        QTest::newRow(member) << QByteArray(member) << QString::fromLatin1(fault);
}

void TestMachineFacts::wrongMembers()
{
    QFETCH(QByteArray, member);
    QFETCH(QString, fault);
    MachineBuilder machine;
    // What stands beside the wrong member counts.
    const bool isMetadata = fault.startsWith(u"metadata");
    const QByteArray beside = isMetadata ? QByteArray(R"("elevated": true)") : QByteArray(R"("metadata": "C:/m.json")");
    machine.write(u"machine.json"_s, "{" + member + "," + beside + "}");
    const LogCatcher log;
    const MachineFacts facts = MachineFacts::load(machine.path());
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains(u"machine.json: "_s + fault + u" is "_s), qPrintable(warnings.first()));
    QCOMPARE(facts.metadata, isMetadata ? QString() : u"C:/m.json"_s);
    QCOMPARE(facts.elevated, isMetadata);
    QCOMPARE(facts.uiLanguage, quint16(1033));
    if (facts.consoleUser)
        QVERIFY(facts.consoleUser->sid.isEmpty() && facts.consoleUser->sidText.isEmpty());
}

void TestMachineFacts::malformedFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("array") << QByteArray("[]");
    QTest::newRow("cut off") << QByteArray("{\"elevated\": tr");
    QTest::newRow("text") << QByteArray("hello");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("bad UTF-8") << QByteArray("{\"metadata\": \"\xff\xfe\"}");
    QTest::newRow("deep") << QByteArray(100000, '[');
    QTest::newRow("deep objects") << QByteArray("{\"a\":").repeated(50000);
}

void TestMachineFacts::malformedFiles()
{
    QFETCH(QByteArray, content);
    MachineBuilder machine;
    machine.write(u"machine.json"_s, content);
    const LogCatcher log;
    const MachineFacts facts = MachineFacts::load(machine.path());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(!facts.consoleUser);
    QVERIFY(facts.metadata.isEmpty());
}

void TestMachineFacts::missingFile()
{
    MachineBuilder machine;
    const LogCatcher log;
    const auto platform = createMachinePlatform(machine.path());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).first().contains(machine.path() + u"/machine.json: "_s));
    QCOMPARE(platform->session->activeConsoleSession(), 0xFFFFFFFF);
    QVERIFY(platform->packages->packageManager()->findPackagesForUser(QString())->next() == nullptr);
    QCOMPARE(platform->registry->childGroups(u"HKEY_LOCAL_MACHINE"_s), QStringList());
}

void TestMachineFacts::processUserIsConsoleUser()
{
    QStringList faults;
    const char user[] = R"({"consoleUser": {"name": "kim", "sid": "S-1-5-18"}, "processUser": null})";
    QCOMPARE(parsed(user, &faults).processUser->name, u"kim"_s);
    const MachineFacts nobody = parsed(R"({"consoleUser": null, "processUser": {"name": "ada"}})", &faults);
    QVERIFY(!nobody.consoleUser);
    QCOMPARE(nobody.processUser->name, u"ada"_s);
    QCOMPARE(faults, QStringList());
}

void TestMachineFacts::sids_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("system") << u"S-1-5-18"_s << QByteArray("010100000000000512000000");
    QTest::newRow("small letter") << u"s-1-5-18"_s << QByteArray("010100000000000512000000");
    QTest::newRow("user") << u"S-1-5-21-0-0-0-1000"_s
                          << QByteArray("0105000000000005150000000000000000000000000000"
                                        "00e8030000");
    QTest::newRow("large authority") << u"S-1-0x010203040506-1"_s << QByteArray("010101020304050601000000");
    QTest::newRow("15 parts") << u"S-1-5"_s + u"-1"_s.repeated(15)
                              << QByteArray("010f000000000005") + QByteArray("01000000").repeated(15);
    for (const char *bad : {"", "S", "S-1", "S-1-5", "S-2-5-18", "X-1-5-18", "S-1-5-", "S-1-5-18-", "S-1-5--18",
                            "S-1-5- 18", "S-1-5-+18", "S-1-5-4294967296", "S-1-281474976710656-1", "S-1-5-18x",
                            "S-1-5-99999999999999999999999", "S-1-0x-1", " S-1-5-18"})
        QTest::newRow(qPrintable(u"bad: "_s + QString::fromLatin1(bad))) << QString::fromLatin1(bad) << QByteArray();
    QTest::newRow("16 parts") << u"S-1-5"_s + u"-1"_s.repeated(16) << QByteArray();
}

void TestMachineFacts::sids()
{
    QFETCH(QString, text);
    QTEST(sidFromText(text).value_or(QByteArray()).toHex(), "hex");
}

void TestMachineFacts::expansion_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("capacity");
    QTest::addColumn<QString>("expected");
    QTest::newRow("none") << u"abc"_s << 100 << u"abc"_s;
    QTest::newRow("one") << u"x%Root%y"_s << 100 << u"xC:\\Windowsy"_s;
    QTest::newRow("other letters") << u"%ROOT%"_s << 100 << u"C:\\Windows"_s;
    QTest::newRow("unknown") << u"%No%"_s << 100 << u"%No%"_s;
    QTest::newRow("unknown before known") << u"%No%Root%"_s << 100 << u"%NoC:\\Windows"_s;
    QTest::newRow("lone sign") << u"50% of %Root"_s << 100 << u"50% of %Root"_s;
    QTest::newRow("two signs") << u"%%"_s << 100 << u"%%"_s;
    QTest::newRow("three signs") << u"%%Root%"_s << 100 << u"%C:\\Windows"_s;
    QTest::newRow("one pass") << u"%Nested%"_s << 100 << u"%Root%"_s;
    QTest::newRow("empty value") << u"a%Empty%b"_s << 100 << u"ab"_s;
    QTest::newRow("cut") << u"%Root%"_s << 4 << u"C:\\W"_s;
    QTest::newRow("nothing fits") << u"%Root%"_s << 0 << u""_s;
    QTest::newRow("negative") << u"x"_s << -5 << u""_s;
    QTest::newRow("zero") << u"a%Root"_s + QChar(0) + u"%"_s << 100 << u"a%Root"_s;
    QTest::newRow("zero in a value") << u"%Zero%tail"_s << 100 << u"a"_s;
    QTest::newRow("growth") << u"%Big%"_s.repeated(100000) << 8192 << QString(8192, u'x');
}

void TestMachineFacts::expansion()
{
    QFETCH(QString, text);
    QFETCH(int, capacity);
    const MachineEnvironment environment({{u"ROOT"_s, u"C:\\Windows"_s},
                                          {u"NESTED"_s, u"%Root%"_s},
                                          {u"EMPTY"_s, u""_s},
                                          {u"ZERO"_s, u"a"_s + QChar(0) + u"b"_s},
                                          {u"BIG"_s, QString(100000, u'x')}});
    QTEST(environment.expand(text, capacity), "expected");
}

void TestMachineFacts::expansionOfProcessEnvironment()
{
    qputenv("KvTestVariable", "value");
    const MachineEnvironment environment;
    QCOMPARE(environment.expand(u"%KVTESTVARIABLE%"_s, 100), u"value"_s);
    qunsetenv("KvTestVariable");
    QCOMPARE(environment.expand(u"%KvTestVariable%"_s, 100), u"%KvTestVariable%"_s);
}

void TestMachineFacts::folders()
{
    const MachineFolders folders({{Folder::ProgramFiles, u"C:/Program Files"_s}});
    QCOMPARE(folders.path(Folder::ProgramFiles, NativeHandle()).value_or(QString()), u"C:\\Program Files"_s);
    QVERIFY(!folders.path(Folder::Programs, NativeHandle()));
}

void TestMachineFacts::safeAnswers()
{
    const Platform safe;
    MachineBuilder machine;
    machine.addFile(u"C:/a/b.LNK"_s);
    const QString file = machine.hostPath(u"C:/a/b.LNK"_s);
    QCOMPARE(safe.files->hostPath(u"C:\\x"_s), u"C:\\x"_s);
    QVERIFY(safe.files->exists(file));
    QVERIFY(!safe.files->exists(QString()));
    QVERIFY(!safe.files->isExecutable(file));
    const auto walk = safe.files->walkLinks(machine.path());
    QVERIFY(walk->hasNext());
    QCOMPARE(walk->next(), file);
    QVERIFY(!walk->hasNext());
    safe.registry->setValue(u"HKEY_LOCAL_MACHINE"_s, u"a"_s, 1);
    QCOMPARE(safe.registry->value(u"HKEY_LOCAL_MACHINE"_s, u"a"_s, 7), QVariant(7));
    QCOMPARE(safe.registry->value(u"HKEY_LOCAL_MACHINE"_s, u""_s, 7), QVariant());
    QVERIFY(!safe.registry->contains(u"HKEY_LOCAL_MACHINE"_s, u"a"_s));
    QCOMPARE(safe.session->activeConsoleSession(), 0xFFFFFFFF);
    QVERIFY(!safe.session->sessionUserName(1) && !safe.session->isProcessElevated());
    QCOMPARE(safe.environment->expand(u"%PATH%x"_s, 6), u"%PATH%"_s);
    quint32 error = 0;
    QVERIFY(!safe.tokens->lookupPrivilege(u"SeDebugPrivilege"_s, &error));
    QCOMPARE(error, 120U);
    const HandleResult own = safe.tokens->openOwnToken(8);
    QVERIFY(!own.handle);
    QCOMPARE(own.error, 120U);
    QVERIFY(!safe.tokens->processIds(10).succeeded);
    QVERIFY(!safe.folders->path(Folder::Programs, NativeHandle()));
    QVERIFY(!safe.links->create() && !safe.links->displayName(file));
    QVERIFY(!safe.versions->load(file));
    QCOMPARE(safe.versions->userInterfaceLanguage(), quint16(0x0409));
    QVERIFY(!safe.packages->findAllUsers()->next() && !safe.packages->packageManager());
    QVERIFY(!safe.packages->userFromId(u"user-1"_s));
}

void TestMachineFacts::currentPlatform()
{
    Platform::setCurrent(nullptr);
    std::shared_ptr<const Platform> others[2];
    std::thread one([&others] { others[0] = Platform::current(); });
    std::thread two([&others] { others[1] = Platform::current(); });
    one.join();
    two.join();
    QVERIFY(others[0]);
    QCOMPARE(others[0], others[1]);
    const auto fake = std::make_shared<const Platform>();
    Platform::setCurrent(fake);
    QCOMPARE(Platform::current(), fake);
    Platform::setCurrent(nullptr);
    QVERIFY(Platform::current() != fake);
    Platform::setCurrent(nullptr);
}

void TestMachineFacts::scopedMachine()
{
    MachineBuilder machine;
    machine.addConsoleUser();
    machine.setFolder(u"Programs"_s, u"C:/Start"_s);
    machine.setEnvironment(u"Root"_s, u"C:\\Windows"_s);
    machine.setMetadata({}, u"C:/meta.json"_s);
    const QString setting = u"app.metadata"_s;
    {
        const ScopedMachine scope(machine);
        const auto platform = Platform::current();
        QCOMPARE(platform->session->sessionUserName(1).value_or(QString()), u"kim"_s);
        QCOMPARE(platform->environment->expand(u"%root%"_s, 100), u"C:\\Windows"_s);
        QVERIFY(platform->files->exists(u"c:/META.json"_s));
        QCOMPARE(XEnvironment::varChoice(setting, u"sku"_s), QVariant(u"C:/meta.json"_s));
    }
    QVERIFY(!Platform::current()->files->exists(u"C:/meta.json"_s));
    QVERIFY(XEnvironment::varChoice(setting, u"sku"_s) != QVariant(u"C:/meta.json"_s));
    Platform::setCurrent(nullptr);
}

void TestMachineFacts::hostMachine()
{
    const auto host = createHostPlatform();
    const auto name = host->session->sessionUserName(host->session->activeConsoleSession());
    QVERIFY(name);
    const auto account = host->session->lookupAccount(*name);
    QVERIFY(account);
    QVERIFY(account->sidText.startsWith(u"S-1-5-21-0-0-0-"));
    QCOMPARE(host->session->isProcessElevated(), std::optional<bool>(false));
    const QString key = u"HKEY_USERS\\"_s + account->sidText + u"\\Software"_s;
    QCOMPARE(host->registry->childGroups(u"HKEY_USERS"_s), QStringList());
    host->registry->setValue(key, u"a"_s, 1);
    QCOMPARE(host->registry->value(u"HKEY_CURRENT_USER\\software"_s, u"A"_s, {}), QVariant(1));
    QVERIFY(!host->packages->packageManager());
    QVERIFY(!host->folders->path(Folder::ProgramFiles, NativeHandle()));
    QCOMPARE(host->files->hostPath(u"C:/x"_s), u"C:/x"_s);
}

QTEST_GUILESS_MAIN(TestMachineFacts)
#include "tst_machinefacts.moc"
