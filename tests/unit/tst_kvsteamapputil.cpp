#include "../support/LauncherMachine.h"
#include "../support/ObjectCount.h"
#include "../support/SteamCacheBuilder.h"
#include "KvSteamAppUtil.h"
#include "platform/Files.h"
#include "platform/Platform.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

const QString Root = u"C:/Steam"_s;
const QString SecondLibrary = u"D:/Lib"_s;

} // namespace

class tst_KvSteamAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_machine = std::make_unique<LauncherMachine>();
        m_apps.clear();
    }
    void cleanup() { m_machine.reset(); }

    void centerApp_data();
    void centerApp();

    void gameIsJoined();
    void iconIsTheClientsIfItExists();
    void linesAreLoggedInOrder();
    void layouts_data();
    void layouts();

    void withoutCache();
    void withoutLibraryList();
    void withoutAnything();
    void emptyFiles();
    void libraries_data();
    void libraries();
    void escapesStay();
    void libraryOnMissingDrive();

    void manifestNames_data();
    void manifestNames();
    void manifests_data();
    void manifests();
    void unreadableManifest();
    void manifestThatVanishes();
    void nameUnknownToTheCache();
    void nonAsciiNamesMeet();
    void manifestsInNameOrder();
    void sameNameInTwoLibraries();

    void sectionWithoutIconOrProgram();
    void laterSectionOfANameStays();
    void sectionWithoutName();

    void settingsInTheLauncherFolder();
    void settingsInTheOuterFolder();
    void firstFolderWithSettingsCounts();
    void uselessSettingsHideTheOuterFolder();
    void emptyFoldersLeadToTheCache();
    void settingsThatTellNothing_data();
    void settingsThatTellNothing();
    void severalSettings();
    void settingsPathsStayAsWritten();

    void knownGames_data();
    void knownGames();
    void flagIsTakenWithSettingsToo();
    void cachedEntryWithCommas();
    void truncatedCache();
    void folderWithoutPermission();
    void longLines();
    void otherFilesArePassedOver();
    void scansAgain();
    void nothingIsLost();

private:
    void addApp(const QByteArray &name, const QList<QByteArray> &executables = {"game.exe"},
                const QByteArray &icon = "1c0")
    {
        SteamCacheBuilder::App app{static_cast<quint32>(m_apps.size() + 10), name, icon, {}};
        for (const QByteArray &executable : executables)
            app.launches.append({executable, {}});
        m_apps.append(app);
    }

    void writeCache(SteamCacheBuilder::Layout layout = SteamCacheBuilder::TreeWithHash)
    {
        SteamCacheBuilder cache(layout);
        for (const SteamCacheBuilder::App &app : std::as_const(m_apps))
            cache.add(app);
        // The last section of a cache doesn't count.
        cache.add({7, "End", "e0d", {}});
        m_machine->files.addFile(Root + u"/appcache/appinfo.vdf"_s, cache.build());
    }

    void writeLibraries(const QList<QByteArray> &folders)
    {
        QByteArray text = "\"libraryfolders\"\n{\n";
        for (qsizetype i = 0; i < folders.size(); ++i)
            text += "\t\"" + QByteArray::number(i) + "\"\n\t{\n\t\t\"path\"\t\t\"" + folders.at(i) +
                    "\"\n\t\t\"label\"\t\t\"\"\n\t}\n";
        m_machine->files.addFile(Root + u"/config/libraryfolders.vdf"_s, text + "}\n");
    }

    static QByteArray manifest(const QByteArray &id, const QByteArray &name, const QByteArray &folder)
    {
        return "\"AppState\"\n{\n\t\"appid\"\t\t\"" + id + "\"\n\t\"Universe\"\t\t\"1\"\n\t\"name\"\t\t\"" + name +
               "\"\n\t\"StateFlags\"\t\t\"4\"\n\t\"installdir\"\t\t\"" + folder + "\"\n}\n";
    }

    void addManifest(const QByteArray &name, const QString &file = u"appmanifest_10.acf"_s,
                     const QString &library = Root)
    {
        m_machine->files.addFile(library + u"/steamapps/"_s + file, manifest("10", name, "Folder"));
    }

    /** One game, "Canyon", with all that is needed for it. */
    void addCanyon(const QList<QByteArray> &executables = {"game.exe"})
    {
        addApp("Canyon", executables);
        writeCache();
        writeLibraries({"C:\\\\Steam"});
        addManifest("Canyon");
    }

    void addSettings(const QString &name, const QByteArray &json)
    {
        m_machine->files.addFile(GameFolder + u"EasyAntiCheat/"_s + name, json);
    }

    void scan()
    {
        KvSteamAppUtil scanner;
        m_machine->scan(scanner, Root + u"/steam.exe"_s);
    }

    static inline const QString GameFolder = Root + u"/steamapps/common/Folder/"_s;
    std::unique_ptr<LauncherMachine> m_machine;
    QList<SteamCacheBuilder::App> m_apps;
};

