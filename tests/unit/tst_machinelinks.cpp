#include "../support/MachineBuilder.h"
#include "../support/ShellLinkBuilder.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineEnvironment.h"
#include "platform/portable/MachineFiles.h"
#include "platform/portable/MachineLinks.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

const QString LinkPath = u"C:\\Start\\x.lnk"_s;
const QString Program = u"C:\\Games\\Play.exe"_s;
const QString Missing = u"C:\\Games\\Gone.exe"_s;

std::unique_ptr<MachineLinks> linksOf(const MachineBuilder &machine)
{
    return std::make_unique<MachineLinks>(
        std::make_shared<const MachineFiles>(std::make_shared<const MachineDrives>(machine.path())),
        std::make_shared<const MachineEnvironment>(QHash<QString, QString>{{u"GAMES"_s, u"C:\\Games"_s}}));
}

} // namespace

class TestMachineLinks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts();
    void emptyLink();
    void resolves_data();
    void resolves();
    void rawPath_data();
    void rawPath();
    void failsToLoad_data();
    void failsToLoad();
    void loadsAnew();
    void hostLink();
    void linksToEachOther();
    void displayName_data();
    void displayName();

private:
    static ShellLinkBuilder target(const char *kind, const QString &path);
};

ShellLinkBuilder TestMachineLinks::target(const char *kind, const QString &path)
{
    ShellLinkBuilder link;
    if (qstrcmp(kind, "environment") == 0)
        link.environmentPath = path;
    else if (qstrcmp(kind, "list") == 0)
        link.idItems = ShellLinkBuilder::idList(path);
    else if (qstrcmp(kind, "info") == 0)
        link.localPath = path;
    else
        link.relativePath = path;
    return link;
}

void TestMachineLinks::texts()
{
    MachineBuilder machine;
    machine.addFile(u"C:/Games/Play.exe"_s);
    ShellLinkBuilder builder = target("list", Program);
    builder.localPath = Missing;
    builder.description = u"A game"_s;
    builder.arguments = u"-x %A%"_s;
    builder.workingDirectory = u"%Games%"_s;
    machine.addLink(u"C:/Start/x.lnk"_s, builder);
    const auto link = linksOf(machine)->create();
    QVERIFY(link->load(u"c:\\START\\X.LNK"_s));
    QVERIFY(link->resolve(0x81));
    QCOMPARE(link->idListPath().value_or(QString()), Program);
    QCOMPARE(link->rawPath().value_or(QString()), Missing);
    QCOMPARE(link->description().value_or(QString()), u"A game"_s);
    QCOMPARE(link->arguments().value_or(QString()), u"-x %A%"_s);
    QCOMPARE(link->workingDirectory().value_or(QString()), u"%Games%"_s);
}

void TestMachineLinks::emptyLink()
{
    MachineBuilder machine;
    machine.addLink(u"C:/Start/x.lnk"_s, ShellLinkBuilder());
    const auto link = linksOf(machine)->create();
    QVERIFY(!link->rawPath() && !link->description() && !link->resolve(0x81));
    QVERIFY(link->load(LinkPath));
    QVERIFY(link->resolve(0x81));
    QVERIFY(!link->idListPath());
    QCOMPARE(link->rawPath(), std::optional<QString>(QString()));
    QCOMPARE(link->description(), std::optional<QString>(QString()));
}

void TestMachineLinks::resolves_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("expected");
    for (const char *kind : {"environment", "list", "info"}) {
        QTest::newRow(qPrintable(QString::fromLatin1(kind) + u" there"_s)) << target(kind, Program).build() << true;
        QTest::newRow(qPrintable(QString::fromLatin1(kind) + u" gone"_s)) << target(kind, Missing).build() << false;
    }
    QTest::newRow("folder") << target("info", u"C:\\Games"_s).build() << true;
    QTest::newRow("share") << target("info", u"\\\\server\\x.exe"_s).build() << false;
    QTest::newRow("variable there") << target("environment", u"%games%\\Play.exe"_s).build() << true;
    QTest::newRow("variable gone") << target("environment", u"%games%\\Gone.exe"_s).build() << false;
    QTest::newRow("relative there") << target("relative", u"..\\Games\\Play.exe"_s).build() << true;
    QTest::newRow("relative gone") << target("relative", u"..\\Games\\Gone.exe"_s).build() << false;
    ShellLinkBuilder environmentFirst = target("environment", Missing);
    environmentFirst.idItems = ShellLinkBuilder::idList(Program);
    QTest::newRow("environment before list") << environmentFirst.build() << false;
    ShellLinkBuilder listFirst = target("list", Program);
    listFirst.localPath = Missing;
    listFirst.relativePath = u"..\\Games\\Gone.exe"_s;
    QTest::newRow("list before info") << listFirst.build() << true;
    ShellLinkBuilder virtualTarget;
    virtualTarget.idItems = QList<QByteArray>{ShellLinkBuilder::rootItem(QByteArray(16, '\x42'))};
    QTest::newRow("virtual") << virtualTarget.build() << true;
}

