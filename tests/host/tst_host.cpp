#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QTest>

#define SID "S-1-5-21-1-2-3-1001"
#define UNINSTALL "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
#define SLOTS "HKEY_USERS\\" SID "\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo"

/** The example host from the outside: its options, outputs and exit codes. */
class tst_Host : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void tellsWhatWasAskedFor_data();
    void tellsWhatWasAskedFor();
    void refusesBadOptions_data();
    void refusesBadOptions();
    void refusesABadMachineFromTheEnvironment();
    void keepsAFileThatItWasToldToOverwriteButCouldNot();
    void givesUpWithoutAScan();
    void printsTheListsAsJson();
    void keepsStandardOutputPureWhenVerbose();
    void savesTheWindow_data();
    void savesTheWindow();
    void isSharpAtEveryScale_data();
    void isSharpAtEveryScale();
    void printsAndSavesInOneRun();
    void showsWhatItWasToldTo();
    void listsGamesAndToolsWithTheirLauncher();
    void marksWhatIsSetUpForAModel_data();
    void marksWhatIsSetUpForAModel();
    void builtInSettingsNeedNoFile();
    void tellsTheSummary();
    void summaryNamesGamesAndTools();
    void launchesAProgram_data();
    void launchesAProgram();
    void servesCommands();
    void servesUntilTheInputEnds();
    void followsWhatOthersWrite();
    void rescansAfterAnInstallation();

private:
    struct Result
    {
        int exitCode = -1;
        QByteArray output;
        QByteArray errors;
    };

    QString path(const QString &name) const { return m_folder.filePath(name); }
    void write(const QString &name, const QByteArray &bytes) const;
    void writeGames() const;
    Result run(const QStringList &arguments, const QString &machineVariable = {}) const;
    Result runOnMachine(const QStringList &arguments) const;
    QJsonObject gamesAndTools(const QStringList &arguments) const;
    QImage screenshot(const QStringList &arguments) const;

    std::unique_ptr<QProcess> serve(const QString &program, const QProcessEnvironment &more = {}) const;
    static QJsonObject nextLine(QProcess &process);

    QTemporaryDir m_folder;
};

namespace {

const QSet<QString> AppKeys{
    QStringLiteral("type"),    QStringLiteral("displayName"),   QStringLiteral("productName"),
    QStringLiteral("version"), QStringLiteral("publisherName"), QStringLiteral("description"),
    QStringLiteral("target"),  QStringLiteral("icon"),          QStringLiteral("arguments"),
    QStringLiteral("shell"),   QStringLiteral("workingFolder"),
};
const QSet<QString> SettingKeys{
    QStringLiteral("monitorModel"), QStringLiteral("colorMode"),   QStringLiteral("displayName"),
    QStringLiteral("icon"),         QStringLiteral("executable"),  QStringLiteral("executableList"),
    QStringLiteral("appType"),      QStringLiteral("hasSelected"), QStringLiteral("appExist"),
    QStringLiteral("fileName"),     QStringLiteral("platform"),    QStringLiteral("ignoreExeFullPath"),
    QStringLiteral("launcher"),
};

const QByteArray WatchedKeys("Windows Registry Editor Version 5.00\n"
                             "[HKEY_LOCAL_MACHINE\\Software\\RegisteredApplications]\n"
                             "[HKEY_LOCAL_MACHINE\\" UNINSTALL "]\n"
                             "[HKEY_USERS\\" SID "\\Software\\RegisteredApplications]\n"
                             "[HKEY_USERS\\" SID "\\" UNINSTALL "]\n"
                             "[" SLOTS "]\n");

QStringList names(const QJsonValue &list)
{
    QStringList result;
    for (const QJsonValue element : list.toArray())
        result.append(element.toObject().value(QLatin1String("displayName")).toString());
    return result;
}

QSet<QString> keys(const QJsonObject &object)
{
    const QStringList list = object.keys();
    return QSet<QString>(list.cbegin(), list.cend());
}

/** A picture that is black on its left side and white on its right. */
QImage halves(int side)
{
    QImage image(side, side, QImage::Format_RGB32);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x)
            image.setPixel(x, y, x < side / 2 ? 0xff000000 : 0xffffffff);
    }
    return image;
}

/** How many pixels lie between the two sides of that picture, of which at least `half` are shown each; -1 without it.
 */
