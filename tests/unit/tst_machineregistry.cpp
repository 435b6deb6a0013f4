#include "../support/LogCatcher.h"
#include "../support/MachineBuilder.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/MachineRegistry.h"
#include "platform/portable/RegistryData.h"
#include "platform/portable/RegistryJournal.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace KvPlatform;
using RegistryText::Entry;

namespace {

const QString Machine = u"HKEY_LOCAL_MACHINE"_s;
const QString Software = u"HKEY_LOCAL_MACHINE\\Software"_s;

} // namespace

class TestMachineRegistry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void types();
    void settings_data();
    void settings();
    void unsetSettings();
    void letterCase();
    void namesWithSeparators();
    void defaultValue();
    void childGroups();
    void allKeys();
    void removes();
    void removesContent();
    void permanentKeys();
    void unknownKeys_data();
    void unknownKeys();
    void users();
    void processWithoutUser();
    void filesInOrder();
    void faults();
    void badFiles();
    void deepKeys();
    void oddNames();
    void savesOnlyWhatWasWritten();
    void keepsEarlierWrites();
    void removalsAreSaved();
    void folderThatRefuses();
    void journal_data();
    void journal();
    void manyThreads();
    void equalWriteChangesNothing();
    void savesOnTopOfOthers();
    void lastOfTwoWritesStands();
    void refreshTakesInChanges();
    void refreshSeesQuickChanges();
    void refreshKeepsWhatIsNotSaved();
    void refreshWarnsOfNewFaultsOnly();
    void folderIsLockedByOne();

private:
    static QVariant read(const MachineRegistry &registry, const QString &name);
    static QString registryFolder(const MachineBuilder &machine) { return machine.path() + u"/registry"_s; }
    static MachineFacts twoUsers();
};

QVariant TestMachineRegistry::read(const MachineRegistry &registry, const QString &name)
{
    return registry.value(Software, name, u"absent"_s);
}

MachineFacts TestMachineRegistry::twoUsers()
{
    MachineFacts facts;
    facts.consoleUser = MachineUser{u"kim"_s, u"DESK"_s, u"S-1-5-21-1"_s, QByteArray("k")};
    facts.processUser = MachineUser{u"ada"_s, u"DESK"_s, u"S-1-5-21-2"_s, QByteArray("a")};
    return facts;
}

void TestMachineRegistry::types()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, QString::fromUtf8(R"([HKEY_LOCAL_MACHINE\Software]
"text"="C:\\Games \"x\""
"number"=dword:80000001
"long"=hex(b):01,00,00,00,01,00,00,00
"expand"=hex(2):25,00,41,00,25,00,00,00
"list"=hex(7):61,00,00,00,62,00,00,00,00,00
"binary"=hex:61,00,62,00,63
@="default"
)"));
    const LogCatcher log;
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
    QCOMPARE(read(registry, u"text"_s), QVariant(u"C:\\Games \"x\""_s));
    QCOMPARE(read(registry, u"number"_s), QVariant(int(0x80000001)));
    QCOMPARE(read(registry, u"long"_s), QVariant(qint64(0x100000001)));
    QCOMPARE(read(registry, u"long"_s).typeId(), int(QMetaType::LongLong));
    QCOMPARE(read(registry, u"expand"_s), QVariant(u"%A%"_s));
    QCOMPARE(read(registry, u"list"_s), QVariant(QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(read(registry, u"binary"_s), QVariant(u"ab"_s));
    QCOMPARE(read(registry, u"Default"_s), QVariant(u"default"_s));
}

void TestMachineRegistry::settings_data()
{
    QTest::addColumn<QVariant>("setting");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QVariant>("back");
    const auto row = [](const char *name, const QVariant &setting, const QVariant &stored, const QVariant &back) {
        QTest::newRow(name) << setting << stored << back;
    };
    row("text", u"a"_s, u"a"_s, u"a"_s);
    row("empty", u""_s, u""_s, u""_s);
    row("at", u"@a"_s, u"@@a"_s, u"@a"_s);
    row("two at", u"@@a"_s, u"@@@a"_s, u"@@a"_s);
    row("bool", true, u"true"_s, u"true"_s);
    row("double", 1.5, u"1.5"_s, u"1.5"_s);
    row("int", -1, -1, -1);
    row("unsigned", 5U, 5, 5);
    row("long", qint64(1) << 40, qint64(1) << 40, qint64(1) << 40);
    row("invalid", QVariant(), u"@Invalid()"_s, QVariant());
    row("bytes", QByteArray("a\xff"), u"@ByteArray(a\u00ff)"_s, QByteArray("a\xff"));
    row("zero", u"a"_s + QChar(0), QByteArray::fromHex("61000000"), u"a"_s + QChar(0));
    row("list", QStringList{u"a"_s, u"@b"_s}, QStringList{u"a"_s, u"@@b"_s}, QStringList{u"a"_s, u"@b"_s});
    row("variants", QVariantList{u"a"_s, QByteArray("b")}, QStringList{u"a"_s, u"@ByteArray(b)"_s},
        QVariantList{u"a"_s, QByteArray("b")});
}

void TestMachineRegistry::settings()
{
    QFETCH(QVariant, setting);
    QTEST(RegistryData::fromSetting(setting), "stored");
    QTEST(RegistryData::toSetting(RegistryData::fromSetting(setting)), "back");
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"x"_s, setting);
    QTEST(read(registry, u"x"_s), "back");
    QVERIFY(registry.contains(Software, u"x"_s));
}

