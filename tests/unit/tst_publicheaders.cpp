#include "KvAppSetting.h"
#include "KvBattleNetAppUtil.h"
#include "KvBSGAppUtil.h"
#include "KvEpicAppUtil.h"
#include "KvGameAppInfo.h"
#include "KvOriginAppUtil.h"
#include "KvProgramContext.h"
#include "KvProgramIconProvider.h"
#include "KvProgramInitializer.h"
#include "KvRegistrySpy.h"
#include "KvRiotAppUtil.h"
#include "KvSteamAppUtil.h"
#include "KvUbisoftAppUtil.h"
#include "KvWeGameAppUtil.h"
#include "Process.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

using namespace Qt::StringLiterals;

namespace {

const bool ReadableAtStart = QFile::exists(u":/KvProgram/schema/applist/tool_apps.xml"_s);

/** How many members the library has at all; a member that it does not export keeps the test from linking. */
template<typename... Members>
int count(Members... members)
{
    return (0 + ... + (members != nullptr ? 1 : 0));
}

} // namespace

/** Uses the library as a host does: through its public headers, and linked against it alone. */
class tst_PublicHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appSetting();
    void gameAppInfo();
    void programInfo();
    void programContext();
    void programIconProvider();
    void programInitializer();
    void registrySpy();
    void launcherScanners();
    void process();
    void resourcesComeWithTheLibrary();
    void metaObjectsAreTheLibrarys();
};

void tst_PublicHeaders::appSetting()
{
    using C = KvAppSetting;
    QCOMPARE(count(&C::monitorModel, &C::setMonitorModel, &C::colorMode, &C::setColorMode, &C::displayName,
                   &C::setDisplayName, &C::icon, &C::setIcon, &C::setIconFile, &C::executable, &C::setExecutable,
                   &C::executableList, &C::setExecutableList, &C::appType, &C::setAppType, &C::hasSelected,
                   &C::setHasSelected, &C::appExist, &C::setAppExist, &C::ignoreExeFullPath, &C::setIgnoreExeFullPath,
                   &C::fileName, &C::platform, &C::setPlatform, &C::launcherName, &C::setLauncherName,
                   &C::checkAppExist, &C::update, &C::reset, &C::getIconFilepath),
             30);
    QCOMPARE(count(&C::monitorModelChanged, &C::colorModeChanged, &C::displayNameChanged, &C::iconChanged,
                   &C::executableChanged, &C::executableListChanged, &C::appTypeChanged, &C::hasSelectedChanged,
                   &C::appExistChanged, &C::ignoreExeFullPathChanged, &C::fileNameChanged, &C::platformChanged),
             12);
    KvAppSetting setting;
    setting.setExecutable(u"C:/Games/x.exe"_s);
    QCOMPARE(setting.fileName(), u"x.exe"_s);
}

void tst_PublicHeaders::gameAppInfo()
{
    using C = KvGameAppInfo;
    QCOMPARE(count(&C::name, &C::setName, &C::clientIcon, &C::setClientIcon, &C::executable, &C::setExecutable,
                   &C::executableList, &C::setExecutableList, &C::appId, &C::setAppId, &C::installDir,
                   &C::setInstallDir, &C::platform, &C::setPlatform, &C::ignoreExeFullPath, &C::setIgnoreExeFullPath),
             16);
    const KvGameAppInfo empty;
    const KvGameAppInfo info(nullptr, u"Chess"_s, {}, u"chess.exe"_s, {}, {});
    QCOMPARE(empty.executable() + info.executable(), u"chess.exe"_s);
}

void tst_PublicHeaders::programInfo()
{
    using C = ProgramInfo;
    QCOMPARE(count(&C::type, &C::displayName, &C::setDisplayName, &C::description, &C::setDescription, &C::productName,
                   &C::setProductName, &C::publisherName, &C::setPublisherName, &C::version, &C::setVersion,
                   &C::arguments, &C::setArguments, &C::workingDir, &C::workingDirUrl, &C::setWorkingDir, &C::shell,
                   &C::setShell, &C::targetUrl, &C::setTargetUrl, &C::desktopTarget, &C::setDesktopTarget,
                   &C::managedTarget, &C::managedTargetAppIndex, &C::setManagedTarget, &C::iconUrl, &C::setIconUrl,
                   &C::setIconFile, &C::loadFromLinkFile, &C::loadFromProperties, &C::launch),
             31);
    QCOMPARE(count(&C::typeChanged, &C::displayNameChanged, &C::productNameChanged, &C::publisherNameChanged,
                   &C::descriptionChanged, &C::targetChanged, &C::versionChanged, &C::iconChanged, &C::argumentsChanged,
                   &C::shellChanged, &C::workingDirChanged),
             11);
    ProgramInfo app;
    app.setManagedTarget(u"x"_s, 1);
    QCOMPARE(app.targetUrl().scheme(), ProgramInfo::SCHEME_MANAGED_APP);
    QCOMPARE(app.iconUrl().host(), ProgramInfo::ICON_PROVIDER);
    QCOMPARE(ProgramInfo::SCHEME_DESKTOP_APP, u"file"_s);
}

