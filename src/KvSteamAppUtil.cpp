#include "KvSteamAppUtil.h"

#include "formats/AntiCheatSettings.h"
#include "formats/SteamAppInfo.h"
#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "KvGameAppUtil_p.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <XS.h>

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QSet>

#include <algorithm>
#include <memory>
#include <utility>

struct KvSteamAppUtil::Manifest
{
    QString appid;
    QString name;
    QString installdir;
};

namespace {

constexpr char Separator[] = "[KvSteamAppUtil] =====================================";

// Large enough for few calls of the system, small enough to stay in the processor's cache.
constexpr qsizetype BlockSize = 256 * 1024;

/** Lines for whoever looks into a single game; of no use in the logs of users. */
template<typename Value>
void logVerbosely(const char *text, const Value &value)
{
    constexpr bool IsVerbose = false;
    if constexpr (IsVerbose)
        qDebug() << text << value;
    else
        Q_UNUSED(text)
    Q_UNUSED(value)
}

std::shared_ptr<KvPlatform::Files> files()
{
    return KvPlatform::Platform::current()->files;
}

QString unquoted(QString token)
{
    return token.remove(u'"');
}

/** A list in the order of addition that takes each path once. */
class Paths
{
public:
    void add(const QString &path)
    {
        if (m_seen.contains(path))
            return;
        m_seen.insert(path);
        m_list.append(path);
    }

    const QStringList &list() const { return m_list; }

private:
    QStringList m_list;
    QSet<QString> m_seen;
};

const KvGameAppInfo *findKnown(const QString &name, const QList<KvGameAppInfo *> &knownApps)
{
    const auto known = std::find_if(knownApps.cbegin(), knownApps.cend(), [&name](const KvGameAppInfo *app) {
        return app->platform() == KvGameAppInfo::Steam && app->name() == name;
    });
    return known == knownApps.cend() ? nullptr : *known;
}

/** Adds what the settings in `folder` name, and gives whether there are any. */
template<typename Reader>
bool addFromSettings(const QString &gameFolder, const QString &folder, Reader executableIn, Paths &executables)
{
    bool areThere = false;
    const QStringList names = files()->fileNames(folder);
    for (const QString &name : names) {
        if (!name.contains(QLatin1String(".json")))
            continue;
        areThere = true;
        logVerbosely("[KvSteamAppUtil] jsonPath: ", name);
        const QString executable = executableIn(folder + name);
        logVerbosely("[KvSteamAppUtil] executable: ", executable);
        if (executable.isEmpty())
            continue;
        logVerbosely("[KvSteamAppUtil] getExecutableFromAnitCheater: ", gameFolder + executable);
        executables.add(gameFolder + executable);
    }
    return areThere;
}

/** Adds the cached executables, each with the known one in its place if there is one. */
void addFromCache(const QString &gameFolder, const KvGameAppInfo &cached, const KvGameAppInfo *known,
                  Paths &executables)
{
    const QString instead = known ? known->executable() : QString();
    const QList<QString> list = cached.executableList();
    for (const QString &entry : list) {
        const QStringList candidates = (instead.isEmpty() ? entry : instead).split(u',');
        for (const QString &candidate : candidates)
            executables.add(WindowsPath::fromNativeSeparators(gameFolder + candidate));
    }
}

void log(const KvGameAppInfo &game)
{
    qDebug() << Separator;
    qDebug() << "[KvSteamAppUtil] name: " << game.name();
    qDebug() << "[KvSteamAppUtil] id: " << game.appId();
    qDebug() << "[KvSteamAppUtil] icon: " << game.clientIcon();
    const QList<QString> executables = game.executableList();
    for (const QString &executable : executables)
        qDebug() << "[KvSteamAppUtil] executable: " << executable;
    qDebug() << "[KvSteamAppUtil] installDir: " << game.installDir();
    qDebug() << "[KvSteamAppUtil] ignoreExeFullPath: " << game.ignoreExeFullPath();
}

void logVerbosely(const KvGameAppInfo &game)
{
    logVerbosely("[KvSteamAppUtil] ==================================", "");
    logVerbosely("[KvSteamAppUtil] name: ", game.name());
    logVerbosely("[KvSteamAppUtil] clientIcon: ", game.clientIcon());
    const QList<QString> executables = game.executableList();
    for (const QString &executable : executables)
        logVerbosely("[KvSteamAppUtil] executable: ", executable);
}

KvAppSetting *makeSetting(const KvGameAppInfo &game)
{
    const QString icon = game.clientIcon();
    const bool hasIcon = !icon.isEmpty() && files()->exists(icon);
    auto *const setting = new KvAppSetting;
    setting->setDisplayName(game.name());
    setting->setExecutableList(game.executableList());
    setting->setIgnoreExeFullPath(game.ignoreExeFullPath());
    setting->setIconFile(hasIcon ? icon : game.executable());
    return setting;
}

} // namespace

