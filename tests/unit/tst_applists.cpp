#include "../support/FakePlatform.h"
#include "../support/KvProgramContextProbe.h"
#include "../support/LogCatcher.h"
#include "formats/AppList.h"
#include "KvGameAppInfo.h"

#include <XDispatch.h>
#include <XS.h>

#include <QtCore/QFile>
#include <QtCore/QResource>
#include <QtCore/QXmlStreamAttributes>
#include <QtTest/QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Probe = KvProgramContextProbe;

// In no namespace: the macros declare the functions that they call.
static void removeShippedLists()
{
    Q_CLEANUP_RESOURCE(KvProgram);
}

static void restoreShippedLists()
{
    Q_INIT_RESOURCE(KvProgram);
}

namespace {

const QString Folder = u":/KvProgram/schema/applist/"_s;
const QString GameApps = u"game_apps.xml"_s;
const QString PreloadGameApps = u"preload_game_apps.xml"_s;
const QString ToolApps = u"tool_apps.xml"_s;

/** Each element as a text such as "Name=a Executable=b". */
QStringList entries(const QByteArray &list)
{
    QStringList texts;
    AppList::read(list, [&texts](const QXmlStreamAttributes &attributes) {
        QStringList parts;
        for (const QXmlStreamAttribute &attribute : attributes)
            parts.append(attribute.name().toString() + u'=' + attribute.value().toString());
        texts.append(parts.join(u' '));
    });
    return texts;
}

QByteArray shipped(const QString &name)
{
    return XS::loadData(Folder + name);
}

/** What is told of the lists, with the level in front. */
QStringList told(const LogCatcher &log)
{
    QStringList texts;
    for (const LogCatcher::Line &line : log.lines()) {
        if (line.text.contains(u"[KvProgramContext]"))
            texts.append((line.type == QtWarningMsg ? u"W "_s : u"? "_s) + line.text);
    }
    return texts;
}

struct Row
{
    const char *name;
    const char *executable;
    bool ignoresPath;
    KvGameAppInfo::AppPlatform platform;
};

constexpr char Fortnite[] = "FortniteGame/Binaries/Win64/FortniteClient-Win64-Shipping.exe";
constexpr char Valorant[] = "ShooterGame/Binaries/Win64/VALORANT-Win64-Shipping.exe";

constexpr Row ShippedGames[] = {
    {"Fortnite", Fortnite, false, KvGameAppInfo::Epic},
    {"PUBG: BATTLEGROUNDS", "TslGame/Binaries/Win64/TslGame.exe", false, KvGameAppInfo::Steam},
    {"Call of Duty", "cod.exe,sp23-cod.exe", true, KvGameAppInfo::Steam},
    {"Tom Clancy's Rainbow Six Siege", "", true, KvGameAppInfo::Steam},
    {"Tom Clancy's Rainbow Six Siege", "", true, KvGameAppInfo::Ubisoft},
    {"Halo Infinite", "", true, KvGameAppInfo::Steam},
    {"Apex Legends", "", true, KvGameAppInfo::Steam},
    {"Apex Legends", "", true, KvGameAppInfo::Origin},
    {"VALORANT", Valorant, false, KvGameAppInfo::WeGame},
    {"League of Legends", "Game/League of Legends.exe", false, KvGameAppInfo::WeGame},
    {"VALORANT", Valorant, false, KvGameAppInfo::Riot},
    {"League of Legends", "Game/League of Legends.exe", false, KvGameAppInfo::Riot},
};

/** Names a game and the executable behind its place in its list. */
QString summary(const KvGameAppInfo &info)
{
    return u"%1|%2|%3|%4"_s.arg(info.name(), info.executableList().join(u';'))
        .arg(info.ignoreExeFullPath())
        .arg(info.platform());
}

} // namespace

class tst_AppLists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform.emplace(); }
    void cleanup() { m_platform.reset(); }

    void shippedBytes_data();
    void shippedBytes();
    void shippedNumbers();
    void shippedPreloadGames();
    void shippedGames();
    void shippedTools();
    void gameRecordsHaveNoParentAndStay();
    void unclosedElementIsNotTold();
    void emptyListsAreTold();
    void oddLists();

    void elements_data();
    void elements();
    void faultKeepsWhatWasBefore_data();
    void faultKeepsWhatWasBefore();
    void cutAnywhere_data() { eachList(); }
    void cutAnywhere();
    void brokenAnywhere_data() { eachList(); }
    void brokenAnywhere();
    void anyByteAnywhere_data() { eachList(); }
    void anyByteAnywhere();
    void expansionsAreLimited();

