#include "KvGameAppInfo.h"

KvGameAppInfo::KvGameAppInfo(QObject *parent)
    : QObject(parent)
{}

KvGameAppInfo::KvGameAppInfo(QObject *parent, const QString &name, const QString &clientIcon, const QString &executable,
                             const QString &appId, const QString &installDir)
    : QObject(parent)
    , m_name(name)
    , m_clientIcon(clientIcon)
    , m_appId(appId)
    , m_installDir(installDir)
{
    if (!executable.isEmpty())
        m_executableList.append(executable);
}

KvGameAppInfo::~KvGameAppInfo() = default;

QString KvGameAppInfo::name() const
{
    return m_name;
}

void KvGameAppInfo::setName(const QString &name)
{
    m_name = name;
}

QString KvGameAppInfo::clientIcon() const
{
    return m_clientIcon;
}

void KvGameAppInfo::setClientIcon(const QString &clientIcon)
{
    m_clientIcon = clientIcon;
}

QString KvGameAppInfo::executable() const
{
    return m_executableList.isEmpty() ? QString(QLatin1String("")) : m_executableList.first();
}

void KvGameAppInfo::setExecutable(const QString &executable)
{
    m_executableList = {executable};
}

QList<QString> KvGameAppInfo::executableList() const
{
    return m_executableList;
}

void KvGameAppInfo::setExecutableList(const QList<QString> &executableList)
{
    m_executableList = executableList;
}

QString KvGameAppInfo::appId() const
{
    return m_appId;
}

void KvGameAppInfo::setAppId(const QString &appId)
{
    m_appId = appId;
}

QString KvGameAppInfo::installDir() const
{
    return m_installDir;
}

void KvGameAppInfo::setInstallDir(const QString &installDir)
{
    m_installDir = installDir;
}

KvGameAppInfo::AppPlatform KvGameAppInfo::platform() const
{
    return m_platform;
}

void KvGameAppInfo::setPlatform(AppPlatform platform)
{
    m_platform = platform;
}

bool KvGameAppInfo::ignoreExeFullPath() const
{
    return m_ignoreExeFullPath;
}

void KvGameAppInfo::setIgnoreExeFullPath(bool ignoreExeFullPath)
{
    m_ignoreExeFullPath = ignoreExeFullPath;
}
