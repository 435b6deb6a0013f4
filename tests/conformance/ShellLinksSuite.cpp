#include "../support/ShellLinkBuilder.h"
#include "Computer.h"
#include "platform/Platform.h"
#include "platform/ShellLinks.h"

#include <XThreadPool.h>

#include <QtTest/QTest>

#include <chrono>

using namespace Qt::StringLiterals;
using KvPlatform::ShellLink;

namespace {

/** SLR_NO_UI and SLR_INVOKE_MSI. */
constexpr quint32 ResolveFlags = 0x81;

/** Of the extension that holds an item's long name, as XP wrote it and as Windows 10 does. */
constexpr quint16 XpVersion = 3;
constexpr quint16 CurrentVersion = 9;

QString native(QString path)
{
    return path.replace(u'/', u'\\');
}

} // namespace

class ShellLinksSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts();
    void absentTexts();
    void idLists_data();
    void idLists();
    void linkInformation();
    void virtualTarget();
    void lostTarget();
    void environmentTarget();
    void headerOnly();
    void damaged_data();
    void damaged();
    void absentFiles();
    void loadsAnew();
    void manyThreads();
    void displayNames_data();
    void displayNames();
    void noDisplayName();

private:
    static std::unique_ptr<ShellLink> load(Computer &computer, const ShellLinkBuilder &link);
    static ShellLinkBuilder linkTo(const QString &nativePath, quint16 version = XpVersion);
};

std::unique_ptr<ShellLink> ShellLinksSuite::load(Computer &computer, const ShellLinkBuilder &link)
{
    auto object = computer.platform().links->create();
    const QString path = native(computer.addFile(u"Links/A link.lnk"_s, link.build()));
    return object && object->load(path) ? std::move(object) : nullptr;
}

ShellLinkBuilder ShellLinksSuite::linkTo(const QString &nativePath, quint16 version)
{
    ShellLinkBuilder link;
    link.idItems = ShellLinkBuilder::idList(nativePath, version);
    link.localPath = nativePath;
    return link;
}

void ShellLinksSuite::texts()
{
    const auto computer = Computer::create();
    const QString target = native(computer->addFile(u"Games/Play.exe"_s));
    ShellLinkBuilder builder = linkTo(target);
    builder.description = u"A \u65e5 game"_s;
    builder.arguments = u"--open \"%KVC_ONE% \u00e9\" -x"_s;
    builder.workingDirectory = u"%KVC_ONE%\\Games"_s;
    const auto link = load(*computer, builder);
    QVERIFY(link);
    QVERIFY(link->resolve(ResolveFlags));
    QCOMPARE(link->idListPath(), target);
    QCOMPARE(link->rawPath(), target);
    QCOMPARE(link->description(), builder.description);
    QCOMPARE(link->arguments(), builder.arguments);
    QCOMPARE(link->workingDirectory(), builder.workingDirectory);
}

void ShellLinksSuite::absentTexts()
{
    const auto computer = Computer::create();
    const auto link = load(*computer, linkTo(native(computer->addFile(u"Play.exe"_s))));
    QVERIFY(link);
    QCOMPARE(link->description(), QString());
    QCOMPARE(link->arguments(), QString());
    QCOMPARE(link->workingDirectory(), QString());
}

void ShellLinksSuite::idLists_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<quint16>("version");
    QTest::newRow("plain") << u"Play.exe"_s << XpVersion;
    QTest::newRow("folders and blanks") << u"Long Folder Name/Another one/Play it.exe"_s << XpVersion;
    QTest::newRow("beyond the code page") << u"\u00c9t\u00e9/\u30b2\u30fc\u30e0.exe"_s << XpVersion;
    QTest::newRow("as Windows 10 writes it") << u"Long Folder Name/Play it.exe"_s << CurrentVersion;
}

void ShellLinksSuite::idLists()
{
    QFETCH(QString, name);
    QFETCH(quint16, version);
    const auto computer = Computer::create();
    if (version == CurrentVersion && !computer->abilities().currentIdLists)
        return QTest::qSkip("this system reads only the older ID lists", __FILE__, __LINE__);
    const QString target = native(computer->addFile(name));
    ShellLinkBuilder builder;
    builder.idItems = ShellLinkBuilder::idList(target, version);
    const auto link = load(*computer, builder);
    QVERIFY(link);
    QVERIFY(link->resolve(ResolveFlags));
    QCOMPARE(link->idListPath(), target);
}

void ShellLinksSuite::linkInformation()
{
    const auto computer = Computer::create();
    const QString target = native(computer->addFile(u"Games/Play.exe"_s));
    ShellLinkBuilder builder;
    builder.localPath = target;
    const auto link = load(*computer, builder);
    QVERIFY(link);
    QVERIFY(link->resolve(ResolveFlags));
    // The shell may make a list out of it; but then it leads to the same file.
    QCOMPARE(link->idListPath().value_or(target), target);
    QCOMPARE(link->rawPath(), target);
}

void ShellLinksSuite::virtualTarget()
{
    const auto computer = Computer::create();
    ShellLinkBuilder builder;
    builder.idItems = QList<QByteArray>{ShellLinkBuilder::rootItem(ShellLinkBuilder::computerFolder())};
    const auto link = load(*computer, builder);
    QVERIFY(link);
    QVERIFY(link->resolve(ResolveFlags));
    QVERIFY(!link->idListPath());
    QCOMPARE(link->rawPath(), QString());
}

void ShellLinksSuite::lostTarget()
{
    const auto computer = Computer::create();
    const QString target = native(computer->folder()) + u"\\Gone.exe"_s;
    const auto link = load(*computer, linkTo(target));
    QVERIFY(link);
    QCOMPARE(link->rawPath(), target);
    if (!computer->abilities().resolveFindsLoss)
        return QTest::qSkip("this system resolves every link", __FILE__, __LINE__);
    QVERIFY(!link->resolve(ResolveFlags));
}