void TestMachineRegistry::unsetSettings()
{
    MachineRegistry registry{QString(), MachineFacts()};
    QCOMPARE(registry.value(Software, u"x"_s, u"fallback"_s), QVariant(u"fallback"_s));
    QCOMPARE(registry.value(Software, u"x"_s, QVariant()), QVariant());
    QCOMPARE(registry.value(Software, QString(), u"fallback"_s), QVariant());
    registry.setValue(Software, QString(), u"a"_s);
    QCOMPARE(registry.allKeys(Machine), QStringList());
    QCOMPARE(registry.childGroups(Machine), QStringList());
}

void TestMachineRegistry::letterCase()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(u"HKEY_LOCAL_MACHINE\\SoftWare\\Straße"_s, u"Name"_s, 1);
    registry.setValue(u"hkey_local_machine\\SOFTWARE\\STRAßE"_s, u"NAME"_s, 2);
    QCOMPARE(registry.childGroups(Machine), QStringList{u"SoftWare"_s});
    QCOMPARE(registry.allKeys(Machine), QStringList{u"SoftWare/Straße/Name"_s});
    QCOMPARE(registry.value(Software + u"\\straße"_s, u"nAME"_s, 0), QVariant(2));
    // Not the same name to the registry.
    QVERIFY(!registry.contains(Software + u"\\STRASSE"_s, u"Name"_s));
}

void TestMachineRegistry::namesWithSeparators()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"a/b\\c"_s, 1);
    QCOMPARE(registry.childGroups(Software), QStringList{u"a"_s});
    QCOMPARE(registry.allKeys(Software + u"\\a"_s), QStringList{u"b\\c"_s});
    QCOMPARE(read(registry, u"//A//B\\C/"_s), QVariant(1));
    QCOMPARE(registry.value(Software + u"\\a"_s, u"b\\c"_s, 0), QVariant(1));
    registry.setValue(Software + u"\\x/y"_s, u"v"_s, 2);
    QCOMPARE(registry.childGroups(Software), (QStringList{u"a"_s, u"x\\y"_s}));
    QCOMPARE(read(registry, u"x\\y/v"_s), QVariant(2));
}