void tst_PublicHeaders::programContext()
{
    using C = KvProgramContext;
    QCOMPARE(count(&C::instance, &C::create, &C::isEmpty, &C::allApps, &C::meetingApps, &C::shortcuts, &C::gameApps,
                   &C::toolApps, &C::addShortcut, &C::removeShortcut, &C::removeShortcutAt, &C::startScan, &C::stopScan,
                   &C::updateInstalledAppListByModel, &C::updateInstalledAppListStatus, &C::appInstalledPath,
                   &C::appVersionInfo, &C::appVersionNumber),
             18);
    QCOMPARE(count(&C::isEmptyChanged, &C::allAppsChanged, &C::meetingAppsChanged, &C::shortcutsChanged,
                   &C::gameAppsChanged, &C::toolAppsChanged),
             6);
}

void tst_PublicHeaders::programIconProvider()
{
    using C = KvProgramIconProvider;
    QCOMPARE(count(&C::requestImageResponse, &C::setContextWindow), 2);
    KvProgramIconProvider provider(this);
    provider.setContextWindow(nullptr);
    QVERIFY(qobject_cast<QQuickImageProvider *>(&provider));
}

void tst_PublicHeaders::programInitializer()
{
    using C = KvProgramInitializer;
    QCOMPARE(count(&C::init, &C::instance), 2);
    const KvProgramInitializer initializer(this);
    QCOMPARE(initializer.parent(), this);
}

void tst_PublicHeaders::registrySpy()
{
    using C = KvRegistrySpy;
    QCOMPARE(count(&C::bind, &C::bindForever, &C::unbind, &C::value, &C::keyValue, &C::prefix, &C::hkey,
                   &C::containsKey, &C::readValue, &C::writeValue, &C::removeKey, &C::valueChanged),
             12);
    QCOMPARE(KvRegistrySpy::hkey(u"hklm\\X"_s), u"HKEY_LOCAL_MACHINE\\X"_s);
    const KvRegistrySpy spy(this);
    QCOMPARE(spy.prefix(), QString());
}

void tst_PublicHeaders::launcherScanners()
{
    KvBattleNetAppUtil battleNet;
    KvBSGAppUtil bsg;
    KvEpicAppUtil epic;
    KvOriginAppUtil origin;
    KvRiotAppUtil riot;
    KvSteamAppUtil steam;
    KvUbisoftAppUtil ubisoft;
    KvWeGameAppUtil weGame;
    for (KvGameAppUtil *const scanner :
         QList<KvGameAppUtil *>{&battleNet, &bsg, &epic, &origin, &riot, &steam, &ubisoft, &weGame}) {
        const QMetaObject *const meta = scanner->metaObject();
        QVERIFY(!scanner->parent());
        QCOMPARE(meta->superClass(), &KvGameAppUtil::staticMetaObject);
        QCOMPARE(meta->methodCount() + meta->propertyCount() + meta->enumeratorCount(),
                 QObject::staticMetaObject.methodCount() + QObject::staticMetaObject.propertyCount() +
                     QObject::staticMetaObject.enumeratorCount());
    }
    using Riot = KvRiotAppUtil;
    using Ubisoft = KvUbisoftAppUtil;
    using WeGame = KvWeGameAppUtil;
    QCOMPARE(count(&Riot::getExecutablePathByInstallLocation, &Ubisoft::getExecutablePathByConfig,
                   &Ubisoft::isUbisoftCenterApp, &WeGame::getExecutablePathByInstallLocation,
                   &WeGame::getRunningWeGameAppTitle, &WeGame::isWeGameAppWindow, &KvSteamAppUtil::isSteamCenterApp),
             7);
}

void tst_PublicHeaders::process()
{
    using C = Process;
    QCOMPARE(count(&C::start, &C::isRunning, &C::startDetached, &C::startCommandDetached, &C::startAsUser,
                   &C::startCommandAsUser, &C::startAsUserElevated, &C::startCommandAsUserElevated, &C::startAsAdmin,
                   &C::startCommandAsAdmin, &C::executeAsAdmin, &C::executeCommandAsAdmin, &C::exited),
             13);
    const Process process(this);
    QVERIFY(!process.isRunning());
    QCOMPARE(process.parent(), this);
}

void tst_PublicHeaders::resourcesComeWithTheLibrary()
{
    QVERIFY(ReadableAtStart);
    for (const char *const name : {"game_apps", "preload_game_apps", "tool_apps"}) {
        QFile list(u":/KvProgram/schema/applist/%1.xml"_s.arg(QLatin1String(name)));
        QVERIFY2(list.open(QIODevice::ReadOnly), name);
        QVERIFY(list.readAll().startsWith("<APPList>\r\n"));
    }
}

void tst_PublicHeaders::metaObjectsAreTheLibrarys()
{
    const QObject *const setting = new KvAppSetting(this);
    QVERIFY(qobject_cast<const KvAppSetting *>(setting));
    QVERIFY(!qobject_cast<const KvGameAppInfo *>(setting));
    QCOMPARE(setting->metaObject(), &KvAppSetting::staticMetaObject);
    QCOMPARE(KvProgramContext::staticMetaObject.methodCount() - QObject::staticMetaObject.methodCount(), 12);
}

QTEST_GUILESS_MAIN(tst_PublicHeaders)
#include "tst_publicheaders.moc"