void ShellLinksSuite::environmentTarget()
{
    const auto computer = Computer::create();
    if (!computer->abilities().environmentTargets)
        return QTest::qSkip("this system doesn't read variables in targets", __FILE__, __LINE__);
    const QString target = native(computer->addFile(u"Games/Play.exe"_s));
    computer->setVariable(u"KVC_GAMES"_s, target.section(u'\\', 0, -2));
    ShellLinkBuilder builder = linkTo(target);
    builder.environmentPath = u"%KVC_GAMES%\\Play.exe"_s;
    const auto link = load(*computer, builder);
    QVERIFY(link);
    QVERIFY(link->resolve(ResolveFlags));
    QCOMPARE(link->idListPath(), target);
    QCOMPARE(link->rawPath(), builder.environmentPath);
}

void ShellLinksSuite::headerOnly()
{
    const auto computer = Computer::create();
    const auto link = load(*computer, ShellLinkBuilder());
    QVERIFY(link);
    QVERIFY(!link->idListPath());
    QCOMPARE(link->rawPath(), QString());
}

void ShellLinksSuite::damaged_data()
{
    QTest::addColumn<QByteArray>("content");
    ShellLinkBuilder builder = linkTo(u"C:\\Games\\Play.exe"_s);
    builder.description = u"A game"_s;
    const QByteArray whole = builder.build();
    QByteArray otherClass = whole;
    otherClass[4] = '\x02';
    QByteArray random(512, '\0');
    for (qsizetype i = 0; i < random.size(); ++i)
        random[i] = static_cast<char>((i * 167 + 13) % 251);
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("random") << random;
    QTest::newRow("other class") << otherClass;
    QTest::newRow("cut in the header") << whole.left(20);
    QTest::newRow("cut before the header's end") << whole.left(75);
    QTest::newRow("cut behind the header") << whole.left(76);
    QTest::newRow("cut in the ID list") << whole.left(100);
}

void ShellLinksSuite::damaged()
{
    QFETCH(QByteArray, content);
    const auto computer = Computer::create();
    const QString path = native(computer->addFile(u"damaged.lnk"_s, content));
    const auto link = computer->platform().links->create();
    QVERIFY(link);
    QVERIFY(!link->load(path));
}

void ShellLinksSuite::absentFiles()
{
    const auto computer = Computer::create();
    computer->addFile(u"folder.lnk/x.txt"_s);
    const auto link = computer->platform().links->create();
    QVERIFY(link);
    QVERIFY(!link->load(native(computer->folder()) + u"\\absent.lnk"_s));
    QVERIFY(!link->load(native(computer->folder()) + u"\\folder.lnk"_s));
    QVERIFY(!link->load(QString()));
}

void ShellLinksSuite::loadsAnew()
{
    const auto computer = Computer::create();
    const QString first = native(computer->addFile(u"First.exe"_s));
    const QString second = native(computer->addFile(u"Second.exe"_s));
    ShellLinkBuilder builder = linkTo(first);
    builder.arguments = u"-x"_s;
    const QString firstLink = native(computer->addFile(u"1.lnk"_s, builder.build()));
    const QString secondLink = native(computer->addFile(u"2.lnk"_s, linkTo(second).build()));
    const auto link = computer->platform().links->create();
    QVERIFY(link && link->load(firstLink) && link->load(secondLink));
    QCOMPARE(link->idListPath(), second);
    QCOMPARE(link->arguments(), QString());
}

void ShellLinksSuite::manyThreads()
{
    const auto computer = Computer::create();
    const QString target = native(computer->addFile(u"Games/Play.exe"_s));
    const QString path = native(computer->addFile(u"x.lnk"_s, linkTo(target).build()));
    const KvPlatform::Platform &platform = computer->platform();
    QList<QString> found(4);
    XThreadPool pool({4});
    for (QString &result : found) {
        pool.start([&platform, &path, &result] {
            for (int round = 0; round < 20; ++round) {
                const auto link = platform.links->create();
                if (link && link->load(path) && link->resolve(ResolveFlags))
                    result = link->idListPath().value_or(QString());
            }
        });
    }
    QVERIFY(pool.waitForDone(std::chrono::minutes(2)));
    QCOMPARE(found, QList<QString>(4, target));
}

void ShellLinksSuite::displayNames_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("expected");
    QTest::newRow("suffix") << u"My Notes.lnk"_s << u"My Notes"_s;
    QTest::newRow("suffix in capitals") << u"My Notes.LNK"_s << u"My Notes"_s;
    QTest::newRow("dots") << u"Notes 1.2.3.lnk"_s << u"Notes 1.2.3"_s;
    QTest::newRow("beyond the code page") << u"\u00c9t\u00e9 \u65e5.lnk"_s << u"\u00c9t\u00e9 \u65e5"_s;
}

void ShellLinksSuite::displayNames()
{
    QFETCH(QString, file);
    QFETCH(QString, expected);
    const auto computer = Computer::create();
    const QByteArray content = linkTo(native(computer->addFile(u"Play.exe"_s))).build();
    const QString path = native(computer->addFile(u"Links/"_s + file, content));
    QCOMPARE(computer->platform().links->displayName(path), expected);
}

void ShellLinksSuite::noDisplayName()
{
    const auto computer = Computer::create();
    QVERIFY(!computer->platform().links->displayName(native(computer->folder()) + u"\\absent.lnk"_s));
    QVERIFY(!computer->platform().links->displayName(native(computer->folder()) + u"\\absent\\x.lnk"_s));
}

QTEST_GUILESS_MAIN(ShellLinksSuite)
#include "ShellLinksSuite.moc"
