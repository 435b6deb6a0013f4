#include "KvOriginAppUtil.h"

#include "formats/AntiCheatSettings.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil_p.h"
#include "platform/Files.h"
#include "platform/Platform.h"

#include <XS.h>

#include <QtCore/QDebug>

#include <algorithm>

namespace {

constexpr char Separator[] = "[KvOriginAppUtil] =============================================";

void copyKnownFlag(KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps)
{
    const auto known = std::find_if(knownApps.cbegin(), knownApps.cend(), [&game](const KvGameAppInfo *app) {
        return app->platform() == KvGameAppInfo::Origin && app->name() == game.name();
    });
    if (known != knownApps.cend())
        game.setIgnoreExeFullPath((*known)->ignoreExeFullPath());
}

KvAppSetting *makeSetting(const KvGameAppInfo &game, const QStringList &executables)
{
    auto *const setting = new KvAppSetting;
    setting->setDisplayName(game.name());
    if (executables.isEmpty())
        setting->setExecutable(game.executable());
    else
        setting->setExecutableList(executables);
    setting->setIconFile(game.executable());
    setting->setIgnoreExeFullPath(game.ignoreExeFullPath());
    return setting;
}

void log(const KvGameAppInfo &game)
{
    qDebug() << "[KvOriginAppUtil] displayName " << game.name();
    qDebug() << "[KvOriginAppUtil] installLocation " << game.installDir();
    qDebug() << "[KvOriginAppUtil] displayIcon " << game.clientIcon();
    const QList<QString> executables = game.executableList();
    for (const QString &executable : executables)
        qDebug() << "[KvOriginAppUtil] executable: " << executable;
    qDebug() << "[KvOriginAppUtil] ignoreExeFullPath: " << game.ignoreExeFullPath();
    qDebug() << Separator;
}

} // namespace

KvOriginAppUtil::KvOriginAppUtil() = default;
KvOriginAppUtil::~KvOriginAppUtil() = default;

QList<KvAppSetting *> KvOriginAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvOriginAppUtil] getInstalledOriginApps";
    qDebug() << Separator;
    GameRecords games;
    getInstalledAppsFromUninstallRegistry(games.list, QStringLiteral("Electronic Arts"),
                                          QStringLiteral("OriginUninstall.exe"), machineUninstallKey());
    QList<KvAppSetting *> settings;
    QStringList executables; // Outside of the loop: a game without the folder goes by those of the one before.
    for (KvGameAppInfo *const game : std::as_const(games.list)) {
        if (game->installDir().isEmpty())
            continue;
        readAntiCheatFolder(game->installDir(), executables);
        copyKnownFlag(*game, knownApps);
        settings.append(makeSetting(*game, executables));
        log(*game);
    }
    return settings;
}

/** Replaces `executables` by what the settings in the game's folder name, if there is such a folder. */
void KvOriginAppUtil::readAntiCheatFolder(const QString &installDir, QStringList &executables)
{
    const std::shared_ptr<KvPlatform::Files> files = KvPlatform::Platform::current()->files;
    const QString folder = installDir + QLatin1String("/EasyAntiCheat/Launcher/");
    const bool exists = files->isFolder(folder);
    qDebug() << "[KvOriginAppUtil] jsonFolder path: " << files->absolutePath(folder) << exists;
    if (!exists)
        return;
    executables.clear();
    const QStringList names = files->fileNames(folder);
    for (const QString &name : names) {
        qDebug() << "[KvOriginAppUtil] jsonPath: " << name;
        if (!name.contains(QLatin1String(".json")))
            continue;
        const QString executable = getExecutableFromAnitCheater(folder + name);
        if (executable.isEmpty())
            continue;
        const QString path = files->absolutePath(installDir + u'/' + executable);
        qDebug() << "[KvOriginAppUtil] getExecutableFromAnitCheater: " << path;
        executables.append(path);
    }
}

QString KvOriginAppUtil::getExecutableFromAnitCheater(const QString &jsonPath)
{
    const QByteArray bytes = XS::loadData(KvPlatform::Platform::current()->files->hostPath(jsonPath));
    if (bytes.isEmpty())
        return QString();
    const AntiCheatSettings::Settings settings = AntiCheatSettings::parse(bytes);
    if (settings.fault == AntiCheatSettings::NotJson)
        qWarning() << "[KvOriginAppUtil] JsonDocument is empty. Cannot read file: " << jsonPath;
    else if (settings.fault == AntiCheatSettings::NotAnObject)
        qWarning() << "[KvOriginAppUtil] Document is not an object: " << jsonPath;
    return settings.executable;
}
