#include "KvAppSetting.h"

#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/WindowsPath.h"

#include <QtCore/QUrl>

KvAppSetting::KvAppSetting(QObject *parent, const QString &monitorModel, ColorMode colorMode,
                           const QString &displayName, const QString &icon, const QList<QString> &executableList,
                           const QString &appType)
    : QObject(parent)
    , m_monitorModel(monitorModel)
    , m_colorMode(colorMode)
    , m_displayName(displayName)
    , m_icon(icon)
    , m_executableList(executableList)
    , m_appType(appType)
{}

KvAppSetting::~KvAppSetting() = default;

QString KvAppSetting::monitorModel() const
{
    return m_monitorModel;
}

void KvAppSetting::setMonitorModel(const QString &monitorModel)
{
    if (m_monitorModel == monitorModel)
        return;
    m_monitorModel = monitorModel;
    Q_EMIT monitorModelChanged();
}

KvAppSetting::ColorMode KvAppSetting::colorMode() const
{
    return m_colorMode;
}

void KvAppSetting::setColorMode(ColorMode colorMode)
{
    if (m_colorMode == colorMode)
        return;
    m_colorMode = colorMode;
    Q_EMIT colorModeChanged();
}

QString KvAppSetting::displayName() const
{
    return m_displayName;
}

void KvAppSetting::setDisplayName(const QString &displayName)
{
    if (m_displayName == displayName)
        return;
    m_displayName = displayName;
    Q_EMIT displayNameChanged();
}

QString KvAppSetting::icon() const
{
    return m_icon;
}

void KvAppSetting::setIcon(const QString &icon)
{
    if (m_icon == icon)
        return;
    m_icon = icon;
    Q_EMIT iconChanged();
}

void KvAppSetting::setIconFile(const QString &filePath)
{
    setIcon(getIconFilepath(filePath));
}

QString KvAppSetting::executable() const
{
    return m_executableList.isEmpty() ? QString(QLatin1String("")) : m_executableList.first();
}

void KvAppSetting::setExecutable(const QString &path)
{
    m_executableList = {path};
    setFileName(WindowsPath::fileName(path));
    Q_EMIT executableChanged();
}

QStringList KvAppSetting::executableList() const
{
    return m_executableList;
}

void KvAppSetting::setExecutableList(const QList<QString> &executableList)
{
    if (m_executableList == executableList)
        return;
    m_executableList = executableList;
    Q_EMIT executableListChanged();
}

QString KvAppSetting::appType() const
{
    return m_appType;
}

void KvAppSetting::setAppType(const QString &appType)
{
    if (m_appType == appType)
        return;
    m_appType = appType;
    Q_EMIT appTypeChanged();
}

bool KvAppSetting::hasSelected() const
{
    return m_hasSelected;
}

void KvAppSetting::setHasSelected(bool hasSelected)
{
    if (m_hasSelected == hasSelected)
        return;
    m_hasSelected = hasSelected;
    Q_EMIT hasSelectedChanged();
}

bool KvAppSetting::appExist() const
{
    return m_appExist;
}

void KvAppSetting::setAppExist(bool appExist)
{
    if (m_appExist == appExist)
        return;
    m_appExist = appExist;
    Q_EMIT appExistChanged();
}

bool KvAppSetting::ignoreExeFullPath() const
{
    return m_ignoreExeFullPath;
}

void KvAppSetting::setIgnoreExeFullPath(bool ignoreExeFullPath)
{
    if (m_ignoreExeFullPath == ignoreExeFullPath)
        return;
    m_ignoreExeFullPath = ignoreExeFullPath;
    Q_EMIT ignoreExeFullPathChanged();
}

QString KvAppSetting::fileName() const
{
    return m_fileName;
}

void KvAppSetting::setFileName(const QString &fileName)
{
    if (m_fileName == fileName)
        return;
    m_fileName = fileName;
    Q_EMIT fileNameChanged();
}

KvAppSetting::AppPlatform KvAppSetting::platform() const
{
    return m_platform;
}

void KvAppSetting::setPlatform(AppPlatform platform)
{
    if (m_platform == platform)
        return;
    m_platform = platform;
    Q_EMIT platformChanged();
}

QString KvAppSetting::launcherName() const
{
    return m_launcherName;
}

void KvAppSetting::setLauncherName(const QString &launcherName)
{
    m_launcherName = launcherName;
}

void KvAppSetting::checkAppExist()
{
    if (KvPlatform::Platform::current()->files->exists(executable()))
        return;
    m_appExist = false;
    Q_EMIT appExistChanged();
}

void KvAppSetting::update(KvAppSetting *other)
{
    if (!other)
        return;
    m_monitorModel = other->m_monitorModel;
    m_colorMode = other->m_colorMode;
    m_displayName = other->m_displayName;
    m_icon = other->m_icon;
    m_executable = other->executable();
    m_executableList = other->m_executableList;
    m_appType = other->m_appType;
}

void KvAppSetting::reset()
{
    m_monitorModel.clear();
    m_colorMode = ModeOff;
    m_displayName.clear();
    m_icon.clear();
    m_executable.clear();
    m_executableList.clear();
    m_appType.clear();
}

QString KvAppSetting::getIconFilepath(const QString &filePath)
{
    if (filePath.isEmpty())
        return QLatin1String("");
    static const QString provider = QStringLiteral("app");
    QUrl url = WindowsPath::toUrl(WindowsPath::fromNativeSeparators(filePath));
    url.setScheme(QStringLiteral("image"));
    url.setHost(provider, QUrl::DecodedMode);
    return url.toString();
}