int blurOfHalves(const QImage &image, int half)
{
    for (int y = 0; y < image.height(); ++y) {
        int black = 0;
        int between = 0;
        int white = 0;
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (pixel == 0xff000000) {
                black = between + white > 0 ? 1 : black + 1;
                between = white = 0;
            } else if (black >= half && pixel == 0xffffffff) {
                if (++white >= half)
                    return between;
            } else if (black >= half && white == 0 && between < half) {
                ++between;
            } else {
                black = between = white = 0;
            }
        }
    }
    return -1;
}

QSet<QRgb> colours(const QImage &image)
{
    QSet<QRgb> result;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2)
            result.insert(image.pixel(x, y));
    }
    return result;
}

} // namespace

void tst_Host::write(const QString &name, const QByteArray &bytes) const
{
    QVERIFY(QDir(m_folder.path()).mkpath(QFileInfo(name).path()));
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

tst_Host::Result tst_Host::run(const QStringList &arguments, const QString &machineVariable) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The host has to find a display of its own accord.
    for (const char *name :
         {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "KVPROGRAM_MACHINE", "KVPROGRAM_METADATA"})
        environment.remove(QString::fromLatin1(name));
    // Without this Qt adds a warning of its own on systems with no login session.
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.path());
    if (!machineVariable.isNull())
        environment.insert(QStringLiteral("KVPROGRAM_MACHINE"), machineVariable);

    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(KV_HOST), arguments);
    if (!process.waitForFinished(90000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, process.readAllStandardError()};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

tst_Host::Result tst_Host::runOnMachine(const QStringList &arguments) const
{
    return run(QStringList{QStringLiteral("--machine"), path(QStringLiteral("desk"))} + arguments);
}

QJsonObject tst_Host::gamesAndTools(const QStringList &arguments) const
{
    const QStringList machine{QStringLiteral("--json"), QStringLiteral("--machine"), path(QStringLiteral("games"))};
    const Result result = run(machine + arguments);
    if (result.exitCode != 0 || !result.errors.isEmpty())
        return {{QStringLiteral("failure"), QString::fromUtf8(result.errors)}};
    return QJsonDocument::fromJson(result.output).object();
}

QImage tst_Host::screenshot(const QStringList &arguments) const
{
    const QString file = path(QStringLiteral("window.png"));
    QFile::remove(file);
    const Result result = runOnMachine(QStringList{QStringLiteral("--screenshot"), file} + arguments);
    if (result.exitCode != 0 || !result.errors.isEmpty())
        qWarning() << result.exitCode << result.errors;
    return QImage(file, "PNG");
}

void tst_Host::initTestCase()
{
    QVERIFY(m_folder.isValid());
    write(QStringLiteral("desk/machine.json"), R"({
        "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" },
        "users": [ { "type": 0, "authenticationStatus": 1, "nonRoamableId": "user-1" } ],
        "packages": [ {
            "fullName": "Contoso.Notes_1.2.3.4_x64__abcdefghjkmnp",
            "publisherDisplayName": "Contoso",
            "version": { "major": 1, "minor": 2, "build": 3, "revision": 3 },
            "entries": [
                { "displayName": "Notes", "description": "Short notes", "appUserModelId": "Contoso.Notes!App",
                  "logo": "C:/logo.png" }
            ]
        } ],
        "metadata": "C:/rules.json"
    })");
    QImage logo(225, 225, QImage::Format_ARGB32);
    logo.fill(Qt::darkCyan);
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("desk/C")) &&
            logo.save(path(QStringLiteral("desk/C/logo.png"))));
    // What the library watches, which it would miss otherwise.
    for (const char *const machine : {"desk", "games"})
        write(QLatin1String(machine) + QStringLiteral("/registry/keys.reg"), WatchedKeys);
    write(QStringLiteral("desk/C/Office/POWERPNT.EXE"), "MZ");
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("desk/C/icons")));
    QVERIFY(halves(512).save(path(QStringLiteral("desk/C/icons/halves.png"))));
    write(QStringLiteral("desk/C/rules.json"), R"([
        { "target": "https://example.org/a b?c=%25", "displayName": "Meet", "tags": [ "meeting" ],
          "icon": "image://app/C:/icons/halves.png" },
        { "target": "slides", "desktopTarget": "C:/Office/POWERPNT.EXE", "displayName": "Slides" }
    ])");
    write(QStringLiteral("settings.json"), R"([
        { "model": "KV-27", "list": "games", "executable": "C:\\Battle\\Overwatch.exe" },
        { "model": "KV-27", "list": "games", "executable": "C:/Riot/Game/League of Legends.exe" },
        { "model": "KV-32", "list": "tools", "executable": "C:/OFFICE/POWERPNT.exe" },
        { "model": "KV-32", "list": "tools", "executable": "C:/nobody.exe" }
    ])");
    writeGames();
    write(QStringLiteral("rules.json"), R"([ { "target": "https://example.org/", "displayName": "Other" } ])");
    write(QStringLiteral("empty/readme.txt"), "no facts here");
    write(QStringLiteral("broken/machine.json"), "{ \"elevated\": ");
    write(QStringLiteral("list/machine.json"), "[]");
    write(QStringLiteral("nothing/machine.json"), "");
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("folder/machine.json")));
}

