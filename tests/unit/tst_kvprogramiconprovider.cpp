#include "../support/FakePlatform.h"
#include "../support/IconRequests.h"
#include "../support/KvProgramIconProviderProbe.h"
#include "../support/LogCatcher.h"

#include <XDispatch.h>

#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtQml/QQmlEngine>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;
using Probe = KvProgramIconProviderProbe;

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Blue = 0xFF0000FF;

QImage plain(int side, QRgb colour)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

bool settle()
{
    return XDispatch::waitForBackground(60'000);
}

} // namespace

class tst_KvProgramIconProvider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void preparesTheIconsOnce();
    void parentIsNotUsed();
    void response();

    void loadsInTheBackground();
    void hitDoesNotLoad();
    void keys_data();
    void keys();
    void versions();
    void requestWithoutAVersionHitsWhateverIsKept();
    void failedReloadLeavesTheFormerPicture();
    void leastRecentlyUsedGoesFirst();
    void requestedSizeHasNoEffect();
    void failedLoadIsNotKept();
    void failureIsLoggedBeforeItFinishes();
    void finishesBeforeItIsKept();
    void cancelledRequestRunsToItsEnd();
    void twoLoadsOfTheSameKeyRunTogether();
    void laterInsertWins();
    void oddIds_data();
    void oddIds();

    void responsesMayGoWhileTheyLoad();
    void listenerMayDeleteTheResponse();
    void connectingWaitsForTheSignal();
    void providerMayGoWith500LoadsInFlight();
    void providerAndResponsesMayGoAtAnyMoment();
    void manyThreadsMayRequest();

private:
    QImage load(const QString &id);
    QStringList loads() const;

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<KvProgramIconProvider> m_provider;
};

void tst_KvProgramIconProvider::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_log = std::make_unique<LogCatcher>();
    m_provider = std::make_unique<KvProgramIconProvider>(nullptr);
    m_platform->icons->always = plain(100, Red);
}

void tst_KvProgramIconProvider::cleanup()
{
    m_platform->icons->gate.open();
    m_provider.reset();
    QVERIFY(settle());
    m_log.reset();
    m_platform.reset();
}

/** Requests, waits and checks that the request has finished. */
QImage tst_KvProgramIconProvider::load(const QString &id)
{
    const IconRequest request(*m_provider, id);
    return settle() ? request.image() : QImage();
}

/** The files whose largest icon was asked for since the last time. */
QStringList tst_KvProgramIconProvider::loads() const
{
    return m_platform->calls->take().filter(u"largest"_s);
}

void tst_KvProgramIconProvider::preparesTheIconsOnce()
{
    QCOMPARE(m_platform->calls->take(), QStringList{u"prepare"_s});
    load(u"C:/a.exe"_s);
    load(u"C:/b.exe"_s);
    QVERIFY(!m_platform->calls->take().contains(u"prepare"_s));
    const KvProgramIconProvider second(nullptr);
    QCOMPARE(m_platform->calls->take(), QStringList{u"prepare"_s});
}

void tst_KvProgramIconProvider::parentIsNotUsed()
{
    const KvProgramIconProvider provider(this);
    QVERIFY(!provider.parent());
    QCOMPARE(provider.imageType(), QQmlImageProviderBase::ImageResponse);
}

void tst_KvProgramIconProvider::response()
{
    m_platform->icons->gate.close();
    const IconRequest request(*m_provider, u"C:/a.exe"_s);
    QVERIFY(request.response());
    QVERIFY(!request.response()->parent());
    QCOMPARE(request.response()->thread(), QThread::currentThread());
    QCOMPARE(request.response()->errorString(), QString());
    QVERIFY(request.image().isNull());
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(request.image(), plain(100, Red));
}

void tst_KvProgramIconProvider::loadsInTheBackground()
{
    // The loader waits at the door; a request that ran on this thread would never return.
    m_platform->icons->gate.close();
    const IconRequest request(*m_provider, u"C:/a.exe"_s);
    QVERIFY(m_platform->icons->gate.waitForArrivals(1));
    QCOMPARE(request.finishedCount(), 0);
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(request.finishedCount(), 1);
    QCOMPARE(request.image(), plain(100, Red));
}

