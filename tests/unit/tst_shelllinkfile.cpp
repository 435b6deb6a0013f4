#include "../support/ShellLinkBuilder.h"

#include "formats/ShellLinkFile.h"

#include <QtTest/QTest>

using Items = QList<QByteArray>;
Q_DECLARE_METATYPE(Items)

class tst_ShellLinkFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsBareHeader();
    void readsStrings_data();
    void readsStrings();
    void readsIdListPath_data();
    void readsIdListPath();
    void readsLinkInfoPath_data();
    void readsLinkInfoPath();
    void ignoresForbiddenLinkInfo();
    void readsEnvironmentPath_data();
    void readsEnvironmentPath();
    void toleratesMissingLastBlock();
    void rejectsDamage_data();
    void rejectsDamage();
    void survivesEveryCut();
    void survivesEveryByteChange();
};

namespace {

using Link = ShellLinkBuilder;

const QString Target = QStringLiteral("C:\\Program Files\\Contoso\\notes.exe");

Link fullLink()
{
    Link link;
    link.idItems = Link::idList(Target);
    link.localPath = Target;
    link.environmentPath = QStringLiteral("%ProgramFiles%\\Contoso\\notes.exe");
    link.description = QStringLiteral("Takes notes");
    link.relativePath = QStringLiteral("..\\notes.exe");
    link.workingDirectory = QStringLiteral("C:\\Work");
    link.arguments = QStringLiteral("--new \"a b\"");
    link.iconLocation = QStringLiteral("C:\\icons.dll");
    link.iconIndex = -3;
    link.showCommand = 7;
    return link;
}

QByteArray damaged(QByteArray bytes, qsizetype offset, const char *hex)
{
    const QByteArray replacement = QByteArray::fromHex(hex);
    return bytes.replace(offset, replacement.size(), replacement);
}

} // namespace

void tst_ShellLinkFile::readsBareHeader()
{
    const auto link = ShellLinkFile::parse(Link().build());
    QVERIFY(link);
    QVERIFY(!link->hasIdList);
    QVERIFY(!link->idListPath);
    QVERIFY(!link->linkInfoPath);
    QVERIFY(!link->environmentPath);
    QVERIFY(link->arguments.isEmpty());
    QCOMPARE(link->showCommand, 1u);
}

void tst_ShellLinkFile::readsStrings_data()
{
    QTest::addColumn<bool>("unicode");
    QTest::newRow("Unicode") << true;
    QTest::newRow("ANSI") << false;
}

void tst_ShellLinkFile::readsStrings()
{
    QFETCH(bool, unicode);
    Link builder = fullLink();
    builder.unicode = unicode;
    builder.description = QStringLiteral("Caf\u00E9");
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QCOMPARE(link->description, QStringLiteral("Caf\u00E9"));
    QCOMPARE(link->relativePath, QStringLiteral("..\\notes.exe"));
    QCOMPARE(link->workingDirectory, QStringLiteral("C:\\Work"));
    QCOMPARE(link->arguments, QStringLiteral("--new \"a b\""));
    QCOMPARE(link->iconLocation, QStringLiteral("C:\\icons.dll"));
    QCOMPARE(link->iconIndex, -3);
    QCOMPARE(link->showCommand, 7u);
    QCOMPARE(link->linkInfoPath, Target);
    QCOMPARE(link->idListPath, Target);
    QVERIFY(link->environmentPath);
}

