#include "../support/FakePlatform.h"
#include "../support/KvProgramIconProviderProbe.h"
#include "../support/LogCatcher.h"
#include "KvProgramContext.h"
#include "KvProgramInitializer.h"

#include <XDispatch.h>

#include <QtCore/QPointer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QTest>

#include <memory>
#include <mutex>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using namespace Qt::StringLiterals;
using Probe = KvProgramIconProviderProbe;

namespace {

// Read when the application object is made.
const bool ScaleIsSet = qputenv("QT_SCALE_FACTOR", "1.5");

QImage plain(int side, QRgb colour)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

/** All responses that were made. An engine that goes forgets those that it still waits for, and never deletes them. */
class Responses
{
public:
    void add(QQuickImageResponse *response)
    {
        const std::lock_guard lock(m_mutex);
        m_responses.append(response);
    }

    /** Hands over from the engine's thread, whose end is hidden in Qt from ThreadSanitizer. */
    void synchronize() { const std::lock_guard lock(m_mutex); }

    /** Once the engine is gone and no job runs. */
    void deleteForgotten()
    {
        // One of them may be the last to hold the provider.
        const QList<QPointer<QQuickImageResponse>> forgotten = take();
        for (const QPointer<QQuickImageResponse> &response : forgotten)
            delete response;
    }

private:
    QList<QPointer<QQuickImageResponse>> take()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_responses, {});
    }

    std::mutex m_mutex;
    QList<QPointer<QQuickImageResponse>> m_responses;
};

class RecordedProvider final : public KvProgramIconProvider
{
public:
    explicit RecordedProvider(std::shared_ptr<Responses> responses)
        : KvProgramIconProvider(nullptr)
        , m_responses(std::move(responses))
    {}

    ~RecordedProvider() override { m_responses->synchronize(); }

    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override
    {
        QQuickImageResponse *const response = KvProgramIconProvider::requestImageResponse(id, requestedSize);
        m_responses->add(response);
        return response;
    }

private:
    const std::shared_ptr<Responses> m_responses;
};

/** What is allocated meanwhile doesn't count as leaked. An engine that goes may forget a picture that it waits for. */
struct LeaksAreQts
{
#ifdef __SANITIZE_ADDRESS__
    __lsan::ScopedDisabler disabler;
#endif
};

/** QML over an engine that has the provider, as a host sets it up. */
class IconScene
{
public:
    explicit IconScene(const std::shared_ptr<Responses> &responses = std::make_shared<Responses>())
        : m_engine(std::make_unique<QQmlEngine>())
        , m_provider(new RecordedProvider(responses))
    {
        m_engine->addImageProvider(ProgramInfo::ICON_PROVIDER, m_provider);
    }

    QQmlEngine &engine() { return *m_engine; }
    KvProgramIconProvider &provider() { return *m_provider; }

    bool show(const QString &qml)
    {
        QQmlComponent component(m_engine.get());
        component.setData("import QtQuick\n" + qml.toUtf8(), QUrl());
        m_root.reset(component.create());
        if (!m_root)
            qWarning("%s", qPrintable(component.errorString()));
        return m_root != nullptr;
    }

    QVariant property(const char *name) const { return m_root->property(name); }

    QStringList statuses() const { return m_root->property("statuses").toStringList(); }

    void deleteEngine()
    {
        m_root.reset();
        m_engine.reset();
    }

    void deleteEngineFirst()
    {
        m_engine.reset();
        m_root.reset();
    }

private:
    std::unique_ptr<QQmlEngine> m_engine;
    RecordedProvider *const m_provider; // The engine's.
    std::unique_ptr<QObject> m_root;
};

/** An image of the given source, whose status is text. */
QString image(const QString &source)
{
    return u"Image { source: \"%1\"; property string state_: ['null','ready','loading','error'][status] }"_s.arg(
        source);
}

} // namespace