void TestMachineLinks::resolves()
{
    QFETCH(QByteArray, bytes);
    MachineBuilder machine;
    machine.addFile(u"C:/Games/Play.exe"_s);
    machine.addFile(u"C:/Start/x.lnk"_s, bytes);
    const auto link = linksOf(machine)->create();
    QVERIFY(link->load(LinkPath));
    QTEST(link->resolve(0x81), "expected");
}

void TestMachineLinks::rawPath_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("expected");
    ShellLinkBuilder all = target("environment", u"%Games%\\a.exe"_s);
    all.localPath = u"C:\\b.exe"_s;
    all.idItems = ShellLinkBuilder::idList(u"C:\\c.exe"_s);
    QTest::newRow("environment") << all.build() << u"%Games%\\a.exe"_s;
    all.environmentPath.reset();
    QTest::newRow("info") << all.build() << u"C:\\b.exe"_s;
    all.localPath.reset();
    QTest::newRow("list") << all.build() << u"C:\\c.exe"_s;
    QTest::newRow("relative") << target("relative", u"x.exe"_s).build() << QString();
}

void TestMachineLinks::rawPath()
{
    QFETCH(QByteArray, bytes);
    MachineBuilder machine;
    machine.addFile(u"C:/Start/x.lnk"_s, bytes);
    const auto link = linksOf(machine)->create();
    QVERIFY(link->load(LinkPath));
    QVERIFY(link->rawPath());
    QTEST(*link->rawPath(), "expected");
}

void TestMachineLinks::failsToLoad_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray good = target("list", Program).build();
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("[InternetShortcut]");
    QTest::newRow("cut off") << good.left(good.size() / 2);
    QTest::newRow("too large") << good + QByteArray(1024 * 1024, '\0');
}

void TestMachineLinks::failsToLoad()
{
    QFETCH(QByteArray, bytes);
    MachineBuilder machine;
    machine.addFile(u"C:/Start/x.lnk"_s, bytes);
    machine.addFolder(u"C:/Start/folder.lnk"_s);
    const auto link = linksOf(machine)->create();
    QVERIFY(!link->load(LinkPath));
    QVERIFY(!link->load(u"C:\\Start\\missing.lnk"_s));
    QVERIFY(!link->load(u"C:\\Start\\folder.lnk"_s));
    QVERIFY(!link->load(QString()));
    QVERIFY(!link->resolve(0x81));
    QVERIFY(!link->idListPath() && !link->rawPath() && !link->arguments());
}

void TestMachineLinks::loadsAnew()
{
    MachineBuilder machine;
    machine.addLinkTo(u"C:/Start/x.lnk"_s, u"C:/Games/Play.exe"_s);
    const auto link = linksOf(machine)->create();
    QVERIFY(link->load(LinkPath));
    QCOMPARE(link->rawPath().value_or(QString()), Program);
    QVERIFY(!link->load(u"C:\\Start\\missing.lnk"_s));
    QVERIFY(!link->rawPath());
}

void TestMachineLinks::hostLink()
{
    MachineBuilder machine;
    machine.addFile(u"C:/Start/x.lnk"_s, target("info", Missing).build());
    const MachineLinks links(std::make_shared<const Files>(), std::make_shared<const MachineEnvironment>());
    const auto link = links.create();
    QVERIFY(link->load(machine.hostPath(u"C:/Start/x.lnk"_s)));
    QCOMPARE(link->rawPath().value_or(QString()), Missing);
    QVERIFY(!link->resolve(0x81));
}

void TestMachineLinks::linksToEachOther()
{
    MachineBuilder machine;
    machine.addLinkTo(u"C:/a.lnk"_s, u"C:/b.lnk"_s);
    machine.addLinkTo(u"C:/b.lnk"_s, u"C:/a.lnk"_s);
    machine.addLinkTo(u"C:/self.lnk"_s, u"C:/self.lnk"_s);
    const auto links = linksOf(machine);
    for (const char *name : {"a", "b", "self"}) {
        const auto link = links->create();
        QVERIFY(link->load(u"C:\\%1.lnk"_s.arg(QString::fromLatin1(name))));
        QVERIFY(link->resolve(0x81));
    }
}

void TestMachineLinks::displayName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("link") << u"C:\\Start\\My.Game.lnk"_s << u"My.Game"_s;
    QTest::newRow("other letters") << u"C:\\Start\\MY.GAME.LNK"_s << u"MY.GAME"_s;
    QTest::newRow("no link") << u"C:\\Games\\Play.exe"_s << u"Play.exe"_s;
    QTest::newRow("only a suffix") << u"C:\\Start\\.lnk"_s << u".lnk"_s;
    QTest::newRow("missing") << u"C:\\Start\\No.lnk"_s << QString();
    QTest::newRow("drive") << u"C:\\"_s << QString();
    QTest::newRow("empty") << QString() << QString();
}

void TestMachineLinks::displayName()
{
    QFETCH(QString, path);
    MachineBuilder machine;
    machine.addFile(u"C:/Start/My.Game.lnk"_s);
    machine.addFile(u"C:/Start/.lnk"_s);
    machine.addFile(u"C:/Games/Play.exe"_s);
    QTEST(linksOf(machine)->displayName(path).value_or(QString()), "expected");
}

QTEST_GUILESS_MAIN(TestMachineLinks)
#include "tst_machinelinks.moc"
