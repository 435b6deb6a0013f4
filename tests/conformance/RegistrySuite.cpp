#include "Computer.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/Session.h"

#include <QtTest/QTest>

using namespace Qt::StringLiterals;
using KvPlatform::Registry;

class RegistrySuite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stored_data();
    void stored();
    void written_data();
    void written();
    void letterCase();
    void namesWithSlashes();
    void defaultValue();
    void containsOnlyValues();
    void listings();
    void removesValuesAndKeys();
    void removesContent();
    void absent_data();
    void absent();
    void emptyNames();
    void ownHive();

private:
    static Registry &registry(Computer &computer) { return *computer.platform().registry; }
};

namespace {

const QString Key = Computer::registryKey();

} // namespace

void RegistrySuite::stored_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("text") << u"\"a b\\\\c\\\"d\""_s << QVariant(u"a b\\c\"d"_s);
    QTest::newRow("empty text") << u"\"\""_s << QVariant(QString());
    QTest::newRow("text beyond the code page")
        << u"\"\u00e9\u65e5\U0001f9f1\""_s << QVariant(u"\u00e9\u65e5\U0001f9f1"_s);
    QTest::newRow("number") << u"dword:0000002a"_s << QVariant(42);
    QTest::newRow("number beyond the half") << u"dword:ffffffff"_s << QVariant(-1);
    QTest::newRow("large number") << u"hex(b):15,cd,5b,07,01,00,00,00"_s << QVariant(qint64(0x1075BCD15));
    QTest::newRow("expandable text") << u"hex(2):25,00,41,00,25,00,00,00"_s << QVariant(u"%A%"_s);
    QTest::newRow("texts") << u"hex(7):61,00,00,00,62,00,63,00,00,00,00,00"_s << QVariant(QStringList{u"a"_s, u"bc"_s});
    QTest::newRow("binary") << u"hex:61,00,62,00"_s << QVariant(u"ab"_s);
    QTest::newRow("escaped sign") << u"\"@@home\""_s << QVariant(u"@home"_s);
    QTest::newRow("lone sign") << u"\"@home\""_s << QVariant(u"@home"_s);
    QTest::newRow("invalid") << u"\"@Invalid()\""_s << QVariant();
    QTest::newRow("bytes") << u"\"@ByteArray(ab)\""_s << QVariant(QByteArray("ab"));
}

void RegistrySuite::stored()
{
    QFETCH(QString, text);
    QFETCH(QVariant, expected);
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY]\n\"value\"="_s + text + u'\n');
    QVERIFY(registry(*computer).contains(Key, u"value"_s));
    const QVariant actual = registry(*computer).value(Key, u"value"_s, u"absent"_s);
    QCOMPARE(actual.typeId(), expected.typeId());
    QCOMPARE(actual, expected);
}

void RegistrySuite::written_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("expected");
    const auto row = [](const char *name, const QVariant &value, const QVariant &expected) {
        QTest::newRow(name) << value << expected;
    };
    row("text", u"C:/Games/\u65e5.exe"_s, u"C:/Games/\u65e5.exe"_s);
    row("empty text", QString(), QString());
    row("text with a sign", u"@home"_s, u"@home"_s);
    row("number", 7, 7);
    row("unsigned number", 4294967295U, -1);
    row("large number", qint64(1) << 40, qint64(1) << 40);
    row("truth", true, u"true"_s);
    row("fraction", 1.5, u"1.5"_s);
    row("texts", QStringList({u"a"_s, u"@b"_s}), QStringList({u"a"_s, u"@b"_s}));
    row("mixed list", QVariantList({u"a"_s, 2}), QStringList({u"a"_s, u"2"_s}));
    row("bytes", QByteArray("\x01z"), QByteArray("\x01z"));
    row("bytes with a zero", QByteArray("a\0b", 3), QByteArray("a\0b", 3));
    row("nothing", QVariant(), QVariant());
}