KvSteamAppUtil::KvSteamAppUtil() = default;

KvSteamAppUtil::~KvSteamAppUtil()
{
    clearSteamApps();
}

QList<KvAppSetting *> KvSteamAppUtil::getInstalledApps(const QString &appDataPath,
                                                       const QList<KvGameAppInfo *> &knownApps)
{
    qDebug() << "[KvSteamAppUtil] getInstalledSteamApps: " << appDataPath;
    const QString steamRoot = files()->folderOf(appDataPath);
    getAllSteamApps(steamRoot);
    GameRecords games;
    const QList<QString> folders = parseSteamAppsFolderPath(steamRoot);
    for (const QString &folder : folders)
        parseSteamAppsFromFolders(folder + QLatin1String("/steamapps"), steamRoot, games.list, knownApps);
    QList<KvAppSetting *> settings;
    for (const KvGameAppInfo *const game : std::as_const(games.list)) {
        log(*game);
        settings.append(makeSetting(*game));
    }
    return settings;
}

bool KvSteamAppUtil::isSteamCenterApp(const QString &fileName)
{
    return fileName == QLatin1String("steam.exe");
}

void KvSteamAppUtil::getAllSteamApps(const QString &steamRoot)
{
    qDebug() << "[KvSteamAppUtil] getAllSteamApps: " << steamRoot;
    clearSteamApps();
    // In blocks of our own: a mapped file that shrinks would end the program, or could not shrink.
    QFile file(files()->hostPath(steamRoot + QLatin1String("/appcache/appinfo.vdf")));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        qWarning() << "[KvSteamAppUtil] load appinfo.vdf file error";
        return;
    }
    auto current = std::make_unique<KvGameAppInfo>();
    SteamAppInfo reader([this, &current](const SteamAppInfo::Section &section) {
        current->setName(section.name);
        current->setClientIcon(section.clientIcon);
        current->setExecutableList(section.executables);
        if (!isSteamGameApp(current.get()))
            return;
        logVerbosely(*current);
        // The last of a name stays.
        delete std::exchange(m_allSteamApps[section.name], current.release());
        current = std::make_unique<KvGameAppInfo>();
    });
    QByteArray block(BlockSize, Qt::Uninitialized);
    for (qint64 count = file.read(block.data(), BlockSize); count > 0; count = file.read(block.data(), BlockSize))
        reader.read(QByteArrayView(block).first(count));
    reader.finish();
}

void KvSteamAppUtil::clearSteamApps()
{
    qDeleteAll(std::exchange(m_allSteamApps, {}));
}

bool KvSteamAppUtil::isSteamGameApp(const KvGameAppInfo *info)
{
    return info && !info->clientIcon().isEmpty() && info->executable().contains(QLatin1String(".exe"));
}

QList<QString> KvSteamAppUtil::parseSteamAppsFolderPath(const QString &steamRoot)
{
    qDebug() << "[KvSteamAppUtil] parseSteamAppsFolderPath" << steamRoot;
    QFile file(files()->hostPath(steamRoot + QLatin1String("/config/libraryfolders.vdf")));
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning() << "[KvSteamAppUtil] load folderPath file error";
        return {};
    }
    QList<QString> folders;
    for (QString token = getNextToken(file, false); !token.isEmpty(); token = getNextToken(file, false)) {
        if (!token.contains(QLatin1String("path")))
            continue;
        const QString folder = unquoted(getNextToken(file, false));
        qDebug() << "[KvSteamAppUtil] folder path: " << folder;
        folders.append(folder);
    }
    return folders;
}