private:
    static void eachList();

    std::optional<FakePlatform> m_platform;
};

void tst_AppLists::eachList()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : {PreloadGameApps, GameApps, ToolApps})
        QTest::newRow(qPrintable(name)) << name;
}

void tst_AppLists::shippedBytes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");

    QByteArray preload = "<APPList>\r\n";
    const auto comment = [&preload](const char *text) { preload += QByteArray("    <!-- ") + text + " -->\r\n"; };
    const auto game = [&preload](const char *executable, const char *end = "\" />\r\n") {
        preload += QByteArray("    <APP Executable=\"") + executable + end;
    };
    comment("Counter-Strike 2");
    game("cs2.exe");
    game("csgo.exe");
    const char *const commented[][2] = {
        {"Apex", "R5Apex.exe"},
        {"Overwatch 2", "RainbowSix.exe"},
        {"Call of Duty: MWIII", "cod.exe"},
        {"Call of Duty: Vanguard", "Vanguard.exe"},
        {"Overwatch 2", "Overwatch.exe"},
        {"League of Legends", "League of Legends.exe"},
        {"VALORANT", "VALORANT-Win64-Shipping.exe"},
        {"Fortnite", "FortniteClient-Win64-Shipping.exe"},
        {"PUBG", "TslGame.exe"},
        {"Halo Infinite", "HaloInfinite.exe"},
    };
    for (const auto &[text, executable] : commented) {
        comment(text);
        game(executable);
    }
    comment("Escape From Tarkov");
    game("EscapeFromTarkov.exe", "\">\r\n");
    comment("WeGame: VALORANT");
    preload += "    <APP Name=\"VALORANT\" />\r\n";
    comment("WeGame: League of Legends");
    preload += "    <APP Name=\"League of Legends\" />\r\n";
    QTest::newRow("preload games") << PreloadGameApps << preload + "</APPList>\r\n";

    const char *const platforms[] = {"Steam", "Epic", "Ubisoft", "Origin", "Riot", "WeGame"};
    QByteArray games = "<APPList>\r\n";
    for (const Row &row : ShippedGames) {
        games += QByteArray("    <APP Name=\"") + row.name + "\" Executable=\"" + row.executable +
                 "\" IgnoreExeFullPath=\"" + (row.ignoresPath ? "true" : "false") + "\" Platform=\"" +
                 platforms[row.platform] + "\" />\r\n";
    }
    QTest::newRow("games") << GameApps << games + "</APPList>\r\n";

    QByteArray tools = "<APPList>\r\n";
    const auto tool = [&tools](const char *name, const char *executable) {
        tools += QByteArray("    <APP Name=\"") + name + "\" Executable=\"" + executable + "\"/>\r\n";
    };
    for (const char *const name : {"mspaint.exe", "Skype.exe", "notepad.exe", "chrome.exe", "msedge.exe",
                                   "PotPlayerMini64.exe", "POWERPNT.EXE", "EXCEL.EXE", "WINWORD.EXE"})
        tool(name, name);
    tool("LineLauncher.exe", "current/LINE.exe");
    tool("firefox.exe", "firefox.exe");
    tool("Discord/Update.exe", "Discord.exe");
    QTest::newRow("tools") << ToolApps << tools + "</APPList>\r\n";
}

void tst_AppLists::shippedBytes()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QCOMPARE(shipped(name), bytes);
    QFile source(QLatin1String(KV_SOURCE_DIR "/schema/applist/") + name);
    QVERIFY(source.open(QIODevice::ReadOnly));
    QCOMPARE(source.readAll(), bytes);
}

void tst_AppLists::shippedNumbers()
{
    const auto context = Probe::create();
    QCOMPARE(Probe::preloadExecutables(*context).size(), 13);
    QCOMPARE(Probe::preloadNames(*context).size(), 2);
    QCOMPARE(Probe::gameAppsInfo(*context).size(), 12);
    QCOMPARE(Probe::toolAppsFilter(*context).size(), 12);
}

