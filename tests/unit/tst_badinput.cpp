#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "../support/PeBuilder.h"
#include "../support/ScanRunner.h"
#include "../support/ShellLinkBuilder.h"
#include "../support/VersionBuilder.h"
#include "KvSecurity.h"
#include "platform/Files.h"

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

QByteArray randomBytes(QRandomGenerator &random, qsizetype size)
{
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random.bounded(256));
    return bytes;
}

/** `bytes` with some of them changed. */
QByteArray damaged(QByteArray bytes, QRandomGenerator &random)
{
    for (int changes = 1 + random.bounded(4); changes > 0; --changes)
        bytes[random.bounded(static_cast<int>(bytes.size()))] = static_cast<char>(random.bounded(256));
    return bytes;
}

/** A link that has something of everything. */
QByteArray fullLink(const QString &target)
{
    ShellLinkBuilder link;
    link.idItems = ShellLinkBuilder::idList(target);
    link.localPath = target;
    link.environmentPath = target;
    link.description = u"description"_s;
    link.relativePath = u"good.exe"_s;
    link.workingDirectory = u"C:\\Apps"_s;
    link.arguments = u"--x"_s;
    link.iconLocation = target;
    return link.build();
}

QByteArray program()
{
    VersionBuilder version;
    version.tables = {{0x0409, 0x04B0, {{u"ProductName"_s, u"Product"_s}, {u"ProductVersion"_s, u"1.2"_s}}}};
    PeBuilder file;
    file.addVersion(version.build());
    return file.build();
}

#ifdef Q_OS_UNIX
/** A chain of folders called "d" that is deeper than any path can say. Made and removed one level at a time. */
class DeepFolder
{
public:
    DeepFolder(const QString &parent, int levels)
        : m_deepest(::open(QFile::encodeName(parent).constData(), O_RDONLY | O_DIRECTORY))
    {
        while (m_deepest >= 0 && m_levels < levels && ::mkdirat(m_deepest, "d", 0700) == 0) {
            move("d");
            ++m_levels;
        }
    }

    ~DeepFolder()
    {
        for (; m_levels > 0; --m_levels) {
            move("..");
            ::unlinkat(m_deepest, "d", AT_REMOVEDIR);
        }
        ::close(m_deepest);
    }

    DeepFolder(const DeepFolder &) = delete;
    DeepFolder &operator=(const DeepFolder &) = delete;

    int levels() const { return m_levels; }

private:
    void move(const char *name)
    {
        const int next = ::openat(m_deepest, name, O_RDONLY | O_DIRECTORY);
        ::close(m_deepest);
        m_deepest = next;
    }

    int m_deepest;
    int m_levels = 0;
};
#endif

} // namespace

/** Whatever lies on the disk, a scan comes to its end and lists the good ones. */
class tst_BadInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void truncatedLinks();
    void damagedLinks();
    void linksOfAllSizes();
    void truncatedPrograms();
    void damagedPrograms();
    void linksToEachOther();
    void thingsThatAreCalledLikeLinks();
    void deepStartMenu();
    void symbolicLinkLoops();
    void brokenRegistryText();
    void unpairedSurrogates();
    void wrongFacts_data();
    void wrongFacts();
    void factsThatAreNoFacts_data();
    void factsThatAreNoFacts();

private:
    bool scan();
    bool onlyProgramsAreListed() const;

    std::unique_ptr<MachineBuilder> m_machine;
    std::unique_ptr<LogCatcher> m_log;
    QStringList m_names;
    QStringList m_targets;
    QStringList m_workingDirs;
};

/** A machine with one good program. */
void tst_BadInput::init()
{
    m_log = std::make_unique<LogCatcher>();
    m_machine = std::make_unique<MachineBuilder>();
    m_machine->addConsoleUser();
    m_machine->setFolder(u"CommonPrograms"_s, u"C:/Menu"_s);
    m_machine->addFile(u"C:/Apps/good.exe"_s, program());
    m_machine->addLinkTo(u"C:/Menu/Good.lnk"_s, u"C:/Apps/good.exe"_s);
}

void tst_BadInput::cleanup()
{
    m_machine.reset();
    m_log.reset();
}

bool tst_BadInput::scan()
{
    const ScopedMachine current(*m_machine);
    KvSecurity::forget();
    ScanRunner runner;
    const bool done = runner.scan();
    m_names = runner.names();
    m_targets = runner.targets();
    m_workingDirs.clear();
    const QList<ProgramInfo *> apps = runner.context().allApps();
    for (const ProgramInfo *const app : apps)
        m_workingDirs.append(app->workingDir());
    return done;
}

/** Whether all that is listed is a program of the machine. */
bool tst_BadInput::onlyProgramsAreListed() const
{
    const ScopedMachine current(*m_machine);
    const std::shared_ptr<KvPlatform::Files> files = KvPlatform::Platform::current()->files;
    return std::all_of(m_targets.cbegin(), m_targets.cend(),
                       [&files](const QString &target) { return files->isExecutable(target); });
}