/** The provider as the engine uses it: a real one, with images on its thread. */
class tst_IconEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void imageShowsTheIcon();
    void imageOfARecord();
    void imageThatFails();
    void thousandImages();
    void windowGivesTheScale();
    void windowMayGo();
    void windowIsLeftForAnother();
    void engineMayGoWhileImagesLoad_data();
    void engineMayGoWhileImagesLoad();
    void providerMayBeRemovedWhileImagesLoad();

private:
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<LogCatcher> m_log;
};

void tst_IconEngine::initTestCase()
{
    QVERIFY(ScaleIsSet);
    KvProgramInitializer::init();
}

void tst_IconEngine::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_platform->icons->always = plain(256, 0xFFFF0000);
    m_log = std::make_unique<LogCatcher>();
}

void tst_IconEngine::cleanup()
{
    m_platform->icons->gate.open();
    QVERIFY(XDispatch::waitForBackground(60'000));
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_log.reset();
    m_platform.reset();
}

void tst_IconEngine::imageShowsTheIcon()
{
    IconScene scene;
    QVERIFY(scene.show(image(u"image://app/C:/My Games/a.exe?i=2&v=1.0"_s)));
    QTRY_COMPARE_WITH_TIMEOUT(scene.property("state_").toString(), u"ready"_s, 30'000);
    QCOMPARE(scene.property("sourceSize").toSize(), QSize(100, 100));
    QVERIFY(XDispatch::waitForBackground(60'000));
    QCOMPARE(Probe::cachedKeys(scene.provider()), QStringList{u"C:/My Games/a.exe@2"_s});
    QVERIFY(m_platform->calls->take().contains(u"largest C:\\My Games\\a.exe"_s));
}

void tst_IconEngine::imageOfARecord()
{
    ProgramInfo record;
    record.setVersion(u"1.0 é#%&"_s);
    record.setDesktopTarget(u"C:/Spiele/日本 100%/a#b+c&d.exe"_s, true);
    IconScene scene;
    QVERIFY(scene.show(image(record.iconUrl().toString(QUrl::FullyEncoded))));
    QTRY_COMPARE_WITH_TIMEOUT(scene.property("state_").toString(), u"ready"_s, 30'000);
    QVERIFY(m_platform->calls->take().contains(u"largest C:\\Spiele\\日本 100%\\a#b+c&d.exe"_s));
}

void tst_IconEngine::imageThatFails()
{
    m_platform->icons->always.reset();
    IconScene scene;
    QVERIFY(scene.show(image(u"image://app/C:/a.exe"_s)));
    QTRY_COMPARE_WITH_TIMEOUT(m_log->texts(QtWarningMsg).size(), 1, 30'000);
    QTRY_VERIFY_WITH_TIMEOUT(scene.property("state_").toString() != u"loading", 30'000);
    QCOMPARE(scene.property("sourceSize").toSize(), QSize(0, 0));
    QCOMPARE(m_log->texts(QtWarningMsg).first(), u"[FAIL] can't get program icon for \"C:/a.exe\""_s);
}

void tst_IconEngine::thousandImages()
{
    IconScene scene;
    QVERIFY(scene.show(u"Item { property int ready: 0; Repeater { model: 1000; Image { cache: false;"
                       "source: 'image://app/C:/' + (index % 300) + '.exe';"
                       "onStatusChanged: if (status === Image.Ready) parent.ready++ } } }"_s));
    QTRY_COMPARE_WITH_TIMEOUT(scene.property("ready").toInt(), 1000, 60'000);
    QVERIFY(m_log->lines().isEmpty());
}

void tst_IconEngine::windowGivesTheScale()
{
    KvProgramIconProvider provider(nullptr);
    QCOMPARE(Probe::scaled(provider, 100), 100);
    QQuickWindow window;
    const double scale = window.devicePixelRatio();
    QVERIFY(scale > 1);
    provider.setContextWindow(&window);
    QCOMPARE(Probe::scaled(provider, 100), qRound(100 * scale));
    window.show();
    QCoreApplication::processEvents();
    QCOMPARE(Probe::scaled(provider, 100), qRound(100 * scale));
    provider.setContextWindow(nullptr);
    QCOMPARE(Probe::scaled(provider, 100), 100);
}

void tst_IconEngine::windowMayGo()
{
    KvProgramIconProvider provider(nullptr);
    auto window = std::make_unique<QQuickWindow>();
    provider.setContextWindow(window.get());
    QVERIFY(Probe::scaled(provider, 100) > 100);
    m_platform->icons->gate.close();
    const std::unique_ptr<QQuickImageResponse> response(provider.requestImageResponse(u"C:/a.exe"_s, QSize()));
    QVERIFY(m_platform->icons->gate.waitForArrivals(1));
    window.reset();
    QCOMPARE(Probe::scaled(provider, 100), 100);
    m_platform->icons->gate.open();
    QVERIFY(XDispatch::waitForBackground(60'000));
    const std::unique_ptr<QQuickTextureFactory> factory(response->textureFactory());
    QCOMPARE(factory->textureSize(), QSize(100, 100));
}

void tst_IconEngine::windowIsLeftForAnother()
{
    auto provider = std::make_unique<KvProgramIconProvider>(nullptr);
    auto first = std::make_unique<QQuickWindow>();
    QQuickWindow second;
    provider->setContextWindow(first.get());
    provider->setContextWindow(&second);
    first.reset();
    QCOMPARE(Probe::scaled(*provider, 100), qRound(100 * second.devicePixelRatio()));
    // Nothing that was put on the window outlasts the provider for long.
    const qsizetype children = second.children().size();
    provider.reset();
    second.show();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(second.children().size(), children - 1);
}

void tst_IconEngine::engineMayGoWhileImagesLoad_data()
{
    QTest::addColumn<bool>("engineFirst");
    QTest::addColumn<bool>("gateIsClosed");
    QTest::newRow("after its items") << false << false;
    QTest::newRow("after its items, nothing loaded") << false << true;
    QTest::newRow("before its items") << true << false;
    QTest::newRow("before its items, nothing loaded") << true << true;
}

void tst_IconEngine::engineMayGoWhileImagesLoad()
{
    QFETCH(bool, engineFirst);
    QFETCH(bool, gateIsClosed);
    const auto responses = std::make_shared<Responses>();
    for (int round = 0; round < 5; ++round) {
        IconScene scene(responses);
        if (gateIsClosed)
            m_platform->icons->gate.close();
        {
            [[maybe_unused]] const LeaksAreQts leaks;
            QVERIFY(scene.show(
                u"Item { Repeater { model: 500; Image { source: 'image://app/C:/%1' + index } } }"_s.arg(round)));
        }
        bool hasBegun = false;
        const auto begins = [&] {
            return hasBegun = hasBegun || !m_platform->calls->take().filter(u"largest"_s).isEmpty();
        };
        QTRY_VERIFY_WITH_TIMEOUT(begins(), 30'000);
        if (engineFirst)
            scene.deleteEngineFirst();
        else
            scene.deleteEngine();
        m_platform->icons->gate.open();
    }
    QVERIFY(XDispatch::waitForBackground(60'000));
    responses->deleteForgotten();
}

void tst_IconEngine::providerMayBeRemovedWhileImagesLoad()
{
    m_platform->icons->gate.close();
    IconScene scene;
    QVERIFY(scene.show(u"Item { property int ended: 0; Repeater { model: 100; Image { "
                       "source: 'image://app/C:/' + index;"
                       "onStatusChanged: if (status !== Image.Loading) parent.ended++ } } }"_s));
    QVERIFY(m_platform->icons->gate.waitForArrivals(1));
    scene.engine().removeImageProvider(ProgramInfo::ICON_PROVIDER);
    m_platform->icons->gate.open();
    // None is left loading for ever: what hadn't begun ends without a picture.
    QTRY_COMPARE_WITH_TIMEOUT(scene.property("ended").toInt(), 100, 60'000);
}

QTEST_MAIN(tst_IconEngine)
#include "tst_iconengine.moc"
