#include "KvGameAppUtil_p.h"

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/WindowsPath.h"

#include <QtCore/QDebug>

#include <optional>

namespace {

constexpr char Separator[] = " =============================================";

const QLatin1String ProgramSuffix(".exe");

void log(const char *tag, const char *text, const QString &value)
{
    qDebug() << (QByteArray(tag) + text).constData() << value;
}

std::optional<QString> findInGameConfigStore(const char *tag, const QString &nativeLocation)
{
    const QString store = QStringLiteral("HKEY_CURRENT_USER\\System\\GameConfigStore\\Children");
    const std::shared_ptr<KvPlatform::Registry> registry = KvPlatform::Platform::current()->registry;
    const QStringList children = registry->childGroups(store);
    for (const QString &child : children) {
        const QString key = store + u'\\' + child;
        const QString path = registry->value(key, QStringLiteral("MatchedExeFullPath"), QString()).toString();
        if (path.contains(nativeLocation)) {
            log(tag, " ExecutableFullPath found ", path);
            return path;
        }
    }
    return std::nullopt;
}

QString findInNameCache(const char *tag, const QString &installLocation, const QString &nativeLocation)
{
    const QString cache = QStringLiteral(
        "HKEY_CURRENT_USER\\Software\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\Shell\\MuiCache");
    const QStringList names = KvPlatform::Platform::current()->registry->allKeys(cache);
    for (const QString &name : names) {
        if (!name.contains(installLocation) && !name.contains(nativeLocation))
            continue;
        const qsizetype suffix = name.lastIndexOf(ProgramSuffix);
        if (suffix < 0)
            continue;
        const QString path = name.left(suffix + ProgramSuffix.size());
        log(tag, " ExecutableFullPath found from muicache: ", path);
        return path;
    }
    return QString();
}

} // namespace

GameRecords::~GameRecords()
{
    qDeleteAll(list);
}

QString machineUninstallKey()
{
    return QStringLiteral("HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
}

QString findRecordedExecutable(const char *tag, const QString &installLocation)
{
    const QString nativeLocation = WindowsPath::toNativeSeparators(installLocation);
    // An empty location is found in any text, and in an empty one too: that ends the search as well.
    const std::optional<QString> path = findInGameConfigStore(tag, nativeLocation);
    return path ? *path : findInNameCache(tag, installLocation, nativeLocation);
}

QList<KvAppSetting *> settingsOfEntries(const char *tag, const QList<KvGameAppInfo *> &entries)
{
    QList<KvAppSetting *> settings;
    for (const KvGameAppInfo *const entry : entries) {
        log(tag, " displayName ", entry->name());
        log(tag, " installLocation ", entry->installDir());
        log(tag, " displayIcon ", entry->clientIcon());
        log(tag, " executable ", entry->executable());
        qDebug() << (QByteArray(tag) + Separator).constData();
        auto *const setting = new KvAppSetting;
        setting->setDisplayName(entry->name());
        setting->setExecutable(entry->executable());
        setting->setIconFile(entry->executable());
        settings.append(setting);
    }
    return settings;
}
