#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"

#include <XDispatch.h>
#include <XEnvironment.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;
using Rule = QMap<QString, QVariant>;

namespace {

constexpr auto None = ProgramInfo::TypeNone;
constexpr auto Managed = ProgramInfo::TypeManaged;
constexpr auto Desktop = ProgramInfo::TypeDesktop;
constexpr auto Web = ProgramInfo::TypeWeb;

/** A record of a type; `target` is its path, its application user model id or its address. */
std::unique_ptr<ProgramInfo> makeApp(ProgramInfo::Type type, const QString &target, const QString &arguments = {})
{
    auto app = std::make_unique<ProgramInfo>();
    if (type == Desktop)
        app->setDesktopTarget(target, true);
    if (type == Web)
        app->setTargetUrl(QUrl(target));
    if (type == Managed) {
        app->setManagedTarget(u"package_1"_s, 0);
        app->setProductName(target);
    }
    app->setArguments(arguments);
    return app;
}

QStringList names(const QList<Rule> &rules)
{
    QStringList result;
    for (const Rule &rule : rules)
        result.append(rule.value(u"n"_s).toString());
    return result;
}

/** A scan that belongs to no catalogue. */
std::shared_ptr<Probe::Scan> makeScan(const QList<Rule> &ignoreRules = {})
{
    const auto rules = std::make_shared<Probe::Rules>();
    rules->ignoreRules = ignoreRules;
    return std::make_shared<Probe::Scan>(nullptr, QSharedPointer<XDispatch>::create(XDispatch::main()), rules);
}

} // namespace

class tst_Metadata : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_platform = std::make_unique<FakePlatform>();
        XEnvironment::setDefault(u"app.metadata"_s, m_folder.filePath(u"metadata.json"_s));
        QFile::remove(m_folder.filePath(u"metadata.json"_s));
    }
    void cleanup()
    {
        XEnvironment::setDefault(u"app.metadata"_s, QVariant());
        m_platform.reset();
    }

    void rulesAreFiledByTagsAndTarget();
    void ruleIsKeptWhole();
    void fileOfNoUseGivesNoRules_data();
    void fileOfNoUseGivesNoRules();
    void missingFileGivesNoRulesAndNoMessage();
    void tagsAreComparedExactly_data();
    void tagsAreComparedExactly();
    void wrongTypesInEveryKey_data();
    void wrongTypesInEveryKey();
    void largeFileIsReadWhole();

    void isMatched_data();
    void isMatched();
    void isLaunchable_data();
    void isLaunchable();
    void ignoredRecordIsNotLaunchable();
    void ignoredEntryIsRefusedAtOnce();
    void isUninstaller_data();
    void isUninstaller();
    void meetingRulesMark();

private:
    /** A catalogue that has read `json`. */
    std::unique_ptr<KvProgramContext> read(const QByteArray &json)
    {
        QFile file(m_folder.filePath(u"metadata.json"_s));
        if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size())
            qFatal("can't write the metadata file");
        file.close();
        return Probe::create();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<FakePlatform> m_platform;
};

void tst_Metadata::rulesAreFiledByTagsAndTarget()
{
    const auto context = read(R"([
        {"n": "1", "tags": ["meeting"]},
        {"n": "2", "tags": ["ignore"], "desktopTarget": "a.exe"},
        {"n": "3", "target": "https://x/"},
        {"n": "4", "tags": ["other", "ignore", "meeting"], "target": null},
        {"n": "5", "tags": ["other"]},
        {"n": "6", "managedTarget": "m"},
        {"n": "7", "tags": [], "target": ""}
    ])");
    const Probe::Rules &rules = Probe::rules(*context);
    QCOMPARE(names(rules.meetingRules), (QStringList{u"1"_s, u"4"_s}));
    QCOMPARE(names(rules.ignoreRules), (QStringList{u"2"_s, u"4"_s}));
    QCOMPARE(names(rules.metadataApps), (QStringList{u"3"_s, u"4"_s, u"7"_s}));
}