void tst_KvProgramIconProvider::hitDoesNotLoad()
{
    QCOMPARE(load(u"C:/a.exe"_s), plain(100, Red));
    QCOMPARE(loads().size(), 1);
    m_platform->icons->always = plain(100, Blue);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(load(u"C:/a.exe"_s), plain(100, Red));
    QVERIFY(m_platform->calls->take().isEmpty());
    QVERIFY(m_log->lines().isEmpty());
}

void tst_KvProgramIconProvider::keys_data()
{
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("indexes") << QStringList{u"a.exe?i=1"_s, u"a.exe?i=2"_s} << QStringList{u"a.exe@1"_s, u"a.exe@2"_s};
    QTest::newRow("index 0") << QStringList{u"a.exe"_s, u"a.exe?i=0"_s, u"a.exe?i=x"_s} << QStringList{u"a.exe@0"_s};
    QTest::newRow("negative index") << QStringList{u"a.exe?i=-5"_s} << QStringList{u"a.exe@-5"_s};
    QTest::newRow("letter case") << QStringList{u"a.exe"_s, u"A.exe"_s} << QStringList{u"A.exe@0"_s, u"a.exe@0"_s};
    QTest::newRow("encodings") << QStringList{u"a b.exe"_s, u"a%20b.exe"_s} << QStringList{u"a b.exe@0"_s};
    QTest::newRow("versions") << QStringList{u"a.exe?v=1"_s, u"a.exe?v=2"_s} << QStringList{u"a.exe@0"_s};
    QTest::newRow("empty") << QStringList{QString()} << QStringList{u"@0"_s};
    QTest::newRow("mark first") << QStringList{u"?i=1"_s} << QStringList{u"?i=1@0"_s};
}

void tst_KvProgramIconProvider::keys()
{
    QFETCH(QStringList, ids);
    QFETCH(QStringList, expected);
    for (const QString &id : ids)
        QVERIFY(!load(id).isNull());
    QStringList keys = Probe::cachedKeys(*m_provider);
    keys.sort();
    QCOMPARE(keys, expected);
}

void tst_KvProgramIconProvider::versions()
{
    const QString file = u"largest C:\\a.exe"_s;
    load(u"C:/a.exe?v=1"_s);
    QCOMPARE(loads(), QStringList{file});
    load(u"C:/a.exe?v=1"_s);
    QCOMPARE(loads(), QStringList());
    load(u"C:/a.exe?v=2"_s);
    QCOMPARE(loads(), QStringList{file});
    load(u"C:/a.exe?v=2"_s);
    QCOMPARE(loads(), QStringList());
    // Only the last version is kept.
    load(u"C:/a.exe?v=1"_s);
    QCOMPARE(loads(), QStringList{file});
    load(u"C:/a.exe?v=b"_s);
    load(u"C:/a.exe?v=B"_s);
    QCOMPARE(loads(), (QStringList{file, file}));
}

void tst_KvProgramIconProvider::requestWithoutAVersionHitsWhateverIsKept()
{
    load(u"C:/a.exe?v=1"_s);
    m_platform->calls->take();
    load(u"C:/a.exe"_s);
    load(u"C:/a.exe?i=0"_s);
    load(u"C:/a.exe?v="_s);
    QCOMPARE(loads(), QStringList());
    // What was loaded without a version is kept without one.
    load(u"C:/b.exe"_s);
    m_platform->calls->take();
    load(u"C:/b.exe?v=1"_s);
    QCOMPARE(loads(), QStringList{u"largest C:\\b.exe"_s});
}

void tst_KvProgramIconProvider::failedReloadLeavesTheFormerPicture()
{
    load(u"C:/a.exe?v=1"_s);
    m_platform->icons->always.reset();
    QVERIFY(load(u"C:/a.exe?v=2"_s).isNull());
    QCOMPARE(load(u"C:/a.exe"_s), plain(100, Red));
    QCOMPARE(load(u"C:/a.exe?v=1"_s), plain(100, Red));
    m_platform->icons->always = plain(100, Blue);
    QCOMPARE(load(u"C:/a.exe?v=2"_s), plain(100, Blue));
    QCOMPARE(load(u"C:/a.exe"_s), plain(100, Blue));
}

