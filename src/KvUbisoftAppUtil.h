#pragma once

#include "KvGameAppUtil.h"

class UbisoftConfiguration;

/**
 * The games that Ubisoft's launcher has installed.
 *
 * They are the publisher's uninstall entries, except for the launcher's own. Their executables come from the
 * configuration file in the launcher's folder.
 */
class KVPROGRAM_EXPORT KvUbisoftAppUtil : public KvGameAppUtil
{
    Q_OBJECT

public:
    KvUbisoftAppUtil();
    ~KvUbisoftAppUtil() override;

    /** `appDataPath` is the path of the launcher's executable; `knownApps` tells ignoreExeFullPath only. A game that
     * the configuration doesn't name has no executables. */
    QList<KvAppSetting *> getInstalledApps(const QString &appDataPath,
                                           const QList<KvGameAppInfo *> &knownApps) override;

    /**
     * The executables of the game called `gameName`, as paths below its folder, from the configuration file in the
     * folder of the launcher. A file that can't be opened is told in the log and names none.
     */
    QList<QString> getExecutablePathByConfig(const QString &launcherFolder, const QString &gameName);

    /** Whether `fileName`, in lower case, is that of the launcher's main executable. */
    static bool isUbisoftCenterApp(const QString &fileName);

private:
    class ConfigurationFile;

    static UbisoftConfiguration readConfiguration(QFile &file);
    static QList<QString> findExecutables(KvGameAppInfo &game, ConfigurationFile &configuration);
};
