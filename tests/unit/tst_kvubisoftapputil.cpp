#include "../support/LauncherMachine.h"
#include "KvUbisoftAppUtil.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

const QString Launcher = u"C:/Ubisoft/UbisoftConnect.exe"_s;
const QString Configuration = u"C:/Ubisoft/cache/configuration/configurations"_s;
const QString Separator = u"[KvUbisoftAppUtil] ============================================="_s;
const QString ErrorLine = u"[KvUbisoftAppUtil] load file error  \"C:/Ubisoft/cache/configuration/configurations\""_s;

QByteArray lines(const QByteArrayList &texts)
{
    return texts.join("\r\n") + "\r\n";
}

} // namespace

class tst_KvUbisoftAppUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine = std::make_unique<LauncherMachine>(); }
    void cleanup() { m_machine.reset(); }

    void centerApp_data();
    void centerApp();
    void executablesInTheConfiguration_data();
    void executablesInTheConfiguration();
    void longFileWithoutLineEnds();
    void missingConfigurationIsToldForEachGame();
    void configurationThatIsAFolder();
    void launcherItselfIsLeftOut();
    void pathsAreJoinedWithNothingBetween();
    void gameOutsideOfTheConfigurationHasNoExecutables();
    void flagComesFromTheKnownGame_data();
    void flagComesFromTheKnownGame();
    void iconIsTheFileOrTheExecutable_data();
    void iconIsTheFileOrTheExecutable();
    void settingsHoldWhatTheyShould();
    void linesAreLoggedInOrder();
    void changedConfigurationIsReadAgain();
    void manyGamesReadTheFileOnce();

private:
    void addGame(const QString &key, const QString &name, const QString &location = u"C:\\Games\\"_s,
                 const QString &icon = u"C:\\Games\\icon.ico"_s)
    {
        m_machine->addEntry(key, u"Ubisoft"_s, name, location, icon);
    }
    void scan()
    {
        KvUbisoftAppUtil scanner;
        m_machine->scan(scanner, Launcher);
    }

    std::unique_ptr<LauncherMachine> m_machine;
};

void tst_KvUbisoftAppUtil::centerApp_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isCenter");
    QTest::newRow("itself") << u"ubisoftconnect.exe"_s << true;
    QTest::newRow("capitals") << u"UbisoftConnect.exe"_s << false;
    QTest::newRow("path") << u"c:/ubisoftconnect.exe"_s << false;
    QTest::newRow("longer") << u"ubisoftconnect.exe "_s << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_KvUbisoftAppUtil::centerApp()
{
    QFETCH(const QString, name);
    QFETCH(const bool, isCenter);
    QCOMPARE(KvUbisoftAppUtil::isUbisoftCenterApp(name), isCenter);
}