void tst_KvSteamAppUtil::centerApp_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("expected");
    QTest::newRow("exact") << u"steam.exe"_s << true;
    QTest::newRow("capital") << u"Steam.exe"_s << false;
    QTest::newRow("with folder") << u"c:/steam.exe"_s << false;
    QTest::newRow("other") << u"steamwebhelper.exe"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_KvSteamAppUtil::centerApp()
{
    QFETCH(QString, name);
    QFETCH(bool, expected);
    QCOMPARE(KvSteamAppUtil::isSteamCenterApp(name), expected);
}

void tst_KvSteamAppUtil::gameIsJoined()
{
    addCanyon({"bin\\canyon.exe", "edit.exe"});
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executableList(), (QStringList{GameFolder + u"bin/canyon.exe"_s, GameFolder + u"edit.exe"_s}));
    QCOMPARE(game.icon(), KvAppSetting::getIconFilepath(GameFolder + u"bin/canyon.exe"_s));
    QCOMPARE(game.fileName(), QString());
    QCOMPARE(game.ignoreExeFullPath(), false);
    QCOMPARE(game.platform(), KvAppSetting::None);
    QCOMPARE(game.colorMode(), KvAppSetting::ModeOff);
    QCOMPARE(game.parent(), nullptr);
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::iconIsTheClientsIfItExists()
{
    addCanyon();
    m_machine->files.addFile(Root + u"/steam/games/1c0.ico"_s);
    scan();
    QCOMPARE(m_machine->found.front()->icon(), KvAppSetting::getIconFilepath(u"C:/Steam/steam/games/1c0.ico"_s));
}

void tst_KvSteamAppUtil::linesAreLoggedInOrder()
{
    addCanyon({"a.exe", "b.exe"});
    scan();
    QCOMPARE(m_machine->debugs,
             (QStringList{
                 u"[KvSteamAppUtil] getInstalledSteamApps:  \"C:/Steam/steam.exe\""_s,
                 u"[KvSteamAppUtil] getAllSteamApps:  \"C:/Steam\""_s,
                 u"[KvSteamAppUtil] parseSteamAppsFolderPath \"C:/Steam\""_s,
                 u"[KvSteamAppUtil] folder path:  \"C:\\\\\\\\Steam\""_s,
                 u"[KvSteamAppUtil] ====================================="_s, u"[KvSteamAppUtil] name:  \"Canyon\""_s,
                 u"[KvSteamAppUtil] id:  \"10\""_s, u"[KvSteamAppUtil] icon:  \"C:/Steam/steam/games/1c0.ico\""_s,
                 u"[KvSteamAppUtil] executable:  \"C:/Steam/steamapps/common/Folder/a.exe\""_s,
                 u"[KvSteamAppUtil] executable:  \"C:/Steam/steamapps/common/Folder/b.exe\""_s,
                 u"[KvSteamAppUtil] installDir:  \"Folder\""_s, u"[KvSteamAppUtil] ignoreExeFullPath:  false"_s}));
    QCOMPARE(m_machine->infos, QStringList());
}

