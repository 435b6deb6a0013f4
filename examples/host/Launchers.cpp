#include "Launchers.h"

#include "KvBattleNetAppUtil.h"
#include "KvEpicAppUtil.h"
#include "KvGameAppInfo.h"
#include "KvOriginAppUtil.h"
#include "KvProgramContext.h"
#include "KvRiotAppUtil.h"
#include "KvSteamAppUtil.h"
#include "KvUbisoftAppUtil.h"

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QXmlStreamReader>

#include <memory>
#include <vector>

namespace {

using KnownGames = std::vector<std::unique_ptr<KvGameAppInfo>>;

struct Scanner
{
    QString launcher;
    std::unique_ptr<KvGameAppUtil> util;
};

template<typename Util>
Scanner makeScanner(const char *launcher, const QString &path = {})
{
    Scanner scanner{QString::fromLatin1(launcher), std::make_unique<Util>()};
    scanner.util->setAppDataPath(path);
    return scanner;
}

/** The path of the first program in the catalogue whose file name `isLauncher` knows. */
QString findLauncher(const KvProgramContext &catalogue, bool (*isLauncher)(const QString &))
{
    const QList<ProgramInfo *> apps = catalogue.allApps();
    for (const ProgramInfo *app : apps) {
        const QString path = app->desktopTarget();
        if (isLauncher(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1).toLower()))
            return path;
    }
    return {};
}

/** In the order in which the catalogue asks them, as far as that matters: Steam and Ubisoft share no game's path. */
std::vector<Scanner> makeScanners(const KvProgramContext &catalogue)
{
    std::vector<Scanner> scanners;
    scanners.push_back(makeScanner<KvBattleNetAppUtil>("Battle.net"));
    scanners.push_back(makeScanner<KvOriginAppUtil>("Origin"));
    scanners.push_back(makeScanner<KvRiotAppUtil>("Riot"));
    scanners.push_back(makeScanner<KvEpicAppUtil>("Epic"));
    const QString ubisoft = findLauncher(catalogue, &KvUbisoftAppUtil::isUbisoftCenterApp);
    if (!ubisoft.isEmpty())
        scanners.push_back(makeScanner<KvUbisoftAppUtil>("Ubisoft", ubisoft));
    const QString steam = findLauncher(catalogue, &KvSteamAppUtil::isSteamCenterApp);
    if (!steam.isEmpty())
        scanners.push_back(makeScanner<KvSteamAppUtil>("Steam", steam));
    return scanners;
}

/** The game list that comes with the library. */
KnownGames readKnownGames()
{
    KnownGames games;
    QFile file(QStringLiteral(":/KvProgram/schema/applist/game_apps.xml"));
    if (!file.open(QIODevice::ReadOnly))
        return games;
    const QMetaEnum platforms = QMetaEnum::fromType<KvGameAppInfo::AppPlatform>();
    QXmlStreamReader reader(&file);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement || reader.name() != QLatin1String("APP"))
            continue;
        const QXmlStreamAttributes attributes = reader.attributes();
        auto game = std::make_unique<KvGameAppInfo>();
        game->setName(attributes.value(QLatin1String("Name")).toString());
        game->setExecutable(attributes.value(QLatin1String("Executable")).toString());
        game->setIgnoreExeFullPath(attributes.value(QLatin1String("IgnoreExeFullPath")) == QLatin1String("true"));
        const QByteArray platform = attributes.value(QLatin1String("Platform")).toLatin1();
        game->setPlatform(static_cast<KvGameAppInfo::AppPlatform>(platforms.keyToValue(platform.constData())));
        games.push_back(std::move(game));
    }
    return games;
}

QString keyOf(const KvAppSetting &game)
{
    return game.displayName() + QLatin1Char('\n') + game.executableList().join(QLatin1Char('\n'));
}

} // namespace

Launchers::Launchers(const KvProgramContext &catalogue)
    : m_catalogue(catalogue)
{
    connect(&catalogue, &KvProgramContext::gameAppsChanged, this, [this] { m_isCurrent = false; });
}

Launchers::~Launchers() = default;

QString Launchers::launcherOf(const KvAppSetting &app)
{
    if (!app.launcherName().isEmpty())
        return app.launcherName();
    if (app.platform() != KvAppSetting::None)
        return QString::fromLatin1(QMetaEnum::fromType<KvAppSetting::AppPlatform>().valueToKey(app.platform()));
    if (!m_isCurrent)
        askScanners();
    return m_launcherByGame.value(keyOf(app));
}

QString Launchers::launcherOf(KvAppSetting *app)
{
    return app ? launcherOf(*app) : QString();
}

void Launchers::askScanners()
{
    m_isCurrent = true;
    m_launcherByGame.clear();
    const KnownGames games = readKnownGames();
    QList<KvGameAppInfo *> known;
    for (const auto &game : games)
        known.append(game.get());
    for (const Scanner &scanner : makeScanners(m_catalogue)) {
        const QList<KvAppSetting *> found = scanner.util->getInstalledApps(scanner.util->appDataPath(), known);
        for (const KvAppSetting *game : found) {
            QString &launcher = m_launcherByGame[keyOf(*game)];
            if (launcher.isEmpty())
                launcher = scanner.launcher;
        }
        qDeleteAll(found);
    }
}