void TestMachineRegistry::defaultValue()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"."_s, u"one"_s);
    QCOMPARE(read(registry, u"Default"_s), QVariant(u"one"_s));
    QCOMPARE(registry.allKeys(Software), QStringList{u"."_s});
    registry.setValue(Software, u"sub/Default"_s, u"two"_s);
    QCOMPARE(registry.value(Software + u"\\sub"_s, u"."_s, {}), QVariant(u"two"_s));
    QVERIFY(registry.contains(Software, QString()));
    registry.remove(Software, u"Default"_s);
    QVERIFY(!registry.contains(Software, u"."_s));
}

void TestMachineRegistry::childGroups()
{
    MachineRegistry registry{QString(), MachineFacts()};
    for (const char *name : {"b", "_x", "A", "C", "a2", "{guid}", "10", "9"})
        registry.setValue(Software + u'\\' + QString::fromLatin1(name), u"v"_s, 1);
    const QStringList expected{u"10"_s, u"9"_s, u"A"_s, u"a2"_s, u"b"_s, u"C"_s, u"_x"_s, u"{guid}"_s};
    QCOMPARE(registry.childGroups(Software), expected);
    QCOMPARE(registry.childGroups(Software + u'\\'), expected);
    QCOMPARE(registry.childGroups(Software + u"\\missing"_s), QStringList());
}

void TestMachineRegistry::allKeys()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"b"_s, 1);
    registry.setValue(Software, u"A"_s, 1);
    registry.setValue(Software, u"sub/x"_s, 1);
    registry.setValue(Software, u"sub/."_s, 1);
    QCOMPARE(registry.allKeys(Software), (QStringList{u"A"_s, u"b"_s, u"sub/."_s, u"sub/x"_s}));
    QCOMPARE(registry.allKeys(u"HKEY_LOCAL_MACHINE\\None"_s), QStringList());
}

void TestMachineRegistry::removes()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"x"_s, 1);
    registry.setValue(Software, u"x/deep/y"_s, 1);
    registry.setValue(Software, u"z"_s, 1);
    registry.remove(Software, u"X"_s);
    QCOMPARE(registry.allKeys(Software), QStringList{u"z"_s});
    QCOMPARE(registry.childGroups(Software), QStringList());
    registry.setValue(Software, u"a/b/c"_s, 1);
    registry.remove(Software, u"a/b"_s);
    QCOMPARE(registry.childGroups(Software), QStringList{u"a"_s});
    QVERIFY(!registry.contains(Software, u"a/b/c"_s));
    registry.remove(Software, u"none/at/all"_s);
    QCOMPARE(registry.allKeys(Software), QStringList{u"z"_s});
}

void TestMachineRegistry::removesContent()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(Software, u"one/x"_s, 1);
    registry.setValue(Software, u"two/x"_s, 1);
    registry.remove(Software + u"\\one"_s, QString());
    QCOMPARE(registry.childGroups(Software), QStringList{u"two"_s});
    registry.remove(Machine, u"Software"_s);
    QCOMPARE(registry.childGroups(Machine), QStringList());
}

void TestMachineRegistry::permanentKeys()
{
    MachineBuilder machine;
    const QString hive = u"HKEY_USERS\\S-1-5-21-1"_s;
    MachineRegistry registry(registryFolder(machine), twoUsers());
    registry.setValue(hive, u"sub/x"_s, 1);
    registry.setValue(hive, u"y"_s, 1);
    registry.setValue(u"HKEY_CLASSES_ROOT"_s, u".txt/."_s, u"text"_s);
    registry.remove(u"HKEY_USERS"_s, QString());
    QCOMPARE(registry.allKeys(hive), (QStringList{u"sub/x"_s, u"y"_s}));
    registry.remove(u"HKEY_USERS"_s, u"S-1-5-21-1"_s);
    QCOMPARE(registry.allKeys(hive), QStringList());
    QCOMPARE(registry.childGroups(u"HKEY_USERS"_s), QStringList{u"S-1-5-21-1"_s});
    registry.remove(u"HKEY_CLASSES_ROOT"_s, QString());
    QCOMPARE(registry.childGroups(u"HKEY_CLASSES_ROOT"_s), QStringList());
    const MachineRegistry again(registryFolder(machine), twoUsers());
    QCOMPARE(again.allKeys(u"HKEY_USERS"_s), QStringList());
    QCOMPARE(again.allKeys(u"HKEY_CLASSES_ROOT"_s), QStringList());
}

