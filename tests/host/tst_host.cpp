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
    void printsAndSavesInOneRun();
    void showsWhatItWasToldTo();
    void tellsTheSummary();

private:
    struct Result
    {
        int exitCode = -1;
        QByteArray output;
        QByteArray errors;
    };

    QString path(const QString &name) const { return m_folder.filePath(name); }
    void write(const QString &name, const QByteArray &bytes) const;
    Result run(const QStringList &arguments, const QString &machineVariable = {}) const;
    Result runOnMachine(const QStringList &arguments) const;
    QImage screenshot(const QStringList &arguments) const;

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
};

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
                { "displayName": "Notes", "description": "Short notes", "appUserModelId": "Contoso.Notes!App" }
            ]
        } ],
        "metadata": "C:/rules.json"
    })");
    write(QStringLiteral("desk/C/Office/POWERPNT.EXE"), "MZ");
    write(QStringLiteral("desk/C/rules.json"), R"([
        { "target": "https://example.org/a b?c=%25", "displayName": "Meet", "tags": [ "meeting" ] },
        { "target": "slides", "desktopTarget": "C:/Office/POWERPNT.EXE", "displayName": "Slides" }
    ])");
    write(QStringLiteral("rules.json"), R"([ { "target": "https://example.org/", "displayName": "Other" } ])");
    write(QStringLiteral("empty/readme.txt"), "no facts here");
    write(QStringLiteral("broken/machine.json"), "{ \"elevated\": ");
    write(QStringLiteral("list/machine.json"), "[]");
    write(QStringLiteral("nothing/machine.json"), "");
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("folder/machine.json")));
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

void tst_Host::printsAndSavesInOneRun()
{
    const QString file = path(QStringLiteral("both.png"));
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--screenshot"), file});
    QCOMPARE(result.exitCode, 0);
    // The programs of this machine have no icons.
    static const QRegularExpression lines(
        QStringLiteral("\\A(\\[FAIL\\] can't get program icon for \"[^\"]+\"\\n)*\\z"));
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

void tst_Host::tellsTheSummary()
{
    const Result result = runOnMachine({QStringLiteral("--json"), QStringLiteral("--summary")});
    QCOMPARE(result.exitCode, 0);
    static const QRegularExpression line(
        QStringLiteral("\\AallApps 3, meetingApps 1, shortcuts 0, gameApps \\d+, toolApps \\d+, scan \\d+ ms\n\\z"));
    QVERIFY2(line.match(QString::fromLatin1(result.errors)).hasMatch(), result.errors.constData());
}

QTEST_GUILESS_MAIN(tst_Host)
#include "tst_host.moc"