/** A machine with games of some launchers, besides the one that all tests use. */
void tst_Host::writeGames() const
{
    write(
        QStringLiteral("games/machine.json"),
        R"({ "metadata": "C:/rules.json", "consoleUser": { "name": "kim", "domain": "DESK", "sid": "S-1-5-21-1-2-3-1001" } })");
    write(QStringLiteral("games/C/Office/POWERPNT.EXE"), "MZ");
    write(QStringLiteral("games/C/Ubisoft/UbisoftConnect.exe"), "MZ");
    write(QStringLiteral("games/C/rules.json"), R"([
        { "target": "slides", "desktopTarget": "C:/Office/POWERPNT.EXE", "displayName": "Slides" },
        { "target": "games", "desktopTarget": "C:/Ubisoft/UbisoftConnect.exe", "displayName": "Ubisoft" }
    ])");
    write(QStringLiteral("games/C/Ubisoft/cache/configuration/configurations"),
          "shortcut_name: Siege\r\nrelative: RainbowSix.exe\r\n");
    write(QStringLiteral("games/C/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"),
          R"({ "InstallationList": [ { "AppName": "Fortnite", "InstallLocation": "C:\\Fortnite" } ] })");
    const QByteArray root =
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
    write(QStringLiteral("games/registry/games.reg"),
          "Windows Registry Editor Version 5.00\n\n" + root + "Overwatch]\n\"Publisher\"=\"Blizzard Entertainment\"\n" +
              "\"DisplayName\"=\"Overwatch\"\n\"DisplayIcon\"=\"C:\\\\Battle\\\\Overwatch.exe\"\n\n" + root +
              "Siege]\n\"Publisher\"=\"Ubisoft\"\n\"DisplayName\"=\"Siege\"\n\"InstallLocation\"=\"C:/Siege/\"\n");
}

void tst_Host::tellsWhatWasAskedFor_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("expected");
    QTest::newRow("help") << QStringLiteral("--help") << QStringLiteral("--screenshot <file>");
    QTest::newRow("short help") << QStringLiteral("-h") << QStringLiteral("--machine <dir>");
    QTest::newRow("version") << QStringLiteral("--version") << QStringLiteral("kvprogram-host ");
}

void tst_Host::tellsWhatWasAskedFor()
{
    QFETCH(const QString, option);
    QFETCH(const QString, expected);
    const Result result = run({option});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.output.contains(expected.toLatin1()), result.output.constData());
    QCOMPARE(result.errors, QByteArray());
}

