#include "formats/RegistryText.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

using RegistryText::Document;
using RegistryText::Entry;
using RegistryText::Fault;

class tst_RegistryText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsKeysAndRemovals();
    void readsValue_data();
    void readsValue();
    void readsExpandableText();
    void readsEncodings_data();
    void readsEncodings();
    void readsNarrowData_data();
    void readsNarrowData();
    void keepsUnpairedSurrogates();
    void skipsCommentsAndBlanks();
    void reportsFault_data();
    void reportsFault();
    void reportsMissingHeader_data();
    void reportsMissingHeader();
    void countsLinesOfContinuedValues();
    void goesOnAfterBrokenContinuation();
    void keepsValuesOutOfOtherKeys();
    void endsSearchForQuotationMark();
    void writesReadableText();
    void writesKeyBeforeStrayValue();
    void leavesOutWhatCannotBeWritten();
    void readsBackRandomEntries();
    void survivesEveryCut();
};

namespace {

const QByteArray Header = "Windows Registry Editor Version 5.00\r\n\r\n";
const QString Key = QStringLiteral("HKEY_CURRENT_USER\\Software\\Contoso");

QByteArray fileWith(const QByteArray &lines)
{
    return Header + "[" + Key.toUtf8() + "]\r\n" + lines + "\r\n";
}

Entry keyEntry(const QString &key, Entry::Kind kind = Entry::AddKey)
{
    Entry entry;
    entry.kind = kind;
    entry.key = key;
    return entry;
}

Entry valueEntry(const QString &name, const QVariant &value, bool expandable = false)
{
    return {Entry::SetValue, Key, name, value, expandable};
}

QByteArray utf16(const QString &text)
{
    QByteArray bytes("\xFF\xFE");
    for (QChar c : text)
        bytes.append(static_cast<char>(c.unicode() & 0xFF)).append(static_cast<char>(c.unicode() >> 8));
    return bytes;
}

QVariant onlyValue(const Document &document)
{
    if (!document.faults.isEmpty())
        return QStringLiteral("fault: ") + document.faults.first().text;
    return document.entries.size() == 2 ? document.entries.last().value : QVariant();
}

} // namespace

void tst_RegistryText::readsKeysAndRemovals()
{
    const Document document = RegistryText::parse(Header + "[HKEY_USERS\\A]\r\n"
                                                           "\"gone\"=-\r\n"
                                                           "@=-\r\n"
                                                           "[-HKEY_USERS\\B] ; no more\r\n"
                                                           "  [HKEY_USERS\\With ] bracket]\r\n"
                                                           "[NO_SUCH_ROOT\\x]");
    QVERIFY(document.faults.isEmpty());
    QCOMPARE(document.entries.size(), 6);
    QVERIFY(document.entries.at(0) == keyEntry(QStringLiteral("HKEY_USERS\\A")));
    QVERIFY(document.entries.at(1) ==
            (Entry{Entry::RemoveValue, QStringLiteral("HKEY_USERS\\A"), QStringLiteral("gone"), {}, false}));
    QVERIFY(document.entries.at(2) == (Entry{Entry::RemoveValue, QStringLiteral("HKEY_USERS\\A"), {}, {}, false}));
    QVERIFY(document.entries.at(3) == keyEntry(QStringLiteral("HKEY_USERS\\B"), Entry::RemoveKey));
    QVERIFY(document.entries.at(4) == keyEntry(QStringLiteral("HKEY_USERS\\With ] bracket")));
    QVERIFY(document.entries.at(5) == keyEntry(QStringLiteral("NO_SUCH_ROOT\\x")));
}

