#pragma once

#include "KvGameAppUtil.h"

#include <QtCore/QStringList>

/**
 * The games of Electronic Arts.
 *
 * They are the publisher's uninstall entries. The settings of the anti-cheat launcher in a game's folder tell its
 * executables; without any, the entry's icon path stands for the executable.
 */
class KVPROGRAM_EXPORT KvOriginAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvOriginAppUtil();
    ~KvOriginAppUtil() override;

    /**
     * `appDataPath` is ignored, and `knownApps` tells ignoreExeFullPath only. An entry without an install folder is
     * left out. A game whose folder has no anti-cheat launcher inherits the executables of the last game that had one.
     */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;

private:
    void readAntiCheatFolder(const QString &installDir, QStringList &executables);
    QString getExecutableFromAnitCheater(const QString &jsonPath);
};