void RegistrySuite::written()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, expected);
    const auto computer = Computer::create();
    registry(*computer).setValue(Key, u"value"_s, 1);
    registry(*computer).setValue(Key, u"value"_s, value);
    const QVariant actual = registry(*computer).value(Key, u"value"_s, u"absent"_s);
    QCOMPARE(actual.typeId(), expected.typeId());
    QCOMPARE(actual, expected);
}

void RegistrySuite::letterCase()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY\\Child]\n\"Value\"=dword:00000001\n"_s);
    Registry &registry = this->registry(*computer);
    QCOMPARE(registry.value(Key.toLower().replace(u"hkey_current_user"_s, u"HKEY_CURRENT_USER"_s) + u"\\CHILD"_s,
                            u"vALUE"_s, 0),
             QVariant(1));
    registry.setValue(Key + u"\\child"_s, u"VALUE"_s, 2);
    QCOMPARE(registry.allKeys(Key), QStringList{u"Child/Value"_s});
    QCOMPARE(registry.value(Key + u"\\Child"_s, u"Value"_s, 0), QVariant(2));
}

void RegistrySuite::namesWithSlashes()
{
    const auto computer = Computer::create();
    Registry &registry = this->registry(*computer);
    registry.setValue(Key, u"Child/Deep/value"_s, u"text"_s);
    QCOMPARE(registry.value(Key + u"\\Child\\Deep"_s, u"value"_s, QVariant()), QVariant(u"text"_s));
    QCOMPARE(registry.value(Key, u"/Child//Deep/value"_s, QVariant()), QVariant(u"text"_s));
    QVERIFY(registry.contains(Key, u"Child/Deep/value"_s));
    registry.remove(Key, u"Child/Deep/value"_s);
    QVERIFY(!registry.contains(Key, u"Child/Deep/value"_s));
    QCOMPARE(registry.childGroups(Key), QStringList{u"Child"_s});
}

void RegistrySuite::defaultValue()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY]\n@=\"unnamed\"\n[KEY\\Child]\n\"named\"=\"a\"\n"_s);
    Registry &registry = this->registry(*computer);
    for (const QString &name : {u"Default"_s, u"."_s}) {
        QVERIFY(registry.contains(Key, name));
        QVERIFY(!registry.contains(Key + u"\\Child"_s, name));
        QCOMPARE(registry.value(Key, name, QVariant()), QVariant(u"unnamed"_s));
    }
    registry.setValue(Key + u"\\Child"_s, u"Default"_s, u"written"_s);
    QCOMPARE(registry.value(Key + u"\\Child"_s, u"."_s, QVariant()), QVariant(u"written"_s));
    registry.remove(Key, u"."_s);
    QVERIFY(!registry.contains(Key, u"."_s));
}

void RegistrySuite::containsOnlyValues()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY\\Child]\n\"value\"=\"a\"\n"_s);
    QVERIFY(!registry(*computer).contains(Key, u"Child"_s));
    QCOMPARE(registry(*computer).value(Key, u"Child"_s, 5), QVariant(5));
}

void RegistrySuite::listings()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY\\beta]\n\"one\"=\"1\"\n[KEY\\Alpha\\Deep]\n\"two\"=\"2\"\n[KEY\\gamma]\n"_s
                             u"[KEY]\n\"three\"=\"3\"\n"_s);
    QCOMPARE(registry(*computer).childGroups(Key), QStringList({u"Alpha"_s, u"beta"_s, u"gamma"_s}));
    QStringList names = registry(*computer).allKeys(Key);
    names.sort();
    QCOMPARE(names, QStringList({u"Alpha/Deep/two"_s, u"beta/one"_s, u"three"_s}));
}

