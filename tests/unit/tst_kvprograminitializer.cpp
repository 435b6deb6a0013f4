#include "../support/FakePlatform.h"
#include "../support/LogCatcher.h"
#include "../support/MetaText.h"
#include "KvAppSetting.h"
#include "KvProgramContext.h"
#include "KvProgramInitializer.h"

#include <XS.h>

#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QSequentialIterable>
#include <QtCore/QThread>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QTest>

#include <optional>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/** Files that tell whether a catalogue has been built: its constructor asks where the metadata file is. */
class WatchedFiles final : public KvPlatform::Files
{
public:
    mutable int catalogues = 0;

    QString hostPath(const QString &path) const override
    {
        ++catalogues;
        return path;
    }
};

/** The object that a QML text makes; null with the reason in `error` if it makes none. */
std::unique_ptr<QObject> make(QQmlEngine &engine, const QByteArray &text, QString *error = nullptr)
{
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport KvProgram 1.0\n" + text, QUrl());
    std::unique_ptr<QObject> object(component.create());
    if (error)
        *error = component.errorString();
    return object;
}

QObject *contextOf(const QObject &object)
{
    return object.property("context").value<QObject *>();
}

constexpr char WithContext[] = "QtObject { property QtObject context: KvProgramContext }";

} // namespace

class tst_KvProgramInitializer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void resourcesAreThere_data();
    void resourcesAreThere();
    void hasAnOrdinaryMetaObject();
    void classInfos();
    void listsAreSequentialForQml();
    void initBuildsNothing();
    void initMayBeRepeated();
    void moduleHasOneVersion();
    void contextIsASingleton();
    void contextCannotBeMadeInQml();
    void twoEnginesShareTheContext();
    void createIgnoresItsArguments();
    void settingCanBeMadeInQml();
    void recordCannotBeMadeInQml();
    void typesHaveEnumerationsInQml();
    void propertiesAreReadOnlyInQml();
    void viewShowsOldValuesAfterUpdate();
    void listArgumentsReachTheContext();
    void instanceIsBuiltOnce();
    void instanceHasNoParentAndLivesHere();
    void instanceFromManyThreads();
    void cleanUpDeletesSingletons();
    void engineNeverDeletesTheContext();
    void nothingIsLogged();

private:
    std::optional<FakePlatform> m_platform;
};

void tst_KvProgramInitializer::init()
{
    m_platform.emplace();
}

void tst_KvProgramInitializer::cleanup()
{
    XS::cleanUpSingletons();
    m_platform.reset();
}

void tst_KvProgramInitializer::resourcesAreThere_data()
{
    QTest::addColumn<QString>("path");
    for (const char *const path :
         {":/KvProgram/schema/applist/game_apps.xml", ":/KvProgram/schema/applist/preload_game_apps.xml",
          ":/KvProgram/schema/applist/tool_apps.xml", ":/NanoShape/NanoShader.vert.qsb",
          ":/NanoShape/NanoShader.frag.qsb"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

void tst_KvProgramInitializer::resourcesAreThere()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().isEmpty());
}

void tst_KvProgramInitializer::hasAnOrdinaryMetaObject()
{
    const QMetaObject &meta = KvProgramInitializer::staticMetaObject;
    QCOMPARE(QLatin1String(meta.className()), "KvProgramInitializer"_L1);
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QObject::staticMetaObject.enumeratorCount());
    QCOMPARE(meta.constructorCount(), 0);
    QCOMPARE(MetaText::classInfos(meta), QStringList());
    QObject parent;
    QCOMPARE((new KvProgramInitializer(&parent))->parent(), &parent);
}

void tst_KvProgramInitializer::classInfos()
{
    QCOMPARE(MetaText::classInfos(KvProgramContext::staticMetaObject),
             QStringList({u"QML.Element=auto"_s, u"QML.Singleton=true"_s}));
    QCOMPARE(MetaText::classInfos(KvAppSetting::staticMetaObject), QStringList{u"QML.Element=auto"_s});
    QCOMPARE(MetaText::classInfos(ProgramInfo::staticMetaObject),
             QStringList({u"QML.Element=auto"_s, u"QML.Creatable=false"_s, u"QML.UncreatableReason=internal class"_s}));
}

void tst_KvProgramInitializer::listsAreSequentialForQml()
{
    const QMetaObject &meta = KvProgramContext::staticMetaObject;
    for (const char *const name : {"allApps", "meetingApps", "shortcuts", "gameApps", "toolApps"}) {
        const QMetaType type = meta.property(meta.indexOfProperty(name)).metaType();
        QVERIFY(type.isValid());
        QVERIFY2(QMetaType::canConvert(type, QMetaType::fromType<QSequentialIterable>()), name);
    }
    QCOMPARE(QMetaType::fromName("QList<ProgramInfo*>"), QMetaType::fromType<QList<ProgramInfo *>>());
    QCOMPARE(QMetaType::fromName("QList<KvAppSetting*>"), QMetaType::fromType<QList<KvAppSetting *>>());
}