void tst_RegistryText::readsValue_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *title, const QByteArray &line, const QVariant &value,
                        const QString &name = QStringLiteral("n")) { QTest::newRow(title) << line << name << value; };
    row("text", "\"n\"=\"some text\"", QStringLiteral("some text"));
    row("empty text", "\"n\"=\"\"", QString());
    row("default value", "@=\"d\"", QStringLiteral("d"), QString());
    row("escapes", R"("n"="C:\\a \"b\"")", QStringLiteral("C:\\a \"b\""));
    row("escapes in the name", R"("a\\b\"c"="x")", QStringLiteral("x"), QStringLiteral("a\\b\"c"));
    row("semicolon in a text", "\"n\"=\"a;b\" ; comment", QStringLiteral("a;b"));
    row("bracket in a text", "\"n\"=\"[a]\"", QStringLiteral("[a]"));
    row("blanks around", " \t\"n\" = \"x\" \t", QStringLiteral("x"));
    row("line break in a text", "\"n\"=\"one\r\ntwo\n\n[three]\"", QStringLiteral("one\r\ntwo\n\n[three]"));
    row("dword", "\"n\"=dword:0000002a", 42);
    row("dword, high bit", "\"n\"=dword:ffffffff", -1);
    row("dword, few digits", "\"n\"=DWORD:1F ; comment", 31);
    row("hex", "\"n\"=hex:01,02,ff", QByteArray("\x01\x02\xff"));
    row("hex, empty", "\"n\"=hex:", QByteArray(""));
    row("hex, one digit and blanks", "\"n\"=hex: 1, a ,FF", QByteArray("\x01\x0a\xff"));
    row("hex, continued", "\"n\"=hex:01,\\\r\n  02,\\ ; comment\r\n\t03", QByteArray("\x01\x02\x03"));
    row("hex(0)", "\"n\"=hex(0):07", QByteArray("\x07"));
    row("hex(3)", "\"n\"=hex(3):07", QByteArray("\x07"));
    row("hex(8)", "\"n\"=hex(8):07", QByteArray("\x07"));
    row("hex(1)", "\"n\"=hex(1):41,00,20,ac,00,00", QStringLiteral("A\uAC20"));
    row("hex(1), no zero", "\"n\"=hex(1):41,00,42,00", QStringLiteral("AB"));
    row("hex(1), text after the zero", "\"n\"=hex(1):41,00,00,00,42,00", QStringLiteral("A"));
    row("hex(1), odd length", "\"n\"=hex(1):41,00,42", QStringLiteral("A"));
    row("hex(4)", "\"n\"=hex(4):01,02,00,00", 0x201);
    row("hex(5)", "\"n\"=hex(5):00,00,02,01", 0x201);
    row("hex(b)", "\"n\"=hex(b):01,00,00,00,00,00,00,80", qint64(quint64(1) << 63 | 1));
    row("hex(B)", "\"n\"=HEX(B):01,00,00,00,00,00,00,00", qint64(1));
    row("hex(7)", "\"n\"=hex(7):41,00,00,00,42,00,43,00,00,00,00,00",
        QStringList{QStringLiteral("A"), QStringLiteral("BC")});
    row("hex(7), empty", "\"n\"=hex(7):00,00", QStringList());
    row("hex(7), no bytes", "\"n\"=hex(7):", QStringList());
    row("hex(7), not ended", "\"n\"=hex(7):41,00,00,00,42,00", QStringList{QStringLiteral("A"), QStringLiteral("B")});
    row("hex(7), ended early", "\"n\"=hex(7):41,00,00,00,00,00,42,00,00,00,00,00", QStringList{QStringLiteral("A")});
}

void tst_RegistryText::readsValue()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    const Document document = RegistryText::parse(fileWith(line));
    QCOMPARE(onlyValue(document), value);
    QCOMPARE(onlyValue(document).typeId(), value.typeId());
    QVERIFY(document.entries.last() == valueEntry(name, value));
}

void tst_RegistryText::readsExpandableText()
{
    const Document document = RegistryText::parse(fileWith("\"n\"=hex(2):25,00,61,00,25,00,00,00"));
    QCOMPARE(onlyValue(document), QVariant(QStringLiteral("%a%")));
    QVERIFY(document.entries.last().expandable);
}

void tst_RegistryText::readsEncodings_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QString text = QStringLiteral("Windows Registry Editor Version 5.00\n[K]\n\"\u00FC\u6E38\"=\"\u20AC\"\n");
    QTest::newRow("UTF-16") << utf16(text);
    QTest::newRow("UTF-16, odd length") << utf16(text) + 'x';
    QTest::newRow("UTF-8") << text.toUtf8();
    QTest::newRow("UTF-8 with mark") << "\xEF\xBB\xBF" + text.toUtf8();
}

void tst_RegistryText::readsEncodings()
{
    QFETCH(QByteArray, bytes);
    const Document document = RegistryText::parse(bytes);
    QCOMPARE(onlyValue(document), QVariant(QStringLiteral("\u20AC")));
    QCOMPARE(document.entries.last().name, QStringLiteral("\u00FC\u6E38"));
}

void tst_RegistryText::readsNarrowData_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("quoted") << QByteArray("\"n\"=\"\x80\xFC\"") << QVariant(QStringLiteral("\u20AC\u00FC"));
    QTest::newRow("hex(1)") << QByteArray("\"n\"=hex(1):41,80,00") << QVariant(QStringLiteral("A\u20AC"));
    QTest::newRow("hex(2)") << QByteArray("\"n\"=hex(2):41,42") << QVariant(QStringLiteral("AB"));
    QTest::newRow("hex(7)") << QByteArray("\"n\"=hex(7):41,00,42,00,00")
                            << QVariant(QStringList{QStringLiteral("A"), QStringLiteral("B")});
}

