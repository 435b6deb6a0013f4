#include "../support/PlainTokens.h"
#include "../support/SteamCacheBuilder.h"
#include "formats/SteamAppInfo.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using Sections = QList<SteamAppInfo::Section>;

namespace {

Sections read(const QByteArray &bytes, qsizetype pieceSize = 0)
{
    Sections sections;
    SteamAppInfo reader([&sections](const SteamAppInfo::Section &section) { sections.append(section); });
    const qsizetype step = pieceSize > 0 ? pieceSize : qMax<qsizetype>(bytes.size(), 1);
    for (qsizetype at = 0; at < bytes.size(); at += step)
        reader.read(QByteArrayView(bytes).sliced(at, qMin(step, bytes.size() - at)));
    reader.finish();
    return sections;
}

/** The runs, separated, and the sections that they give, as text. */
QStringList sectionsOf(const QList<QByteArray> &runs)
{
    QByteArray bytes;
    for (const QByteArray &run : runs)
        bytes += run + '\0';
    QStringList list;
    for (const SteamAppInfo::Section &section : read(bytes))
        list.append(section.name + u'/' + section.clientIcon + u'/' + section.executables.join(u','));
    return list;
}

/** Runs out of whole and cut words and what might be a value, in an order that the seed decides. */
QByteArray medley(quint32 seed, int count)
{
    static const QList<QByteArray> Parts = {"appinfo", "clienticon", "name", "executable", "arguments",
                                            ".exe",    "app",        "info", "na",         "me",
                                            "client",  "icon",       "exec", "utable",     "x.exe",
                                            " ",       "\"",         "argu", "ments",      QByteArray(70, 'p')};
    QRandomGenerator random(seed);
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        bytes += Parts.at(random.bounded(Parts.size()));
        if (random.bounded(3) != 0)
            bytes += QByteArray(1 + random.bounded(3), static_cast<char>(random.bounded(32)));
    }
    return bytes;
}

} // namespace

class tst_SteamAppInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sections_data();
    void sections();
    void layouts_data();
    void layouts();
    void piecesMakeNoDifference_data();
    void piecesMakeNoDifference();
    void agreesWithThePlainWay();
    void wordsAtEveryPlace();
    void cutAtEveryPlace();
    void longRuns();
    void manyExecutablesAreLinear();
};

void tst_SteamAppInfo::sections_data()
{
    using Runs = QList<QByteArray>;
    QTest::addColumn<Runs>("runs");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("nothing") << Runs{} << QStringList{};
    QTest::newRow("no boundary") << Runs{"name", "A", "clienticon", "i", "executable", "a.exe"} << QStringList{};
    QTest::newRow("boundary at the end") << Runs{"name", "A", "clienticon", "i", "executable", "a.exe", "appinfo"}
                                         << QStringList{u"A/i/a.exe"_s};
    QTest::newRow("last section is dropped")
        << Runs{"appinfo", "name", "A", "appinfo", "name", "B"} << QStringList{u"//"_s, u"A//"_s};
    QTest::newRow("first name and icon count")
        << Runs{"name", "A", "name", "B", "clienticon", "i", "clienticon", "j", "appinfo"} << QStringList{u"A/i/"_s};
    QTest::newRow("words within words") << Runs{"my_names",      "A",     "xclienticonx", "i",
                                                "noexecutables", "a.exe", "the appinfo"}
                                        << QStringList{u"A/i/a.exe"_s};
    QTest::newRow("letter case") << Runs{"Name", "A", "NAME", "B", "appInfo", "appinfo"} << QStringList{u"//"_s};
    QTest::newRow("executables once each")
        << Runs{"executable", "a.exe", "executable", "a.exe", "executable", "A.exe", "appinfo"}
        << QStringList{u"//a.exe,A.exe"_s};
    QTest::newRow("other files are left out")
        << Runs{"executable", "run.sh", "executable", "a.EXE", "executable", "b.exe", "appinfo"}
        << QStringList{u"//b.exe"_s};
    QTest::newRow("arguments are executables too")
        << Runs{"executable", "a.exe", "arguments", "-run b.exe -w", "appinfo"}
        << QStringList{u"//a.exe,-run b.exe -w"_s};
    QTest::newRow("executable in the name")
        << Runs{"name", "executable", "x.exe", "appinfo"} << QStringList{u"executable//x.exe"_s};
    QTest::newRow("arguments in the executable")
        << Runs{"executable", "arguments.exe", "y.exe", "appinfo"} << QStringList{u"//arguments.exe,y.exe"_s};
    QTest::newRow("name in the icon") << Runs{"clienticon", "name", "A", "appinfo"} << QStringList{u"A/name/"_s};
    QTest::newRow("boundary as a value") << Runs{"name", "appinfo", "appinfo"} << QStringList{u"appinfo//"_s};
    QTest::newRow("clienticon in the name does not turn back")
        << Runs{"name", "clienticon", "i", "appinfo"} << QStringList{u"clienticon//"_s};
    QTest::newRow("boundary with a name")
        << Runs{"name", "A", "appinfo name", "B", "appinfo"} << QStringList{u"A//"_s, u"B//"_s};
    QTest::newRow("several words in one run")
        << Runs{"clienticon name executable", "name", "A executable", "b.exe", "appinfo"}
        << QStringList{u"A executable/name/b.exe"_s};
    QTest::newRow("boundary swallowed as a value") << Runs{"executable", "appinfo", "appinfo"} << QStringList{u"//"_s};
}

