#include "KvRiotAppUtil.h"

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil_p.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDebug>

namespace {

constexpr char Separator[] = "[KvRiotAppUtil] =============================================";

/** Riot's entries are the user's own, unlike those of other launchers. */
QString userUninstallKey()
{
    return QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
}

/** The folder tells more than the entry's name, which may be that of a region or a test version. */
bool isSameGame(const KvGameAppInfo &known, const KvGameAppInfo &game)
{
    return known.platform() == KvGameAppInfo::Riot &&
           (known.name() == game.name() || game.installDir().contains(known.name()));
}

KvAppSetting *makeSetting(const KvGameAppInfo &game)
{
    auto *const setting = new KvAppSetting;
    setting->setDisplayName(game.name());
    setting->setExecutable(game.executable());
    setting->setIconFile(game.executable());
    return setting;
}

} // namespace

KvRiotAppUtil::KvRiotAppUtil() = default;
KvRiotAppUtil::~KvRiotAppUtil() = default;

QList<KvAppSetting *> KvRiotAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvRiotAppUtil] getInstalledRiotApps";
    qDebug() << Separator;
    GameRecords games;
    getInstalledAppsFromUninstallRegistry(games.list, QStringLiteral("Riot Games"), QString(), userUninstallKey());
    QList<KvAppSetting *> settings;
    for (KvGameAppInfo *const game : std::as_const(games.list)) {
        game->setExecutable(executableOf(*game, knownApps));
        qDebug() << "[KvRiotAppUtil] displayName " << game->name();
        qDebug() << "[KvRiotAppUtil] installLocation " << game->installDir();
        qDebug() << "[KvRiotAppUtil] displayIcon " << game->clientIcon();
        qDebug() << "[KvRiotAppUtil] executable " << game->executable();
        qDebug() << Separator;
        settings.append(makeSetting(*game));
    }
    return settings;
}

QString KvRiotAppUtil::getExecutablePathByInstallLocation(const QString &installLocation)
{
    return findRecordedExecutable("[KvRiotAppUtil]", installLocation);
}

QString KvRiotAppUtil::executableOf(const KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps)
{
    const QString recorded = getExecutablePathByInstallLocation(game.installDir());
    if (!recorded.isEmpty())
        return WindowsPath::fromNativeSeparators(recorded);
    for (const KvGameAppInfo *const known : knownApps) {
        if (!isSameGame(*known, game))
            continue;
        qDebug() << "[KvRiotAppUtil] load executable from preload: " << known->executable();
        return WindowsPath::fromNativeSeparators(game.installDir() + u'/' + known->executable());
    }
    return QString();
}