void tst_RegistryText::readsNarrowData()
{
    QFETCH(QByteArray, line);
    QFETCH(QVariant, value);
    QCOMPARE(onlyValue(RegistryText::parse("REGEDIT4\r\n\r\n[K]\r\n" + line)), value);
}

void tst_RegistryText::keepsUnpairedSurrogates()
{
    const QString lone = QString(QChar(0xD800)) + u'x' + QChar(0xDC00);
    const QString text = QStringLiteral("Windows Registry Editor Version 5.00\n[K]\n@=\"%1\"").arg(lone);
    QCOMPARE(onlyValue(RegistryText::parse(utf16(text))), QVariant(lone));
    QCOMPARE(onlyValue(RegistryText::parse(fileWith("@=hex(2):00,d8,78,00,00,dc,00,00"))), QVariant(lone));
}

void tst_RegistryText::skipsCommentsAndBlanks()
{
    const Document document = RegistryText::parse(Header + "; [A]\r\n\r\n \t \r\n  ; \"n\"=\"x\"\r\n;");
    QVERIFY(document.entries.isEmpty());
    QVERIFY(document.faults.isEmpty());
}

void tst_RegistryText::reportsFault_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("words") << QByteArray("nonsense");
    QTest::newRow("unquoted name") << QByteArray("n=\"x\"");
    QTest::newRow("broken escape") << QByteArray(R"("n"="a\b")");
    QTest::newRow("broken escape in the name") << QByteArray(R"("\n"="a")");
    QTest::newRow("unterminated text") << QByteArray("\"n\"=\"a");
    QTest::newRow("text that ends in a backslash") << QByteArray(R"("n"="C:\")");
    QTest::newRow("unterminated name") << QByteArray("\"n");
    QTest::newRow("no equals sign") << QByteArray("\"n\"");
    QTest::newRow("no value") << QByteArray("\"n\"=");
    QTest::newRow("unquoted value") << QByteArray("\"n\"=5");
    QTest::newRow("unknown type") << QByteArray("\"n\"=qword:1");
    QTest::newRow("unknown hex type") << QByteArray("\"n\"=hex(x):1");
    QTest::newRow("hex type without end") << QByteArray("\"n\"=hex(:1");
    QTest::newRow("text and more") << QByteArray("\"n\"=\"a\" b");
    QTest::newRow("removal and more") << QByteArray("\"n\"=-1");
    QTest::newRow("dword without digits") << QByteArray("\"n\"=dword:");
    QTest::newRow("dword with nine digits") << QByteArray("\"n\"=dword:123456789");
    QTest::newRow("dword with a letter") << QByteArray("\"n\"=dword:0000000g");
    QTest::newRow("hex with a letter") << QByteArray("\"n\"=hex:0g");
    QTest::newRow("hex with three digits") << QByteArray("\"n\"=hex:001");
    QTest::newRow("hex with a last comma") << QByteArray("\"n\"=hex:01,");
    QTest::newRow("hex without a comma") << QByteArray("\"n\"=hex:01 02");
    QTest::newRow("short number") << QByteArray("\"n\"=hex(4):01,02");
    QTest::newRow("short big-endian number") << QByteArray("\"n\"=hex(5):01,02");
    QTest::newRow("long 64-bit number") << QByteArray("\"n\"=hex(b):01,02,03,04,05,06,07,08,09");
    QTest::newRow("unfinished data") << QByteArray("\"n\"=hex:01,\\");
}

void tst_RegistryText::reportsFault()
{
    QFETCH(QByteArray, line);
    const Document document = RegistryText::parse(fileWith("\"before\"=\"1\"\r\n" + line + "\r\n\"after\"=\"2\""));
    QCOMPARE(document.faults.size(), 1);
    QCOMPARE(document.faults.first().line, 5);
    QVERIFY(!document.faults.first().text.isEmpty());
    QCOMPARE(document.entries.size(), 3);
    QVERIFY(document.entries.at(1) == valueEntry(QStringLiteral("before"), QStringLiteral("1")));
    QVERIFY(document.entries.at(2) == valueEntry(QStringLiteral("after"), QStringLiteral("2")));
}

