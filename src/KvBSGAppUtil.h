#pragma once

#include "KvGameAppUtil.h"

/**
 * The games of Battlestate Games.
 *
 * They are the uninstall entries of the publisher, except for the launcher's own. An entry's icon path stands for the
 * executable, as it is. The catalogue does not use this scanner; it is for hosts.
 */
class KVPROGRAM_EXPORT KvBSGAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvBSGAppUtil();
    ~KvBSGAppUtil() override;

    /** Both arguments are ignored: the games are told by their publisher alone. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;
};
