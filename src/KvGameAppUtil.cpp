#include "KvGameAppUtil.h"

#include "KvAppSetting.h"
#include "KvGameAppInfo.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/WindowsPath.h"

namespace {

QString pathFromRegistry(const QString &text)
{
    QString path = text;
    return WindowsPath::fromNativeSeparators(path.remove(u'"'));
}

} // namespace

KvGameAppUtil::KvGameAppUtil() = default;
KvGameAppUtil::~KvGameAppUtil() = default;

QList<KvAppSetting *> KvGameAppUtil::getInstalledApps(const QString &, const QList<KvGameAppInfo *> &)
{
    return {};
}

QString KvGameAppUtil::appDataPath() const
{
    return m_appDataPath;
}

void KvGameAppUtil::setAppDataPath(const QString &appDataPath)
{
    m_appDataPath = appDataPath;
}

void KvGameAppUtil::getInstalledAppsFromUninstallRegistry(QList<KvGameAppInfo *> &apps, const QString &publisher,
                                                          const QString &excludedExecutable,
                                                          const QString &registryPath)
{
    const auto registry = KvPlatform::Platform::current()->registry;
    for (const QString &child : registry->childGroups(registryPath)) {
        const QString key = registryPath + u'\\' + child;
        const auto text = [&registry, &key](const QString &name) {
            return registry->value(key, name, QVariant()).toString();
        };
        if (!text(QStringLiteral("Publisher")).contains(publisher))
            continue;
        const QString name = text(QStringLiteral("DisplayName"));
        const QString folder = pathFromRegistry(text(QStringLiteral("InstallLocation")));
        const QString icon = pathFromRegistry(text(QStringLiteral("DisplayIcon")));
        if (!excludedExecutable.isEmpty() && icon.contains(excludedExecutable))
            continue;
        apps.append(new KvGameAppInfo(nullptr, name, icon, icon, QString(), folder));
    }
}