void KvSteamAppUtil::parseSteamAppsFromFolders(const QString &steamAppsDir, const QString &steamRoot,
                                               QList<KvGameAppInfo *> &apps, const QList<KvGameAppInfo *> &knownApps)
{
    logVerbosely("[KvSteamAppUtil] parseSteamFromFolders: ", steamAppsDir);
    const QStringList names = files()->fileNames(steamAppsDir);
    for (const QString &name : names) {
        if (!name.contains(QLatin1String(".acf")))
            continue;
        const QString path = steamAppsDir + u'/' + name;
        logVerbosely("[KvSteamAppUtil] parse acf: ", path);
        QFile file(files()->hostPath(path));
        if (!file.open(QIODevice::ReadOnly)) {
            qWarning() << "[SystemContext] load " << name << " error";
            continue;
        }
        const Manifest manifest = readManifest(file);
        if (KvGameAppInfo *const cached = m_allSteamApps.value(manifest.name))
            apps.append(createGame(manifest, *cached, steamAppsDir, steamRoot, knownApps));
    }
}

KvSteamAppUtil::Manifest KvSteamAppUtil::readManifest(QFile &file)
{
    Manifest manifest;
    for (QString token = getNextToken(file, false); !token.isEmpty(); token = getNextToken(file, false)) {
        QString *field = nullptr;
        if (token.contains(QLatin1String("appid")) && manifest.appid.isEmpty())
            field = &manifest.appid;
        else if (token.contains(QLatin1String("name")) && manifest.name.isEmpty())
            field = &manifest.name;
        else if (token.contains(QLatin1String("installdir")) && manifest.installdir.isEmpty())
            field = &manifest.installdir;
        if (field)
            *field = unquoted(getNextToken(file, false));
    }
    return manifest;
}

KvGameAppInfo *KvSteamAppUtil::createGame(const Manifest &manifest, KvGameAppInfo &cached, const QString &steamAppsDir,
                                          const QString &steamRoot, const QList<KvGameAppInfo *> &knownApps)
{
    logVerbosely("[KvSteamAppUtil] app found name: ", manifest.name);
    cached.setClientIcon(steamRoot + QLatin1String("/steam/games/") + cached.clientIcon() + QLatin1String(".ico"));
    const QString gameFolder =
        files()->absolutePath(steamAppsDir) + QLatin1String("/common/") + manifest.installdir + u'/';
    const KvGameAppInfo *const known = findKnown(cached.name(), knownApps);
    Paths executables;
    bool hasSettings = false;
    for (const char *const name : {"EasyAntiCheat/Launcher/", "EasyAntiCheat/"}) {
        const QString folder = gameFolder + QLatin1String(name);
        if (!hasSettings && files()->isFolder(folder))
            hasSettings =
                addFromSettings(gameFolder, folder, &KvSteamAppUtil::getExecutableFromAnitCheater, executables);
    }
    if (!hasSettings)
        addFromCache(gameFolder, cached, known, executables);
    auto *const game =
        new KvGameAppInfo(nullptr, manifest.name, cached.clientIcon(), QString(), manifest.appid, manifest.installdir);
    game->setExecutableList(executables.list());
    game->setIgnoreExeFullPath(known && known->ignoreExeFullPath());
    return game;
}

QString KvSteamAppUtil::getExecutableFromAnitCheater(const QString &jsonPath)
{
    const QByteArray bytes = XS::loadData(files()->hostPath(jsonPath));
    if (bytes.isEmpty())
        return QString();
    const AntiCheatSettings::Settings settings = AntiCheatSettings::parse(bytes);
    if (settings.fault == AntiCheatSettings::NotJson)
        qWarning() << "[KvSteamAppUtil] JsonDocument is empty. Cannot read file: " << jsonPath;
    else if (settings.fault == AntiCheatSettings::NotAnObject)
        qWarning() << "[KvSteamAppUtil] Document is not an object: " << jsonPath;
    return settings.executable;
}