void RegistrySuite::removesValuesAndKeys()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY]\n\"both\"=\"1\"\n\"other\"=\"2\"\n[KEY\\both\\Deep]\n\"value\"=\"3\"\n"_s);
    Registry &registry = this->registry(*computer);
    registry.remove(Key, u"BOTH"_s);
    QCOMPARE(registry.allKeys(Key), QStringList{u"other"_s});
    QVERIFY(registry.childGroups(Key).isEmpty());
    registry.remove(Key, u"absent"_s);
    QCOMPARE(registry.allKeys(Key), QStringList{u"other"_s});
}

void RegistrySuite::removesContent()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY\\Child]\n\"a\"=\"1\"\n@=\"2\"\n[KEY\\Child\\Deep]\n\"b\"=\"3\"\n[KEY\\Other]\n"_s);
    Registry &registry = this->registry(*computer);
    registry.remove(Key + u"\\Child"_s, QString());
    QVERIFY(registry.allKeys(Key).isEmpty());
    QCOMPARE(registry.childGroups(Key), QStringList{u"Other"_s});
}

void RegistrySuite::absent_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("isWritable");
    QTest::newRow("key") << Key + u"\\Absent"_s << true;
    QTest::newRow("no key") << QString() << false;
    QTest::newRow("unknown root") << u"HKEY_NOBODY\\Software"_s << false;
    QTest::newRow("relative key") << u"SOFTWARE\\KvProgram conformance"_s << false;
    QTest::newRow("user without a SID") << u"HKEY_USERS\\\\Software"_s << false;
    QTest::newRow("unknown user") << u"HKEY_USERS\\S-1-5-21-9-9-9-9\\Software"_s << false;
}

void RegistrySuite::absent()
{
    QFETCH(QString, key);
    QFETCH(bool, isWritable);
    const auto computer = Computer::create();
    Registry &registry = this->registry(*computer);
    QVERIFY(!registry.contains(key, u"value"_s));
    QCOMPARE(registry.value(key, u"value"_s, 5), QVariant(5));
    QCOMPARE(registry.value(key, u"value"_s, QVariant()), QVariant());
    QVERIFY(registry.allKeys(key).isEmpty());
    QVERIFY(registry.childGroups(key).isEmpty());
    if (key.startsWith(u"HKEY_USERS\\S-"_s) && !computer->abilities().usersNeedHives)
        return QTest::qSkip("this system makes a hive for anybody", __FILE__, __LINE__);
    registry.remove(key, u"value"_s);
    registry.setValue(key, u"value"_s, 6);
    QCOMPARE(registry.contains(key, u"value"_s), isWritable);
}

void RegistrySuite::emptyNames()
{
    const auto computer = Computer::create();
    computer->importRegistry(u"[KEY]\n@=\"unnamed\"\n"_s);
    Registry &registry = this->registry(*computer);
    QVERIFY(registry.contains(Key, QString()));
    QCOMPARE(registry.value(Key, QString(), 5), QVariant());
    registry.setValue(Key, QString(), u"written"_s);
    QCOMPARE(registry.value(Key, u"."_s, 5), QVariant(u"unnamed"_s));
}

void RegistrySuite::ownHive()
{
    const auto computer = Computer::create();
    const KvPlatform::Session &session = *computer->platform().session;
    const std::optional<QString> user = session.sessionUserName(session.activeConsoleSession());
    const std::optional<KvPlatform::Account> account = user ? session.lookupAccount(*user) : std::nullopt;
    QVERIFY(account);
    const QString hive = QString(Key).replace(u"HKEY_CURRENT_USER"_s, u"HKEY_USERS\\"_s + account->sidText);
    Registry &registry = this->registry(*computer);
    registry.setValue(Key, u"value"_s, u"own"_s);
    QCOMPARE(registry.value(hive, u"value"_s, QVariant()), QVariant(u"own"_s));
    registry.remove(hive, u"value"_s);
    QVERIFY(!registry.contains(Key, u"value"_s));
}

QTEST_GUILESS_MAIN(RegistrySuite)
#include "RegistrySuite.moc"
