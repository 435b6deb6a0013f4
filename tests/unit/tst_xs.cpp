#include "XS.h"

#include <QtTest/QTest>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QResource>
#include <QtCore/QTemporaryDir>
#include <QtQml/QJSEngine>

#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Clean-up functions can't carry anything with them.
QString order;
int rebirths = 0;

void cleanUpA()
{
    order += u'a';
}

void cleanUpB()
{
    order += u'b';
}

void cleanUpThatAdds()
{
    order += u'+';
    XS::initSingleton(nullptr, cleanUpA);
}

void cleanUpThatCleansUp()
{
    order += u'(';
    XS::cleanUpSingletons();
    order += u')';
}

void cleanUpThatNeverEnds()
{
    ++rebirths;
    XS::initSingleton(nullptr, cleanUpThatNeverEnds);
}

std::unique_ptr<QCoreApplication> makeApplication()
{
    static int argc = 1;
    static char name[] = "tst_xs";
    static char *argv[] = {name, nullptr};
    return std::make_unique<QCoreApplication>(argc, argv);
}

} // namespace

class tst_XS : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void cleanUpRunsNewestFirst();
    void cleanUpRunsAtTheEndOfEachApplication();
    void cleanUpFromBeforeTheApplication();
    void explicitCleanUpIsNotRepeated();
    void cleanUpMayCallBack_data();
    void cleanUpMayCallBack();
    void rebornSingletonDoesNotKeepTheApplication();
    void initSingletonFromManyThreads();
    void nullArguments();
    void objectIsOwnedByCpp();

    void loadData_data();
    void loadData();
    void loadDataFromResource();
    void loadDataRefusesEndlessFiles();
    void loadJsonValue_data();
    void loadJsonValue();
    void loadJsonValueOfALargeFile();

private:
    QString write(const QString &name, const QByteArray &content);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QCoreApplication> m_application;
};

QString tst_XS::write(const QString &name, const QByteArray &content)
{
    QFile file(m_folder->filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return {};
    return file.fileName();
}

void tst_XS::initTestCase()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void tst_XS::init()
{
    m_application = makeApplication();
    order.clear();
    rebirths = 0;
}

void tst_XS::cleanup()
{
    m_application.reset();
}

void tst_XS::cleanUpRunsNewestFirst()
{
    XS::initSingleton(nullptr, cleanUpA);
    XS::initSingleton(nullptr, cleanUpB);
    XS::initSingleton(nullptr, cleanUpB);
    XS::initSingleton(nullptr, cleanUpA);
    XS::initSingleton(nullptr, cleanUpB);
    QCOMPARE(order, QString());
    XS::cleanUpSingletons();
    QCOMPARE(order, u"babba"_s);
}

void tst_XS::cleanUpRunsAtTheEndOfEachApplication()
{
    XS::initSingleton(nullptr, cleanUpA);
    XS::initSingleton(nullptr, cleanUpB);
    QCOMPARE(order, QString());
    m_application.reset();
    QCOMPARE(order, u"ba"_s);
    m_application = makeApplication();
    XS::initSingleton(nullptr, cleanUpB);
    QCOMPARE(order, u"ba"_s);
    m_application.reset();
    QCOMPARE(order, u"bab"_s);
    makeApplication().reset();
    QCOMPARE(order, u"bab"_s);
}

void tst_XS::cleanUpFromBeforeTheApplication()
{
    m_application.reset();
    XS::initSingleton(nullptr, cleanUpA);
    m_application = makeApplication();
    QCOMPARE(order, QString());
    m_application.reset();
    QCOMPARE(order, u"a"_s);
}

void tst_XS::explicitCleanUpIsNotRepeated()
{
    XS::initSingleton(nullptr, cleanUpA);
    XS::cleanUpSingletons();
    XS::cleanUpSingletons();
    QCOMPARE(order, u"a"_s);
    XS::initSingleton(nullptr, cleanUpB);
    m_application.reset();
    QCOMPARE(order, u"ab"_s);
}

void tst_XS::cleanUpMayCallBack_data()
{
    QTest::addColumn<bool>("atEnd");
    QTest::addColumn<bool>("nested");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("later");

    QTest::newRow("adds, now") << false << false << u"+b"_s << u"a"_s;
    QTest::newRow("adds, at the end") << true << false << u"+ba"_s << QString();
    QTest::newRow("cleans up, now") << false << true << u"(b)"_s << QString();
    QTest::newRow("cleans up, at the end") << true << true << u"(b)"_s << QString();
}

void tst_XS::cleanUpMayCallBack()
{
    QFETCH(const bool, atEnd);
    QFETCH(const bool, nested);
    QFETCH(const QString, expected);
    QFETCH(const QString, later);
    XS::initSingleton(nullptr, cleanUpB);
    XS::initSingleton(nullptr, nested ? cleanUpThatCleansUp : cleanUpThatAdds);
    if (atEnd)
        m_application.reset();
    else
        XS::cleanUpSingletons();
    QCOMPARE(order, expected);
    order.clear();
    XS::cleanUpSingletons();
    QCOMPARE(order, later);
}

void tst_XS::rebornSingletonDoesNotKeepTheApplication()
{
    XS::initSingleton(nullptr, cleanUpThatNeverEnds);
    XS::cleanUpSingletons();
    QCOMPARE(rebirths, 1);
    m_application.reset();
    QVERIFY(rebirths > 1);
    QVERIFY(rebirths < 100);
    const int before = rebirths;
    m_application = makeApplication();
    XS::initSingleton(nullptr, cleanUpA);
    m_application.reset();
    QVERIFY(order == u"a"_s);
    QVERIFY(rebirths > before);
}

void tst_XS::initSingletonFromManyThreads()
{
    XS::cleanUpSingletons();
    order.clear();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 250; ++i)
                XS::initSingleton(nullptr, cleanUpA);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    XS::cleanUpSingletons();
    QCOMPARE(order, QString(1000, u'a'));
}

