#include "../support/MachineBuilder.h"
#include "../support/PeBuilder.h"
#include "../support/VersionBuilder.h"
#include "platform/portable/MachineDrives.h"
#include "platform/portable/MachineFiles.h"
#include "platform/portable/MachineVersions.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using namespace KvPlatform;

namespace {

QByteArray versionBlock(const QString &product)
{
    VersionBuilder version;
    version.tables.append({0x0409, 0x04B0, {{u"ProductName"_s, product}}});
    return version.build();
}

std::unique_ptr<MachineVersions> versionsOf(const MachineBuilder &machine, quint16 language)
{
    return std::make_unique<MachineVersions>(
        std::make_shared<const MachineFiles>(std::make_shared<const MachineDrives>(machine.path())), language);
}

const QString ProductName = u"\\stringFileInfo\\040904B0\\productname"_s;

} // namespace

class TestMachineVersions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reads();
    void prefersInterfaceLanguage_data();
    void prefersInterfaceLanguage();
    void nothingToRead_data();
    void nothingToRead();
    void hostFile();
};

void TestMachineVersions::reads()
{
    MachineBuilder machine;
    PeBuilder program;
    program.addVersion(versionBlock(u"Notes"_s));
    machine.addFile(u"C:/a/x.exe"_s, program.build());
    const auto versions = versionsOf(machine, 1031);
    QCOMPARE(versions->userInterfaceLanguage(), quint16(1031));
    const auto block = versions->load(u"C:\\A\\X.EXE"_s);
    QVERIFY(block);
    QCOMPARE(block->binary(u"\\VarFileInfo\\Translation"_s).value_or(QByteArray()), QByteArray::fromHex("0904b004"));
    const auto text = block->text(ProductName);
    QVERIFY(text);
    QCOMPARE(text->text, u"Notes"_s);
    QCOMPARE(text->length, 6U);
    QVERIFY(!block->text(u"\\StringFileInfo\\040904b0\\Missing"_s));
    QVERIFY(!block->binary(u"\\Nothing"_s));
}

void TestMachineVersions::prefersInterfaceLanguage_data()
{
    QTest::addColumn<quint16>("language");
    QTest::addColumn<QString>("expected");
    QTest::newRow("first") << quint16(0x0407) << u"Notizen"_s;
    QTest::newRow("second") << quint16(0x0409) << u"Notes"_s;
    QTest::newRow("neither") << quint16(0x040C) << u"Notizen"_s;
}

void TestMachineVersions::prefersInterfaceLanguage()
{
    QFETCH(quint16, language);
    MachineBuilder machine;
    PeBuilder program;
    program.addVersion(versionBlock(u"Notizen"_s), 0x0407);
    program.addVersion(versionBlock(u"Notes"_s), 0x0409);
    machine.addFile(u"C:/x.exe"_s, program.build());
    const auto block = versionsOf(machine, language)->load(u"C:\\x.exe"_s);
    QVERIFY(block);
    QTEST(block->text(ProductName).value_or(VersionText()).text, "expected");
}

void TestMachineVersions::nothingToRead_data()
{
    QTest::addColumn<QByteArray>("content");
    PeBuilder none;
    PeBuilder damaged;
    damaged.addVersion("damaged");
    PeBuilder empty;
    empty.addVersion(QByteArray());
    PeBuilder whole;
    whole.addVersion(versionBlock(u"Notes"_s));
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("MZ but nothing else");
    QTest::newRow("no version") << none.build();
    QTest::newRow("damaged version") << damaged.build();
    QTest::newRow("empty version") << empty.build();
    QTest::newRow("cut off") << whole.build().left(0x420);
}

void TestMachineVersions::nothingToRead()
{
    QFETCH(QByteArray, content);
    MachineBuilder machine;
    machine.addFile(u"C:/x.exe"_s, content);
    machine.addFolder(u"C:/folder.exe"_s);
    const auto versions = versionsOf(machine, 1033);
    QVERIFY(!versions->load(u"C:\\x.exe"_s));
    QVERIFY(!versions->load(u"C:\\folder.exe"_s));
    QVERIFY(!versions->load(u"C:\\missing.exe"_s));
    QVERIFY(!versions->load(QString()));
}

void TestMachineVersions::hostFile()
{
    MachineBuilder machine;
    PeBuilder program;
    program.addVersion(versionBlock(u"Notes"_s));
    machine.addFile(u"C:/x.exe"_s, program.build());
    const MachineVersions versions(std::make_shared<const Files>(), 1033);
    const auto block = versions.load(machine.hostPath(u"C:/x.exe"_s));
    QVERIFY(block);
    QCOMPARE(block->text(ProductName).value_or(VersionText()).text, u"Notes"_s);
}

QTEST_GUILESS_MAIN(TestMachineVersions)
#include "tst_machineversions.moc"