void tst_KvProgramIconProvider::leastRecentlyUsedGoesFirst()
{
    m_platform->icons->always = plain(100, Red);
    const auto id = [](int i) { return u"C:/%1.exe"_s.arg(i); };
    for (int i = 0; i < 256; ++i)
        load(id(i));
    QCOMPARE(Probe::cachedKeys(*m_provider).size(), 256);
    load(id(0));
    m_platform->calls->take();
    load(id(256));
    QStringList keys = Probe::cachedKeys(*m_provider);
    QCOMPARE(keys.size(), 256);
    QVERIFY(keys.contains(u"C:/0.exe@0"_s));
    QVERIFY(!keys.contains(u"C:/1.exe@0"_s));
    QVERIFY(keys.contains(u"C:/256.exe@0"_s));
    load(id(0));
    load(id(2));
    load(id(255));
    QCOMPARE(loads(), QStringList{u"largest C:\\256.exe"_s});
    load(id(1));
    QCOMPARE(loads(), QStringList{u"largest C:\\1.exe"_s});
    QVERIFY(!Probe::cachedKeys(*m_provider).contains(u"C:/3.exe@0"_s));
    QVERIFY(Probe::cachedKeys(*m_provider).contains(u"C:/2.exe@0"_s));
}

void tst_KvProgramIconProvider::requestedSizeHasNoEffect()
{
    for (const QSize &size : {QSize(), QSize(0, 0), QSize(16, 16), QSize(-5, 1), QSize(5000, 5000)}) {
        const IconRequest loaded(*m_provider, u"C:/%1.exe"_s.arg(size.width()), size);
        QVERIFY(settle());
        QCOMPARE(loaded.image(), plain(100, Red));
        const IconRequest hit(*m_provider, u"C:/%1.exe"_s.arg(size.width()), size);
        QVERIFY(settle());
        QCOMPARE(hit.image(), plain(100, Red));
    }
    QCOMPARE(loads().size(), 5);
}

void tst_KvProgramIconProvider::failedLoadIsNotKept()
{
    m_platform->icons->always.reset();
    for (int i = 1; i <= 3; ++i) {
        m_platform->icons->gate.close();
        const IconRequest request(*m_provider, u"C:/My%20Games/a.exe?i=2&v=1"_s);
        m_platform->icons->gate.open();
        QVERIFY(settle());
        QCOMPARE(request.finishedCount(), 1);
        QVERIFY(request.image().isNull());
        QCOMPARE(request.response()->errorString(), QString());
        QCOMPARE(m_log->lines().size(), i);
        QCOMPARE(loads().size(), 1);
    }
    QVERIFY(Probe::cachedKeys(*m_provider).isEmpty());
    const LogCatcher::Line line = m_log->lines().last();
    QCOMPARE(line.type, QtWarningMsg);
    QCOMPARE(line.text, u"[FAIL] can't get program icon for \"C:/My Games/a.exe\""_s);
    QCOMPARE(line.file, u"KvProgramIconProvider"_s);
    QVERIFY2(line.function.contains(u"KvProgramIconProvider::requestImageResponse"_s), qPrintable(line.function));
    m_platform->icons->always = plain(100, Blue);
    QCOMPARE(load(u"C:/My Games/a.exe?i=2&v=1"_s), plain(100, Blue));
}

void tst_KvProgramIconProvider::failureIsLoggedBeforeItFinishes()
{
    m_platform->icons->always.reset();
    m_platform->icons->gate.close();
    const IconRequest request(*m_provider, u"C:/a.exe"_s);
    std::atomic<qsizetype> linesThen{-1};
    connect(
        request.response(), &QQuickImageResponse::finished, request.response(),
        [&] { linesThen = m_log->lines().size(); }, Qt::DirectConnection);
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(linesThen.load(), 1);
}