void tst_RegistryText::reportsMissingHeader_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("only a mark") << QByteArray("\xFF\xFE");
    QTest::newRow("key first") << QByteArray("[K]\r\n@=\"x\"");
    QTest::newRow("other version") << QByteArray("Windows Registry Editor Version 6.00\r\n[K]");
    QTest::newRow("longer word") << QByteArray("REGEDIT45\r\n[K]");
}

void tst_RegistryText::reportsMissingHeader()
{
    QFETCH(QByteArray, bytes);
    const Document document = RegistryText::parse(bytes);
    QVERIFY(document.entries.isEmpty());
    QCOMPARE(document.faults.size(), 1);
    QCOMPARE(document.faults.first().line, 1);
}

void tst_RegistryText::countsLinesOfContinuedValues()
{
    const Document document = RegistryText::parse(fileWith("\"a\"=hex:01,\\\r\n02,\\\r\n03\r\n"
                                                           "\"b\"=\"one\r\ntwo\"\r\n"
                                                           "broken\r\n"
                                                           "\"c\"=hex:0x,\\\r\n  02\r\n"
                                                           "broken again"));
    QCOMPARE(document.entries.size(), 3);
    QCOMPARE(document.faults.size(), 3);
    QCOMPARE(document.faults.at(0).line, 9);
    QCOMPARE(document.faults.at(1).line, 10);
    QCOMPARE(document.faults.at(2).line, 12);
}

void tst_RegistryText::goesOnAfterBrokenContinuation()
{
    const Document document = RegistryText::parse(fileWith("\"a\"=hex:01,\\\r\n[HKEY_USERS\\B]\r\n@=\"x\""));
    QCOMPARE(document.faults.size(), 1);
    QCOMPARE(document.faults.first().line, 4);
    QCOMPARE(document.entries.size(), 3);
    QCOMPARE(document.entries.last().key, QStringLiteral("HKEY_USERS\\B"));
}

void tst_RegistryText::keepsValuesOutOfOtherKeys()
{
    for (const char *key : {"[HKEY_USERS\\B", "[]", "[-]", "[B] x", "[-HKEY_USERS\\B]"}) {
        const Document document = RegistryText::parse(fileWith(QByteArray(key) + "\r\n@=\"stray\""));
        for (const Entry &entry : document.entries)
            QVERIFY2(entry.kind != Entry::SetValue, key);
        QCOMPARE(document.faults.last().line, 5);
    }
    const Document document = RegistryText::parse(Header + "@=\"stray\"");
    QCOMPARE(document.faults.size(), 1);
    QCOMPARE(document.faults.first().line, 3);
}

void tst_RegistryText::endsSearchForQuotationMark()
{
    const QByteArray tooLong(2 << 20, 'x');
    const Document document = RegistryText::parse(fileWith("@=\"\r\n;" + tooLong + "\"\r\n\"n\"=\"1\""));
    QCOMPARE(document.faults.size(), 1);
    QCOMPARE(document.faults.first().line, 4);
    QCOMPARE(document.entries.size(), 2);
}

void tst_RegistryText::writesReadableText()
{
    const QList<Entry> entries = {
        keyEntry(Key),
        valueEntry(QString(), QStringLiteral("C:\\a \"b\"")),
        valueEntry(QStringLiteral("n\\"), 42),
        valueEntry(QStringLiteral("x"), QStringLiteral("%a"), true),
        valueEntry(QStringLiteral("lines"), QStringLiteral("1\n")),
        valueEntry(QStringLiteral("list"), QStringList{QStringLiteral("A")}),
        {Entry::RemoveValue, Key, QStringLiteral("gone"), {}, false},
        keyEntry(QStringLiteral("B"), Entry::RemoveKey),
    };
    const QByteArray expected = "Windows Registry Editor Version 5.00\r\n"
                                "\r\n"
                                "[HKEY_CURRENT_USER\\Software\\Contoso]\r\n"
                                "@=\"C:\\\\a \\\"b\\\"\"\r\n"
                                "\"n\\\\\"=dword:0000002a\r\n"
                                "\"x\"=hex(2):25,00,61,00,00,00\r\n"
                                "\"lines\"=hex(1):31,00,0a,00,00,00\r\n"
                                "\"list\"=hex(7):41,00,00,00,00,00\r\n"
                                "\"gone\"=-\r\n"
                                "\r\n"
                                "[-B]\r\n";
    QCOMPARE(RegistryText::serialize(entries), expected);
    QVERIFY(RegistryText::parse(expected).entries == entries);
}

