#include "KvWeGameAppUtil.h"

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil_p.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDebug>

#include <algorithm>

namespace {

constexpr char Separator[] = "[KvWeGameAppUtil] =============================================";

/** The games' registry keys; each goes with the name at its position. Both lists live as long as the process. */
const QList<QString> &gameKeys()
{
    static const auto *const keys = new QList<QString>{QStringLiteral("valorant.live"), QStringLiteral("LOL")};
    return *keys;
}

const QList<QString> &gameNames()
{
    static const auto *const names =
        new QList<QString>{QStringLiteral("VALORANT"), QStringLiteral("League of Legends")};
    return *names;
}

bool holdsGameName(const QString &title)
{
    return std::any_of(gameNames().cbegin(), gameNames().cend(),
                       [&title](const QString &name) { return title.contains(name); });
}

QString folderFromRegistry(const QString &key, const QString &name)
{
    QString folder = KvPlatform::Platform::current()->registry->value(key, name, QVariant()).toString();
    return WindowsPath::fromNativeSeparators(folder.remove(u'"'));
}

KvAppSetting *makeSetting(const KvGameAppInfo &game)
{
    auto *const setting = new KvAppSetting;
    setting->setPlatform(KvAppSetting::WeGame);
    setting->setDisplayName(game.name());
    setting->setExecutable(game.executable());
    setting->setIconFile(game.executable());
    return setting;
}

} // namespace

KvWeGameAppUtil::KvWeGameAppUtil() = default;
KvWeGameAppUtil::~KvWeGameAppUtil() = default;

QList<KvAppSetting *> KvWeGameAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvWeGameAppUtil] getInstalledWeGameApps";
    qDebug() << Separator;
    GameRecords games;
    getInstalledAppsFromRegistry(games.list, QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Tencent\\"), gameKeys(),
                                 gameNames());
    QList<KvAppSetting *> settings;
    for (KvGameAppInfo *const game : std::as_const(games.list)) {
        game->setExecutable(executableOf(*game, knownApps));
        qDebug() << "[KvWeGameAppUtil] displayName " << game->name();
        qDebug() << "[KvWeGameAppUtil] installLocation " << game->installDir();
        qDebug() << "[KvWeGameAppUtil] displayIcon " << game->clientIcon();
        qDebug() << "[KvWeGameAppUtil] executable " << game->executable();
        qDebug() << Separator;
        settings.append(makeSetting(*game));
    }
    return settings;
}

QString KvWeGameAppUtil::getExecutablePathByInstallLocation(const QString &installLocation)
{
    return findRecordedExecutable("[KvWeGameAppUtil]", installLocation);
}

void KvWeGameAppUtil::getInstalledAppsFromRegistry(QList<KvGameAppInfo *> &apps, const QString &registryPath,
                                                   const QList<QString> &keys, const QList<QString> &names)
{
    for (qsizetype i = 0; i < keys.size(); ++i) {
        // The path ends in a backslash already; the registry doesn't mind the second one.
        const QString key = registryPath + u'\\' + keys.at(i);
        QString folder = folderFromRegistry(key, QStringLiteral("InstallLocation"));
        if (folder.isEmpty())
            folder = folderFromRegistry(key, QStringLiteral("InstallPath"));
        if (!folder.isEmpty())
            apps.append(new KvGameAppInfo(nullptr, names.at(i), QString(), QString(), QString(), folder));
    }
}

QString KvWeGameAppUtil::executableOf(const KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps)
{
    const QString recorded = getExecutablePathByInstallLocation(game.installDir());
    const auto known = std::find_if(knownApps.cbegin(), knownApps.cend(), [&game](const KvGameAppInfo *app) {
        return app->platform() == KvGameAppInfo::WeGame && app->name() == game.name();
    });
    if (known == knownApps.cend())
        return WindowsPath::fromNativeSeparators(recorded);
    qDebug() << "[KvWeGameAppUtil] load executable from preload: " << (*known)->executable();
    return WindowsPath::fromNativeSeparators(game.installDir() + u'/' + (*known)->executable());
}

QString KvWeGameAppUtil::getRunningWeGameAppTitle(const QList<QString> &titles, const QList<bool> &flags)
{
    if (!titles.contains(QStringLiteral("WeGame")))
        return QString();
    for (qsizetype i = 0; i < titles.size(); ++i) {
        if (flags.value(i) && holdsGameName(titles.at(i)))
            return titles.at(i);
    }
    return QString();
}

bool KvWeGameAppUtil::isWeGameAppWindow(const QString &title)
{
    return title.contains(QLatin1String("WeGame")) || holdsGameName(title);
}