void tst_KvSteamAppUtil::layouts_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("numbered sections") << int(SteamCacheBuilder::NumberedSections) << QStringList{u"Canyon"_s};
    QTest::newRow("one tree") << int(SteamCacheBuilder::OneTree) << QStringList{u"Canyon"_s};
    QTest::newRow("tree with a hash") << int(SteamCacheBuilder::TreeWithHash) << QStringList{u"Canyon"_s};
    QTest::newRow("keys apart") << int(SteamCacheBuilder::KeysApart) << QStringList{};
}

void tst_KvSteamAppUtil::layouts()
{
    QFETCH(int, layout);
    QFETCH(QStringList, expected);
    addCanyon();
    writeCache(SteamCacheBuilder::Layout(layout));
    scan();
    QCOMPARE(m_machine->names(), expected);
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::withoutCache()
{
    writeLibraries({"C:\\\\Steam"});
    addManifest("Canyon");
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->warnings, QStringList{u"[KvSteamAppUtil] load appinfo.vdf file error"_s});
}

void tst_KvSteamAppUtil::withoutLibraryList()
{
    addApp("Canyon");
    writeCache();
    addManifest("Canyon");
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->warnings, QStringList{u"[KvSteamAppUtil] load folderPath file error"_s});
}

void tst_KvSteamAppUtil::withoutAnything()
{
    KvSteamAppUtil scanner;
    m_machine->scan(scanner, QString());
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->debugs, (QStringList{u"[KvSteamAppUtil] getInstalledSteamApps:  \"\""_s,
                                             u"[KvSteamAppUtil] getAllSteamApps:  \"\""_s,
                                             u"[KvSteamAppUtil] parseSteamAppsFolderPath \"\""_s}));
    QCOMPARE(m_machine->warnings, (QStringList{u"[KvSteamAppUtil] load appinfo.vdf file error"_s,
                                               u"[KvSteamAppUtil] load folderPath file error"_s}));
}

void tst_KvSteamAppUtil::emptyFiles()
{
    addCanyon();
    m_machine->files.addFile(Root + u"/appcache/appinfo.vdf"_s);
    m_machine->files.addFile(Root + u"/steamapps/empty.acf"_s);
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    m_machine->files.addFile(Root + u"/config/libraryfolders.vdf"_s);
    scan();
    QCOMPARE(m_machine->names(), QStringList());
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::libraries_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("expected");
    const QString one = u"C:/One"_s;
    QTest::newRow("two") << QByteArray("\"path\"\t\"C:/One\"\n\"path\"\t\"D:/Two\"\n") << QStringList{one, u"D:/Two"_s};
    QTest::newRow("twice the same") << QByteArray("\"path\"\t\"C:/One\"\n\"path\"\t\"C:/One\"\n")
                                    << QStringList{one, one};
    QTest::newRow("key that holds it") << QByteArray("\"mypaths\"\t\"C:/One\"\n") << QStringList{one};
    QTest::newRow("other letter case") << QByteArray("\"Path\"\t\"C:/One\"\n") << QStringList{};
    QTest::newRow("old style") << QByteArray("\"1\"\t\"C:/One\"\n") << QStringList{};
    QTest::newRow("value like a key") << QByteArray("\"label\"\t\"path\"\n\"x\"\t\"C:/One\"\n") << QStringList{u"x"_s};
    QTest::newRow("value is not a key") << QByteArray("\"path\"\t\"C:/path\"\n\"x\"\n") << QStringList{u"C:/path"_s};
    QTest::newRow("nothing behind") << QByteArray("\"path\"") << QStringList{QString()};
    QTest::newRow("quotes within") << QByteArray("\"path\"\t\"C:/\"One\"\"\n") << QStringList{one};
    QTest::newRow("letters beyond ASCII") << QByteArray("\"path\"\t\"C:/One\xC3\xA9\"\n") << QStringList{one};
}

void tst_KvSteamAppUtil::libraries()
{
    QFETCH(QByteArray, text);
    QFETCH(QStringList, expected);
    addApp("Canyon");
    writeCache();
    m_machine->files.addFile(Root + u"/config/libraryfolders.vdf"_s, text);
    scan();
    QStringList lines;
    for (const QString &folder : std::as_const(expected))
        lines.append(u"[KvSteamAppUtil] folder path:  \"%1\""_s.arg(folder));
    QCOMPARE(m_machine->debugs.mid(3), lines);
}