void tst_AppLists::shippedPreloadGames()
{
    const auto context = Probe::create();
    const QList<QString> executables{
        u"cs2.exe"_s,
        u"csgo.exe"_s,
        u"r5apex.exe"_s,
        u"rainbowsix.exe"_s,
        u"cod.exe"_s,
        u"vanguard.exe"_s,
        u"overwatch.exe"_s,
        u"league of legends.exe"_s,
        u"valorant-win64-shipping.exe"_s,
        u"fortniteclient-win64-shipping.exe"_s,
        u"tslgame.exe"_s,
        u"haloinfinite.exe"_s,
        u"escapefromtarkov.exe"_s,
    };
    QCOMPARE(Probe::preloadExecutables(*context), executables);
    QCOMPARE(Probe::preloadNames(*context), QList<QString>({u"VALORANT"_s, u"League of Legends"_s}));
}

void tst_AppLists::shippedGames()
{
    const auto context = Probe::create();
    const QList<KvGameAppInfo *> games = Probe::gameAppsInfo(*context);
    QCOMPARE(games.size(), qsizetype(std::size(ShippedGames)));
    for (qsizetype at = 0; at < games.size(); ++at) {
        const Row &row = ShippedGames[at];
        QCOMPARE(games[at]->name(), QLatin1String(row.name));
        QCOMPARE(games[at]->executableList(), QList<QString>{QString::fromLatin1(row.executable)});
        QCOMPARE(games[at]->executable(), QLatin1String(row.executable));
        QCOMPARE(games[at]->ignoreExeFullPath(), row.ignoresPath);
        QCOMPARE(games[at]->platform(), row.platform);
        QCOMPARE(games[at]->clientIcon() + games[at]->appId() + games[at]->installDir(), QString());
    }
}

void tst_AppLists::shippedTools()
{
    const auto context = Probe::create();
    QHash<QString, QString> expected{
        {u"LineLauncher.exe"_s, u"current/LINE.exe"_s},
        {u"Discord/Update.exe"_s, u"Discord.exe"_s},
    };
    for (const QString &name :
         {u"mspaint.exe"_s, u"Skype.exe"_s, u"notepad.exe"_s, u"chrome.exe"_s, u"msedge.exe"_s,
          u"PotPlayerMini64.exe"_s, u"POWERPNT.EXE"_s, u"EXCEL.EXE"_s, u"WINWORD.EXE"_s, u"firefox.exe"_s})
        expected.insert(name, name);
    QCOMPARE(Probe::toolAppsFilter(*context), expected);
}

void tst_AppLists::gameRecordsHaveNoParentAndStay()
{
    auto context = Probe::create();
    const QList<KvGameAppInfo *> games = Probe::gameAppsInfo(*context);
    context.reset();
    for (const KvGameAppInfo *const game : games)
        QCOMPARE(game->parent(), nullptr);
    QCOMPARE(games.first()->name(), u"Fortnite"_s);
}

void tst_AppLists::unclosedElementIsNotTold()
{
    QCOMPARE(shipped(PreloadGameApps).count("</APP>"), 0);
    const LogCatcher log;
    const auto context = Probe::create();
    QCOMPARE(Probe::preloadNames(*context).size(), 2);
    QCOMPARE(told(log), QStringList());
}

void tst_AppLists::emptyListsAreTold()
{
    removeShippedLists();
    const LogCatcher log;
    const auto context = Probe::create();
    restoreShippedLists();
    QCOMPARE(told(log), QStringList({u"W [KvProgramContext] load game preload file error"_s,
                                     u"W [KvProgramContext] load game info file error"_s,
                                     u"W [KvProgramContext] load common filter file error"_s}));
    QCOMPARE(Probe::preloadExecutables(*context).size(), 0);
    QCOMPARE(Probe::preloadNames(*context).size(), 0);
    QCOMPARE(Probe::gameAppsInfo(*context).size(), 0);
    QCOMPARE(Probe::toolAppsFilter(*context).size(), 0);
    QCOMPARE(Probe::gameAppsInfo(*Probe::create()).size(), 12);
}

