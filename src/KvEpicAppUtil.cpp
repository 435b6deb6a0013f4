#include "KvEpicAppUtil.h"

#include "formats/EpicInstallations.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <XS.h>

#include <QtCore/QDebug>

namespace {

constexpr char Separator[] = "[KvEpicAppUtil] =============================================";

bool isGame(const KvGameAppInfo &known, const QString &appName)
{
    return known.platform() == KvGameAppInfo::Epic && known.name() == appName && !known.executable().isEmpty();
}

KvAppSetting *makeSetting(const QString &name, const QString &installLocation, const QString &executable)
{
    const QString path = installLocation + u'/' + executable;
    qDebug() << "[KvEpicAppUtil] displayName: " << name;
    qDebug() << "[KvEpicAppUtil] installLocation: " << installLocation;
    qDebug() << "[KvEpicAppUtil] displayIcon: " << path;
    qDebug() << "[KvEpicAppUtil] executable: " << path;
    auto *const setting = new KvAppSetting;
    setting->setDisplayName(name);
    setting->setExecutable(path);
    setting->setIconFile(path);
    return setting;
}

/** What the launcher's file says; without installations, and told in the log, if it can't be understood. */
EpicInstallations::Document readInstallations()
{
    const QString path = QStringLiteral("C:/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat");
    const QByteArray bytes = XS::loadData(KvPlatform::Platform::current()->files->hostPath(path));
    if (bytes.isEmpty()) {
        qInfo() << "Error: Cannot read file: " << path;
        return {};
    }
    EpicInstallations::Document document = EpicInstallations::parse(bytes);
    if (document.fault == EpicInstallations::NotJson)
        qInfo() << "[KvEpicAppUtil] JsonDocument is empty. Cannot read file";
    else if (document.fault == EpicInstallations::NotAnObject)
        qInfo() << "[KvEpicAppUtil] Document is not an object";
    return document;
}

} // namespace

KvEpicAppUtil::KvEpicAppUtil() = default;
KvEpicAppUtil::~KvEpicAppUtil() = default;

QList<KvAppSetting *> KvEpicAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvEpicAppUtil] getInstalledEpicApps";
    qDebug() << Separator;
    QList<KvAppSetting *> settings;
    const EpicInstallations::Document document = readInstallations();
    for (const EpicInstallations::Installation &installation : document.installations) {
        const QString location = WindowsPath::fromNativeSeparators(installation.location);
        for (const KvGameAppInfo *const known : knownApps) {
            if (!isGame(*known, installation.appName))
                continue;
            settings.append(makeSetting(installation.appName, location, known->executable()));
            qDebug() << Separator;
        }
    }
    return settings;
}