void tst_ShellLinkFile::readsIdListPath_data()
{
    QTest::addColumn<Items>("items");
    QTest::addColumn<QString>("path");

    const QByteArray computer = Link::rootItem(Link::computerFolder());
    const QByteArray network = Link::rootItem(Link::networkFolder());
    const QByteArray drive = Link::volumeItem(QStringLiteral("D:\\"));
    const QByteArray folder = Link::fileItem(0x31, QStringLiteral("GAMES~1"), QStringLiteral("Games"));
    const QByteArray server = Link::networkItem(0x42, QStringLiteral("\\\\nas"));
    const QByteArray share = Link::networkItem(0xC3, QStringLiteral("\\\\nas\\share"));
    const QByteArray knownFolder = Link::rootItem(QByteArray::fromHex("4da53643038b8546ab0299bb52d3fb8b"));
    const QByteArray controlPanel = QByteArray::fromHex("7180") + QByteArray(10, '\0') + Link::computerFolder();

    const QByteArray otherExtension = QByteArray::fromHex("080000000300efbe1600");

    for (int version : {3, 7, 8, 9}) {
        QTest::addRow("extension version %d", version)
            << Link::idList(QStringLiteral("C:\\Program Files\\\u6E38\u620F\\a.exe"), static_cast<quint16>(version))
            << QStringLiteral("C:\\Program Files\\\u6E38\u620F\\a.exe");
    }
    QTest::newRow("drive") << Items{computer, drive} << "D:\\";
    QTest::newRow("drive, type 0x23") << Items{computer, Link::volumeItem(QStringLiteral("E:\\"), 0x23)} << "E:\\";
    QTest::newRow("drive without backslash") << Items{computer, Link::volumeItem(QStringLiteral("E:"))} << "E:\\";
    QTest::newRow("short name only") << Items{computer, drive,
                                              Link::fileItem(0x32, QStringLiteral("NOTES.EXE"), QString())}
                                     << "D:\\NOTES.EXE";
    QTest::newRow("Unicode name only") << Items{computer, drive,
                                                Link::fileItem(0x36, QStringLiteral("\u6E38.exe"), QString())}
                                       << QStringLiteral("D:\\\u6E38.exe");
    QTest::newRow("Windows-1252 name") << Items{computer, drive,
                                                QByteArray::fromHex("320000000000000000000000") +
                                                    QByteArray("\x80uro.exe\0", 9)}
                                       << QStringLiteral("D:\\\u20ACuro.exe");
    QTest::newRow("another extension behind") << Items{computer, drive, folder + otherExtension} << "D:\\Games";
    QTest::newRow("another extension before")
        << Items{computer, drive,
                 QByteArray::fromHex("3100000000000000000000005800") + otherExtension.first(8) +
                     Link::nameExtension(QStringLiteral("Games"), 9, 0x10)}
        << "D:\\Games";
    QTest::newRow("extension pointer beyond the end")
        << Items{computer, drive, damaged(folder, folder.size() - 2, "ff7f")} << "D:\\GAMES~1";
    QTest::newRow("extension pointer before the item")
        << Items{computer, drive, damaged(folder, folder.size() - 2, "0000")} << "D:\\GAMES~1";
    QTest::newRow("share") << Items{network, server, share, folder} << "\\\\nas\\share\\Games";
    QTest::newRow("server only") << Items{network, server} << QString();
    QTest::newRow("share without backslashes")
        << Items{network, Link::networkItem(0xC3, QStringLiteral("nas"))} << QString();

    QTest::newRow("desktop itself") << Items{} << QString();
    QTest::newRow("computer itself") << Items{computer} << QString();
    QTest::newRow("known folder") << Items{knownFolder, folder} << QString();
    QTest::newRow("control panel") << Items{computer, controlPanel} << QString();
    QTest::newRow("virtual item below a drive") << Items{computer, drive, controlPanel} << QString();
    QTest::newRow("file below a virtual item") << Items{computer, controlPanel, folder} << QString();
    QTest::newRow("volume by identifier")
        << Items{computer, QByteArray::fromHex("2e80") + Link::networkFolder()} << QString();
    QTest::newRow("file without drive") << Items{computer, folder} << QString();
    QTest::newRow("file below the desktop") << Items{folder} << QString();
    QTest::newRow("empty item") << Items{computer, drive, QByteArray()} << QString();
    QTest::newRow("name that leads elsewhere")
        << Items{computer, drive, Link::fileItem(0x31, QStringLiteral("X"), QStringLiteral("..\\y"))} << QString();
    QTest::newRow("file item cut before its name")
        << Items{computer, drive, QByteArray::fromHex("31000000")} << QString();
}

