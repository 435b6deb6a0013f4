#include "KvBattleNetAppUtil.h"

#include "KvGameAppUtil_p.h"

#include <QtCore/QDebug>

KvBattleNetAppUtil::KvBattleNetAppUtil() = default;
KvBattleNetAppUtil::~KvBattleNetAppUtil() = default;

QList<KvAppSetting *> KvBattleNetAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &)
{
    qDebug() << "[KvBattleNetAppUtil] getInstalledBattleNetApps";
    qDebug() << "[KvBattleNetAppUtil] =============================================";
    GameRecords entries;
    getInstalledAppsFromUninstallRegistry(entries.list, QStringLiteral("Blizzard Entertainment"),
                                          QStringLiteral("Battle.net.exe"), machineUninstallKey());
    return settingsOfEntries("[KvBattleNetAppUtil]", entries.list);
}