void tst_AppLists::oddLists()
{
    removeShippedLists();
    const LogCatcher log;
    QVERIFY(QResource::registerResource(QLatin1String(KV_ODD_LISTS)));
    const auto context = Probe::create();
    QVERIFY(QResource::unregisterResource(QLatin1String(KV_ODD_LISTS)));
    restoreShippedLists();

    QCOMPARE(Probe::preloadExecutables(*context), QList<QString>({u"both.exe"_s, u"größe.exe"_s}));
    QCOMPARE(Probe::preloadNames(*context), QList<QString>({u"Name Only"_s, QString(), u"Empty Executable"_s}));
    QStringList games;
    for (const KvGameAppInfo *const info : Probe::gameAppsInfo(*context))
        games.append(summary(*info));
    const QStringList expected{
        u"lower case platform|a.exe|1|0"_s,
        u"no platform|b.exe|0|0"_s,
        u"unknown platform|c.exe|0|0"_s,
        u"None|d.exe|0|0"_s,
        u"riot|e.exe|0|4"_s,
        u"no switch|f.exe|0|5"_s,
        u"switched on by a number|g.exe|1|1"_s,
        u"switched off|h.exe|0|2"_s,
        u"no executable||0|3"_s,
        u"||0|0"_s,
    };
    QCOMPARE(games, expected);
    QCOMPARE(Probe::gameAppsInfo(*context).last()->executableList(), QList<QString>{QString()});
    const QHash<QString, QString> tools{
        {u"twice.exe"_s, u"second.exe"_s}, {QString(), u"nameless.exe"_s}, {u"before.exe"_s, QString()}};
    QCOMPARE(Probe::toolAppsFilter(*context), tools);
    QCOMPARE(told(log), QStringList());
}