void tst_KvProgramInitializer::initBuildsNothing()
{
    const auto files = std::make_shared<WatchedFiles>();
    auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
    platform->files = files;
    KvPlatform::Platform::setCurrent(platform);
    KvProgramInitializer::init();
    QQmlEngine engine;
    QVERIFY(make(engine, "KvAppSetting {}"));
    // Whoever asks first makes it, on his own thread.
    QThread *first = nullptr;
    QThread *maker = nullptr;
    std::thread([&] {
        maker = QThread::currentThread();
        first = KvProgramInitializer::instance()->thread();
    }).join();
    QCOMPARE(first, maker);
    QCOMPARE(files->catalogues, 0);
    QVERIFY(make(engine, WithContext));
    QCOMPARE(files->catalogues, 1);
}

void tst_KvProgramInitializer::initMayBeRepeated()
{
    KvProgramInitializer::init();
    qmlClearTypeRegistrations();
    QVERIFY(qmlTypeId("KvProgram", 1, 0, "ProgramInfo") < 0);
    KvProgramInitializer::init();
    for (const char *const name : {"KvProgramContext", "KvAppSetting", "ProgramInfo"})
        QVERIFY2(qmlTypeId("KvProgram", 1, 0, name) >= 0, name);
    QQmlEngine engine;
    const std::unique_ptr<QObject> object = make(engine, WithContext);
    QVERIFY(object);
    QCOMPARE(contextOf(*object), KvProgramContext::instance());
    QVERIFY(make(engine, "KvAppSetting {}"));
}

void tst_KvProgramInitializer::moduleHasOneVersion()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import KvProgram 2.0\nKvAppSetting {}", QUrl());
    QVERIFY(component.isError());
    QQmlComponent latest(&engine);
    latest.setData("import KvProgram\nKvAppSetting {}", QUrl());
    const std::unique_ptr<QObject> setting(latest.create());
    QVERIFY2(qobject_cast<KvAppSetting *>(setting.get()), qPrintable(latest.errorString()));
    QVERIFY(qmlTypeId("KvProgram", 1, 0, "KvProgramContext") >= 0);
    QVERIFY(qmlTypeId("KvProgram", 1, 0, "KvAppSetting") >= 0);
    QVERIFY(qmlTypeId("KvProgram", 1, 0, "ProgramInfo") >= 0);
    QCOMPARE(qmlTypeId("KvProgram", 1, 0, "KvProgramInitializer"), -1);
}

void tst_KvProgramInitializer::contextIsASingleton()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    const std::unique_ptr<QObject> object = make(engine, "QtObject { property bool empty: KvProgramContext.isEmpty\n"
                                                         "property int programs: KvProgramContext.allApps.length\n"
                                                         "property int games: KvProgramContext.gameApps.length }");
    QVERIFY(object);
    QCOMPARE(object->property("empty"), QVariant(true));
    QCOMPARE(object->property("programs"), QVariant(0));
    QCOMPARE(object->property("games"), QVariant(0));
}

void tst_KvProgramInitializer::contextCannotBeMadeInQml()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    QString error;
    QVERIFY(!make(engine, "KvProgramContext {}", &error));
    QVERIFY2(error.contains(u"not creatable"), qPrintable(error));
}

void tst_KvProgramInitializer::twoEnginesShareTheContext()
{
    KvProgramInitializer::init();
    QQmlEngine first;
    QQmlEngine second;
    const std::unique_ptr<QObject> a = make(first, WithContext);
    const std::unique_ptr<QObject> b = make(second, WithContext);
    QVERIFY(a);
    QVERIFY(b);
    QVERIFY(contextOf(*a));
    QCOMPARE(contextOf(*a), contextOf(*b));
}

void tst_KvProgramInitializer::createIgnoresItsArguments()
{
    QQmlEngine first;
    QQmlEngine second;
    KvProgramContext *const context = KvProgramContext::create(&first, &first);
    QVERIFY(context);
    QCOMPARE(KvProgramContext::create(&second, &second), context);
    QCOMPARE(KvProgramContext::create(nullptr, nullptr), context);
    QCOMPARE(KvProgramContext::instance(), context);
    QCOMPARE(context->parent(), nullptr);
}