void tst_KvProgramIconProvider::finishesBeforeItIsKept()
{
    m_platform->icons->gate.close();
    const IconRequest request(*m_provider, u"C:/a.exe"_s);
    std::atomic<qsizetype> keptThen{-1};
    QImage shownThen;
    connect(
        request.response(), &QQuickImageResponse::finished, request.response(),
        [&] {
            keptThen = Probe::cachedKeys(*m_provider).size();
            shownThen = request.image();
        },
        Qt::DirectConnection);
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(keptThen.load(), 0);
    QCOMPARE(shownThen, plain(100, Red));
    QCOMPARE(Probe::cachedKeys(*m_provider).size(), 1);
}

void tst_KvProgramIconProvider::cancelledRequestRunsToItsEnd()
{
    m_platform->icons->gate.close();
    const IconRequest request(*m_provider, u"C:/a.exe"_s);
    request.response()->cancel();
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(request.finishedCount(), 1);
    QCOMPARE(request.image(), plain(100, Red));
    QCOMPARE(Probe::cachedKeys(*m_provider).size(), 1);
}

void tst_KvProgramIconProvider::twoLoadsOfTheSameKeyRunTogether()
{
    m_platform->icons->gate.close();
    const IconRequest first(*m_provider, u"C:/a.exe?v=1"_s);
    const IconRequest second(*m_provider, u"C:/a.exe?v=1"_s);
    QVERIFY(m_platform->icons->gate.waitForArrivals(2));
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(loads().size(), 2);
    QCOMPARE(first.finishedCount() + second.finishedCount(), 2);
    QCOMPARE(first.image(), plain(100, Red));
    QCOMPARE(second.image(), plain(100, Red));
    QCOMPARE(Probe::cachedKeys(*m_provider), QStringList{u"C:/a.exe@0"_s});
}

void tst_KvProgramIconProvider::laterInsertWins()
{
    const auto shared = Probe::shared(1);
    shared->insert(u"a@0"_s, "first", u"1"_s);
    shared->insert(u"a@0"_s, "second", u"2"_s);
    QCOMPARE(shared->find(u"a@0"_s, QString()), std::optional<QByteArray>("second"));
    QVERIFY(!shared->find(u"a@0"_s, u"1"_s));
    QVERIFY(!shared->find(u"b@0"_s, QString()));
    shared->clear();
    QVERIFY(!shared->find(u"a@0"_s, QString()));
}

void tst_KvProgramIconProvider::oddIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("empty") << QString();
    QTest::newRow("mark") << u"?"_s;
    QTest::newRow("marks") << u"???????"_s;
    QTest::newRow("percent") << u"%"_s;
    QTest::newRow("broken encoding") << u"%G1%%2?i=%"_s;
    QTest::newRow("invalid UTF-8") << u"C:/%FF%FE%C3?v=%80"_s;
    QTest::newRow("zero") << u"C:/a%00.exe?v=%00"_s;
    QTest::newRow("long") << QString(1024 * 1024, u'x');
    QTest::newRow("long icon file") << u"C:/"_s + QString(1024 * 1024, u'x') + u".ico"_s;
    QTest::newRow("zero in an icon file") << u"C:/a%00.ico"_s;
    QTest::newRow("icon file without a name") << u"ico"_s;
    QTest::newRow("folder for an icon file") << u"C:/Unicorn"_s;
    QTest::newRow("device for an icon file") << u"\\\\.\\ico"_s;
}

void tst_KvProgramIconProvider::oddIds()
{
    QFETCH(QString, id);
    m_platform->icons->always.reset();
    const IconRequest request(*m_provider, id);
    QVERIFY(settle());
    QVERIFY(request.image().isNull());
    QCOMPARE(m_log->texts(QtWarningMsg).filter(u"[FAIL] can't get program icon for"_s).size(), 1);
}

void tst_KvProgramIconProvider::responsesMayGoWhileTheyLoad()
{
    m_platform->icons->gate.close();
    std::vector<IconRequest> requests;
    for (int i = 0; i < 500; ++i)
        requests.emplace_back(*m_provider, u"C:/%1.exe"_s.arg(i));
    QVERIFY(m_platform->icons->gate.waitForArrivals(2));
    for (size_t i = 0; i < requests.size(); i += 2)
        requests[i].deleteResponse();
    m_platform->icons->gate.open();
    QVERIFY(settle());
    for (size_t i = 0; i < requests.size(); ++i)
        QCOMPARE(requests[i].finishedCount(), int(i % 2));
    // Their pictures are kept all the same.
    QCOMPARE(Probe::cachedKeys(*m_provider).size(), 256);
}

