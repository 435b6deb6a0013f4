#include "KvBSGAppUtil.h"

#include "KvGameAppUtil_p.h"

#include <QtCore/QDebug>

KvBSGAppUtil::KvBSGAppUtil() = default;
KvBSGAppUtil::~KvBSGAppUtil() = default;

QList<KvAppSetting *> KvBSGAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &)
{
    qDebug() << "[KvBSGAppUtil] getInstalledBSGApps";
    qDebug() << "[KvBSGAppUtil] =============================================";
    GameRecords entries;
    getInstalledAppsFromUninstallRegistry(entries.list, QStringLiteral("Battlestate Games"),
                                          QStringLiteral("BsgLauncher.exe"), machineUninstallKey());
    return settingsOfEntries("[KvBSGAppUtil]", entries.list);
}