void tst_Metadata::ruleIsKeptWhole()
{
    const auto context = read(R"([{"target": "s:t", "x": {"y": [1, "z"]}, "tags": ["meeting"]}])");
    const Rule expected{{u"target"_s, u"s:t"_s},
                        {u"x"_s, QVariantMap{{u"y"_s, QVariantList{1, u"z"_s}}}},
                        {u"tags"_s, QVariantList{u"meeting"_s}}};
    QCOMPARE(Probe::rules(*context).metadataApps, QList<Rule>{expected});
    QCOMPARE(Probe::rules(*context).meetingRules, QList<Rule>{expected});
}

void tst_Metadata::fileOfNoUseGivesNoRules_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("[{\"target\": \"s:t\"}");
    QTest::newRow("binary") << QByteArray("\0\1\2\xFF", 4);
    QTest::newRow("an object") << QByteArray("{\"target\": \"s:t\", \"tags\": [\"meeting\", \"ignore\"]}");
    QTest::newRow("a text") << QByteArray("\"target\"");
    QTest::newRow("elements that are no objects")
        << QByteArray("[1, \"target\", null, [\"target\"], [{\"target\": 1}]]");
    QTest::newRow("nested deeply") << QByteArray(200'000, '[');
}

void tst_Metadata::fileOfNoUseGivesNoRules()
{
    QFETCH(QByteArray, json);
    const auto context = read(json);
    QCOMPARE(Probe::rules(*context).ignoreRules.size(), 0);
    QCOMPARE(Probe::rules(*context).meetingRules.size(), 0);
    QCOMPARE(Probe::rules(*context).metadataApps.size(), 0);
}

void tst_Metadata::missingFileGivesNoRulesAndNoMessage()
{
    const LogCatcher log;
    const auto context = Probe::create();
    QVERIFY(Probe::rules(*context).metadataApps.isEmpty());
    QVERIFY(!log.texts(QtWarningMsg).join(u'\n').contains(u"metadata"));
}

void tst_Metadata::tagsAreComparedExactly_data()
{
    QTest::addColumn<QByteArray>("tags");
    QTest::addColumn<bool>("isMeeting");
    QTest::newRow("list") << QByteArray(R"(["meeting"])") << true;
    QTest::newRow("second") << QByteArray(R"(["x", "meeting"])") << true;
    QTest::newRow("twice") << QByteArray(R"(["meeting", "meeting"])") << true;
    QTest::newRow("between others") << QByteArray(R"([1, null, {}, [], true, "meeting", 2])") << true;
    QTest::newRow("capitals") << QByteArray(R"(["Meeting"])") << false;
    QTest::newRow("part") << QByteArray(R"(["meetings", "a meeting"])") << false;
    QTest::newRow("pattern") << QByteArray(R"(["meet*", "*"])") << false;
    QTest::newRow("nested") << QByteArray(R"([["meeting"]])") << false;
    QTest::newRow("a text") << QByteArray(R"("meeting")") << false;
    QTest::newRow("an object") << QByteArray(R"({"meeting": "meeting"})") << false;
    QTest::newRow("null") << QByteArray("null") << false;
    QTest::newRow("number") << QByteArray("1") << false;
}

void tst_Metadata::tagsAreComparedExactly()
{
    QFETCH(QByteArray, tags);
    QFETCH(bool, isMeeting);
    const auto context = read("[{\"n\": \"x\", \"tags\": " + tags + "}]");
    const qsizetype count = isMeeting ? 1 : 0; // Filed once even if the tag stands there twice.
    QCOMPARE(Probe::rules(*context).meetingRules.size(), count);
    QCOMPARE(Probe::rules(*context).ignoreRules.size(), 0);
}

void tst_Metadata::wrongTypesInEveryKey_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const char *const value : {"null", "true", "5", "-1e300", "[]", "[\"a\"]", "{}", "{\"a\": 1}", "\"\""})
        QTest::newRow(value) << QByteArray(value);
}