void tst_KvSteamAppUtil::escapesStay()
{
    // The folder is found all the same, since Windows takes several separators for one.
    addCanyon();
    scan();
    QCOMPARE(m_machine->debugs.at(3), u"[KvSteamAppUtil] folder path:  \"C:\\\\\\\\Steam\""_s);
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"game.exe"_s});
}

void tst_KvSteamAppUtil::libraryOnMissingDrive()
{
    addCanyon();
    writeLibraries({"Q:\\\\Gone", "C:\\\\Absent", "", "C:\\\\Steam"});
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::manifestNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("counts");
    QTest::newRow("usual") << u"appmanifest_10.acf"_s << true;
    QTest::newRow("copy") << u"appmanifest_10.acf.bak"_s << true;
    QTest::newRow("nothing before") << u".acf"_s << true;
    QTest::newRow("other letter case") << u"appmanifest_10.ACF"_s << false;
    QTest::newRow("other") << u"appmanifest_10.txt"_s << false;
}

void tst_KvSteamAppUtil::manifestNames()
{
    QFETCH(QString, name);
    QFETCH(bool, counts);
    addApp("Canyon");
    writeCache();
    writeLibraries({"C:\\\\Steam"});
    addManifest("Canyon", name);
    m_machine->files.addFolder(Root + u"/steamapps/folder.acf"_s);
    scan();
    QCOMPARE(m_machine->names().size(), counts ? 1 : 0);
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::manifests_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const QByteArray end = "\"name\"\n\"Canyon\"\n";
    QTest::newRow("all fields") << manifest("1", "Canyon", "F") << u"1|F"_s;
    QTest::newRow("first values stay")
        << "\"appid\"\n\"1\"\n\"appid\"\n\"2\"\n\"installdir\"\n\"F\"\n\"installdir\"\n\"G\"\n" + end << u"1|F"_s;
    QTest::newRow("no fields but the name") << end << u"|"_s;
    QTest::newRow("keys within keys") << "\"xappidx\"\n\"1\"\n\"installdirs\"\n\"F\"\n" + end << u"1|F"_s;
    QTest::newRow("value tested like a key") << "\"x\"\n\"appid\"\n\"y\"\n" + end << u"y|"_s;
    QTest::newRow("value taken is no key") << "\"appid\"\n\"installdir\"\n\"F\"\n" + end << u"installdir|"_s;
    QTest::newRow("appid before name") << "\"appid name\"\n\"1\"\n" + end << u"1|"_s;
    QTest::newRow("second key for the next field")
        << "\"appid\"\n\"1\"\n\"appid installdir\"\n\"F\"\n" + end << u"1|F"_s;
    QTest::newRow("empty value") << "\"appid\"\n\"\"\n\"appid\"\n\"2\"\n" + end << u"2|"_s;
    QTest::newRow("cut in the value") << end + "\"installdir\"\n\"Fol" << u"|Fol"_s;
    QTest::newRow("cut before the value") << end + "\"installdir\"" << u"|"_s;
}

void tst_KvSteamAppUtil::manifests()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    addCanyon();
    m_machine->files.addFile(Root + u"/steamapps/appmanifest_10.acf"_s, text);
    scan();
    const QStringList fields = expected.split(u'|');
    QVERIFY(m_machine->debugs.contains(u"[KvSteamAppUtil] id:  \"%1\""_s.arg(fields.at(0))));
    QVERIFY(m_machine->debugs.contains(u"[KvSteamAppUtil] installDir:  \"%1\""_s.arg(fields.at(1))));
    QCOMPARE(m_machine->executables(), QStringList{u"C:/Steam/steamapps/common/%1/game.exe"_s.arg(fields.at(1))});
}

