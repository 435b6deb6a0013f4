#include "../support/LauncherMachine.h"
#include "KvEpicAppUtil.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

const QString File = u"C:/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"_s;
const QString Opening = u"[KvEpicAppUtil] getInstalledEpicApps"_s;
const QString Separator = u"[KvEpicAppUtil] ============================================="_s;

} // namespace

class tst_KvEpicAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_machine.reset(); }

    void missingFileIsTold();
    void filesThatAreNoInstallations_data();
    void filesThatAreNoInstallations();
    void listsWithoutGames_data();
    void listsWithoutGames();
    void gameIsFound();
    void linesAreLoggedInOrder();
    void everyMatchingRecordCounts();
    void foldersInNativeForm();
    void missingFolder();
    void elementsOfOtherTypes();
    void manyInstallations();

private:
    void scan(const QByteArray &json)
    {
        m_machine->files.addFile(File, json);
        KvEpicAppUtil scanner;
        m_machine->scan(scanner, u"C:/ignored"_s);
    }

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvEpicAppUtil::init()
{
    m_machine = std::make_unique<LauncherMachine>();
    m_machine->addKnown(KvGameAppInfo::Steam, u"Fortnite"_s, u"steam.exe"_s);
    m_machine->addKnown(KvGameAppInfo::Epic, u"Fortnite"_s, u"Game/f.exe"_s, true);
    m_machine->addKnown(KvGameAppInfo::Epic, u"Empty"_s, QString());
}

void tst_KvEpicAppUtil::missingFileIsTold()
{
    KvEpicAppUtil scanner;
    m_machine->scan(scanner);
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{Opening, Separator}));
    QCOMPARE(m_machine->infos, QStringList{u"Error: Cannot read file:  \"%1\""_s.arg(File)});
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvEpicAppUtil::filesThatAreNoInstallations_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("line");
    const QString unreadable = u"Error: Cannot read file:  \"%1\""_s.arg(File);
    const QString noJson = u"[KvEpicAppUtil] JsonDocument is empty. Cannot read file"_s;
    QTest::newRow("empty") << QByteArray() << unreadable;
    QTest::newRow("no JSON") << QByteArray("InstallationList") << noJson;
    QTest::newRow("cut off") << QByteArray(R"({"InstallationList": [{"AppName": "Fort)") << noJson;
    QTest::newRow("nested too deeply") << QByteArray(100'000, '[') << noJson;
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe{\0}\0", 6) << noJson;
    QTest::newRow("list") << QByteArray(R"([{"AppName": "Fortnite", "InstallLocation": "C:/F"}])")
                          << u"[KvEpicAppUtil] Document is not an object"_s;
}

void tst_KvEpicAppUtil::filesThatAreNoInstallations()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, line);
    scan(json);
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{Opening, Separator}));
    QCOMPARE(m_machine->infos, QStringList{line});
}

void tst_KvEpicAppUtil::listsWithoutGames_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("empty list") << QByteArray(R"({"InstallationList": []})");
    QTest::newRow("no list") << QByteArray(R"({"InstallationList": {"AppName": "Fortnite"}})");
    QTest::newRow("other case of the key") << QByteArray(R"({"installationlist": [{"AppName": "Fortnite"}]})");
    QTest::newRow("other case of the name") << QByteArray(R"({"InstallationList": [{"AppName": "FORTNITE"}]})");
    QTest::newRow("longer name") << QByteArray(R"({"InstallationList": [{"AppName": "Fortnite 2"}]})");
    QTest::newRow("record without an executable") << QByteArray(R"({"InstallationList": [{"AppName": "Empty"}]})");
    QTest::newRow("record of another launcher") << QByteArray(R"({"InstallationList": [{"AppName": "Steam"}]})");
}