void tst_Host::refusesBadOptions_data()
{
    const auto there = [this](const char *name) { return path(QString::fromLatin1(name)); };
    const auto option = [](const char *name) { return QStringLiteral("--") + QString::fromLatin1(name); };
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QStringList &arguments, const char *reason) {
        QTest::newRow(name) << arguments << QString::fromLatin1(reason);
    };
    row("unknown option", {option("colour")}, "colour");
    row("two unknown options", {option("a1"), option("b2")}, "a1");
    row("missing value", {option("machine")}, "machine");
    row("positional argument", {QStringLiteral("desk")}, "\"desk\"");
    row("positional argument of two lines", {QStringLiteral("one\ntwo")}, "one two");
    row("value for a switch", {QStringLiteral("--json=yes")}, "json");
    row("no machine", {option("machine"), there("nowhere")}, "nowhere");
    row("empty machine", {option("machine"), QString()}, "not there");
    row("machine is a file", {option("machine"), there("rules.json")}, "not there");
    row("no machine.json", {option("machine"), there("empty")}, "machine.json");
    row("machine.json is a folder", {option("machine"), there("folder")}, "machine.json");
    row("machine.json is broken", {option("machine"), there("broken")}, "not JSON");
    row("machine.json is empty", {option("machine"), there("nothing")}, "not JSON");
    row("machine.json is a list", {option("machine"), there("list")}, "object");
    row("no metadata", {option("metadata"), there("nowhere.json")}, "nowhere.json");
    row("metadata is a folder", {option("metadata"), there("desk")}, "desk");
    row("screenshot in no folder", {option("screenshot"), there("nowhere/a.png")}, "a.png");
    row("screenshot is a folder", {option("screenshot"), there("desk")}, "desk");
    row("empty screenshot", {option("screenshot"), QString()}, "written");
    row("empty model", {option("model"), QString()}, "model");
    row("settings without a model", {option("settings"), there("settings.json")}, "--model");
    const auto settings = [&](const char *file) {
        return QStringList{option("model"), QStringLiteral("KV"), option("settings"), there(file)};
    };
    row("no settings", settings("nowhere.json"), "nowhere.json");
    row("settings are a folder", settings("desk"), "desk");
    row("settings are empty", settings("nothing/machine.json"), "not JSON");
    row("settings are broken", settings("broken/machine.json"), "not JSON");
    row("settings are an object", settings("desk/machine.json"), "array");
    row("settings of another kind", settings("rules.json"), "no setting");
    row("empty launch", {option("launch"), QString()}, "started");
    row("theme", {option("theme"), QStringLiteral("pink")}, "pink");
    row("list", {option("list"), QStringLiteral("music")}, "music");
    row("size without x", {option("size"), QStringLiteral("800")}, "800");
    row("size of nothing", {option("size"), QStringLiteral("0x10")}, "0x10");
    row("huge size", {option("size"), QStringLiteral("99999x10")}, "99999x10");
    row("timeout", {option("timeout"), QStringLiteral("soon")}, "soon");
    row("negative timeout", {option("timeout"), QStringLiteral("-1")}, "-1");
}

void tst_Host::refusesBadOptions()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, reason);
    const Result result = run(arguments);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.output, QByteArray());
    QVERIFY2(result.errors.contains(reason.toLatin1()), result.errors.constData());
    QCOMPARE(result.errors.count('\n'), 1);
    QVERIFY(result.errors.endsWith('\n'));
}

void tst_Host::refusesABadMachineFromTheEnvironment()
{
    const Result result = run({QStringLiteral("--json")}, path(QStringLiteral("broken")));
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.errors.count('\n'), 1);

    const Result overruled = run({QStringLiteral("--json"), QStringLiteral("--machine"), path(QStringLiteral("desk"))},
                                 path(QStringLiteral("broken")));
    QCOMPARE(overruled.exitCode, 0);
}

void tst_Host::keepsAFileThatItWasToldToOverwriteButCouldNot()
{
    write(QStringLiteral("old.png"), "old");
    const Result result =
        runOnMachine({QStringLiteral("--screenshot"), path(QStringLiteral("old.png")), QStringLiteral("--theme"),
                      QStringLiteral("light"), QStringLiteral("--timeout"), QStringLiteral("0")});
    QCOMPARE(result.exitCode, 1);
    QFile file(path(QStringLiteral("old.png")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("old"));
}

void tst_Host::givesUpWithoutAScan()
{
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--timeout"), QStringLiteral("0")});
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.errors, QByteArray("The first scan wasn't completed within 0 s.\n"));
}