void TestMachineRegistry::unknownKeys_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("empty") << QString();
    QTest::newRow("separator") << u"\\"_s;
    QTest::newRow("short root") << u"HKLM\\Software"_s;
    QTest::newRow("relative") << u"SOFTWARE\\Foo"_s;
    QTest::newRow("longer root") << u"HKEY_LOCAL_MACHINES\\Software"_s;
    QTest::newRow("no user") << u"HKEY_USERS\\\\Software"_s;
    QTest::newRow("all users") << u"HKEY_USERS"_s;
    QTest::newRow("all users, separator") << u"HKEY_USERS\\"_s;
    QTest::newRow("unknown user") << u"HKEY_USERS\\S-1-5-21-9\\Software"_s;
    QTest::newRow("zero") << Software + QChar(0) + u"x"_s;
    QTest::newRow("long name") << Software + u'\\' + QString(256, u'x');
    QTest::newRow("deep") << Machine + u"\\x"_s.repeated(512);
}

void TestMachineRegistry::unknownKeys()
{
    QFETCH(QString, key);
    MachineBuilder machine;
    MachineRegistry registry(registryFolder(machine), twoUsers());
    registry.setValue(key, u"x"_s, 1);
    registry.remove(key, u"x"_s);
    registry.remove(key, QString());
    registry.setValue(key, u"x"_s, 1);
    QVERIFY(!registry.contains(key, u"x"_s));
    QCOMPARE(registry.value(key, u"x"_s, u"fallback"_s), QVariant(u"fallback"_s));
    QCOMPARE(registry.allKeys(key), QStringList());
    QCOMPARE(registry.childGroups(key), QStringList());
    QVERIFY(machine.read(u"registry/zz-written.reg"_s).isEmpty());
}

void TestMachineRegistry::users()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"[HKEY_USERS\\S-1-5-21-7]\n[HKEY_CURRENT_USER\\Software]\n\"a\"=\"mine\"\n"_s);
    MachineRegistry registry(registryFolder(machine), twoUsers());
    QCOMPARE(registry.value(u"HKEY_USERS\\S-1-5-21-2\\Software"_s, u"a"_s, {}), QVariant(u"mine"_s));
    registry.setValue(u"HKEY_USERS\\s-1-5-21-1\\Software"_s, u"a"_s, u"kim's"_s);
    QCOMPARE(registry.value(u"HKEY_CURRENT_USER\\Software"_s, u"a"_s, {}), QVariant(u"mine"_s));
    QCOMPARE(registry.value(u"HKEY_USERS\\S-1-5-21-1\\Software"_s, u"a"_s, {}), QVariant(u"kim's"_s));
    registry.setValue(u"HKEY_USERS\\S-1-5-21-7"_s, u"a"_s, 7);
    QCOMPARE(registry.value(u"HKEY_USERS\\S-1-5-21-7"_s, u"a"_s, {}), QVariant(7));
    registry.setValue(u"HKEY_USERS\\.DEFAULT\\X"_s, u"a"_s, 8);
    QCOMPARE(registry.value(u"HKEY_USERS\\.default\\X"_s, u"a"_s, {}), QVariant(8));
}

void TestMachineRegistry::processWithoutUser()
{
    MachineRegistry registry{QString(), MachineFacts()};
    registry.setValue(u"HKEY_CURRENT_USER\\Software"_s, u"a"_s, 1);
    QCOMPARE(registry.value(u"HKEY_USERS\\.DEFAULT\\Software"_s, u"a"_s, {}), QVariant(1));
}