void tst_SteamAppInfo::sections()
{
    QFETCH(QList<QByteArray>, runs);
    QFETCH(QStringList, expected);
    QCOMPARE(sectionsOf(runs), expected);
}

void tst_SteamAppInfo::layouts_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<bool>("isUnderstood");
    QTest::newRow("numbered sections") << int(SteamCacheBuilder::NumberedSections) << true;
    QTest::newRow("one tree") << int(SteamCacheBuilder::OneTree) << true;
    QTest::newRow("tree with a hash") << int(SteamCacheBuilder::TreeWithHash) << true;
    QTest::newRow("keys apart") << int(SteamCacheBuilder::KeysApart) << false;
}

void tst_SteamAppInfo::layouts()
{
    QFETCH(int, layout);
    QFETCH(bool, isUnderstood);
    SteamCacheBuilder cache{SteamCacheBuilder::Layout(layout)};
    cache.add({10, "Copper Canyon", "c0ffee", {{"bin\\canyon.exe", "-w"}, {"edit.exe", ""}}});
    cache.add({20, "Br\xC3\xBCtal", "b0b", {{"b.exe", "-with c.exe"}}});
    cache.add({30, "Last", "1a57", {{"last.exe", ""}}});
    const QByteArray bytes = cache.build();
    const Sections found = read(bytes);
    QVERIFY(areEqual(found, PlainAppInfo::read(bytes)));
    if (!isUnderstood) {
        // The words stand next to each other in the table of keys.
        for (const SteamAppInfo::Section &section : found)
            QVERIFY(section.executables.isEmpty());
        return;
    }
    QCOMPARE(found.size(), 3);
    QCOMPARE(found.at(1).name, u"Copper Canyon"_s);
    QCOMPARE(found.at(1).clientIcon, u"c0ffee"_s);
    QCOMPARE(found.at(1).executables, (QStringList{u"bin\\canyon.exe"_s, u"edit.exe"_s}));
    QCOMPARE(found.at(2).name, u"Br"_s);
    QCOMPARE(found.at(2).executables, (QStringList{u"b.exe"_s, u"-with c.exe"_s}));
}

void tst_SteamAppInfo::piecesMakeNoDifference_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {1, 2, 3, 7, 9, 10, 11, 64, 67, 1000})
        QTest::addRow("%d", size) << size;
}

void tst_SteamAppInfo::piecesMakeNoDifference()
{
    QFETCH(int, size);
    for (quint32 seed = 0; seed < 20; ++seed) {
        const QByteArray bytes = medley(seed, 400);
        QVERIFY2(areEqual(read(bytes, size), PlainAppInfo::read(bytes)), qPrintable(QString::number(seed)));
    }
}

void tst_SteamAppInfo::agreesWithThePlainWay()
{
    int count = 0;
    for (quint32 seed = 100; seed < 250; ++seed) {
        const QByteArray bytes = medley(seed, 300);
        const Sections expected = PlainAppInfo::read(bytes);
        QVERIFY2(areEqual(read(bytes), expected), qPrintable(QString::number(seed)));
        for (const SteamAppInfo::Section &section : expected)
            count += section.executables.isEmpty() ? 0 : 1;
    }
    // The medleys are of use only if they hold sections.
    QVERIFY(count > 30);
}

void tst_SteamAppInfo::wordsAtEveryPlace()
{
    for (const char *const word : {"clienticon", "name", "executable", "arguments"}) {
        for (int before = 0; before < 200; ++before) {
            const QByteArray bytes = QByteArray(before, '-') + word + '\0' + QByteArray("v.exe\0appinfo", 13);
            QCOMPARE(read(bytes).size(), 1);
            QVERIFY2(areEqual(read(bytes), PlainAppInfo::read(bytes)), word);
        }
    }
}

void tst_SteamAppInfo::cutAtEveryPlace()
{
    SteamCacheBuilder cache(SteamCacheBuilder::TreeWithHash);
    cache.add({10, "Copper Canyon", "c0ffee", {{"bin\\canyon.exe", "-w"}}});
    cache.add({20, "Second", "b0b", {{"b.exe", ""}}});
    const QByteArray bytes = cache.build();
    for (qsizetype size = 0; size <= bytes.size(); ++size)
        QVERIFY(areEqual(read(bytes.first(size), 33), PlainAppInfo::read(QByteArrayView(bytes).first(size))));
}

void tst_SteamAppInfo::longRuns()
{
    const QByteArray line(10 * 1024 * 1024, 'n');
    const Sections sections =
        read("name" + line + '\0' + line + '\0' + line + "appinfo" + line + '\0' + "appinfo", 256 * 1024);
    QCOMPARE(sections.size(), 2);
    QCOMPARE(sections.at(0).name, QString::fromLatin1(line));
}

void tst_SteamAppInfo::manyExecutablesAreLinear()
{
    const auto cache = [](int count) {
        QByteArray bytes;
        for (int i = 0; i < count; ++i)
            bytes += QByteArray("executable\0", 11) + QByteArray::number(i) + QByteArray(".exe\0", 5);
        return bytes + QByteArray("appinfo\0", 8);
    };
    // A list that is searched for each of them would take minutes.
    QCOMPARE(read(cache(100000)).at(0).executables.size(), 100000);
}

QTEST_GUILESS_MAIN(tst_SteamAppInfo)
#include "tst_steamappinfo.moc"
