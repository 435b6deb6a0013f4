#pragma once

#include "KvGameAppUtil.h"

/**
 * The games that Battle.net has installed.
 *
 * They are the uninstall entries of its publisher, except for the launcher's own. An entry's icon path stands for the
 * executable, as it is: with an icon index if it has one, and whether the file exists or not.
 */
class KVPROGRAM_EXPORT KvBattleNetAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvBattleNetAppUtil();
    ~KvBattleNetAppUtil() override;

    /** Both arguments are ignored: the games are told by their publisher alone. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;
};