void tst_Host::printsTheListsAsJson()
{
    const Result result = runOnMachine({QStringLiteral("--json")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.errors, QByteArray());
    QJsonParseError error;
    const QJsonObject lists = QJsonDocument::fromJson(result.output, &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(lists.keys(),
             QStringList({QStringLiteral("allApps"), QStringLiteral("gameApps"), QStringLiteral("meetingApps"),
                          QStringLiteral("shortcuts"), QStringLiteral("toolApps")}));
    for (const QJsonValue list : lists)
        QVERIFY(list.isArray());
    QCOMPARE(names(lists.value(QLatin1String("allApps"))),
             QStringList({QStringLiteral("Meet"), QStringLiteral("Notes"), QStringLiteral("Slides")}));
    QCOMPARE(names(lists.value(QLatin1String("meetingApps"))), QStringList{QStringLiteral("Meet")});
    QCOMPARE(lists.value(QLatin1String("shortcuts")).toArray().size(), 0);

    const QJsonArray apps = lists.value(QLatin1String("allApps")).toArray();
    for (const QJsonValue app : apps)
        QCOMPARE(keys(app.toObject()), AppKeys);
    const QJsonObject meet = apps.at(0).toObject();
    QCOMPARE(meet.value(QLatin1String("type")), QJsonValue(3));
    QCOMPARE(meet.value(QLatin1String("target")), QJsonValue(QStringLiteral("https://example.org/a b?c=%25")));
    const QJsonObject notes = apps.at(1).toObject();
    QCOMPARE(notes.value(QLatin1String("type")), QJsonValue(1));
    QCOMPARE(notes.value(QLatin1String("productName")), QJsonValue(QStringLiteral("Contoso.Notes!App")));
    QCOMPARE(notes.value(QLatin1String("publisherName")), QJsonValue(QStringLiteral("Contoso")));
    QCOMPARE(notes.value(QLatin1String("version")), QJsonValue(QStringLiteral("1.2.3.3")));
    QCOMPARE(apps.at(2).toObject().value(QLatin1String("target")),
             QJsonValue(QStringLiteral("file:///C:/Office/POWERPNT.EXE")));

    for (const char *list : {"toolApps", "gameApps"}) {
        for (const QJsonValue setting : lists.value(QLatin1String(list)).toArray()) {
            QCOMPARE(keys(setting.toObject()), SettingKeys);
            QVERIFY(setting.toObject().value(QLatin1String("platform")).isDouble());
            QVERIFY(setting.toObject().value(QLatin1String("executableList")).isArray());
            QVERIFY(setting.toObject().value(QLatin1String("hasSelected")).isBool());
        }
    }
}

void tst_Host::keepsStandardOutputPureWhenVerbose()
{
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--verbose"),
                                        QStringLiteral("--metadata"), path(QStringLiteral("rules.json"))});
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.errors.contains("[USER]"), result.errors.constData());
    const QJsonObject lists = QJsonDocument::fromJson(result.output).object();
    QCOMPARE(names(lists.value(QLatin1String("allApps"))),
             QStringList({QStringLiteral("Notes"), QStringLiteral("Other")}));
}

void tst_Host::savesTheWindow_data()
{
    QTest::addColumn<QString>("theme");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("dark");
    QTest::newRow("light") << QStringLiteral("light") << QSize(1120, 720) << false;
    QTest::newRow("dark") << QStringLiteral("dark") << QSize(900, 600) << true;
    QTest::newRow("narrow") << QStringLiteral("light") << QSize(420, 700) << false;
}

void tst_Host::savesTheWindow()
{
    QFETCH(const QString, theme);
    QFETCH(const QSize, size);
    QFETCH(const bool, dark);
    const QImage image = screenshot({QStringLiteral("--theme"), theme, QStringLiteral("--size"),
                                     QStringLiteral("%1x%2").arg(size.width()).arg(size.height())});
    QCOMPARE(image.size(), size);
    QVERIFY(colours(image).size() > 20);
    const QColor page = image.pixelColor(2, size.height() / 2);
    QCOMPARE(page.lightnessF() < 0.5F, dark);
}

void tst_Host::isSharpAtEveryScale_data()
{
    QTest::addColumn<double>("scale");
    for (const char *const scale : {"1", "1.25", "1.5", "2", "3"})
        QTest::newRow(scale) << QByteArray(scale).toDouble();
}

void tst_Host::isSharpAtEveryScale()
{
    QFETCH(const double, scale);
    qputenv("QT_SCALE_FACTOR", QTest::currentDataTag());
    const QImage image = screenshot(
        {QStringLiteral("--theme"), QStringLiteral("light"), QStringLiteral("--size"), QStringLiteral("800x400")});
    qunsetenv("QT_SCALE_FACTOR");
    QCOMPARE(image.size(), (QSizeF(800, 400) * scale).toSize());
    const int edge = blurOfHalves(image, qRound(18 * scale));
    QVERIFY2(edge >= 0 && edge <= 2, qPrintable(QString::number(edge)));
}