void tst_KvUbisoftAppUtil::executablesInTheConfiguration_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("paths");
    const QByteArray name = "    shortcut_name: Game One";
    const QByteArray path = "      relative: bin/one.exe";
    const QStringList one{u"bin/one.exe"_s};
    const auto row = [](const char *title, const QByteArray &content, const QStringList &paths,
                        const QString &game = u"Game One"_s) { QTest::newRow(title) << content << game << paths; };
    row("name, then path", lines({"root:", name, "  executables:", path}), one);
    row("path before the name", lines({path, name}), {});
    row("name alone", lines({name, "end"}), {});
    row("words inside others", lines({"xshortcut_namexGame Onex", "xrelativex y"}), {u"y"_s});
    row("name and word on different lines", lines({"shortcut_name", "Game One", path}), {});
    row("name in other case", lines({"shortcut_name: game one", path}), {});
    row("words in other case", lines({"Shortcut_name: Game One", path, name, "Relative: a.exe"}), {});
    row("part of another name", lines({"shortcut_name: Game One and Two", "relative: other.exe"}), {u"other.exe"_s});
    row("both on one line", lines({"shortcut_name: Game One relative: both.exe"}), {u"both.exe"_s});
    row("second path needs a second name", lines({name, path, "relative: two.exe", name, "relative: three.exe"}),
        {u"bin/one.exe"_s, u"three.exe"_s});
    row("names before one path", lines({name, name, path, "relative: two.exe"}), one);
    row("another game's name in between", lines({name, "shortcut_name: Other", path}), one);
    row("the same path again", lines({name, path, name, path, name, "relative: bin/ONE.exe"}),
        {u"bin/one.exe"_s, u"bin/ONE.exe"_s});
    row("word behind the last blank", lines({name, "relative: C:/Program Files/one.exe"}), {u"Files/one.exe"_s});
    row("blank at the end", lines({name, "relative: one.exe "}), {QString()});
    row("no blank", lines({name, "relative:one.exe"}), {u"relative:one.exe"_s});
    row("blank line ends the reading", lines({name, "", path}), {});
    row("line without a printable byte", lines({name, "\t\xc3\xa9", path}), {});
    row("blank line at the start", "\r\n" + lines({name, path}), {});
    row("blanks are printable", lines({name, "  ", path}), one);
    row("line feeds", "root:\nshortcut_name: Game One\nrelative: bin/one.exe\nlast: word", {u"word"_s});
    row("no line end at the end", name + "\r\n" + path, one);
    row("bytes that drop out",
        lines({"\x0a\x12 shortcut_name: Game\x01 One", QByteArray("rela\0tive: b\xc3\xa9in/one.exe", 24)}), one);
    row("name that is cut", lines({"shortcut_name: Caf\xc3\xa9", path}), {}, u"Café"_s);
    row("name as it is left", lines({"shortcut_name: Caf\xc3\xa9", path}), one, u"Caf"_s);
    row("carriage returns alone", "shortcut_name: Game One\rX\r\nrelative: one.exe\r\n", {u"one.exe"_s});
    row("empty name", lines({"shortcut_name: Other", "relative: other.exe", name, path}),
        {u"other.exe"_s, u"bin/one.exe"_s}, QString());
    row("empty name without names", lines({"relative: other.exe"}), {}, QString());
    row("name with a line feed", lines({"shortcut_name: Game", "shortcut_name: One", path}), {},
        u"Game\nshortcut_name: One"_s);
    row("empty file", {}, {});
}

void tst_KvUbisoftAppUtil::executablesInTheConfiguration()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QString, name);
    QFETCH(const QStringList, paths);
    m_machine->files.addFile(Configuration, content);
    const std::unique_ptr<ScopedMachine> scope = m_machine->enter();
    const LogCatcher log;
    QCOMPARE(KvUbisoftAppUtil().getExecutablePathByConfig(u"C:/Ubisoft"_s, name), paths);
    QCOMPARE(log.lines().size(), 0);
}

void tst_KvUbisoftAppUtil::longFileWithoutLineEnds()
{
    QByteArray content = "shortcut_name: Game One relative:";
    content += QByteArray(10 * 1024 * 1024, 'x');
    m_machine->files.addFile(Configuration, content + " last.exe");
    const std::unique_ptr<ScopedMachine> scope = m_machine->enter();
    QCOMPARE(KvUbisoftAppUtil().getExecutablePathByConfig(u"C:/Ubisoft"_s, u"Game One"_s), QStringList{u"last.exe"_s});
}

void tst_KvUbisoftAppUtil::missingConfigurationIsToldForEachGame()
{
    addGame(u"A"_s, u"One"_s);
    addGame(u"B"_s, u"Two"_s);
    scan();
    QCOMPARE(m_machine->warnings, (QStringList{ErrorLine, ErrorLine}));
    QCOMPARE(m_machine->executables(), (QStringList{QString(), QString()}));
    QCOMPARE(m_machine->debugs.filter(u"[KvUbisoftAppUtil] executable:  \"C:/Games/icon.ico\""_s).size(), 2);
}

void tst_KvUbisoftAppUtil::configurationThatIsAFolder()
{
    m_machine->files.addFolder(Configuration);
    addGame(u"A"_s, u"One"_s);
    scan();
    QCOMPARE(m_machine->warnings, QStringList{ErrorLine});
}

