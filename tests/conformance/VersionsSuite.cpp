#include "../support/PeBuilder.h"
#include "../support/VersionBuilder.h"
#include "Computer.h"
#include "platform/Platform.h"
#include "platform/VersionResources.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::VersionBlock;
using KvPlatform::VersionText;

class VersionsSuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void twoLanguages();
    void texts_data();
    void texts();
    void absentBlocks_data();
    void absentBlocks();
    void damagedBlocks();
    void language();

private:
    static std::unique_ptr<VersionBlock> load(Computer &computer, const QByteArray &program);
    static QByteArray program(const VersionBuilder &version);
    static VersionBuilder sample();
};

QByteArray VersionsSuite::program(const VersionBuilder &version)
{
    PeBuilder pe;
    pe.addVersion(version.build());
    return pe.build();
}

VersionBuilder VersionsSuite::sample()
{
    VersionBuilder version;
    version.tables = {{0x0409, 0x04B0, {{u"ProductName"_s, u"Quill"_s}, {u"Comments"_s, QString()}}},
                      {0x0411, 0x04B0, {{u"ProductName"_s, u"\u7fbd\u30da\u30f3"_s}}}};
    return version;
}

std::unique_ptr<VersionBlock> VersionsSuite::load(Computer &computer, const QByteArray &program)
{
    const QString path = computer.addFile(u"Sub Folder/\u00e9.exe"_s, program);
    return computer.platform().versions->load(QString(path).replace(u'/', u'\\'));
}

void VersionsSuite::twoLanguages()
{
    const auto computer = Computer::create();
    const auto block = load(*computer, program(sample()));
    QVERIFY(block);
    QCOMPARE(block->binary(u"\\VarFileInfo\\Translation"_s), QByteArray::fromHex("0904b0041104b004"));
    QCOMPARE(block->text(u"\\StringFileInfo\\040904b0\\ProductName"_s).value_or(VersionText()).text, u"Quill"_s);
    QCOMPARE(block->text(u"\\StringFileInfo\\041104b0\\ProductName"_s).value_or(VersionText()).text,
             u"\u7fbd\u30da\u30f3"_s);
}

void VersionsSuite::texts_data()
{
    QTest::addColumn<QString>("subBlock");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &subBlock, bool exists, const QString &text = QString()) {
        QTest::newRow(name) << subBlock << exists << text;
    };
    row("key", u"\\StringFileInfo\\040904b0\\ProductName"_s, true, u"Quill"_s);
    row("letter case", u"\\stringfileinfo\\040904B0\\PRODUCTNAME"_s, true, u"Quill"_s);
    row("empty text", u"\\StringFileInfo\\040904b0\\Comments"_s, true);
    row("absent key", u"\\StringFileInfo\\040904b0\\SpecialBuild"_s, false);
    row("key of another table", u"\\StringFileInfo\\041104b0\\Comments"_s, false);
    row("absent table", u"\\StringFileInfo\\040704b0\\ProductName"_s, false);
    row("no table", u"\\StringFileInfo\\\\ProductName"_s, false);
}

void VersionsSuite::texts()
{
    QFETCH(QString, subBlock);
    QFETCH(bool, exists);
    QFETCH(QString, text);
    const auto computer = Computer::create();
    const auto block = load(*computer, program(sample()));
    QVERIFY(block);
    const std::optional<VersionText> found = block->text(subBlock);
    QCOMPARE(found.has_value(), exists);
    if (found) {
        QCOMPARE(found->text, text);
        QCOMPARE(found->length, quint32(text.size() + 1));
    }
}

void VersionsSuite::absentBlocks_data()
{
    QTest::addColumn<QByteArray>("content");
    PeBuilder plain;
    plain.hasResourceSection = false;
    PeBuilder other;
    other.resources.append({PeBuilder::IconType, 1, 0x0409, "icon", {}});
    const QByteArray whole = program(sample());
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("text") << QByteArray("just a text that is no program");
    QTest::newRow("no resources") << plain.build();
    QTest::newRow("other resources") << other.build();
    QTest::newRow("cut in the header") << whole.left(0x50);
}

void VersionsSuite::absentBlocks()
{
    QFETCH(QByteArray, content);
    const auto computer = Computer::create();
    QVERIFY(!load(*computer, content));
    QVERIFY(!computer->platform().versions->load(QString(computer->folder()).replace(u'/', u'\\')));
    QVERIFY(!computer->platform().versions->load(QString(computer->folder()).replace(u'/', u'\\') + u"\\absent.exe"_s));
}

void VersionsSuite::damagedBlocks()
{
    // Every 16-bit length in the block is made a lie, one at a time. Answers may differ, but all stay in the block.
    const QByteArray whole = sample().build();
    const QString subBlocks[] = {u"\\VarFileInfo\\Translation"_s, u"\\StringFileInfo\\041104b0\\ProductName"_s};
    const auto computer = Computer::create();
    for (qsizetype offset = 0; offset + 2 <= whole.size(); offset += 2) {
        QByteArray bytes = whole;
        bytes.replace(offset, 2, "\xff\xff", 2);
        PeBuilder pe;
        pe.addVersion(bytes);
        const auto block = load(*computer, pe.build());
        for (const QString &subBlock : subBlocks) {
            const QByteArray binary = block ? block->binary(subBlock).value_or(QByteArray()) : QByteArray();
            const VersionText text = block ? block->text(subBlock).value_or(VersionText()) : VersionText();
            QVERIFY2(binary.size() <= 4 * whole.size(), qPrintable(QString::number(offset)));
            QVERIFY2(2 * text.text.size() <= 4 * whole.size(), qPrintable(QString::number(offset)));
        }
    }
}

void VersionsSuite::language()
{
    const auto computer = Computer::create();
    constexpr quint16 PrimaryLanguage = 0x3FF;
    QVERIFY((computer->platform().versions->userInterfaceLanguage() & PrimaryLanguage) != 0);
}

QTEST_GUILESS_MAIN(VersionsSuite)
#include "VersionsSuite.moc"