void TestMachineRegistry::filesInOrder()
{
    MachineBuilder machine;
    machine.addRegistry(u"B.reg"_s,
                        u"[HKEY_LOCAL_MACHINE\\Software]\n\"x\"=\"b\"\n[-HKEY_LOCAL_MACHINE\\Software\\gone]\n"_s
                        u"[HKEY_LOCAL_MACHINE\\Software]\n\"y\"=-\n"_s);
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"x\"=\"a\"\n\"y\"=\"a\"\n"_s
                                    u"[HKEY_LOCAL_MACHINE\\Software\\gone\\deep]\n\"z\"=\"a\"\n"_s);
    machine.addRegistry(u"c.reg.txt"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"x\"=\"c\"\n"_s);
    machine.addRegistry(u"c.REG"_s, u"[HKEY_LOCAL_MACHINE\\Software\\Empty]\n"_s);
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(registry.allKeys(Software), QStringList{u"x"_s});
    QCOMPARE(read(registry, u"x"_s), QVariant(u"b"_s));
    QCOMPARE(registry.childGroups(Software), QStringList{u"Empty"_s});
}

void TestMachineRegistry::faults()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s,
                        u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"x\\q\nnonsense\n\"b\"=dword:xyz\n\"c\"=\"ok\"\n"_s);
    const LogCatcher log;
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 3);
    for (qsizetype i = 0; i < warnings.size(); ++i)
        QVERIFY2(warnings[i].contains(u"/registry/a.reg:%1: "_s.arg(4 + i)), qPrintable(warnings[i]));
    QCOMPARE(registry.allKeys(Software), QStringList{u"c"_s});
}

void TestMachineRegistry::badFiles()
{
    MachineBuilder machine;
    machine.write(u"registry/empty.reg"_s, QByteArray());
    machine.write(u"registry/random.reg"_s, QByteArray(10000, '\x81'));
    machine.write(u"registry/root.reg"_s, "REGEDIT4\n\n[HKEY_NOWHERE\\x]\n\"a\"=\"b\"\n\"c\"=\"d\"\n");
    machine.addRegistry(u"z.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"c\"=\"ok\"\n"_s);
    QVERIFY(QDir().mkpath(registryFolder(machine) + u"/folder.reg"_s));
    const LogCatcher log;
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(registry.allKeys(Software), QStringList{u"c"_s});
    QCOMPARE(log.texts(QtWarningMsg).filter(u"HKEY_NOWHERE"_s).size(), 1);
    QVERIFY(!log.texts(QtWarningMsg).filter(u"random.reg"_s).isEmpty());
}

void TestMachineRegistry::deepKeys()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE"_s + u"\\x"_s.repeated(200000) + u"]\n\"a\"=\"b\"\n"_s);
    const LogCatcher log;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(registry.childGroups(Machine), QStringList());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).first().size() < 1000);
    registry.setValue(Machine, u"x/"_s.repeated(100000) + u"a"_s, 1);
    QCOMPARE(registry.childGroups(Machine), QStringList());
    const QString deepest = Machine + u"\\x"_s.repeated(511);
    registry.setValue(deepest, u"a"_s, 1);
    QCOMPARE(registry.value(deepest, u"a"_s, 0), QVariant(1));
    QCOMPARE(registry.allKeys(Machine).size(), 1);
}

void TestMachineRegistry::oddNames()
{
    MachineBuilder machine;
    const QString lone = u"a"_s + QChar(0xD800);
    {
        MachineRegistry registry(registryFolder(machine), MachineFacts());
        registry.setValue(Software, lone, u"x"_s);
        registry.setValue(Software, u"quo\"te"_s, u"a\r\nb\\"_s);
        registry.setValue(Software + u"\\[key]"_s, u"v"_s, u"x"_s);
        QCOMPARE(read(registry, lone), QVariant(u"x"_s));
    }
    const LogCatcher log;
    const MachineRegistry again(registryFolder(machine), MachineFacts());
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
    QCOMPARE(read(again, u"quo\"te"_s), QVariant(u"a\r\nb\\"_s));
    QCOMPARE(again.childGroups(Software), QStringList{u"[key]"_s});
}