void tst_KvUbisoftAppUtil::launcherItselfIsLeftOut()
{
    m_machine->files.addFile(Configuration, "x");
    addGame(u"A"_s, u"Launcher"_s, u"C:\\U"_s, u"C:\\U\\UbisoftConnect.exe,0"_s);
    addGame(u"B"_s, u"Other case"_s, u"C:\\U"_s, u"C:\\U\\ubisoftconnect.exe"_s);
    m_machine->addEntry(u"C"_s, u"Ubisoft Entertainment"_s, u"Longer"_s, u"C:\\U"_s, u"C:\\U\\u.exe"_s);
    m_machine->addEntry(u"D"_s, u"UBISOFT"_s, u"Capitals"_s, u"C:\\U"_s, u"C:\\U\\u.exe"_s);
    scan();
    QCOMPARE(m_machine->names(), (QStringList{u"Other case"_s, u"Longer"_s}));
}

void tst_KvUbisoftAppUtil::pathsAreJoinedWithNothingBetween()
{
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: bin\\one.exe", "shortcut_name: One",
                                                   "relative: two.exe"}));
    addGame(u"A"_s, u"One"_s, u"C:/Games/One/"_s);
    addGame(u"B"_s, u"One"_s, u"C:\\Games\\One"_s);
    scan();
    QCOMPARE(m_machine->executables(), (QStringList{u"C:/Games/One/bin/one.exe|C:/Games/One/two.exe"_s,
                                                    u"C:/Games/Onebin/one.exe|C:/Games/Onetwo.exe"_s}));
}

void tst_KvUbisoftAppUtil::gameOutsideOfTheConfigurationHasNoExecutables()
{
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: one.exe"}));
    addGame(u"A"_s, u"Two"_s);
    scan();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.executableList(), QStringList());
    // The record keeps its icon path as the executable.
    QCOMPARE(game.icon(), u"image://app/C:/Games/icon.ico"_s);
    QCOMPARE(m_machine->warnings, QStringList());
}

void tst_KvUbisoftAppUtil::flagComesFromTheKnownGame_data()
{
    QTest::addColumn<KvGameAppInfo::AppPlatform>("platform");
    QTest::addColumn<bool>("flag");
    QTest::newRow("Ubisoft's") << KvGameAppInfo::Ubisoft << true;
    QTest::newRow("Steam's") << KvGameAppInfo::Steam << false;
}

void tst_KvUbisoftAppUtil::flagComesFromTheKnownGame()
{
    QFETCH(const KvGameAppInfo::AppPlatform, platform);
    QFETCH(const bool, flag);
    const QString name = u"Tom Clancy's Rainbow Six Siege"_s;
    m_machine->files.addFile(Configuration, "x");
    m_machine->addKnown(platform, name, u"never.exe"_s, true);
    m_machine->addKnown(KvGameAppInfo::Ubisoft, name, u"never.exe"_s, false);
    addGame(u"A"_s, name);
    scan();
    QCOMPARE(m_machine->found.front()->ignoreExeFullPath(), flag);
    QCOMPARE(m_machine->found.front()->executableList(), QStringList());
}

void tst_KvUbisoftAppUtil::iconIsTheFileOrTheExecutable_data()
{
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("expected");
    QTest::newRow("file") << u"C:\\Games\\icon.ico"_s << u"image://app/C:/Games/icon.ico"_s;
    QTest::newRow("with an index") << u"C:\\Games\\icon.ico,0"_s << u"image://app/C:/Games/One/one.exe"_s;
    QTest::newRow("missing file") << u"C:\\Games\\gone.ico"_s << u"image://app/C:/Games/One/one.exe"_s;
    QTest::newRow("none") << QString() << u"image://app/C:/Games/One/one.exe"_s;
}

void tst_KvUbisoftAppUtil::iconIsTheFileOrTheExecutable()
{
    QFETCH(const QString, icon);
    QFETCH(const QString, expected);
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: one.exe"}));
    m_machine->files.addFile(u"C:/Games/icon.ico"_s, "icon");
    addGame(u"A"_s, u"One"_s, u"C:\\Games\\One\\"_s, icon);
    scan();
    QCOMPARE(m_machine->found.front()->icon(), expected);
}