void tst_Host::printsAndSavesInOneRun()
{
    const QString file = path(QStringLiteral("both.png"));
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--screenshot"), file});
    QCOMPARE(result.exitCode, 0);
    // The program of this machine has no icon.
    static const QRegularExpression lines(
        QStringLiteral("\\A(\\[FAIL\\] can't get (program icon for \"[^\"]+\"|icon for: .*)\\n)*\\z"));
    QVERIFY2(lines.match(QString::fromLatin1(result.errors)).hasMatch(), result.errors.constData());
    QCOMPARE(names(QJsonDocument::fromJson(result.output).object().value(QLatin1String("allApps"))).size(), 3);
    QVERIFY(!QImage(file, "PNG").isNull());
}

void tst_Host::showsWhatItWasToldTo()
{
    const QImage all = screenshot({});
    const QImage meetings = screenshot({QStringLiteral("--list"), QStringLiteral("meetings")});
    const QImage found = screenshot({QStringLiteral("--search"), QStringLiteral("CONTOSO short")});
    const QImage nothing = screenshot({QStringLiteral("--search"), QStringLiteral("contoso long")});
    QVERIFY(!all.isNull());
    QCOMPARE(screenshot({}), all);
    QVERIFY(meetings != all);
    QVERIFY(found != all);
    QVERIFY(nothing != found);
}

void tst_Host::listsGamesAndToolsWithTheirLauncher()
{
    const QJsonObject lists = gamesAndTools({});
    QStringList found;
    for (const char *const list : {"gameApps", "toolApps"}) {
        for (const QJsonValue element : lists.value(QLatin1String(list)).toArray()) {
            const QJsonObject app = element.toObject();
            QVERIFY(!app.value(QLatin1String("hasSelected")).toBool());
            found.append(app.value(QLatin1String("displayName")).toString() + QLatin1Char('|') +
                         app.value(QLatin1String("launcher")).toString() + QLatin1Char('|') +
                         app.value(QLatin1String("executable")).toString());
        }
    }
    QCOMPARE(found, (QStringList{QStringLiteral("Overwatch|Battle.net|C:/Battle/Overwatch.exe"),
                                 QStringLiteral("Fortnite|Epic|C:/Fortnite/FortniteGame/Binaries/Win64/"
                                                "FortniteClient-Win64-Shipping.exe"),
                                 QStringLiteral("Siege|Ubisoft|C:/Siege/RainbowSix.exe"),
                                 QStringLiteral("Slides|POWERPNT.EXE|C:/Office/POWERPNT.EXE")}));
}

void tst_Host::marksWhatIsSetUpForAModel_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QStringList>("selected");
    QTest::newRow("games") << QStringLiteral("KV-27") << QStringList{QStringLiteral("Overwatch")};
    QTest::newRow("tools") << QStringLiteral("KV-32") << QStringList{QStringLiteral("Slides")};
    QTest::newRow("other case") << QStringLiteral("kv-27") << QStringList();
}

void tst_Host::marksWhatIsSetUpForAModel()
{
    QFETCH(const QString, model);
    QFETCH(const QStringList, selected);
    const QJsonObject lists = gamesAndTools(
        {QStringLiteral("--model"), model, QStringLiteral("--settings"), path(QStringLiteral("settings.json"))});
    QStringList marked;
    for (const char *const list : {"gameApps", "toolApps"}) {
        for (const QJsonValue element : lists.value(QLatin1String(list)).toArray()) {
            const QJsonObject app = element.toObject();
            if (app.value(QLatin1String("hasSelected")).toBool())
                marked.append(app.value(QLatin1String("displayName")).toString());
        }
    }
    QCOMPARE(marked, selected);
}

void tst_Host::builtInSettingsNeedNoFile()
{
    const QJsonObject lists = gamesAndTools({QStringLiteral("--model"), QStringLiteral("KV-27")});
    QCOMPARE(names(lists.value(QLatin1String("gameApps"))).size(), 3);
}

void tst_Host::summaryNamesGamesAndTools()
{
    const Result result = run({QStringLiteral("--json"), QStringLiteral("--summary"), QStringLiteral("--machine"),
                               path(QStringLiteral("games")), QStringLiteral("--model"), QStringLiteral("KV-27"),
                               QStringLiteral("--settings"), path(QStringLiteral("settings.json"))});
    QCOMPARE(result.exitCode, 0);
    const QList<QByteArray> lines = result.errors.split('\n');
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(0).contains("gameApps 3, toolApps 1"));
    QCOMPARE(lines.at(1), QByteArray("games: Overwatch (Battle.net, selected), Fortnite (Epic), Siege (Ubisoft)"));
    QCOMPARE(lines.at(2), QByteArray("tools: Slides (POWERPNT.EXE)"));
}

