#include "KvUbisoftAppUtil.h"

#include "formats/UbisoftConfiguration.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil_p.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDateTime>
#include <QtCore/QDebug>
#include <QtCore/QFile>

#include <algorithm>

namespace {

constexpr char Separator[] = "[KvUbisoftAppUtil] =============================================";

void copyKnownFlag(KvGameAppInfo &game, const QList<KvGameAppInfo *> &knownApps)
{
    const auto known = std::find_if(knownApps.cbegin(), knownApps.cend(), [&game](const KvGameAppInfo *app) {
        return app->platform() == KvGameAppInfo::Ubisoft && app->name() == game.name();
    });
    if (known != knownApps.cend())
        game.setIgnoreExeFullPath((*known)->ignoreExeFullPath());
}

void log(const KvGameAppInfo &game)
{
    qDebug() << "[KvUbisoftAppUtil] displayName " << game.name();
    qDebug() << "[KvUbisoftAppUtil] installLocation " << game.installDir();
    qDebug() << "[KvUbisoftAppUtil] displayIcon " << game.clientIcon();
    const QList<QString> executables = game.executableList();
    for (const QString &executable : executables)
        qDebug() << "[KvUbisoftAppUtil] executable: " << executable;
    qDebug() << "[KvUbisoftAppUtil] ignoreExeFullPath " << game.ignoreExeFullPath();
    qDebug() << Separator;
}

KvAppSetting *makeSetting(const KvGameAppInfo &game, const QList<QString> &executables)
{
    const QString icon = game.clientIcon();
    const bool hasIcon = !icon.isEmpty() && KvPlatform::Platform::current()->files->exists(icon);
    auto *const setting = new KvAppSetting;
    setting->setIgnoreExeFullPath(game.ignoreExeFullPath());
    setting->setDisplayName(game.name());
    setting->setExecutableList(executables);
    setting->setIconFile(hasIcon ? icon : game.executable());
    return setting;
}

} // namespace

/** The configuration file. Opened for each question, and read again only if it has changed. */
class KvUbisoftAppUtil::ConfigurationFile
{
public:
    explicit ConfigurationFile(const QString &launcherFolder)
        : m_path(launcherFolder + QLatin1String("/cache/configuration/configurations"))
    {}

    QList<QString> executablesOf(const QString &gameName)
    {
        QFile file(KvPlatform::Platform::current()->files->hostPath(m_path));
        if (!file.open(QIODevice::ReadOnly)) {
            qWarning() << "[KvUbisoftAppUtil] load file error " << m_path;
            return {};
        }
        const qint64 size = file.size();
        const QDateTime time = file.fileTime(QFileDevice::FileModificationTime);
        if (!m_isRead || size != m_size || time != m_time)
            m_configuration = readConfiguration(file);
        m_isRead = true;
        m_size = size;
        m_time = time;
        return m_configuration.executablesOf(gameName);
    }

private:
    const QString m_path;
    UbisoftConfiguration m_configuration;
    bool m_isRead = false;
    qint64 m_size = 0;
    QDateTime m_time;
};

KvUbisoftAppUtil::KvUbisoftAppUtil() = default;
KvUbisoftAppUtil::~KvUbisoftAppUtil() = default;

QList<KvAppSetting *> KvUbisoftAppUtil::getInstalledApps(const QString &appDataPath,
                                                         const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvUbisoftAppUtil] getInstalledUbisoftApps: " << appDataPath;
    qDebug() << Separator;
    GameRecords games;
    getInstalledAppsFromUninstallRegistry(games.list, QStringLiteral("Ubisoft"), QStringLiteral("UbisoftConnect.exe"),
                                          machineUninstallKey());
    ConfigurationFile configuration(KvPlatform::Platform::current()->files->folderOf(appDataPath));
    QList<KvAppSetting *> settings;
    for (KvGameAppInfo *const game : std::as_const(games.list)) {
        const QList<QString> executables = findExecutables(*game, configuration);
        copyKnownFlag(*game, knownApps);
        log(*game);
        settings.append(makeSetting(*game, executables));
    }
    return settings;
}

/** The full paths of the game's executables, which become the record's own; without any, that stays as it is. */
QList<QString> KvUbisoftAppUtil::findExecutables(KvGameAppInfo &game, ConfigurationFile &configuration)
{
    QList<QString> executables = configuration.executablesOf(game.name());
    for (QString &path : executables)
        path = WindowsPath::fromNativeSeparators(game.installDir() + path);
    if (!executables.isEmpty())
        game.setExecutableList(executables);
    return executables;
}

QList<QString> KvUbisoftAppUtil::getExecutablePathByConfig(const QString &launcherFolder, const QString &gameName)
{
    return ConfigurationFile(launcherFolder).executablesOf(gameName);
}

bool KvUbisoftAppUtil::isUbisoftCenterApp(const QString &fileName)
{
    return fileName == QLatin1String("ubisoftconnect.exe");
}

UbisoftConfiguration KvUbisoftAppUtil::readConfiguration(QFile &file)
{
    UbisoftConfiguration configuration;
    for (QString line = getNextToken(file, true); !line.isEmpty(); line = getNextToken(file, true))
        configuration.addLine(line);
    return configuration;
}
