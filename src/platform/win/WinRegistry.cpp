#include "platform/win/WinRegistry.h"

#include <QtCore/QSettings>

#include <algorithm>
#include <optional>

namespace KvPlatform {

namespace {

constexpr QLatin1String DefaultValue(".");
constexpr QLatin1String CurrentConfig("HKEY_CURRENT_CONFIG");

/** The key that HKEY_CURRENT_CONFIG is another name of. */
constexpr QLatin1String CurrentProfile("HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current");

bool isKnownToSettings(QStringView root)
{
    static constexpr const char16_t *Roots[] = {u"HKEY_LOCAL_MACHINE", u"HKEY_CURRENT_USER", u"HKEY_CLASSES_ROOT",
                                                u"HKEY_USERS"};
    return std::any_of(std::begin(Roots), std::end(Roots), [root](QStringView known) { return root == known; });
}

/** The path by which QSettings finds the key. It would take an unknown root for a key of HKEY_LOCAL_MACHINE. */
std::optional<QString> settingsPath(const QString &key)
{
    const qsizetype end = key.indexOf(u'\\');
    const QString root = key.left(end).toUpper();
    const QString rest = end < 0 ? QString() : key.mid(end);
    // An absent user's SID leaves an empty name, which must not lead into HKEY_USERS itself.
    if (rest.startsWith(u"\\\\"))
        return std::nullopt;
    if (root == CurrentConfig)
        return CurrentProfile + rest;
    return isKnownToSettings(root) ? std::optional<QString>(root + rest) : std::nullopt;
}

} // namespace

bool WinRegistry::contains(const QString &key, const QString &name) const
{
    const std::optional<QString> path = settingsPath(key);
    return path && QSettings(*path, QSettings::NativeFormat).contains(name.isEmpty() ? DefaultValue : name);
}

QVariant WinRegistry::value(const QString &key, const QString &name, const QVariant &defaultValue) const
{
    // QSettings answers so as well, but with a warning.
    if (name.isEmpty())
        return QVariant();
    const std::optional<QString> path = settingsPath(key);
    return path ? QSettings(*path, QSettings::NativeFormat).value(name, defaultValue) : defaultValue;
}

void WinRegistry::setValue(const QString &key, const QString &name, const QVariant &value)
{
    const std::optional<QString> path = settingsPath(key);
    if (path && !name.isEmpty())
        QSettings(*path, QSettings::NativeFormat).setValue(name, value);
}

void WinRegistry::remove(const QString &key, const QString &name)
{
    if (const std::optional<QString> path = settingsPath(key))
        QSettings(*path, QSettings::NativeFormat).remove(name);
}

QStringList WinRegistry::childGroups(const QString &key) const
{
    const std::optional<QString> path = settingsPath(key);
    return path ? QSettings(*path, QSettings::NativeFormat).childGroups() : QStringList();
}

QStringList WinRegistry::allKeys(const QString &key) const
{
    const std::optional<QString> path = settingsPath(key);
    return path ? QSettings(*path, QSettings::NativeFormat).allKeys() : QStringList();
}

} // namespace KvPlatform