void tst_XS::nullArguments()
{
    QObject object;
    XS::initSingleton(&object, nullptr);
    XS::cleanUpSingletons();
    QCOMPARE(QJSEngine::objectOwnership(&object), QJSEngine::CppOwnership);
    QCOMPARE(order, QString());
}

void tst_XS::objectIsOwnedByCpp()
{
    const QPointer<QObject> plain = new QObject;
    const QPointer<QObject> singleton = new QObject;
    XS::initSingleton(singleton, cleanUpA);
    {
        QJSEngine engine;
        engine.newQObject(plain);
        engine.newQObject(singleton);
        engine.collectGarbage();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY2(!plain, "without the call an engine deletes the object, or this test shows nothing");
    QVERIFY(singleton);
    delete singleton;
}

void tst_XS::loadData_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("abc\r\ndef\n");
    QTest::newRow("zeros") << QByteArray(3, '\0');
    QTest::newRow("all bytes") << QByteArray::fromHex("0001fffe80c3280a0d1a") + QByteArray(100000, '\xff');
}

void tst_XS::loadData()
{
    QFETCH(const QByteArray, content);
    const QString path = write(u"\u00e4 \u6587.bin"_s, content);
    QVERIFY(!path.isEmpty());
    QCOMPARE(XS::loadData(path), content);
}

void tst_XS::loadDataFromResource()
{
    // What rcc makes of a folder "xs" with one file "a.txt".
    static const QByteArray resource = QByteArray::fromHex(
        "71726573000000010000004000000014000000260000000e696e2061207265736f757263650a0002000007f3007800730005"
        "00645bf40061002e007400780074000000000002000000010000000100000000000200000001000000020000000a00000000"
        "000100000000");
    const auto *const bytes = reinterpret_cast<const uchar *>(resource.constData());
    QVERIFY(XS::loadData(u":/xs/a.txt"_s).isEmpty());
    QVERIFY(QResource::registerResource(bytes));
    QCOMPARE(XS::loadData(u":/xs/a.txt"_s), QByteArray("in a resource\n"));
    QVERIFY(XS::loadData(u":/xs/missing"_s).isEmpty());
    QVERIFY(XS::loadData(u":/xs"_s).isEmpty());
    QVERIFY(QResource::unregisterResource(bytes));
}

void tst_XS::loadDataRefusesEndlessFiles()
{
    QCOMPARE(XS::loadData(QString()), QByteArray());
    QCOMPARE(XS::loadData(m_folder->path()), QByteArray());
    QCOMPARE(XS::loadData(m_folder->filePath(u"missing"_s)), QByteArray());
#ifdef Q_OS_UNIX
    QCOMPARE(XS::loadData(u"/dev/zero"_s), QByteArray());
#endif
}

void tst_XS::loadJsonValue_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QJsonValue>("expected");

    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("object") << QByteArray(R"({"a":[1,"x"]})")
                            << QJsonValue(QJsonObject{{u"a"_s, QJsonArray{1, u"x"_s}}});
    QTest::newRow("array") << QByteArray(" [true, null] ") << QJsonValue(QJsonArray{true, QJsonValue::Null});
    QTest::newRow("empty object") << QByteArray("{}") << QJsonValue(QJsonObject());
    QTest::newRow("empty array") << QByteArray("[]") << QJsonValue(QJsonArray());
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf[1]") << QJsonValue(QJsonArray{1});
    QTest::newRow("empty file") << QByteArray() << none;
    QTest::newRow("bare number") << QByteArray("5") << none;
    QTest::newRow("bare text") << QByteArray("\"a\"") << none;
    QTest::newRow("cut off") << QByteArray("[1, 2") << none;
    QTest::newRow("more behind the end") << QByteArray("[1] x") << none;
    QTest::newRow("not JSON") << QByteArray("<a/>") << none;
    QTest::newRow("not UTF-8") << QByteArray("[\"\xff\xfe\"]") << none;
    QTest::newRow("too deep") << QByteArray(200000, '[') << none;
}

void tst_XS::loadJsonValue()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QJsonValue, expected);
    const QString path = write(u"a.json"_s, content);
    QVERIFY(!path.isEmpty());
    QTest::failOnWarning(QRegularExpression(u".*"_s));
    QCOMPARE(XS::loadJsonValue(path), expected);
    QVERIFY(XS::loadJsonValue(path + u".missing"_s).isUndefined());
}

void tst_XS::loadJsonValueOfALargeFile()
{
    const QByteArray element = "{\"name\": \"" + QByteArray(1000, 'x') + "\"},";
    constexpr int count = 52000;
    QByteArray content = "[" + element.repeated(count);
    content.back() = ']';
    QVERIFY(content.size() > 50 * 1024 * 1024);
    const QString path = write(u"large.json"_s, content);
    const QJsonArray array = XS::loadJsonValue(path).toArray();
    QCOMPARE(array.size(), count);
    QCOMPARE(array.last().toObject().value(u"name"_s).toString().size(), 1000);
    QVERIFY(QFile::remove(path));
}

// Qt's macro for a program without an application object isn't standard C++: it leaves out a variadic argument.
int main(int argc, char *argv[])
{
    tst_XS test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_xs.moc"