void tst_KvSteamAppUtil::unreadableManifest()
{
#ifdef Q_OS_UNIX
    if (::geteuid() == 0)
        QSKIP("The super-user may read everything");
    addCanyon();
    addManifest("Canyon", u"appmanifest_9.acf"_s);
    const QString path = m_machine->files.hostPath(Root + u"/steamapps/appmanifest_9.acf"_s);
    QVERIFY(QFile::setPermissions(path, {}));
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
    QCOMPARE(m_machine->warnings, QStringList{u"[SystemContext] load  \"appmanifest_9.acf\"  error"_s});
#else
    QSKIP("Permissions are taken by Unix's means");
#endif
}

void tst_KvSteamAppUtil::manifestThatVanishes()
{
    class Vanishing final : public KvPlatform::Files
    {
    public:
        explicit Vanishing(std::shared_ptr<KvPlatform::Files> files)
            : m_files(std::move(files))
        {}
        QString hostPath(const QString &path) const override { return m_files->hostPath(path); }
        QString absolutePath(const QString &path) const override { return m_files->absolutePath(path); }
        QString folderOf(const QString &path) const override { return m_files->folderOf(path); }
        QStringList fileNames(const QString &folder) const override
        {
            return QStringList{u"gone.acf"_s} + m_files->fileNames(folder);
        }

    private:
        std::shared_ptr<KvPlatform::Files> m_files;
    };
    addCanyon();
    const auto scope = m_machine->enter();
    auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
    platform->files = std::make_shared<Vanishing>(platform->files);
    KvPlatform::Platform::setCurrent(platform);
    const LogCatcher log;
    KvSteamAppUtil scanner;
    const QList<KvAppSetting *> found = scanner.getInstalledApps(Root + u"/steam.exe"_s, {});
    qDeleteAll(found);
    QCOMPARE(found.size(), 1);
    QCOMPARE(log.texts(QtWarningMsg), QStringList{u"[SystemContext] load  \"gone.acf\"  error"_s});
}

void tst_KvSteamAppUtil::nameUnknownToTheCache()
{
    addCanyon();
    addManifest("Canyons", u"a.acf"_s);
    addManifest("canyon", u"b.acf"_s);
    addManifest("End", u"c.acf"_s);
    m_machine->files.addFile(Root + u"/steamapps/d.acf"_s, "\"appid\"\n\"1\"\n");
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::nonAsciiNamesMeet()
{
    addApp("Br\xC3\xBCtal Legend");
    writeCache();
    writeLibraries({"C:\\\\Steam"});
    addManifest("Br\xC3\xBCtal Legend");
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Br"_s});
}

void tst_KvSteamAppUtil::manifestsInNameOrder()
{
    for (const char *const name : {"One", "Two", "Three"})
        addApp(name);
    writeCache();
    writeLibraries({"D:\\\\Lib", "C:\\\\Steam"});
    addManifest("One", u"B.acf"_s);
    addManifest("Two", u"a.acf"_s);
    addManifest("Three", u"c.acf"_s, SecondLibrary);
    scan();
    QCOMPARE(m_machine->names(), (QStringList{u"Three"_s, u"Two"_s, u"One"_s}));
    QCOMPARE(m_machine->executables().first(), u"D:/Lib/steamapps/common/Folder/game.exe"_s);
}

void tst_KvSteamAppUtil::sameNameInTwoLibraries()
{
    addCanyon();
    writeLibraries({"C:\\\\Steam", "D:\\\\Lib"});
    addManifest("Canyon", u"appmanifest_10.acf"_s, SecondLibrary);
    m_machine->files.addFile(Root + u"/steam/games/1c0.ico"_s);
    scan();
    QCOMPARE(m_machine->names(), (QStringList{u"Canyon"_s, u"Canyon"_s}));
    QVERIFY(m_machine->debugs.contains(
        u"[KvSteamAppUtil] icon:  \"C:/Steam/steam/games/C:/Steam/steam/games/1c0.ico.ico\""_s));
    QCOMPARE(m_machine->found.front()->icon(), KvAppSetting::getIconFilepath(u"C:/Steam/steam/games/1c0.ico"_s));
    QCOMPARE(m_machine->found.back()->icon(),
             KvAppSetting::getIconFilepath(u"D:/Lib/steamapps/common/Folder/game.exe"_s));
}

void tst_KvSteamAppUtil::sectionWithoutIconOrProgram()
{
    addApp("No program", {"run.sh"});
    addApp("No icon", {"game.exe"}, QByteArray());
    addApp("Canyon");
    addCanyon();
    addManifest("No program", u"a.acf"_s);
    addManifest("No icon", u"b.acf"_s);
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
}

void tst_KvSteamAppUtil::laterSectionOfANameStays()
{
    addApp("Canyon", {"old.exe"}, "01d");
    addCanyon({"new.exe"});
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"new.exe"_s});
}