void tst_ShellLinkFile::readsIdListPath()
{
    QFETCH(Items, items);
    QFETCH(QString, path);
    Link builder;
    builder.idItems = items;
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QVERIFY(link->hasIdList);
    QCOMPARE(link->idListPath.value_or(QString()), path);
    QCOMPARE(link->idListPath.has_value(), !path.isEmpty());
}

void tst_ShellLinkFile::readsLinkInfoPath_data()
{
    QTest::addColumn<QString>("local");
    QTest::addColumn<QString>("share");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("unicode");
    QTest::addColumn<QString>("path");
    for (bool unicode : {false, true}) {
        const char *kind = unicode ? "Unicode" : "ANSI";
        QTest::addRow("%s local", kind) << "C:\\a.exe" << QString() << "" << unicode << "C:\\a.exe";
        QTest::addRow("%s local, suffix", kind) << "C:\\x" << QString() << "y\\a.exe" << unicode << "C:\\x\\y\\a.exe";
        QTest::addRow("%s drive, suffix", kind) << "C:\\" << QString() << "a.exe" << unicode << "C:\\a.exe";
        QTest::addRow("%s share", kind) << QString() << "\\\\nas\\s"
                                        << "a.exe" << unicode << "\\\\nas\\s\\a.exe";
    }
    QTest::newRow("Unicode letters") << QStringLiteral("C:\\\u6E38") << QString() << "" << true
                                     << QStringLiteral("C:\\\u6E38");
}

void tst_ShellLinkFile::readsLinkInfoPath()
{
    QFETCH(QString, local);
    QFETCH(QString, share);
    QFETCH(QString, suffix);
    QFETCH(bool, unicode);
    QFETCH(QString, path);
    Link builder;
    if (!local.isNull())
        builder.localPath = local;
    if (!share.isNull())
        builder.networkShare = share;
    builder.pathSuffix = suffix;
    // The builder stores the share's text in its own structure; a local path goes next to the suffix.
    builder.unicodeLinkInfo = unicode;
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QCOMPARE(link->linkInfoPath, path);
}

void tst_ShellLinkFile::ignoresForbiddenLinkInfo()
{
    constexpr quint32 ForceNoLinkInfo = 0x100;
    Link builder = fullLink();
    builder.moreFlags = ForceNoLinkInfo;
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QVERIFY(!link->linkInfoPath);
    QCOMPARE(link->description, QStringLiteral("Takes notes"));
}

void tst_ShellLinkFile::readsEnvironmentPath_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("ansiOnly");
    QTest::addColumn<QByteArray>("before");
    const QByteArray store = ByteWriter().u32(0x14).u32(0xA0000009).zeros(12).result();
    QTest::newRow("Unicode") << QStringLiteral("%windir%\\\u6E38.exe") << false << QByteArray();
    QTest::newRow("ANSI") << "%windir%\\a.exe" << true << QByteArray();
    QTest::newRow("after other blocks") << "%windir%\\a.exe" << false << store + store;
    QTest::newRow("empty") << "" << false << QByteArray();
}

void tst_ShellLinkFile::readsEnvironmentPath()
{
    QFETCH(QString, target);
    QFETCH(bool, ansiOnly);
    QFETCH(QByteArray, before);
    Link builder;
    builder.environmentPath = target;
    builder.environmentInAnsiOnly = ansiOnly;
    builder.otherBlocks = before;
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QCOMPARE(link->environmentPath.value_or(QString()), target);
    QCOMPARE(link->environmentPath.has_value(), !target.isEmpty());
}

void tst_ShellLinkFile::toleratesMissingLastBlock()
{
    Link builder = fullLink();
    builder.hasLastBlock = false;
    const auto link = ShellLinkFile::parse(builder.build());
    QVERIFY(link);
    QVERIFY(link->environmentPath);
}