void tst_KvProgramInitializer::settingCanBeMadeInQml()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    const std::unique_ptr<QObject> object = make(engine, "KvAppSetting {}");
    const auto *const setting = qobject_cast<KvAppSetting *>(object.get());
    QVERIFY(setting);
    QCOMPARE(setting->colorMode(), KvAppSetting::ModeOff);
    QCOMPARE(setting->platform(), KvAppSetting::None);
    QCOMPARE(setting->appExist(), true);
}

void tst_KvProgramInitializer::recordCannotBeMadeInQml()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    QString error;
    QVERIFY(!make(engine, "ProgramInfo {}", &error));
    QVERIFY2(error.contains(u"Internal class"), qPrintable(error));
    QVERIFY2(!error.contains(u"internal class"), qPrintable(error));
}

void tst_KvProgramInitializer::typesHaveEnumerationsInQml()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    const std::unique_ptr<QObject> object =
        make(engine, "QtObject { property int web: ProgramInfo.TypeWeb; property int off: KvAppSetting.ModeOff }");
    QVERIFY(object);
    QCOMPARE(object->property("web"), QVariant(3));
    QCOMPARE(object->property("off"), QVariant(9));
}

void tst_KvProgramInitializer::propertiesAreReadOnlyInQml()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    QString error;
    QVERIFY(!make(engine, "KvAppSetting { displayName: \"x\" }", &error));
    QVERIFY2(error.contains(u"read-only"), qPrintable(error));
}

void tst_KvProgramInitializer::viewShowsOldValuesAfterUpdate()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    const std::unique_ptr<QObject> object = make(engine, "KvAppSetting { property string shown: displayName + icon }");
    auto *const setting = qobject_cast<KvAppSetting *>(object.get());
    QVERIFY(setting);
    setting->setDisplayName(u"old"_s);
    QCOMPARE(object->property("shown"), QVariant(u"old"_s));
    KvAppSetting other;
    other.setDisplayName(u"new"_s);
    setting->update(&other);
    QCOMPARE(setting->displayName(), u"new"_s);
    QCOMPARE(object->property("shown"), QVariant(u"old"_s));
    setting->setIcon(u" and icon"_s);
    QCOMPARE(object->property("shown"), QVariant(u"new and icon"_s));
}

void tst_KvProgramInitializer::listArgumentsReachTheContext()
{
    KvProgramInitializer::init();
    QQmlEngine engine;
    const LogCatcher log;
    QVERIFY(make(engine,
                 "QtObject { property QtObject setting: KvAppSetting {}\n"
                 "Component.onCompleted: KvProgramContext.updateInstalledAppListByModel('KV-27', [setting], []) }"));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_KvProgramInitializer::instanceIsBuiltOnce()
{
    KvProgramInitializer *const instance = KvProgramInitializer::instance();
    QVERIFY(instance);
    QCOMPARE(KvProgramInitializer::instance(), instance);
}

void tst_KvProgramInitializer::instanceHasNoParentAndLivesHere()
{
    QCOMPARE(KvProgramInitializer::instance()->parent(), nullptr);
    QCOMPARE(KvProgramInitializer::instance()->thread(), QThread::currentThread());
}

void tst_KvProgramInitializer::instanceFromManyThreads()
{
    std::vector<std::thread> threads;
    std::vector<KvProgramInitializer *> instances(8, nullptr);
    for (KvProgramInitializer *&instance : instances)
        threads.emplace_back([&instance] { instance = KvProgramInitializer::instance(); });
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(instances.front());
    QCOMPARE(instances, std::vector<KvProgramInitializer *>(8, instances.front()));
}

void tst_KvProgramInitializer::cleanUpDeletesSingletons()
{
    const QPointer<QObject> initializer = KvProgramInitializer::instance();
    const QPointer<QObject> context = KvProgramContext::instance();
    XS::cleanUpSingletons();
    QVERIFY(!initializer);
    QVERIFY(!context);
    XS::cleanUpSingletons();
    QVERIFY(KvProgramInitializer::instance());
    QVERIFY(KvProgramContext::instance());
}

void tst_KvProgramInitializer::engineNeverDeletesTheContext()
{
    KvProgramInitializer::init();
    QPointer<QObject> context;
    {
        QQmlEngine engine;
        const std::unique_ptr<QObject> object = make(engine, WithContext);
        context = contextOf(*object);
        QCOMPARE(QJSEngine::objectOwnership(context), QJSEngine::CppOwnership);
        engine.collectGarbage();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(context);
    QCOMPARE(context, KvProgramContext::instance());
}

void tst_KvProgramInitializer::nothingIsLogged()
{
    const LogCatcher log;
    KvProgramInitializer::init();
    KvProgramInitializer::init();
    KvProgramInitializer::instance();
    QCOMPARE(log.lines().size(), 0);
}

QTEST_GUILESS_MAIN(tst_KvProgramInitializer)
#include "tst_kvprograminitializer.moc"