void tst_KvSteamAppUtil::sectionWithoutName()
{
    writeLibraries({"C:\\\\Steam"});
    m_machine->files.addFile(Root + u"/appcache/appinfo.vdf"_s,
                             QByteArray("clienticon\0i\0executable\0n.exe\0appinfo", 38));
    m_machine->files.addFile(Root + u"/steamapps/a.acf"_s, "\"appid\"\n\"1\"\n\"installdir\"\n\"F\"\n");
    scan();
    QCOMPARE(m_machine->names(), QStringList{QString()});
    QCOMPARE(m_machine->executables(), QStringList{u"C:/Steam/steamapps/common/F/n.exe"_s});
}

void tst_KvSteamAppUtil::settingsInTheLauncherFolder()
{
    addCanyon();
    addSettings(u"Launcher/Settings.json"_s, "{\"executable\": \"bin/safe.exe\"}");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"bin/safe.exe"_s});
    QCOMPARE(m_machine->found.front()->icon(), KvAppSetting::getIconFilepath(GameFolder + u"bin/safe.exe"_s));
}

void tst_KvSteamAppUtil::settingsInTheOuterFolder()
{
    addCanyon();
    addSettings(u"Settings.json"_s, "{\"executable\": \"safe.exe\"}");
    m_machine->files.addFolder(GameFolder + u"EasyAntiCheat/Launcher"_s);
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"safe.exe"_s});
}

void tst_KvSteamAppUtil::firstFolderWithSettingsCounts()
{
    addCanyon();
    addSettings(u"Settings.json"_s, "{\"executable\": \"outer.exe\"}");
    addSettings(u"Launcher/Settings.json"_s, "{\"executable\": \"inner.exe\"}");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"inner.exe"_s});
}

void tst_KvSteamAppUtil::uselessSettingsHideTheOuterFolder()
{
    addCanyon();
    addSettings(u"Settings.json"_s, "{\"executable\": \"outer.exe\"}");
    addSettings(u"Launcher/Settings.json"_s, "no JSON");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{QString()});
    QCOMPARE(m_machine->warnings.size(), 1);
}

void tst_KvSteamAppUtil::emptyFoldersLeadToTheCache()
{
    addCanyon();
    m_machine->addKnown(KvGameAppInfo::Steam, u"Canyon"_s, QString(), true);
    m_machine->files.addFile(GameFolder + u"EasyAntiCheat/Launcher/readme.txt"_s);
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"game.exe"_s});
    QVERIFY(m_machine->found.front()->ignoreExeFullPath());
}

void tst_KvSteamAppUtil::settingsThatTellNothing_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("warning");
    const QString path = u" \"C:/Steam/steamapps/common/Folder/EasyAntiCheat/s.json\""_s;
    const QString empty = u"[KvSteamAppUtil] JsonDocument is empty. Cannot read file: "_s + path;
    const QString notAnObject = u"[KvSteamAppUtil] Document is not an object: "_s + path;
    QTest::newRow("empty file") << QByteArray() << QString();
    QTest::newRow("not JSON") << QByteArray("executable: x.exe") << empty;
    QTest::newRow("cut") << QByteArray("{\"executable\": \"x.e") << empty;
    QTest::newRow("array") << QByteArray("[\"x.exe\"]") << notAnObject;
    QTest::newRow("no such key") << QByteArray("{\"Executable\": \"x.exe\"}") << QString();
    QTest::newRow("empty object") << QByteArray("{}") << QString();
    QTest::newRow("number") << QByteArray("{\"executable\": 7}") << QString();
    QTest::newRow("null") << QByteArray("{\"executable\": null}") << QString();
    QTest::newRow("quotes only") << QByteArray(R"({"executable": "\"\""})") << QString();
    QTest::newRow("deeply nested") << QByteArray(100000, '[') << empty;
}