void tst_Metadata::wrongTypesInEveryKey()
{
    QFETCH(QByteArray, value);
    QByteArray json = "[{\"tags\": [\"meeting\", \"ignore\"]";
    for (const char *const key :
         {"target", "desktopTarget", "managedTarget", "managedTargetAppIndex", "displayName", "icon", "description",
          "productName", "publisherName", "version", "arguments", "shell", "workingDir", "workingFolder"})
        json += ", \"" + QByteArray(key) + "\": " + value;
    const auto context = read(json + "}]");
    QCOMPARE(Probe::rules(*context).ignoreRules.size(), 1);

    // Nothing that a computer has is named by it, and the extra entry has no target.
    const std::shared_ptr<Probe::Scan> scan = makeScan(Probe::rules(*context).ignoreRules);
    QVERIFY(Probe::isLaunchable(*scan, *makeApp(Managed, u"m"_s)));
    QVERIFY(Probe::isLaunchable(*scan, *makeApp(Web, u"https://x/"_s)));
    QVERIFY(!Probe::isMatched(*makeApp(Desktop, u"C:/a.exe"_s), Probe::rules(*context).ignoreRules.first()));
    ProgramInfo entry;
    QVERIFY(entry.loadFromProperties(Probe::rules(*context).metadataApps.first()));
    QCOMPARE(entry.type(), None);
}

void tst_Metadata::largeFileIsReadWhole()
{
    QByteArray json = "[";
    const QByteArray rule =
        R"({"tags": ["ignore"], "desktopTarget": "program.exe", "description": ")" + QByteArray(4000, 'x') + "\"},";
    while (json.size() < 50'000'000)
        json += rule;
    json.back() = ']';
    const auto context = read(json);
    QCOMPARE(Probe::rules(*context).ignoreRules.size(), json.size() / rule.size());
}

void tst_Metadata::isMatched_data()
{
    QTest::addColumn<ProgramInfo::Type>("type");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<Rule>("rule");
    QTest::addColumn<bool>("matched");
    const auto row = [](const char *name, ProgramInfo::Type type, const QString &target, const QString &arguments,
                        const QString &key, const QVariant &value, bool matched) {
        QTest::newRow(name) << type << target << arguments << Rule{{key, value}} << matched;
    };
    const QString desktop = u"desktopTarget"_s;
    const QString managed = u"managedTarget"_s;
    const QString web = u"target"_s;
    const QString notepad = u"C:/Windows/notepad.exe"_s;

    row("file name in capitals", Desktop, notepad, {}, desktop, u"NOTEPAD.EXE"_s, true);
    row("file name", Desktop, notepad, {}, desktop, u"notepad.exe"_s, true);
    row("part of the file name", Desktop, notepad, {}, desktop, u"notepad"_s, false);
    row("path", Desktop, notepad, {}, desktop, notepad, false);
    row("folder", Desktop, notepad, {}, desktop, u"Windows"_s, false);
    row("wildcard", Desktop, notepad, {}, desktop, u"*.exe"_s, false);
    row("piece of the arguments", Desktop, notepad, u"--app=foo --x"_s, desktop, u"--app=foo"_s, true);
    row("arguments in capitals", Desktop, notepad, u"--app=foo --x"_s, desktop, u"--APP=foo"_s, false);
    row("arguments shorter than the rule", Desktop, notepad, u"--app"_s, desktop, u"--app=foo"_s, false);
    row("empty rule", Desktop, notepad, u"a"_s, desktop, QString(), false);
    row("folder as target and empty rule", Desktop, u"C:/Windows/"_s, {}, desktop, QString(), false);
    row("desktop record, managed rule", Desktop, notepad, {}, managed, u"notepad.exe"_s, false);
    row("desktop record, web rule", Desktop, notepad, {}, web, u"file:///C:/Windows/notepad.exe"_s, false);
    row("list as rule", Desktop, notepad, {}, desktop, QVariantList{u"notepad.exe"_s}, false);

    row("id", Managed, u"App!x"_s, {}, managed, u"App!x"_s, true);
    row("id in capitals", Managed, u"App!x"_s, {}, managed, u"APP!X"_s, false);
    row("part of the id", Managed, u"App!x"_s, {}, managed, u"App"_s, false);
    row("package name", Managed, u"App!x"_s, {}, managed, u"package_1"_s, false);
    row("empty id", Managed, QString(), {}, managed, QString(), false);
    row("no rule for an empty id", Managed, QString(), {}, desktop, u"x"_s, false);
    row("managed record, desktop rule", Managed, u"x.exe"_s, u"x.exe"_s, desktop, u"x.exe"_s, false);

    row("address", Web, u"https://x/y"_s, {}, web, u"https://x/y"_s, true);
    row("another address", Web, u"https://x/y"_s, {}, web, u"https://x/"_s, false);
    row("address with a query", Web, u"https://x/y?z"_s, {}, web, u"https://x/y"_s, false);
    row("host in capitals", Web, u"https://x/y"_s, {}, web, u"HTTPS://X/y"_s, true);
    row("invalid address", Web, u"https://x/y"_s, {}, web, u"https://x:y:z"_s, false);
    row("web record, desktop rule", Web, u"https://x/y"_s, u"y"_s, desktop, u"y"_s, false);

    row("no target, empty address", None, QString(), {}, web, QString(), false);
    row("no target, any rule", None, QString(), u"a"_s, desktop, u"a"_s, false);
}

