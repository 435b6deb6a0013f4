#include "../support/VersionBuilder.h"

#include "formats/VersionInfo.h"

#include <QtTest/QTest>

class tst_VersionInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTexts_data();
    void findsTexts();
    void findsTranslations();
    void findsFixedInfo();
    void hasNoFixedInfo();
    void reportsStoredLength_data();
    void reportsStoredLength();
    void givesEmptyValueForEmptyText();
    void readsRootMarkedAsText();
    void rejectsOtherBytes_data();
    void rejectsOtherBytes();
    void endsAtDamagedChild_data();
    void endsAtDamagedChild();
    void survivesEveryCut();
};

namespace {

VersionBuilder twoLanguages()
{
    VersionBuilder version;
    version.tables = {
        {0x0409,
         0x04B0,
         {{QStringLiteral("CompanyName"), QStringLiteral("Contoso")},
          {QStringLiteral("ProductName"), QStringLiteral("Notes")}}},
        {0x0407, 0x04E4, {{QStringLiteral("ProductName"), QStringLiteral("Notizen \u00DC")}}},
    };
    return version;
}

const QString ProductName = QStringLiteral("\\StringFileInfo\\040904b0\\ProductName");

} // namespace

void tst_VersionInfo::findsTexts_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    QTest::newRow("first table") << ProductName << "Notes";
    QTest::newRow("first text") << "\\StringFileInfo\\040904b0\\CompanyName"
                                << "Contoso";
    QTest::newRow("second table") << "\\StringFileInfo\\040704e4\\ProductName" << QStringLiteral("Notizen \u00DC");
    QTest::newRow("other case") << "\\stringfileinfo\\040904B0\\PRODUCTNAME"
                                << "Notes";
    QTest::newRow("no leading backslash") << "StringFileInfo\\040904b0\\ProductName"
                                          << "Notes";
    QTest::newRow("unknown text") << "\\StringFileInfo\\040904b0\\Comments" << QString();
    QTest::newRow("unknown table") << "\\StringFileInfo\\04090000\\ProductName" << QString();
    QTest::newRow("below a text") << ProductName + QStringLiteral("\\x") << QString();
    QTest::newRow("part of a key") << "\\StringFileInfo\\040904b0\\Product" << QString();
}

void tst_VersionInfo::findsTexts()
{
    QFETCH(QString, path);
    QFETCH(QString, text);
    const QByteArray bytes = twoLanguages().build();
    const auto info = VersionInfo::parse(bytes);
    QVERIFY(info);
    const auto value = info->query(path);
    QCOMPARE(value.has_value(), !text.isNull());
    if (value) {
        QCOMPARE(VersionInfo::text(*value), text);
        QCOMPARE(value->length, static_cast<quint32>(text.size() + 1));
    }
}

void tst_VersionInfo::findsTranslations()
{
    const QByteArray bytes = twoLanguages().build();
    const auto value = VersionInfo::parse(bytes)->query(QStringLiteral("\\VarFileInfo\\Translation"));
    QVERIFY(value);
    QCOMPARE(value->length, 8u);
    QCOMPARE(value->bytes.toByteArray(), QByteArray::fromHex("0904b0040704e404"));
}

void tst_VersionInfo::findsFixedInfo()
{
    const QByteArray bytes = twoLanguages().build();
    const auto value = VersionInfo::parse(bytes)->query(QStringLiteral("\\"));
    QVERIFY(value);
    QCOMPARE(value->length, 52u);
    QCOMPARE(value->bytes.size(), 52);
    QCOMPARE(value->bytes.first(4).toByteArray(), QByteArray::fromHex("bd04effe"));
}

void tst_VersionInfo::hasNoFixedInfo()
{
    VersionBuilder version = twoLanguages();
    version.hasFixedInfo = false;
    const QByteArray bytes = version.build();
    const auto info = VersionInfo::parse(bytes);
    QCOMPARE(info->query(QStringLiteral("\\"))->length, 0u);
    QCOMPARE(VersionInfo::text(*info->query(ProductName)), QStringLiteral("Notes"));
}

void tst_VersionInfo::reportsStoredLength_data()
{
    QTest::addColumn<int>("counting");
    QTest::addColumn<quint32>("length");
    QTest::newRow("with zero") << int(VersionBuilder::UnitsWithZero) << 6u;
    QTest::newRow("without zero") << int(VersionBuilder::UnitsWithoutZero) << 5u;
    QTest::newRow("in bytes") << int(VersionBuilder::Bytes) << 12u;
}

