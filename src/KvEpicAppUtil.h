#pragma once

#include "KvGameAppUtil.h"

/**
 * The games that the Epic launcher has installed.
 *
 * The launcher's file of installations tells the folders, and the shipped game list which program of the folder is the
 * game. What the list doesn't name is left out.
 */
class KVPROGRAM_EXPORT KvEpicAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvEpicAppUtil();
    ~KvEpicAppUtil() override;

    /** `appDataPath` is ignored: the file stands at a fixed place. Nobody asks whether an executable exists. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;
};