void tst_RegistryText::writesKeyBeforeStrayValue()
{
    const Entry value = valueEntry(QStringLiteral("n"), 1);
    const Document document =
        RegistryText::parse(RegistryText::serialize({value, keyEntry(Key, Entry::RemoveKey), value}));
    QVERIFY(document.faults.isEmpty());
    const QList<Entry> expected = {keyEntry(Key), value, keyEntry(Key, Entry::RemoveKey), keyEntry(Key), value};
    QVERIFY(document.entries == expected);
}

void tst_RegistryText::leavesOutWhatCannotBeWritten()
{
    const QString lone(QChar(0xD800));
    const QList<Entry> entries = {
        keyEntry(QString()),
        keyEntry(QStringLiteral("A\nB")),
        keyEntry(QStringLiteral("-A")),
        keyEntry(lone),
        valueEntry(lone, 1),
        keyEntry(Key),
    };
    const Document document = RegistryText::parse(RegistryText::serialize(entries));
    QVERIFY(document.faults.isEmpty());
    QVERIFY(document.entries == QList<Entry>{keyEntry(Key)});
}

namespace {

QString randomText(QRandomGenerator &random, int maxLength, bool allowsSurrogates)
{
    static const QString Specials = QStringLiteral("\\\"[];=-@, \t\r\n%\u00E9\u6E38\u2028\u0085\u007F\u0001");
    QString text;
    for (int length = random.bounded(maxLength + 1); length > 0; --length) {
        const int kind = random.bounded(8);
        if (kind < 3)
            text += Specials.at(random.bounded(static_cast<int>(Specials.size())));
        else if (kind == 3 && allowsSurrogates)
            text += QChar(static_cast<ushort>(random.bounded(0xD800, 0xE000)));
        else if (kind == 4)
            text += QString::fromUcs4(U"\U0001F3AE", 1);
        else
            text += QChar(static_cast<ushort>(random.bounded(0x20, 0x7F)));
    }
    return text;
}

QVariant randomValue(QRandomGenerator &random)
{
    switch (random.bounded(5)) {
    case 0:
        return static_cast<int>(random.generate());
    case 1:
        return static_cast<qint64>(random.generate64());
    case 2: {
        QByteArray bytes(random.bounded(60), '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random.bounded(256));
        return bytes;
    }
    case 3: {
        QStringList texts;
        for (int i = random.bounded(4); i > 0; --i)
            texts.append(u'x' + randomText(random, 8, true));
        return texts;
    }
    default:
        return randomText(random, 20, true);
    }
}

QList<Entry> randomEntries(QRandomGenerator &random)
{
    QList<Entry> entries;
    for (int keys = random.bounded(1, 6); keys > 0; --keys) {
        const QString key = QStringLiteral("HKEY_USERS\\") + randomText(random, 10, false).remove(u'\n');
        if (random.bounded(4) == 0) {
            entries.append(keyEntry(key, Entry::RemoveKey));
            continue;
        }
        entries.append(keyEntry(key));
        for (int values = random.bounded(6); values > 0; --values) {
            Entry entry;
            entry.kind = random.bounded(5) == 0 ? Entry::RemoveValue : Entry::SetValue;
            entry.key = key;
            entry.name = randomText(random, 10, false);
            if (entry.kind == Entry::SetValue)
                entry.value = randomValue(random);
            entry.expandable = entry.value.typeId() == QMetaType::QString && random.bounded(2) == 0;
            entries.append(entry);
        }
    }
    return entries;
}

} // namespace

void tst_RegistryText::readsBackRandomEntries()
{
    QRandomGenerator random(20240229);
    for (int i = 0; i < 2000; ++i) {
        const QList<Entry> entries = randomEntries(random);
        const QByteArray bytes = RegistryText::serialize(entries);
        const Document document = RegistryText::parse(bytes);
        QVERIFY2(document.faults.isEmpty(), bytes.constData());
        QVERIFY2(document.entries == entries, bytes.constData());
    }
}

void tst_RegistryText::survivesEveryCut()
{
    QRandomGenerator random(7);
    for (int i = 0; i < 5; ++i) {
        const QByteArray bytes = RegistryText::serialize(randomEntries(random));
        const qsizetype whole = RegistryText::parse(bytes).entries.size();
        for (qsizetype length = 0; length < bytes.size(); ++length) {
            const Document document = RegistryText::parse(QByteArray(bytes.constData(), length));
            QVERIFY(document.entries.size() <= whole);
            QVERIFY(document.faults.size() <= whole + 1);
        }
    }
}

QTEST_GUILESS_MAIN(tst_RegistryText)
#include "tst_registrytext.moc"