void tst_Metadata::isMatched()
{
    QFETCH(ProgramInfo::Type, type);
    QFETCH(QString, target);
    QFETCH(QString, arguments);
    QFETCH(Rule, rule);
    const auto app = makeApp(type, target, arguments);
    QCOMPARE(app->type(), type);
    QTEST(Probe::isMatched(*app, rule), "matched");
}

void tst_Metadata::isLaunchable_data()
{
    QTest::addColumn<ProgramInfo::Type>("type");
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("launchable");
    QTest::newRow("no target") << None << QString() << false;
    QTest::newRow("managed, without a look at anything") << Managed << QString() << true;
    QTest::newRow("web, without an icon") << Web << u"https://nowhere/"_s << true;
    QTest::newRow("program") << Desktop << u"C:/program.exe"_s << true;
    QTest::newRow("file that exists") << Desktop << u"C:/document.txt"_s << false;
    QTest::newRow("program that is gone") << Desktop << u"C:/gone.exe"_s << false;
    QTest::newRow("nothing") << Desktop << u"C:/nothing.exe"_s << false;
}

void tst_Metadata::isLaunchable()
{
    QFETCH(ProgramInfo::Type, type);
    QFETCH(QString, target);
    m_platform->files->addProgram(u"C:/program.exe"_s);
    m_platform->files->existing.insert(u"C:/document.txt"_s);
    m_platform->files->executable.insert(u"C:/gone.exe"_s);
    const auto app = makeApp(type, target);
    QTEST(Probe::isLaunchable(*makeScan(), *app), "launchable");
    if (type != Desktop)
        return;
    app->setIconUrl(QUrl());
    QVERIFY(!Probe::isLaunchable(*makeScan(), *app));
}

void tst_Metadata::ignoredRecordIsNotLaunchable()
{
    m_platform->files->addProgram(u"C:/program.exe"_s);
    const QList<Rule> rules{
        {{u"managedTarget"_s, u"m"_s}}, {{u"desktopTarget"_s, u"program.exe"_s}}, {{u"target"_s, u"s:t"_s}}};
    QVERIFY(!Probe::isLaunchable(*makeScan(rules), *makeApp(Desktop, u"C:/program.exe"_s)));
    QVERIFY(!Probe::isLaunchable(*makeScan(rules), *makeApp(Managed, u"m"_s)));
    QVERIFY(!Probe::isLaunchable(*makeScan(rules), *makeApp(Web, u"s:t"_s)));
    QVERIFY(Probe::isLaunchable(*makeScan(rules), *makeApp(Managed, u"program.exe"_s)));
}