void tst_BadInput::truncatedLinks()
{
    const QByteArray link = fullLink(u"C:\\Apps\\good.exe"_s);
    for (qsizetype size = 0; size < link.size(); size += size < 600 ? 1 : 5)
        m_machine->addFile(u"C:/Menu/%1.lnk"_s.arg(size), link.first(size));
    QVERIFY(scan());
    // Those that lack something behind the target may count as the program; there is no other.
    QCOMPARE(m_targets, QStringList{u"C:/Apps/good.exe"_s});
}

void tst_BadInput::damagedLinks()
{
    QRandomGenerator random(30);
    const QByteArray link = fullLink(u"C:\\Apps\\good.exe"_s);
    for (int i = 0; i < 500; ++i)
        m_machine->addFile(u"C:/Menu/%1.lnk"_s.arg(i), damaged(link, random));
    QVERIFY(scan());
    QVERIFY(m_targets.contains(u"C:/Apps/good.exe"_s));
    QVERIFY(onlyProgramsAreListed());
}

void tst_BadInput::linksOfAllSizes()
{
    QRandomGenerator random(31);
    const QByteArray head = fullLink(u"C:\\Apps\\good.exe"_s).first(0x4C);
    for (int i = 0; i < 200; ++i)
        m_machine->addFile(u"C:/Menu/r%1.lnk"_s.arg(i), head + randomBytes(random, random.bounded(2'000)));
    m_machine->addFile(u"C:/Menu/empty.lnk"_s);
    m_machine->addFile(u"C:/Menu/random.lnk"_s, randomBytes(random, 100'000));
    m_machine->addFile(u"C:/Menu/large.lnk"_s, head + QByteArray(20'000'000, '\xFF'));
    QVERIFY(scan());
    QVERIFY(m_names.contains(u"Good"_s));
    QVERIFY(onlyProgramsAreListed());
}

void tst_BadInput::truncatedPrograms()
{
    const QByteArray good = program();
    QStringList names{u"Good"_s};
    for (qsizetype size = 0; size < good.size(); size += 7) {
        const QString name = u"p%1"_s.arg(size, 4, 10, QLatin1Char('0'));
        m_machine->addFile(u"C:/Apps/%1.exe"_s.arg(name), good.first(size));
        m_machine->addLinkTo(u"C:/Menu/%1.lnk"_s.arg(name), u"C:/Apps/%1.exe"_s.arg(name));
        names.append(name);
    }
    QVERIFY(scan());
    // A program needs no version to be listed.
    m_names.sort();
    QCOMPARE(m_names, names);
}

void tst_BadInput::damagedPrograms()
{
    QRandomGenerator random(32);
    const QByteArray good = program();
    QStringList names{u"Good"_s};
    for (int i = 0; i < 250; ++i) {
        const QString name = u"p%1"_s.arg(i, 4, 10, QLatin1Char('0'));
        m_machine->addFile(u"C:/Apps/%1.exe"_s.arg(name),
                           i % 50 == 0 ? randomBytes(random, 3'000) : damaged(good, random));
        m_machine->addLinkTo(u"C:/Menu/%1.lnk"_s.arg(name), u"C:/Apps/%1.exe"_s.arg(name));
        names.append(name);
    }
    QVERIFY(scan());
    m_names.sort();
    QCOMPARE(m_names, names);
}

void tst_BadInput::linksToEachOther()
{
    m_machine->addLinkTo(u"C:/Menu/a.lnk"_s, u"C:/Menu/b.lnk"_s);
    m_machine->addLinkTo(u"C:/Menu/b.lnk"_s, u"C:/Menu/a.lnk"_s);
    m_machine->addLinkTo(u"C:/Menu/self.lnk"_s, u"C:/Menu/self.lnk"_s);
    m_machine->addLinkTo(u"C:/Menu/folder.lnk"_s, u"C:/Menu"_s);
    m_machine->addLinkTo(u"C:/Menu/gone.lnk"_s, u"C:/Menu/gone.exe"_s);
    m_machine->addLinkTo(u"C:/Menu/drive.lnk"_s, u"Q:/x.exe"_s);
    QVERIFY(scan());
    QCOMPARE(m_names, QStringList{u"Good"_s});
}

void tst_BadInput::thingsThatAreCalledLikeLinks()
{
    const QByteArray link = fullLink(u"C:\\Apps\\other.exe"_s);
    m_machine->addFile(u"C:/Apps/other.exe"_s);
    m_machine->addFile(u"C:/Menu/other.url"_s, link);
    m_machine->addFile(u"C:/Menu/other.lnk.txt"_s, link);
    m_machine->addFile(u"C:/Menu/lnk"_s, link);
    m_machine->addFolder(u"C:/Menu/folder.lnk"_s);
    QVERIFY(scan());
    QCOMPARE(m_names, QStringList{u"Good"_s});
    m_machine->addFile(u"C:/Menu/folder.lnk/Capitals.LNK"_s, link);
    QVERIFY(scan());
    QCOMPARE(m_names, (QStringList{u"Capitals"_s, u"Good"_s}));
}

void tst_BadInput::deepStartMenu()
{
#ifdef Q_OS_UNIX
    const DeepFolder deep(m_machine->hostPath(u"C:/Menu"_s), 10'000);
    QCOMPARE(deep.levels(), 10'000);
    m_machine->addFile(u"C:/Apps/deep.exe"_s);
    const QString link = u"C:/Menu"_s + QString(u"/d"_s).repeated(100) + u"/Deep.lnk"_s;
    m_machine->addLinkTo(link, u"C:/Apps/deep.exe"_s);
    const bool done = scan();
    const QStringList names = m_names;
    QFile::remove(m_machine->hostPath(link));
    QVERIFY(done);
    QCOMPARE(names, (QStringList{u"Deep"_s, u"Good"_s}));
#else
    QSKIP("needs a file system without a limit for paths");
#endif
}

void tst_BadInput::symbolicLinkLoops()
{
#ifdef Q_OS_UNIX
    const auto link = [this](const QString &target, const QString &name) {
        return QFile::link(target, m_machine->hostPath(name));
    };
    const QString menu = m_machine->hostPath(u"C:/Menu"_s);
    m_machine->addFolder(u"C:/Menu/sub"_s);
    m_machine->addFile(u"C:/Apps/outside.exe"_s);
    m_machine->addLinkTo(u"C:/Elsewhere/Outside.lnk"_s, u"C:/Apps/outside.exe"_s);
    bool made = link(menu, u"C:/Menu/sub/loop"_s);
    made = link(u"."_s, u"C:/Menu/here"_s) && made;
    made = link(u"self.lnk"_s, u"C:/Menu/self.lnk"_s) && made;
    made = link(u"second.lnk"_s, u"C:/Menu/first.lnk"_s) && link(u"first.lnk"_s, u"C:/Menu/second.lnk"_s) && made;
    made = link(u"/dev/zero"_s, u"C:/Menu/endless.lnk"_s) && made;
    made = link(m_machine->hostPath(u"C:/Elsewhere"_s), u"C:/Menu/Elsewhere"_s) && made;
    made = link(u"loop.exe"_s, u"C:/Apps/loop.exe"_s) && made;
    m_machine->addLinkTo(u"C:/Menu/Loop.lnk"_s, u"C:/Apps/loop.exe"_s);
    QVERIFY(made);
    QVERIFY(scan());
    QCOMPARE(m_names, QStringList{u"Good"_s});
#else
    QSKIP("needs symbolic links that anybody may make");
#endif
}

void tst_BadInput::brokenRegistryText()
{
    const QString key = u"[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths]\n"_s;
    m_machine->addRegistry(u"broken.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software\\\n\"a\"=\"\\\n]\n"_s + key +
                                                u"\"x\\\"=\"y\"\n\"z\"=hex:1,zz\n\"good.exe\"=dword:1\n=\n@\n"
                                                u"\"tool.exe\"=\"C:\\\\Apps\\\\tool.exe\"\n\"end\"=\"no end"_s);
    QRandomGenerator random(33);
    m_machine->write(u"registry/random.reg"_s, randomBytes(random, 50'000));
    m_machine->write(u"registry/wide.reg"_s, QByteArray("\xFF\xFE\x57\x00\x69", 5));
    m_machine->addFile(u"C:/Apps/tool.exe"_s);
    m_machine->setMetadata({QJsonObject{{u"desktopTarget"_s, u"tool.exe"_s}, {u"target"_s, QJsonValue()}}});
    QVERIFY(scan());
    QCOMPARE(m_names, (QStringList{u"Good"_s, u"tool"_s}));
    QVERIFY(!m_log->texts(QtWarningMsg).isEmpty());
}

void tst_BadInput::unpairedSurrogates()
{
    const QString lone = QString(QChar(0xD800)) + u"x"_s + QChar(0xDC00);
    ShellLinkBuilder link;
    link.idItems = ShellLinkBuilder::idList(u"C:\\Apps\\good.exe"_s);
    link.localPath = u"C:\\Apps\\good.exe"_s;
    link.workingDirectory = u"C:\\"_s + lone;
    link.description = lone;
    link.arguments = lone;
    m_machine->addLink(u"C:/Menu/Good.lnk"_s, link);
    link.idItems = ShellLinkBuilder::idList(u"C:\\Apps\\"_s + lone + u".exe"_s);
    m_machine->addLink(u"C:/Menu/lone.lnk"_s, link);
    m_machine->addPackage(
        {{u"fullName"_s, lone},
         {u"entries"_s, QJsonArray{QJsonObject{{u"displayName"_s, u"Package"_s}, {u"appUserModelId"_s, lone}}}}});
    // Written by hand, since a writer of JSON replaces what is no text.
    m_machine->addFile(u"C:/metadata.json"_s,
                       R"([{"target": "https://x/\ud800", "displayName": "Web", "workingDir": "C:/\udc00"}])");
    m_machine->facts().insert(u"metadata"_s, u"C:/metadata.json"_s);
    QVERIFY(scan());
    QCOMPARE(m_names.first(2), (QStringList{u"Good"_s, u"Package"_s}));
    QCOMPARE(m_targets.first(2), (QStringList{u"C:/Apps/good.exe"_s, QString()}));
    QCOMPARE(m_workingDirs.first(), u"C:/"_s + lone);
    QVERIFY(m_names.size() == 2 || m_names.sliced(2) == QStringList{u"Web"_s});
}

void tst_BadInput::wrongFacts_data()
{
    QTest::addColumn<QString>("member");
    QTest::addColumn<QStringList>("lost");
    QTest::newRow("consoleUser") << u"consoleUser"_s << QStringList{};
    QTest::newRow("processUser") << u"processUser"_s << QStringList{};
    QTest::newRow("elevated") << u"elevated"_s << QStringList{};
    QTest::newRow("uiLanguage") << u"uiLanguage"_s << QStringList{};
    QTest::newRow("environment") << u"environment"_s << QStringList{};
    QTest::newRow("folders") << u"folders"_s << QStringList{u"Good"_s};
    QTest::newRow("users") << u"users"_s << QStringList{};
    QTest::newRow("packages") << u"packages"_s << QStringList{u"Package"_s};
    QTest::newRow("metadata") << u"metadata"_s << QStringList{u"Web"_s};
    QTest::newRow("tokens") << u"tokens"_s << QStringList{};
    QTest::newRow("unknown") << u"unknown"_s << QStringList{};
}

void tst_BadInput::wrongFacts()
{
    QFETCH(QString, member);
    QFETCH(QStringList, lost);
    const QList<QJsonValue> values{QJsonValue(),
                                   true,
                                   5,
                                   -1e300,
                                   u"x"_s,
                                   QJsonArray(),
                                   QJsonArray{1, QJsonValue(), u"a"_s, QJsonArray{QJsonArray()}, QJsonObject()},
                                   QJsonObject(),
                                   QJsonObject{{u"error"_s, 5}, {u"sid"_s, u"S-1-x"_s}, {u"name"_s, QJsonArray()}},
                                   QJsonArray{QJsonObject{{u"entries"_s, u"x"_s}, {u"version"_s, -1}}},
                                   QJsonArray{QJsonObject{{u"error"_s, QJsonObject{{u"code"_s, u"x"_s}}}}}};
    m_machine->addPackage(
        {{u"fullName"_s, u"P_1"_s},
         {u"entries"_s, QJsonArray{QJsonObject{{u"displayName"_s, u"Package"_s}, {u"appUserModelId"_s, u"P!1"_s}}}}});
    m_machine->setMetadata({QJsonObject{{u"target"_s, u"https://x/"_s}, {u"displayName"_s, u"Web"_s}}});
    for (const QJsonValue &value : values) {
        m_machine->facts().insert(member, value);
        QVERIFY(scan());
        QStringList expected{u"Good"_s, u"Package"_s, u"Web"_s};
        for (const QString &name : std::as_const(lost))
            expected.removeAll(name);
        QCOMPARE(m_names, expected);
    }
}

void tst_BadInput::factsThatAreNoFacts_data()
{
    QTest::addColumn<QByteArray>("json");
    QRandomGenerator random(34);
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("random") << randomBytes(random, 10'000);
    QTest::newRow("array") << QByteArray("[]");
    QTest::newRow("cut off") << QByteArray("{\"folders\": {\"CommonPrograms\": \"C:/Menu\"}");
    QTest::newRow("nested deeply") << QByteArray(100'000, '[');
}

void tst_BadInput::factsThatAreNoFacts()
{
    QFETCH(QByteArray, json);
    // The facts are written when the machine comes into force; so its place is taken by hand.
    const ScopedMachine other(*m_machine);
    m_machine->write(u"machine.json"_s, json);
    KvPlatform::Platform::setCurrent(nullptr);
    KvSecurity::forget();
    ScanRunner runner;
    QVERIFY(runner.scan());
    QCOMPARE(runner.names(), QStringList());
    QVERIFY(runner.context().isEmpty());
}

QTEST_GUILESS_MAIN(tst_BadInput)
#include "tst_badinput.moc"