void TestMachineRegistry::savesOnlyWhatWasWritten()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"given\"=\"a\"\n"_s);
    MachineRegistry registry(registryFolder(machine), twoUsers());
    QVERIFY(machine.read(u"registry/zz-written.reg"_s).isEmpty());
    registry.setValue(Software, u"new"_s, u"b"_s);
    registry.setValue(u"HKEY_CURRENT_USER\\Software"_s, u"mine"_s, 7);
    const RegistryText::Document saved = RegistryText::parse(machine.read(u"registry/zz-written.reg"_s));
    QCOMPARE(saved.faults.size(), 0);
    QStringList values;
    for (const Entry &entry : saved.entries) {
        if (entry.kind == Entry::SetValue)
            values.append(entry.key + u'|' + entry.name + u'=' + entry.value.toString());
    }
    QCOMPARE(values, (QStringList{Software + u"|new=b"_s, u"HKEY_USERS\\S-1-5-21-2\\Software|mine=7"_s}));
    const MachineRegistry again(registryFolder(machine), twoUsers());
    QCOMPARE(again.allKeys(Software), (QStringList{u"given"_s, u"new"_s}));
    QCOMPARE(again.value(u"HKEY_CURRENT_USER\\Software"_s, u"mine"_s, 0), QVariant(7));
}

void TestMachineRegistry::keepsEarlierWrites()
{
    MachineBuilder machine;
    for (int i = 0; i < 3; ++i) {
        MachineRegistry registry(registryFolder(machine), MachineFacts());
        registry.setValue(Software, u"value%1"_s.arg(i), i);
    }
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(registry.allKeys(Software), (QStringList{u"value0"_s, u"value1"_s, u"value2"_s}));
}

void TestMachineRegistry::removalsAreSaved()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s,
                        u"[HKEY_LOCAL_MACHINE\\Software\\A]\n\"x\"=\"1\"\n[HKEY_LOCAL_MACHINE\\Software\\B]\n"_s
                        u"\"x\"=\"1\"\n\"y\"=\"2\"\n"_s);
    {
        MachineRegistry registry(registryFolder(machine), MachineFacts());
        registry.remove(Software, u"A"_s);
        registry.remove(Software, u"B/x"_s);
        registry.setValue(Software, u"A/new"_s, 1);
    }
    const MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(registry.allKeys(Software), (QStringList{u"A/new"_s, u"B/y"_s}));
}