void tst_Host::tellsTheSummary()
{
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--summary")});
    QCOMPARE(result.exitCode, 0);
    static const QRegularExpression line(
        QStringLiteral("\\AallApps 3, meetingApps 1, shortcuts 0, gameApps \\d+, toolApps \\d+, scan \\d+ ms\n"
                       "tools: Slides [(]POWERPNT.EXE[)]\n\\z"));
    QVERIFY2(line.match(QString::fromLatin1(result.errors)).hasMatch(), result.errors.constData());
}

void tst_Host::launchesAProgram_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("lastError");
    const QString slides = QStringLiteral("Slides");
    const QString detached = QStringLiteral("detached \"C:\\Office\\POWERPNT.EXE\"");
    QTest::newRow("program") << slides << 0 << 0 << detached << QString();
    QTest::newRow("address") << QStringLiteral("Meet") << 0 << 0 << QStringLiteral("url ") << QString();
    QTest::newRow("refused") << slides << 5 << 1 << detached
                             << QStringLiteral("The program \"Slides\" can't be started.");
    QTest::newRow("other letter case") << QStringLiteral("slides") << 0 << 1 << QString()
                                       << QStringLiteral("There is no program \"slides\".");
}

void tst_Host::launchesAProgram()
{
    QFETCH(const QString, name);
    QFETCH(const int, error);
    QFETCH(const int, exitCode);
    QFETCH(const QString, call);
    QFETCH(const QString, lastError);
    const QString journal = path(QStringLiteral("desk/starts.jsonl"));
    QFile::remove(journal);
    write(QStringLiteral("desk/C/Office/POWERPNT.EXE.start.json"), "{ \"error\": " + QByteArray::number(error) + " }");
    const Result result = runOnMachine({QStringLiteral("--launch"), name});
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(QString::fromUtf8(result.errors.trimmed().split('\n').last()), lastError);
    QFile file(journal);
    QCOMPARE(file.open(QIODevice::ReadOnly), !call.isEmpty());
    if (call.isEmpty())
        return;
    const QByteArray text = file.readAll();
    QCOMPARE(text.count('\n'), 1);
    const QJsonObject start = QJsonDocument::fromJson(text).object();
    QCOMPARE(start.value(QLatin1String("call")).toString() + QLatin1Char(' ') +
                 start.value(QLatin1String("command")).toString(),
             call);
}

std::unique_ptr<QProcess> tst_Host::serve(const QString &program, const QProcessEnvironment &more) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.path());
    environment.insert(more);
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->start(program, {QStringLiteral("--machine"), path(QStringLiteral("desk")), QStringLiteral("--serve")});
    return process;
}

QJsonObject tst_Host::nextLine(QProcess &process)
{
    for (int i = 0; i < 30 && !process.canReadLine(); ++i)
        process.waitForReadyRead(1000);
    return QJsonDocument::fromJson(process.readLine()).object();
}