void tst_Metadata::ignoredEntryIsRefusedAtOnce()
{
    const auto context = read(R"([{"tags": ["ignore", "meeting"], "target": "https://x/"}, {"target": "https://y/"}])");
    const auto rules = std::make_shared<Probe::Rules>(Probe::rules(*context));
    Probe::Scan scan(nullptr, QSharedPointer<XDispatch>::create(XDispatch::main()), rules);
    Probe::loadAppsFromMetadata(scan);
    QCOMPARE(scan.pendingApps.size(), 1);
    QCOMPARE(scan.pendingApps.first()->targetUrl(), QUrl(u"https://y/"_s));
}

void tst_Metadata::isUninstaller_data()
{
    QTest::addColumn<ProgramInfo::Type>("type");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<bool>("uninstaller");
    QTest::newRow("plain program") << Desktop << u"C:/a.exe"_s << u"A"_s << false;
    QTest::newRow("by its name") << Desktop << u"C:/a.exe"_s << u"Please UNINSTALL me"_s << true;
    QTest::newRow("by a part of its name") << Desktop << u"C:/a.exe"_s << u"Uninst me"_s << false;
    QTest::newRow("unins000.exe") << Desktop << u"C:/unins000.exe"_s << u"A"_s << true;
    QTest::newRow("UNINS001.EXE") << Desktop << u"C:/UNINS001.EXE"_s << u"A"_s << true;
    QTest::newRow("unins100.exe") << Desktop << u"C:/unins100.exe"_s << u"A"_s << false;
    QTest::newRow("xunins000.exe") << Desktop << u"C:/xunins000.exe"_s << u"A"_s << false;
    QTest::newRow("myuninst.exe") << Desktop << u"C:/myuninst.exe"_s << u"A"_s << true;
    QTest::newRow("MyUninstaller.exe") << Desktop << u"C:/MyUninstaller.exe"_s << u"A"_s << true;
    QTest::newRow("the folder's name doesn't count") << Desktop << u"C:/uninst/unins0/a.exe"_s << u"A"_s << false;
    QTest::newRow("not executable") << Desktop << u"C:/uninst.txt"_s << u"Uninstall"_s << false;
    QTest::newRow("managed") << Managed << u"uninst"_s << u"Uninstall"_s << false;
    QTest::newRow("web") << Web << u"https://uninst/unins000.exe"_s << u"Uninstall"_s << false;
    QTest::newRow("no target") << None << QString() << u"Uninstall"_s << false;
}

void tst_Metadata::isUninstaller()
{
    QFETCH(ProgramInfo::Type, type);
    QFETCH(QString, target);
    QFETCH(QString, displayName);
    m_platform->files->existing.insert(target);
    if (target.endsWith(u".exe", Qt::CaseInsensitive))
        m_platform->files->executable.insert(target);
    const auto app = makeApp(type, target);
    app->setDisplayName(displayName);
    QTEST(Probe::isUninstaller(*app), "uninstaller");
}

void tst_Metadata::meetingRulesMark()
{
    QVERIFY(!Probe::isMeetingApp(*Probe::create(), *makeApp(Managed, u"m"_s)));
    const auto context =
        read(R"([{"tags": ["meeting"], "managedTarget": "l"}, {"tags": ["meeting"], "managedTarget": "m"},
                                  {"tags": ["ignore"], "managedTarget": "n"}])");
    QVERIFY(Probe::isMeetingApp(*context, *makeApp(Managed, u"l"_s)));
    QVERIFY(Probe::isMeetingApp(*context, *makeApp(Managed, u"m"_s)));
    QVERIFY(!Probe::isMeetingApp(*context, *makeApp(Managed, u"n"_s)));
    QVERIFY(!Probe::isMeetingApp(*context, *makeApp(Desktop, u"C:/m"_s)));
}

QTEST_GUILESS_MAIN(tst_Metadata)
#include "tst_metadata.moc"