void tst_AppLists::elements_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("nothing") << QByteArray() << QStringList();
    QTest::newRow("blanks") << QByteArray("  \r\n ") << QStringList();
    QTest::newRow("root only") << QByteArray("<APPList/>") << QStringList();
    QTest::newRow("text") << QByteArray("no XML") << QStringList();
    QTest::newRow("one") << QByteArray("<L>\n<APP Name='a'/></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("lower case") << QByteArray("<L> <app Name='a'/> <App Name='b'/> <APP Name='c'/></L>")
                                << QStringList{u"Name=c"_s};
    QTest::newRow("other names") << QByteArray("<L> <APPS Name='a'/> <AP Name='b'/> <APP Name='c'/></L>")
                                 << QStringList{u"Name=c"_s};
    QTest::newRow("root is an entry") << QByteArray("<APP Name='a'> <APP Name='b'/></APP>")
                                      << QStringList({u"Name=a"_s, u"Name=b"_s});
    QTest::newRow("deep") << QByteArray("<L> <X> <APP Name='a'/> </X> </L>") << QStringList{u"Name=a"_s};
    QTest::newRow("start tag right behind another")
        << QByteArray("<L><APP Name='lost'/><APP Name='a'/></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("right inside an entry")
        << QByteArray("<L> <APP Name='a'><APP Name='lost'/></APP></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("comment between") << QByteArray("<L><!-- x --><APP Name='a'/></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("entry in a comment") << QByteArray("<L> <!-- <APP Name='x'/> --> <APP Name='a'/></L>")
                                        << QStringList{u"Name=a"_s};
    QTest::newRow("entry as data") << QByteArray("<L> <![CDATA[<APP Name='x'/>]]> <APP Name='a'/></L>")
                                   << QStringList{u"Name=a"_s};
    QTest::newRow("entities") << QByteArray("<L> <APP Name='&lt;a&amp;b&#33;'/></L>") << QStringList{u"Name=<a&b!"_s};
    QTest::newRow("declaration") << QByteArray("<?xml version='1.0'?><L> <APP Name='a'/></L>")
                                 << QStringList{u"Name=a"_s};
    QTest::newRow("byte order mark") << QByteArray("\xEF\xBB\xBF<L> <APP Name='a'/></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("UTF-8") << QByteArray("<L> <APP Name='\xC3\xA4'/></L>") << QStringList{u"Name=ä"_s};
    QTest::newRow("namespace") << QByteArray("<L xmlns:x='urn:x'> <x:APP Name='a'/></L>") << QStringList{u"Name=a"_s};
    QTest::newRow("no attributes") << QByteArray("<L> <APP/></L>") << QStringList{QString()};
    QTest::newRow("order of attributes") << QByteArray("<L> <APP b='1' a='2'/></L>") << QStringList{u"b=1 a=2"_s};
}

void tst_AppLists::elements()
{
    QFETCH(QByteArray, list);
    const LogCatcher log;
    QTEST(entries(list), "expected");
    QCOMPARE(log.lines().size(), 0);
}

void tst_AppLists::faultKeepsWhatWasBefore_data()
{
    QTest::addColumn<QByteArray>("fault");
    for (const char *const fault : {"<", "</", "</X>", "<APP Name='x' Name='y'/>", "<APP Name=x/>", "<APP Name='<'/>",
                                    "&unknown;", "&", "<!-- -- -->", "<APP Name='x'", "<1/>", "<APP Name='&x;'/>",
                                    "</L>", "\x01", "<?xml version='1.0'?>", "]]>", "<![CDATA["})
        QTest::newRow(fault) << QByteArray(fault);
}

void tst_AppLists::faultKeepsWhatWasBefore()
{
    QFETCH(QByteArray, fault);
    const LogCatcher log;
    QCOMPARE(entries("<L> <APP Name='a'/> <APP Name='b'/> " + fault + " <APP Name='c'/> </L>"),
             QStringList({u"Name=a"_s, u"Name=b"_s}));
    QCOMPARE(log.lines().size(), 0);
}

void tst_AppLists::cutAnywhere()
{
    QFETCH(QString, name);
    const QByteArray list = shipped(name);
    const QStringList all = entries(list);
    const LogCatcher log;
    for (qsizetype size = 0; size <= list.size(); ++size) {
        const QByteArray cut = list.left(size);
        const QStringList left = entries(cut);
        QCOMPARE(left, all.first(left.size()));
        // Every element whose tag is whole is kept.
        const qsizetype whole = cut.left(cut.lastIndexOf('>') + 1).count("<APP ");
        QCOMPARE(left.size(), whole);
    }
    QCOMPARE(log.lines().size(), 0);
}

void tst_AppLists::brokenAnywhere()
{
    QFETCH(QString, name);
    const QByteArray list = shipped(name);
    const QStringList all = entries(list);
    const LogCatcher log;
    for (qsizetype at = 0; at <= list.size(); ++at) {
        QByteArray broken = list;
        broken.insert(at, "\"<&");
        const QStringList left = entries(broken);
        const qsizetype whole = list.left(list.left(at).lastIndexOf('>') + 1).count("<APP ");
        QVERIFY(left.size() >= whole);
        QVERIFY(left.size() <= all.size());
        QCOMPARE(left.first(whole), all.first(whole));
    }
    QCOMPARE(log.lines().size(), 0);
}

void tst_AppLists::anyByteAnywhere()
{
    QFETCH(QString, name);
    const QByteArray list = shipped(name);
    const QStringList all = entries(list);
    const LogCatcher log;
    for (const char byte : {'\0', '\x1B', ' ', '"', '&', '<', '>', '/', '-', '!', ']', '\x80', '\xC3', '\xFF'}) {
        for (qsizetype at = 0; at < list.size(); ++at) {
            QByteArray broken = list;
            broken[at] = byte;
            // One more at the most, when a blank in "APPList" makes an entry of the root.
            QVERIFY(entries(broken).size() <= all.size() + 1);
        }
    }
    QCOMPARE(log.lines().size(), 0);
}

void tst_AppLists::expansionsAreLimited()
{
    QByteArray list = "<!DOCTYPE L [<!ENTITY e0 'xxxxxxxxxx'>";
    for (int level = 1; level < 12; ++level) {
        list += "<!ENTITY e" + QByteArray::number(level) + " '" +
                QByteArray("&e" + QByteArray::number(level - 1) + ";").repeated(10) + "'>";
    }
    list += "]><L> <APP Name='a'/> &e11; <APP Name='b'/></L>";
    const LogCatcher log;
    QCOMPARE(entries(list), QStringList{u"Name=a"_s});
    QCOMPARE(log.lines().size(), 0);
}

QTEST_GUILESS_MAIN(tst_AppLists)
#include "tst_applists.moc"
