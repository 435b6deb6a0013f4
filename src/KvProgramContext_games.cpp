#include "KvProgramContext_p.h"

#include "KvBattleNetAppUtil.h"
#include "KvEpicAppUtil.h"
#include "KvOriginAppUtil.h"
#include "KvRiotAppUtil.h"
#include "KvSteamAppUtil.h"
#include "KvUbisoftAppUtil.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDebug>
#include <QtCore/QScopeGuard>
#include <QtCore/QSet>
#include <QtQml/QJSEngine>

#include <algorithm>
#include <utility>

namespace {

/** The setting of a tool that was recognised by `key`, and that runs as `program` of the tool list says. */
KvAppSetting *makeTool(const ProgramInfo &app, const QString &key, const QString &program)
{
    auto *const tool = new KvAppSetting;
    tool->setDisplayName(app.displayName());
    QString path = app.desktopTarget();
    if (path.endsWith(program)) {
        tool->setIcon(app.iconUrl().toString());
    } else {
        // The link leads to a launcher. Discord's is its updater, which stands beside the program's folder.
        path = key.contains(QLatin1String("Discord")) ? app.workingDir() + u'/' + program : path.replace(key, program);
        tool->setIconFile(path);
    }
    tool->setLauncherName(key);
    tool->setExecutable(path);
    return tool;
}

template<typename Scanner>
KvGameAppUtil *makeScanner(const QString &launcherPath)
{
    auto *const scanner = new Scanner;
    scanner->setAppDataPath(launcherPath);
    return scanner;
}

} // namespace

void KvProgramContext::filterToolApps()
{
    const QList<QString> keys = m_toolAppsFilter.keys();
    for (const ProgramInfo *const app : std::as_const(m_allApps)) {
        const QString path = app->desktopTarget();
        const auto key = std::find_if(keys.cbegin(), keys.cend(),
                                      [&path](const QString &name) { return path.contains(name, Qt::CaseSensitive); });
        if (key == keys.cend())
            continue;
        KvAppSetting *const tool = makeTool(*app, *key, m_toolAppsFilter.value(*key));
        QJSEngine::setObjectOwnership(tool, QJSEngine::CppOwnership);
        m_toolApps.append(tool);
    }
    Q_EMIT toolAppsChanged();
}

void KvProgramContext::findGameApps()
{
    const QList<KvGameAppUtil *> scanners = makeScanners();
    {
        const auto end = qScopeGuard([&scanners] { qDeleteAll(scanners); });
        parseGameApps(scanners);
    }
    Q_EMIT gameAppsChanged();
}

/** Most launchers keep their data at fixed places. Ubisoft's and Steam's are told by the first link to them. */
QList<KvGameAppUtil *> KvProgramContext::makeScanners() const
{
    QList<KvGameAppUtil *> scanners{new KvBattleNetAppUtil, new KvOriginAppUtil, new KvRiotAppUtil, new KvEpicAppUtil};
    bool hasUbisoft = false;
    bool hasSteam = false;
    for (const ProgramInfo *const app : m_allApps) {
        const QString path = app->desktopTarget();
        const QString fileName = WindowsPath::fileName(path).toLower();
        if (!hasUbisoft && KvUbisoftAppUtil::isUbisoftCenterApp(fileName)) {
            hasUbisoft = true;
            qDebug() << "[KvProgramContext] ubisoft center app found: " << path;
            scanners.append(makeScanner<KvUbisoftAppUtil>(path));
        }
        if (!hasSteam && KvSteamAppUtil::isSteamCenterApp(fileName)) {
            hasSteam = true;
            qDebug() << "[KvProgramContext] steam center app found: " << path;
            scanners.append(makeScanner<KvSteamAppUtil>(path));
        }
    }
    return scanners;
}

void KvProgramContext::parseGameApps(QList<KvGameAppUtil *> utils)
{
    QList<KvAppSetting *> found;
    QSet<QString> names;
    for (KvGameAppUtil *const util : std::as_const(utils)) {
        const QList<KvAppSetting *> apps = util->getInstalledApps(util->appDataPath(), m_gameAppsInfo);
        for (KvAppSetting *const app : apps) {
            if (app->ignoreExeFullPath() && names.contains(app->displayName())) {
                app->deleteLater();
            } else if (isListed(app)) {
                QJSEngine::setObjectOwnership(app, QJSEngine::CppOwnership);
                names.insert(app->displayName());
                found.append(app);
            } else {
                delete app;
            }
        }
    }
    m_gameApps.append(found);
}

bool KvProgramContext::isListed(const KvAppSetting *game) const
{
    return m_preloadExecutables.contains(WindowsPath::fileName(game->executable()).toLower()) ||
           m_preloadNames.contains(game->displayName());
}