void tst_KvSteamAppUtil::settingsThatTellNothing()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, warning);
    addCanyon();
    addSettings(u"s.json"_s, json);
    scan();
    QCOMPARE(m_machine->executables(), QStringList{QString()});
    QCOMPARE(m_machine->found.front()->icon(), QString());
    QCOMPARE(m_machine->warnings, warning.isEmpty() ? QStringList() : QStringList{warning});
}

void tst_KvSteamAppUtil::severalSettings()
{
    addCanyon();
    addSettings(u"a.json"_s, "{\"executable\": \"one.exe\"}");
    addSettings(u"b.json.old"_s, "{\"executable\": \"two.exe\"}");
    addSettings(u"c.json"_s, "{\"executable\": \"one.exe\"}");
    addSettings(u"d.json"_s, "{\"executable\": \"ONE.exe\"}");
    addSettings(u"e.JSON"_s, "{\"executable\": \"five.exe\"}");
    scan();
    QCOMPARE(m_machine->found.front()->executableList(),
             (QStringList{GameFolder + u"one.exe"_s, GameFolder + u"two.exe"_s, GameFolder + u"ONE.exe"_s}));
}

void tst_KvSteamAppUtil::settingsPathsStayAsWritten()
{
    addCanyon();
    addSettings(u"s.json"_s, R"({"executable": "\"bin\\safe.exe\""})");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"bin\\safe.exe"_s});
}

void tst_KvSteamAppUtil::knownGames_data()
{
    QTest::addColumn<int>("platform");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("flag");
    const QStringList cached{u"bin/a.exe"_s, u"b.exe"_s};
    const QString name = u"Canyon"_s;
    QTest::newRow("in place of each") << int(KvGameAppInfo::Steam) << name << u"bin\\x.exe"_s
                                      << QStringList{u"bin/x.exe"_s} << true;
    QTest::newRow("several") << int(KvGameAppInfo::Steam) << name << u"cod.exe,sp23-cod.exe"_s
                             << QStringList{u"cod.exe"_s, u"sp23-cod.exe"_s} << true;
    QTest::newRow("trailing comma") << int(KvGameAppInfo::Steam) << name << u"x.exe,"_s
                                    << QStringList{u"x.exe"_s, u""_s} << true;
    QTest::newRow("flag only") << int(KvGameAppInfo::Steam) << name << QString() << cached << true;
    QTest::newRow("other launcher") << int(KvGameAppInfo::Epic) << name << u"x.exe"_s << cached << false;
    QTest::newRow("longer name") << int(KvGameAppInfo::Steam) << u"Canyon 2"_s << u"x.exe"_s << cached << false;
    QTest::newRow("other letter case") << int(KvGameAppInfo::Steam) << u"canyon"_s << u"x.exe"_s << cached << false;
}

void tst_KvSteamAppUtil::knownGames()
{
    QFETCH(int, platform);
    QFETCH(QString, name);
    QFETCH(QString, executable);
    QFETCH(QStringList, expected);
    QFETCH(bool, flag);
    addCanyon({"bin\\a.exe", "b.exe", "bin/a.exe"});
    m_machine->addKnown(KvGameAppInfo::AppPlatform(platform), name, executable, true);
    m_machine->addKnown(KvGameAppInfo::AppPlatform(platform), name, u"second.exe"_s, false);
    scan();
    QStringList paths;
    for (const QString &path : std::as_const(expected))
        paths.append(GameFolder + path);
    QCOMPARE(m_machine->found.front()->executableList(), paths);
    QCOMPARE(m_machine->found.front()->ignoreExeFullPath(), flag);
}