void tst_KvEpicAppUtil::listsWithoutGames()
{
    QFETCH(const QByteArray, json);
    scan(json);
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{Opening, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvEpicAppUtil::gameIsFound()
{
    scan(R"({"InstallationList": [{"AppName": "Other", "InstallLocation": "C:/O"},
             {"InstallLocation": "C:/Fortnite", "AppName": "Fortnite", "AppVersion": "1"}]})");
    QCOMPARE(m_machine->names(), QStringList{u"Fortnite"_s});
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executable(), u"C:/Fortnite/Game/f.exe"_s);
    QCOMPARE(game.fileName(), u"f.exe"_s);
    QCOMPARE(game.icon(), u"image://app/C:/Fortnite/Game/f.exe"_s);
    QCOMPARE(game.platform(), KvAppSetting::None);
    QVERIFY(!game.ignoreExeFullPath());
    QVERIFY(!game.parent());
}

void tst_KvEpicAppUtil::linesAreLoggedInOrder()
{
    scan(R"({"InstallationList": [{"AppName": "Fortnite", "InstallLocation": "C:\\F"}]})");
    QCOMPARE(m_machine->debugs, (QStringList{Opening, Separator, u"[KvEpicAppUtil] displayName:  \"Fortnite\""_s,
                                             u"[KvEpicAppUtil] installLocation:  \"C:/F\""_s,
                                             u"[KvEpicAppUtil] displayIcon:  \"C:/F/Game/f.exe\""_s,
                                             u"[KvEpicAppUtil] executable:  \"C:/F/Game/f.exe\""_s, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvEpicAppUtil::everyMatchingRecordCounts()
{
    m_machine->addKnown(KvGameAppInfo::Epic, u"Fortnite"_s, u"second.exe"_s);
    scan(R"({"InstallationList": [{"AppName": "Fortnite", "InstallLocation": "C:/F"}]})");
    QCOMPARE(m_machine->executables(), (QStringList{u"C:/F/Game/f.exe"_s, u"C:/F/second.exe"_s}));
}

void tst_KvEpicAppUtil::foldersInNativeForm()
{
    scan(R"({"InstallationList": [{"AppName": "Fortnite", "InstallLocation": "D:\\Spiele für alle\\堡垒\\"}]})");
    QCOMPARE(m_machine->executables(), QStringList{u"D:/Spiele für alle/堡垒//Game/f.exe"_s});
}

void tst_KvEpicAppUtil::missingFolder()
{
    scan(R"({"InstallationList": [{"AppName": "Fortnite"}, {"AppName": "Fortnite", "InstallLocation": 5}]})");
    QCOMPARE(m_machine->executables(), (QStringList{u"/Game/f.exe"_s, u"/Game/f.exe"_s}));
}

void tst_KvEpicAppUtil::elementsOfOtherTypes()
{
    const QByteArray json = R"({"InstallationList": [5, null, "Fortnite", ["Fortnite"], {"AppName": ["Fortnite"]},
                               {"AppName": "Fortnite", "InstallLocation": "C:/F"}]})";
    scan(json);
    QCOMPARE(m_machine->names(), QStringList{u"Fortnite"_s});
    // Only a record without a name takes them for games.
    m_machine->addKnown(KvGameAppInfo::Epic, QString(), u"none.exe"_s);
    scan(json);
    QCOMPARE(m_machine->executables(), QStringList(5, u"/none.exe"_s) + QStringList{u"C:/F/Game/f.exe"_s});
}

void tst_KvEpicAppUtil::manyInstallations()
{
    QByteArray json = R"({"InstallationList": [)";
    for (int i = 0; i < 20'000; ++i)
        json += R"({"AppName": "Other", "InstallLocation": "C:/O"},)";
    scan(json + R"({"AppName": "Fortnite", "InstallLocation": "C:/F"}]})");
    QCOMPARE(m_machine->names(), QStringList{u"Fortnite"_s});
}

QTEST_GUILESS_MAIN(tst_KvEpicAppUtil)
#include "tst_kvepicapputil.moc"
