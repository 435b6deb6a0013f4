#include "XEnvironment.h"

#include <QtTest/QTest>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QString metadata = QStringLiteral("app.metadata");

QVariant choice(const QString &name)
{
    return XEnvironment::varChoice(name, QStringLiteral("sku"));
}

} // namespace

class tst_XEnvironment : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void unknownName_data();
    void unknownName();
    void defaultPathIsBesideTheProgram();
    void defaultPathStaysWhenTheFolderChanges();
    void environmentGoesBeforeTheDefault();
    void emptyVariableCountsAsUnset();
    void defaultCanBeTakenBack();
    void choiceIsNotLookedAt();
    void manyThreads();
};

void tst_XEnvironment::init()
{
    qunsetenv("KVPROGRAM_METADATA");
    XEnvironment::setDefault(metadata, QVariant());
}

void tst_XEnvironment::unknownName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("other") << u"app.other"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("case") << u"App.Metadata"_s;
    QTest::newRow("variable's name") << u"KVPROGRAM_METADATA"_s;
}

void tst_XEnvironment::unknownName()
{
    QFETCH(const QString, name);
    qputenv("KVPROGRAM_METADATA", "/a");
    QVERIFY(!choice(name).isValid());
    XEnvironment::setDefault(name, 42);
    QCOMPARE(choice(name), QVariant(42));
    QCOMPARE(choice(metadata), QVariant(u"/a"_s));
    XEnvironment::setDefault(name, QVariant());
    QVERIFY(!choice(name).isValid());
}

void tst_XEnvironment::defaultPathIsBesideTheProgram()
{
    const QVariant value = choice(metadata);
    QCOMPARE(value.typeId(), static_cast<int>(QMetaType::QString));
    QCOMPARE(value.toString(), QCoreApplication::applicationDirPath() + u"/app.metadata.json"_s);
    QVERIFY(!value.toString().contains(u'\\'));
}

void tst_XEnvironment::defaultPathStaysWhenTheFolderChanges()
{
    const QVariant before = choice(metadata);
    const QString folder = QDir::currentPath();
    QVERIFY(QDir::setCurrent(QDir::rootPath()));
    const QVariant after = choice(metadata);
    QVERIFY(QDir::setCurrent(folder));
    QCOMPARE(after, before);
}

void tst_XEnvironment::environmentGoesBeforeTheDefault()
{
    XEnvironment::setDefault(metadata, u"/preset.json"_s);
    QCOMPARE(choice(metadata), QVariant(u"/preset.json"_s));
    const QString path = u"/\u6587/m.json"_s;
    qputenv("KVPROGRAM_METADATA", path.toLocal8Bit());
    QCOMPARE(choice(metadata), QVariant(QString::fromLocal8Bit(path.toLocal8Bit())));
    qunsetenv("KVPROGRAM_METADATA");
    QCOMPARE(choice(metadata), QVariant(u"/preset.json"_s));
}

void tst_XEnvironment::emptyVariableCountsAsUnset()
{
    qputenv("KVPROGRAM_METADATA", "");
    QVERIFY(choice(metadata).toString().endsWith(u"/app.metadata.json"_s));
    XEnvironment::setDefault(metadata, u"/preset.json"_s);
    QCOMPARE(choice(metadata), QVariant(u"/preset.json"_s));
}

void tst_XEnvironment::defaultCanBeTakenBack()
{
    const QVariant beside = choice(metadata);
    XEnvironment::setDefault(metadata, u"/1"_s);
    XEnvironment::setDefault(metadata, u"/2"_s);
    QCOMPARE(choice(metadata), QVariant(u"/2"_s));
    XEnvironment::setDefault(metadata, QVariant());
    QCOMPARE(choice(metadata), beside);
}

void tst_XEnvironment::choiceIsNotLookedAt()
{
    const QVariant value = choice(metadata);
    QCOMPARE(XEnvironment::varChoice(metadata, QString()), value);
    QCOMPARE(XEnvironment::varChoice(metadata, u"other"_s), value);
}

void tst_XEnvironment::manyThreads()
{
    std::thread writer([] {
        for (int i = 0; i < 1000; ++i)
            XEnvironment::setDefault(u"k"_s, i % 2 == 0 ? QVariant(u"v"_s) : QVariant());
    });
    bool isWhole = true;
    for (int i = 0; i < 1000; ++i) {
        const QVariant value = choice(u"k"_s);
        isWhole = isWhole && (!value.isValid() || value == QVariant(u"v"_s));
    }
    writer.join();
    QVERIFY(isWhole);
    QVERIFY(!choice(u"k"_s).isValid());
}

QTEST_GUILESS_MAIN(tst_XEnvironment)
#include "tst_xenvironment.moc"