void tst_Host::servesCommands()
{
    const auto host = serve(QStringLiteral(KV_HOST));
    const auto names = [](const QJsonObject &line, const char *list) {
        return line.value(QLatin1String(list)).toVariant().toStringList();
    };
    QJsonObject line = nextLine(*host);
    QCOMPARE(line.value(QLatin1String("event")).toString(), QStringLiteral("shortcuts"));
    line = nextLine(*host);
    QCOMPARE(line.value(QLatin1String("event")).toString(), QStringLiteral("scan"));
    QCOMPARE(names(line, "apps"),
             QStringList({QStringLiteral("Meet"), QStringLiteral("Notes"), QStringLiteral("Slides")}));
    host->write("pin Slides\npin Nobody\npin Notes\nunpin Slides\nunpin Slides\nlists\nnonsense x\nquit\n");
    QCOMPARE(names(nextLine(*host), "shortcuts"), QStringList{QStringLiteral("Slides")});
    line = nextLine(*host);
    QCOMPARE(line.value(QLatin1String("command")).toString(), QStringLiteral("pin Slides"));
    QCOMPARE(line.value(QLatin1String("done")), QJsonValue(true));
    QCOMPARE(nextLine(*host).value(QLatin1String("done")), QJsonValue(false));
    QCOMPARE(names(nextLine(*host), "shortcuts"), QStringList({QStringLiteral("Slides"), QStringLiteral("Notes")}));
    QCOMPARE(nextLine(*host).value(QLatin1String("done")), QJsonValue(true));
    QCOMPARE(names(nextLine(*host), "shortcuts"), QStringList{QStringLiteral("Notes")});
    QCOMPARE(nextLine(*host).value(QLatin1String("done")), QJsonValue(true));
    QCOMPARE(nextLine(*host).value(QLatin1String("done")), QJsonValue(false));
    const QJsonObject lists = nextLine(*host).value(QLatin1String("lists")).toObject();
    QCOMPARE(::names(lists.value(QLatin1String("shortcuts"))), QStringList{QStringLiteral("Notes")});
    QVERIFY(nextLine(*host).contains(QLatin1String("error")));
    QVERIFY(host->waitForFinished());
    QCOMPARE(host->exitCode(), 0);
    QCOMPARE(host->readAllStandardError(), QByteArray());

    const Result result = runOnMachine({QStringLiteral("--json")});
    const QJsonObject again = QJsonDocument::fromJson(result.output).object();
    QCOMPARE(::names(again.value(QLatin1String("shortcuts"))), QStringList{QStringLiteral("Notes")});
    QVERIFY(QFile::remove(path(QStringLiteral("desk/registry/zz-written.reg"))));
}

void tst_Host::servesUntilTheInputEnds()
{
    const auto host = serve(QStringLiteral(KV_HOST));
    host->closeWriteChannel();
    QVERIFY(host->waitForFinished());
    QCOMPARE(host->exitCode(), 0);
    QCOMPARE(run({QStringLiteral("--serve"), QStringLiteral("--json")}).exitCode, 2);
}

void tst_Host::followsWhatOthersWrite()
{
    const auto host = serve(QStringLiteral(KV_HOST));
    const auto shortcuts = [&host] {
        QJsonObject line;
        while (line.value(QLatin1String("event")) != QLatin1String("shortcuts") &&
               host->state() != QProcess::NotRunning)
            line = nextLine(*host);
        return line.value(QLatin1String("shortcuts")).toVariant().toStringList();
    };
    QCOMPARE(shortcuts(), QStringList());
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(path(QStringLiteral("desk/registry/zz-written.reg"))), 10000);
    nextLine(*host);
    write(QStringLiteral("desk/registry/zzz.reg"),
          "REGEDIT4\n[" SLOTS "]\n\"shortcut002\"=\"C:\\\\Office\\\\POWERPNT.EXE\"\n"
          "\"shortcut003\"=\"garbage\"\n\"shortcut004\"=\"Contoso.Notes!App\"\n");
    QCOMPARE(shortcuts(), QStringList({QStringLiteral("Slides"), QStringLiteral("Notes")}));
    QVERIFY(QFile::remove(path(QStringLiteral("desk/registry/zzz.reg"))));
    QCOMPARE(shortcuts(), QStringList());
    host->write("quit\n");
    QVERIFY(host->waitForFinished());
    QVERIFY(QFile::remove(path(QStringLiteral("desk/registry/zz-written.reg"))));
}

void tst_Host::rescansAfterAnInstallation()
{
    QProcessEnvironment fast;
    fast.insert(QStringLiteral("KVHOST_CLOCK_SPEED"), QStringLiteral("30"));
    const auto host = serve(QStringLiteral(KV_TEST_HOST), fast);
    const auto apps = [&host] {
        QJsonObject line;
        while (line.value(QLatin1String("event")) != QLatin1String("scan") && host->state() != QProcess::NotRunning)
            line = nextLine(*host);
        return line.value(QLatin1String("apps")).toArray().size();
    };
    QCOMPARE(apps(), 3);
    write(QStringLiteral("desk/registry/installed.reg"),
          "REGEDIT4\n[HKEY_LOCAL_MACHINE\\" UNINSTALL "\\New]\n\"DisplayName\"=\"New\"\n");
    QCOMPARE(apps(), 3);
    host->write("quit\n");
    QVERIFY(host->waitForFinished());
    QVERIFY(QFile::remove(path(QStringLiteral("desk/registry/installed.reg"))));
    QFile::remove(path(QStringLiteral("desk/registry/zz-written.reg")));
}

QTEST_GUILESS_MAIN(tst_Host)
#include "tst_host.moc"
