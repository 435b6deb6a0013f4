#include "KvProgramContext_p.h"

#include "platform/Files.h"
#include "platform/WindowsPath.h"

#include <XEnvironment.h>
#include <XS.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

void KvProgramContext::loadMetadata()
{
    // The platform goes first: a machine folder may name the file.
    const std::shared_ptr<const KvPlatform::Platform> platform = KvPlatform::Platform::current();
    const QString path = XEnvironment::varChoice(QStringLiteral("app.metadata"), QStringLiteral("sku")).toString();
    const QString hostPath = platform->files->hostPath(path);
    const QJsonArray elements = XS::loadJsonValue(hostPath).toArray();
    for (const QJsonValue element : elements) {
        const Rule rule = element.toObject().toVariantMap();
        const QVariantList tags = rule.value(QStringLiteral("tags")).toList();
        if (tags.contains(QVariant(QStringLiteral("meeting"))))
            m_rules->meetingRules.append(rule);
        if (tags.contains(QVariant(QStringLiteral("ignore"))))
            m_rules->ignoreRules.append(rule);
        if (rule.contains(QStringLiteral("target")))
            m_rules->metadataApps.append(rule);
    }
}

bool KvProgramContext::isMatched(const ProgramInfo *app, const Rule &rule)
{
    switch (app->type()) {
    case ProgramInfo::TypeManaged: {
        const QString id = rule.value(QStringLiteral("managedTarget")).toString();
        return !id.isEmpty() && id == app->productName();
    }
    case ProgramInfo::TypeDesktop: {
        const QString text = rule.value(QStringLiteral("desktopTarget")).toString();
        if (text.isEmpty())
            return false;
        const QString fileName = WindowsPath::fileName(app->desktopTarget());
        return fileName.compare(text, Qt::CaseInsensitive) == 0 || app->arguments().contains(text);
    }
    case ProgramInfo::TypeWeb: {
        const QUrl url = rule.value(QStringLiteral("target")).toUrl();
        return url.isValid() && url == app->targetUrl();
    }
    case ProgramInfo::TypeNone:
        break;
    }
    return false;
}

bool KvProgramContext::isLaunchable(const Scan &scan, const ProgramInfo *app)
{
    if (app->type() == ProgramInfo::TypeNone)
        return false;
    const auto matches = [app](const Rule &rule) { return isMatched(app, rule); };
    if (std::any_of(scan.rules->ignoreRules.cbegin(), scan.rules->ignoreRules.cend(), matches))
        return false;
    if (app->type() != ProgramInfo::TypeDesktop)
        return true;
    if (!app->iconUrl().isValid())
        return false;
    const std::shared_ptr<KvPlatform::Files> files = KvPlatform::Platform::current()->files;
    const QString path = app->desktopTarget();
    return files->exists(path) && files->isExecutable(path);
}

bool KvProgramContext::isUninstaller(const ProgramInfo *app)
{
    if (app->type() != ProgramInfo::TypeDesktop)
        return false;
    const QString path = app->desktopTarget();
    const QString fileName = WindowsPath::fileName(path);
    const bool named = app->displayName().contains(QLatin1String("uninstall"), Qt::CaseInsensitive) ||
                       fileName.contains(QLatin1String("uninst"), Qt::CaseInsensitive) ||
                       fileName.startsWith(QLatin1String("unins0"), Qt::CaseInsensitive);
    return named && KvPlatform::Platform::current()->files->isExecutable(path);
}

bool KvProgramContext::isMeetingApp(const ProgramInfo *app) const
{
    return std::any_of(m_rules->meetingRules.cbegin(), m_rules->meetingRules.cend(),
                       [app](const Rule &rule) { return isMatched(app, rule); });
}