void tst_VersionInfo::reportsStoredLength()
{
    QFETCH(int, counting);
    QFETCH(quint32, length);
    VersionBuilder version = twoLanguages();
    version.textLength = static_cast<VersionBuilder::TextLength>(counting);
    const QByteArray bytes = version.build();
    const auto value = VersionInfo::parse(bytes)->query(ProductName);
    QVERIFY(value);
    QCOMPARE(value->length, length);
    QCOMPARE(value->bytes.size(), 12); // Never beyond the node.
    QCOMPARE(VersionInfo::text(*value), QStringLiteral("Notes"));
}

void tst_VersionInfo::givesEmptyValueForEmptyText()
{
    const QByteArray text = VersionBuilder::node(QStringLiteral("Empty"), {}, 0, 1);
    const QByteArray bytes = VersionBuilder::node(QStringLiteral("VS_VERSION_INFO"), {}, 0, 0, {text});
    const auto value = VersionInfo::parse(bytes)->query(QStringLiteral("Empty"));
    QVERIFY(value);
    QCOMPARE(value->length, 0u);
    QVERIFY(value->bytes.isEmpty());
    QVERIFY(VersionInfo::text(*value).isEmpty());
}

void tst_VersionInfo::readsRootMarkedAsText()
{
    QByteArray bytes = twoLanguages().build();
    bytes[4] = '\x01';
    const auto info = VersionInfo::parse(bytes);
    QCOMPARE(info->query(QStringLiteral("\\"))->bytes.size(), 52);
    QCOMPARE(VersionInfo::text(*info->query(ProductName)), QStringLiteral("Notes"));
}

void tst_VersionInfo::rejectsOtherBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray good = twoLanguages().build();
    QByteArray shortLength = good;
    shortLength.replace(0, 2, QByteArray::fromHex("0500"));
    QByteArray longLength = good;
    longLength.replace(0, 2, QByteArray::fromHex("ffff"));
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("other key") << VersionBuilder::node(QStringLiteral("StringFileInfo"), {}, 0, 0);
    QTest::newRow("length below the header's") << shortLength;
    QTest::newRow("length beyond the end") << longLength;
    QTest::newRow("key without end") << QByteArray::fromHex("0a00000000005600") + QByteArray("S\0", 2);
}

void tst_VersionInfo::rejectsOtherBytes()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!VersionInfo::parse(bytes));
}

void tst_VersionInfo::endsAtDamagedChild_data()
{
    QTest::addColumn<QByteArray>("length");
    QTest::newRow("zero") << QByteArray::fromHex("0000");
    QTest::newRow("below the header's") << QByteArray::fromHex("0400");
    QTest::newRow("beyond the parent") << QByteArray::fromHex("ff7f");
}

void tst_VersionInfo::endsAtDamagedChild()
{
    QFETCH(QByteArray, length);
    const QByteArray first = VersionBuilder::node(QStringLiteral("First"), {}, 0, 1);
    QByteArray damaged = VersionBuilder::node(QStringLiteral("Damaged"), {}, 0, 1);
    damaged.replace(0, 2, length);
    const QByteArray last = VersionBuilder::node(QStringLiteral("Last"), {}, 0, 1);
    const QByteArray bytes = VersionBuilder::node(QStringLiteral("VS_VERSION_INFO"), {}, 0, 0, {first, damaged, last});
    const auto info = VersionInfo::parse(bytes);
    QVERIFY(info->query(QStringLiteral("First")));
    QVERIFY(!info->query(QStringLiteral("Damaged")));
    QVERIFY(!info->query(QStringLiteral("Last")));
}

void tst_VersionInfo::survivesEveryCut()
{
    const QByteArray bytes = twoLanguages().build();
    for (qsizetype length = 0; length < bytes.size(); ++length) {
        QByteArray cut(bytes.constData(), length);
        QVERIFY(!VersionInfo::parse(cut));
        if (length < 8)
            continue;
        qToLittleEndian(static_cast<quint16>(length), cut.data()); // As if the block itself were that short.
        const auto info = VersionInfo::parse(cut);
        const auto value = info ? info->query(ProductName) : std::nullopt;
        if (value)
            QVERIFY(value->bytes.data() + value->bytes.size() <= cut.constData() + cut.size());
    }
}

QTEST_GUILESS_MAIN(tst_VersionInfo)
#include "tst_versioninfo.moc"