void tst_KvSteamAppUtil::flagIsTakenWithSettingsToo()
{
    addCanyon();
    m_machine->addKnown(KvGameAppInfo::Steam, u"Canyon"_s, u"x.exe"_s, true);
    addSettings(u"s.json"_s, "{\"executable\": \"safe.exe\"}");
    scan();
    QCOMPARE(m_machine->executables(), QStringList{GameFolder + u"safe.exe"_s});
    QVERIFY(m_machine->found.front()->ignoreExeFullPath());
}

void tst_KvSteamAppUtil::cachedEntryWithCommas()
{
    addCanyon({"a.exe,,b.exe"});
    scan();
    QCOMPARE(m_machine->found.front()->executableList(),
             (QStringList{GameFolder + u"a.exe"_s, GameFolder, GameFolder + u"b.exe"_s}));
}

void tst_KvSteamAppUtil::truncatedCache()
{
    addCanyon();
    const QString path = Root + u"/appcache/appinfo.vdf"_s;
    const QByteArray whole = m_machine->files.read(u"C/Steam/appcache/appinfo.vdf"_s);
    QVERIFY(!whole.isEmpty());
    const qsizetype needed = whole.lastIndexOf("appinfo") + 7;
    for (const qsizetype size : {needed, needed - 1, whole.size() / 2, qsizetype(5)}) {
        m_machine->files.addFile(path, whole.first(size));
        scan();
        QCOMPARE(m_machine->names().size(), size >= needed ? 1 : 0);
        QCOMPARE(m_machine->warnings, QStringList());
    }
}

void tst_KvSteamAppUtil::folderWithoutPermission()
{
#ifdef Q_OS_UNIX
    if (::geteuid() == 0)
        QSKIP("The super-user may read everything");
    addCanyon();
    const QString folder = m_machine->files.hostPath(Root + u"/steamapps"_s);
    QVERIFY(QFile::setPermissions(folder, {}));
    scan();
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QCOMPARE(m_machine->names(), QStringList());
#else
    QSKIP("Permissions are taken by Unix's means");
#endif
}

void tst_KvSteamAppUtil::longLines()
{
    const QByteArray line(10 * 1024 * 1024, 'a');
    addCanyon();
    m_machine->files.addFile(Root + u"/steamapps/long.acf"_s, line + "\n\"name\"\n" + line);
    m_machine->files.addFile(Root + u"/config/libraryfolders.vdf"_s, line + "\n\"path\"\n\"C:/Steam\"\n" + line);
    QFile cache(m_machine->files.hostPath(Root + u"/appcache/appinfo.vdf"_s));
    QVERIFY(cache.open(QIODevice::Append));
    QCOMPARE(cache.write(line), line.size());
    cache.close();
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
}

void tst_KvSteamAppUtil::otherFilesArePassedOver()
{
    addCanyon();
    for (int i = 0; i < 5000; ++i)
        m_machine->files.addFile(Root + u"/steamapps/other %1.txt"_s.arg(i));
    scan();
    QCOMPARE(m_machine->names(), QStringList{u"Canyon"_s});
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvSteamAppUtil::scansAgain()
{
    addCanyon();
    KvSteamAppUtil scanner;
    for (int i = 0; i < 2; ++i) {
        m_machine->scan(scanner, Root + u"/steam.exe"_s);
        QVERIFY(m_machine->debugs.contains(u"[KvSteamAppUtil] icon:  \"C:/Steam/steam/games/1c0.ico\""_s));
    }
    QVERIFY(QFile::remove(m_machine->files.hostPath(Root + u"/appcache/appinfo.vdf"_s)));
    m_machine->scan(scanner, Root + u"/steam.exe"_s);
    QCOMPARE(m_machine->names(), QStringList());
}

void tst_KvSteamAppUtil::nothingIsLost()
{
    addApp("Canyon", {"old.exe"});
    addCanyon();
    const ObjectCount count;
    for (int i = 0; i < 3; ++i) {
        scan();
        QCOMPARE(m_machine->names().size(), 1);
        m_machine->found.clear();
    }
    QCOMPARE(count.balance(), 0);
}

QTEST_GUILESS_MAIN(tst_KvSteamAppUtil)
#include "tst_kvsteamapputil.moc"