void TestMachineRegistry::folderThatRefuses()
{
    MachineBuilder machine;
    machine.write(u"registry"_s, "a file in place of the folder");
    const LogCatcher log;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    registry.setValue(Software, u"a"_s, 1);
    registry.setValue(Software, u"b"_s, 2);
    QCOMPARE(registry.allKeys(Software), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void TestMachineRegistry::journal_data()
{
    QTest::addColumn<QString>("changes");
    QTest::addColumn<QString>("expected");
    QTest::newRow("one value") << u"=A:x"_s << u"+A =A:x"_s;
    QTest::newRow("same value") << u"=A:x =A:X"_s << u"+A =A:X"_s;
    QTest::newRow("two keys") << u"=A:x =B:x =A:y"_s << u"+A =A:x =A:y +B =B:x"_s;
    QTest::newRow("removed value") << u"=A:x ~A:x"_s << u"+A ~A:x"_s;
    QTest::newRow("removed key") << u"=A:x =A\\B:x =AB:x -A"_s << u"+AB =AB:x -A"_s;
    QTest::newRow("key again") << u"-A =A:x"_s << u"-A +A =A:x"_s;
    QTest::newRow("key below") << u"=A:x -A\\B =A:y"_s << u"+A =A:x =A:y -A\\B"_s;
    QTest::newRow("key above") << u"-A\\B =A\\B:x -a"_s << u"-a"_s;
    QTest::newRow("same key") << u"+A +a"_s << u"+A"_s;
}

void TestMachineRegistry::journal()
{
    QFETCH(QString, changes);
    const QString marks = u"+-=~"_s;
    RegistryJournal journal;
    for (const QString &change : changes.split(u' ')) {
        Entry entry;
        entry.kind = Entry::Kind(marks.indexOf(change[0]));
        entry.key = change.mid(1).section(u':', 0, 0);
        entry.name = change.section(u':', 1);
        journal.add(entry);
    }
    QStringList result;
    for (const Entry &entry : journal.entries())
        result.append(marks[int(entry.kind)] + entry.key + (entry.name.isEmpty() ? u""_s : u':' + entry.name));
    QTEST(result.join(u' '), "expected");
}

void TestMachineRegistry::manyThreads()
{
    MachineBuilder machine;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    const auto write = [&registry](const QString &name) {
        for (int i = 0; i < 60; ++i) {
            registry.setValue(Software, name + QString::number(i % 10), i);
            registry.allKeys(Software);
            registry.remove(Software, u"none"_s);
        }
    };
    std::thread one(write, u"one"_s);
    std::thread two(write, u"two"_s);
    one.join();
    two.join();
    QCOMPARE(registry.allKeys(Software).size(), 20);
    const MachineRegistry again(registryFolder(machine), MachineFacts());
    QCOMPARE(again.allKeys(Software), registry.allKeys(Software));
    QCOMPARE(read(again, u"two9"_s), QVariant(59));
}

void TestMachineRegistry::equalWriteChangesNothing()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"x\"\n\"e\"=hex(2):78,00,00,00\n"_s);
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    registry.setValue(Software, u"A"_s, u"x"_s);
    QVERIFY(machine.read(u"registry/zz-written.reg"_s).isEmpty());
    // An expandable text is another one, and so is a number.
    registry.setValue(Software, u"e"_s, u"x"_s);
    QVERIFY(machine.read(u"registry/zz-written.reg"_s).contains("\"e\"=\"x\""));
    registry.setValue(Software, u"n"_s, 1);
    registry.setValue(Software, u"n"_s, u"1"_s);
    QVERIFY(machine.read(u"registry/zz-written.reg"_s).contains("\"n\"=\"1\""));
}

void TestMachineRegistry::savesOnTopOfOthers()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"given\"=\"1\"\n"_s);
    MachineRegistry one(registryFolder(machine), MachineFacts());
    MachineRegistry other(registryFolder(machine), MachineFacts());
    one.setValue(Software, u"one"_s, 1);
    other.setValue(Software, u"other"_s, 2);
    QCOMPARE(other.allKeys(Software), QStringList({u"given"_s, u"one"_s, u"other"_s}));
    other.remove(Software, u"given"_s);
    one.setValue(Software, u"Child/one"_s, 3);
    QCOMPARE(one.allKeys(Software), QStringList({u"Child/one"_s, u"one"_s, u"other"_s}));
    const MachineRegistry again(registryFolder(machine), MachineFacts());
    QCOMPARE(again.allKeys(Software), one.allKeys(Software));
}

void TestMachineRegistry::lastOfTwoWritesStands()
{
    MachineBuilder machine;
    MachineRegistry one(registryFolder(machine), MachineFacts());
    MachineRegistry other(registryFolder(machine), MachineFacts());
    one.setValue(Software, u"a"_s, u"one"_s);
    other.setValue(Software, u"a"_s, u"other"_s);
    one.refresh();
    QCOMPARE(read(one, u"a"_s), QVariant(u"other"_s));
    one.remove(Software, u"a"_s);
    other.refresh();
    QVERIFY(!other.contains(Software, u"a"_s));
}