void tst_KvUbisoftAppUtil::settingsHoldWhatTheyShould()
{
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: one.exe"}));
    addGame(u"A"_s, u"One"_s, u"C:\\Games\\One\\"_s);
    scan();
    const KvAppSetting &game = *m_machine->found.front();
    QCOMPARE(game.displayName(), u"One"_s);
    QCOMPARE(game.executableList(), QStringList{u"C:/Games/One/one.exe"_s});
    QCOMPARE(game.fileName(), QString());
    QCOMPARE(game.platform(), KvAppSetting::None);
    QVERIFY(!game.ignoreExeFullPath());
    QVERIFY(!game.parent());
}

void tst_KvUbisoftAppUtil::linesAreLoggedInOrder()
{
    m_machine->files.addFile(
        Configuration, lines({"shortcut_name: One", "relative: one.exe", "shortcut_name: One", "relative: two.exe"}));
    addGame(u"A"_s, u"One"_s, u"C:\\Games\\One\\"_s);
    scan();
    QCOMPARE(m_machine->debugs,
             (QStringList{u"[KvUbisoftAppUtil] getInstalledUbisoftApps:  \"C:/Ubisoft/UbisoftConnect.exe\""_s,
                          Separator, u"[KvUbisoftAppUtil] displayName  \"One\""_s,
                          u"[KvUbisoftAppUtil] installLocation  \"C:/Games/One/\""_s,
                          u"[KvUbisoftAppUtil] displayIcon  \"C:/Games/icon.ico\""_s,
                          u"[KvUbisoftAppUtil] executable:  \"C:/Games/One/one.exe\""_s,
                          u"[KvUbisoftAppUtil] executable:  \"C:/Games/One/two.exe\""_s,
                          u"[KvUbisoftAppUtil] ignoreExeFullPath  false"_s, Separator}));
    QCOMPARE(m_machine->infos + m_machine->warnings, QStringList());
}

void tst_KvUbisoftAppUtil::changedConfigurationIsReadAgain()
{
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: one.exe"}));
    addGame(u"A"_s, u"One"_s);
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/Games/one.exe"_s});
    m_machine->files.addFile(Configuration, lines({"shortcut_name: One", "relative: two.exe"}));
    scan();
    QCOMPARE(m_machine->executables(), QStringList{u"C:/Games/two.exe"_s});
}

/** 200 games over a large configuration take not much more than one. */
void tst_KvUbisoftAppUtil::manyGamesReadTheFileOnce()
{
    QByteArray content;
    for (int i = 0; content.size() < 2 * 1024 * 1024; ++i) {
        const QByteArray number = QByteArray::number(i);
        content += lines({"  shortcut_name: Game " + number + ";", "  relative: bin/" + number + ".exe"}) +
                   QByteArray(1000, 'x') + "\r\n";
    }
    m_machine->files.addFile(Configuration, content);
    addGame(u"A0"_s, u"Game 0;"_s);
    QElapsedTimer timer;
    timer.start();
    scan();
    const qint64 one = timer.nsecsElapsed();
    for (int i = 1; i < 200; ++i)
        addGame(u"A%1"_s.arg(i), u"Game %1;"_s.arg(i));
    timer.start();
    scan();
    const qint64 many = timer.nsecsElapsed();
    QCOMPARE(m_machine->found.size(), std::size_t(200));
    for (const auto &game : m_machine->found) {
        const QString number = game->displayName().mid(5).chopped(1);
        QCOMPARE(game->executableList(), QStringList{u"C:/Games/bin/%1.exe"_s.arg(number)});
    }
    QVERIFY2(many < 50 * one, qPrintable(u"%1 ns for one, %2 ns for 200"_s.arg(one).arg(many)));
}

QTEST_GUILESS_MAIN(tst_KvUbisoftAppUtil)
#include "tst_kvubisoftapputil.moc"