void tst_ShellLinkFile::rejectsDamage_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray bare = Link().build();
    Link list;
    list.idItems = Link::idList(Target);
    Link info;
    info.localPath = Target;
    Link share;
    share.networkShare = QStringLiteral("\\\\nas\\share");
    Link environment;
    environment.environmentPath = QStringLiteral("%windir%\\a.exe");
    Link name;
    name.description = QStringLiteral("text");
    const int start = 0x4C;

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("[InternetShortcut]\r\nURL=http://localhost/\r\n");
    QTest::newRow("zeros") << QByteArray(4096, '\0');
    QTest::newRow("header size") << damaged(bare, 0, "4d");
    QTest::newRow("class") << damaged(bare, 4, "02");
    QTest::newRow("announced list missing") << damaged(bare.first(start), 0x14, "01");
    QTest::newRow("list size") << damaged(list.build(), start, "ffff");
    QTest::newRow("list without end") << damaged(list.build(), start, "1400");
    QTest::newRow("item size 1") << damaged(list.build(), start + 2, "0100");
    QTest::newRow("item size beyond the list") << damaged(list.build(), start + 2, "ff7f");
    QTest::newRow("info size 0") << damaged(info.build(), start, "00000000");
    QTest::newRow("info size huge") << damaged(info.build(), start, "ffffffff");
    QTest::newRow("info header size small") << damaged(info.build(), start + 4, "10000000");
    QTest::newRow("info header size huge") << damaged(info.build(), start + 4, "ffffffff");
    QTest::newRow("base offset 0") << damaged(info.build(), start + 16, "00000000");
    QTest::newRow("base offset huge") << damaged(info.build(), start + 16, "ffffffff");
    QTest::newRow("suffix offset huge") << damaged(info.build(), start + 24, "ffffff7f");
    QTest::newRow("network offset huge") << damaged(share.build(), start + 20, "ffffffff");
    QTest::newRow("network size huge") << damaged(share.build(), start + 0x1C, "ffffffff");
    QTest::newRow("network name offset in its header") << damaged(share.build(), start + 0x1C + 8, "08000000");
    QTest::newRow("string too long") << damaged(name.build(), start, "ffff");
    QTest::newRow("block size 5") << damaged(environment.build(), start, "05000000");
    QTest::newRow("block size huge") << damaged(environment.build(), start, "ffffffff");
    QTest::newRow("environment block of another size")
        << bare.first(start) + ByteWriter().u32(0x10).u32(0xA0000001).zeros(12).result();
}

void tst_ShellLinkFile::rejectsDamage()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!ShellLinkFile::parse(bytes));
}

void tst_ShellLinkFile::survivesEveryCut()
{
    for (bool unicode : {false, true}) {
        Link builder = fullLink();
        builder.unicode = unicode;
        builder.unicodeLinkInfo = unicode;
        const QByteArray bytes = builder.build();
        // The only whole structures in a row that a cut may leave are those before the extra data's first block, and
        // all blocks without the last, empty one.
        const qsizetype withoutLastBlock = bytes.size() - 4;
        const qsizetype withoutBlocks = withoutLastBlock - 0x314;
        for (qsizetype length = 0; length < bytes.size(); ++length) {
            const QByteArray cut(bytes.constData(), length); // A copy of its own, so that a sanitizer sees the end.
            const bool isWhole = length >= withoutLastBlock || (length >= withoutBlocks && length < withoutBlocks + 4);
            QCOMPARE(ShellLinkFile::parse(cut).has_value(), isWhole);
        }
    }
}

void tst_ShellLinkFile::survivesEveryByteChange()
{
    Link builder = fullLink();
    builder.unicodeLinkInfo = true;
    const QByteArray bytes = builder.build();
    int readable = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        for (const char value : {'\x00', '\x01', '\x7f', '\xff'}) {
            QByteArray changed = bytes;
            changed[i] = value;
            const auto link = ShellLinkFile::parse(changed);
            readable += link ? 1 : 0;
            QVERIFY(!link || link->idListPath.value_or(QString()).size() < bytes.size());
        }
    }
    QVERIFY(readable > 0);
}

QTEST_GUILESS_MAIN(tst_ShellLinkFile)
#include "tst_shelllinkfile.moc"