void tst_KvProgramIconProvider::listenerMayDeleteTheResponse()
{
    m_platform->icons->gate.close();
    QQuickImageResponse *const response = m_provider->requestImageResponse(u"C:/a.exe"_s, QSize());
    connect(
        response, &QQuickImageResponse::finished, this, [response] { delete response; }, Qt::DirectConnection);
    m_platform->icons->gate.open();
    QVERIFY(settle());
    QCOMPARE(Probe::cachedKeys(*m_provider).size(), 1);
}

void tst_KvProgramIconProvider::connectingWaitsForTheSignal()
{
    m_platform->icons->gate.close();
    const std::unique_ptr<QQuickImageResponse> response(m_provider->requestImageResponse(u"C:/a.exe"_s, QSize()));
    FakeGate door;
    door.close();
    std::atomic<bool> isOver{false};
    connect(
        response.get(), &QQuickImageResponse::finished, response.get(),
        [&] {
            door.pass();
            isOver = true;
        },
        Qt::DirectConnection);
    m_platform->icons->gate.open();
    QVERIFY(door.waitForArrivals(1));
    const std::unique_ptr<QThread> opener(QThread::create([&door] {
        QThread::msleep(50);
        door.open();
    }));
    opener->start();
    // As the engine does: who connects now must find afterwards that the response has finished.
    connect(response.get(), &QQuickImageResponse::finished, this, [] {});
    QVERIFY(isOver);
    QVERIFY(opener->wait(60'000));
    QVERIFY(settle());
}

void tst_KvProgramIconProvider::providerMayGoWith500LoadsInFlight()
{
    m_platform->icons->gate.close();
    std::vector<IconRequest> requests;
    for (int i = 0; i < 500; ++i)
        requests.emplace_back(*m_provider, u"C:/%1.exe"_s.arg(i));
    QVERIFY(m_platform->icons->gate.waitForArrivals(2));
    m_provider.reset();
    m_platform->icons->gate.open();
    QVERIFY(settle());
    int pictures = 0;
    for (const IconRequest &request : requests) {
        QCOMPARE(request.finishedCount(), 1);
        pictures += request.image().isNull() ? 0 : 1;
    }
    // Those that had begun; the others finished without a picture.
    QVERIFY(pictures >= 2 && pictures < 500);
    QVERIFY(m_log->lines().isEmpty());
}

void tst_KvProgramIconProvider::providerAndResponsesMayGoAtAnyMoment()
{
    QRandomGenerator random(61);
    for (int round = 0; round < 40; ++round) {
        KvProgramIconProvider provider(nullptr);
        std::vector<IconRequest> requests;
        const int count = random.bounded(1, 60);
        for (int i = 0; i < count; ++i)
            requests.emplace_back(provider, u"C:/%1.exe?i=%2"_s.arg(random.bounded(5)).arg(random.bounded(2)));
        for (int i = random.bounded(20); i > 0; --i)
            QThread::yieldCurrentThread();
        while (requests.size() > size_t(count) / 2)
            requests.pop_back();
    }
    QVERIFY(settle());
}

void tst_KvProgramIconProvider::manyThreadsMayRequest()
{
    std::atomic<int> wrong{0};
    std::vector<std::unique_ptr<QThread>> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(QThread::create([this, &wrong] {
            for (int k = 0; k < 50; ++k) {
                const IconRequest request(*m_provider, u"C:/%1.exe?v=%2"_s.arg(k % 7).arg(k % 3));
                wrong += settle() && request.image() == plain(100, Red) ? 0 : 1;
            }
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        QVERIFY(thread->wait(60'000));
    QCOMPARE(wrong.load(), 0);
}

QTEST_MAIN(tst_KvProgramIconProvider)
#include "tst_kvprogramiconprovider.moc"