void TestMachineRegistry::refreshTakesInChanges()
{
    MachineBuilder machine;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    registry.refresh();
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"1\"\n\"b\"=\"1\"\n"_s);
    registry.refresh();
    QCOMPARE(read(registry, u"a"_s), QVariant(u"1"_s));
    registry.setValue(Software, u"b"_s, u"2"_s);
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"3\"\n\"b\"=\"3\"\n"_s);
    registry.refresh();
    QCOMPARE(read(registry, u"a"_s), QVariant(u"3"_s));
    QCOMPARE(read(registry, u"b"_s), QVariant(u"2"_s));
    QVERIFY(QFile::remove(registryFolder(machine) + u"/a.reg"_s));
    registry.refresh();
    QCOMPARE(registry.allKeys(Software), QStringList{u"b"_s});
    QVERIFY(QFile::remove(registryFolder(machine) + u"/zz-written.reg"_s));
    registry.refresh();
    QCOMPARE(registry.allKeys(Software), QStringList());
}

void TestMachineRegistry::refreshSeesQuickChanges()
{
    MachineBuilder machine;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    // Texts of one length, faster than the times of the file system go on.
    for (int i = 100; i < 150; ++i) {
        machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"%1\"\n"_s.arg(i));
        registry.refresh();
        QCOMPARE(read(registry, u"a"_s), QVariant(QString::number(i)));
    }
}

void TestMachineRegistry::refreshKeepsWhatIsNotSaved()
{
    MachineBuilder machine;
    QVERIFY(QDir().mkpath(registryFolder(machine) + u"/zz-written.reg/in the way"_s));
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    const LogCatcher log;
    registry.setValue(Software, u"a"_s, u"mine"_s);
    registry.setValue(Software, u"Child/b"_s, u"mine"_s);
    machine.addRegistry(u"a.reg"_s, u"[HKEY_LOCAL_MACHINE\\Software]\n\"a\"=\"theirs\"\n\"c\"=\"theirs\"\n"_s);
    registry.refresh();
    QCOMPARE(read(registry, u"a"_s), QVariant(u"mine"_s));
    QCOMPARE(registry.allKeys(Software), QStringList({u"Child/b"_s, u"a"_s, u"c"_s}));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    // As soon as there is a way, all of it is saved.
    QVERIFY(QDir(registryFolder(machine) + u"/zz-written.reg"_s).removeRecursively());
    registry.setValue(Software, u"d"_s, u"mine"_s);
    const MachineRegistry again(registryFolder(machine), MachineFacts());
    QCOMPARE(again.allKeys(Software), QStringList({u"Child/b"_s, u"a"_s, u"c"_s, u"d"_s}));
    QCOMPARE(read(again, u"a"_s), QVariant(u"mine"_s));
}

void TestMachineRegistry::refreshWarnsOfNewFaultsOnly()
{
    MachineBuilder machine;
    machine.addRegistry(u"a.reg"_s, u"nonsense\n"_s);
    const LogCatcher log;
    MachineRegistry registry(registryFolder(machine), MachineFacts());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    machine.addRegistry(u"b.reg"_s, u"[HKEY_NOWHERE]\n"_s);
    registry.refresh();
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(log.texts(QtWarningMsg).constLast().contains(u"b.reg: no such root"_s));
    registry.setValue(Software, u"a"_s, 1);
    registry.refresh();
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void TestMachineRegistry::folderIsLockedByOne()
{
    const MachineBuilder machine;
    bool isTaken = true;
    auto lock = FolderLock::tryLock(machine.path(), &isTaken);
    QVERIFY(lock);
    QVERIFY(!isTaken);
    QVERIFY(!FolderLock::tryLock(machine.path(), &isTaken));
    QVERIFY(isTaken);
    lock.reset();
    QVERIFY(FolderLock::tryLock(machine.path(), &isTaken));
    QVERIFY(!FolderLock::tryLock(machine.path() + u"/absent/folder"_s, &isTaken));
    QVERIFY(!isTaken);
}

QTEST_GUILESS_MAIN(TestMachineRegistry)
#include "tst_machineregistry.moc"
