#include "KvRegistrySpy.h"

#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/RegistryWatch.h"

#include <QtCore/QDebug>
#include <QtCore/QMap>
#include <QtCore/QTimer>

#include <optional>
#include <utility>

namespace {

constexpr QLatin1Char Separator('\\');
constexpr int RetryDelay = 2000;
constexpr quint32 WatchAccess = 0x0010 | 0x0100; // KEY_NOTIFY, KEY_WOW64_64KEY
constexpr quint32 WatchFilter = 0x01 | 0x04;     // REG_NOTIFY_CHANGE_NAME, REG_NOTIFY_CHANGE_LAST_SET

/** The long names of the roots by their short ones. */
const QMap<QString, QString> &longRootNames()
{
    // Never destroyed: a background job may still ask while the process ends.
    static const auto *const names = new QMap<QString, QString>{
        {QStringLiteral("HKLM"), QStringLiteral("HKEY_LOCAL_MACHINE")},
        {QStringLiteral("HKCU"), QStringLiteral("HKEY_CURRENT_USER")},
        {QStringLiteral("HKCR"), QStringLiteral("HKEY_CLASSES_ROOT")},
        {QStringLiteral("HKCC"), QStringLiteral("HKEY_CURRENT_CONFIG")},
        {QStringLiteral("HKU"), QStringLiteral("HKEY_USERS")},
    };
    return *names;
}

/** The predefined keys by their names. */
const QMap<QString, quint32> &predefinedKeys()
{
    static const auto *const keys = new QMap<QString, quint32>{
        {QStringLiteral("HKEY_LOCAL_MACHINE"), 0x80000002}, {QStringLiteral("HKEY_CURRENT_USER"), 0x80000001},
        {QStringLiteral("HKEY_CLASSES_ROOT"), 0x80000000},  {QStringLiteral("HKEY_CURRENT_CONFIG"), 0x80000005},
        {QStringLiteral("HKEY_USERS"), 0x80000003},
    };
    return *keys;
}

/** A key as the system opens it. */
struct RootedKey
{
    quint32 root;
    QString subKey;
};

/** The key of a path in normal form; nothing if its root is unknown. */
std::optional<RootedKey> splitKeyPath(const QString &path)
{
    const auto root = predefinedKeys().constFind(path.section(Separator, 0, 0).toUpper());
    if (root == predefinedKeys().cend())
        return std::nullopt;
    return RootedKey{*root, path.section(Separator, 1, -1)};
}

/** A key, and the name of a value in it. */
std::pair<QString, QString> splitValuePath(const QString &path)
{
    return {path.section(Separator, 0, -2), path.section(Separator, -1, -1)};
}

std::shared_ptr<KvPlatform::Registry> registry()
{
    return KvPlatform::Platform::current()->registry;
}

QVariant readNormalized(const QString &path, const QVariant &defaultValue)
{
    const auto [key, name] = splitValuePath(path);
    return registry()->value(key, name, defaultValue);
}

} // namespace

KvRegistrySpy::KvRegistrySpy(QObject *parent)
    : QObject(parent)
{}

KvRegistrySpy::~KvRegistrySpy()
{
    unbind();
}

bool KvRegistrySpy::bind(const QString &path, bool watchSubtree)
{
    unbind();
    m_prefix = hkey(path);
    const std::optional<RootedKey> key = splitKeyPath(m_prefix);
    if (!key) {
        if (!m_isForever)
            qWarning().noquote() << "[FAIL] invalid registry key:" << m_prefix;
        return false;
    }
    KvPlatform::RegistryWatchResult opened =
        KvPlatform::Platform::current()->watches->open(key->root, key->subKey, WatchAccess);
    if (!opened.watch) {
        tellFailure("[FAIL] can't open registry key:", opened.error);
        return false;
    }
    m_watch = std::move(opened.watch);
    if (!arm(watchSubtree))
        return false;
    m_watch->notify([this, watchSubtree] { onChanged(watchSubtree); });
    m_isNotified = true;
    qInfo().noquote() << "[REGISTRY] bind" << m_prefix;
    return true;
}

void KvRegistrySpy::bindForever(const QString &path, bool watchSubtree)
{
    m_isForever = !bind(path, watchSubtree);
    if (!m_isForever)
        return;
    QTimer::singleShot(RetryDelay, this, [this, path, watchSubtree] {
        if (m_isForever)
            bindForever(path, watchSubtree);
    });
}

void KvRegistrySpy::unbind()
{
    const bool wasNotified = std::exchange(m_isNotified, false);
    m_watch.reset();
    if (!wasNotified)
        return;
    m_isForever = false;
    qInfo().noquote() << "[REGISTRY] unbind" << m_prefix;
}

bool KvRegistrySpy::arm(bool watchSubtree)
{
    const quint32 error = m_watch->arm(watchSubtree, WatchFilter);
    if (error != 0)
        tellFailure("[FAIL] can't watch registry key:", error);
    return error == 0;
}

void KvRegistrySpy::onChanged(bool watchSubtree)
{
    // First, so that nothing is lost of what the signal's receivers change.
    arm(watchSubtree);
    Q_EMIT valueChanged();
}

void KvRegistrySpy::tellFailure(const char *what, quint32 error) const
{
    if (!m_isForever)
        qWarning().noquote() << what << m_prefix << "err:" << error;
}

QVariant KvRegistrySpy::value(const QVariant &defaultValue) const
{
    return m_prefix.isEmpty() ? QVariant() : readValue(m_prefix, defaultValue);
}

QVariant KvRegistrySpy::keyValue(const QString &name, const QVariant &defaultValue) const
{
    const QString absolute = hkey(name);
    if (absolute.startsWith(QLatin1String("HKEY_"), Qt::CaseInsensitive))
        return readNormalized(absolute, defaultValue);
    if (m_prefix.isEmpty())
        return QVariant();
    return readNormalized(m_prefix + Separator + name, defaultValue);
}

QString KvRegistrySpy::prefix() const
{
    return m_prefix;
}

QString KvRegistrySpy::hkey(const QString &path)
{
    QString root = path.section(Separator, 0, 0).toUpper();
    if (root == QLatin1String("@HKCU"))
        root = QLatin1String("HKEY_USERS\\") + KvSecurity::userSidString();
    else
        root = longRootNames().value(root, root);
    return root + Separator + path.section(Separator, 1, -1);
}

bool KvRegistrySpy::containsKey(const QString &path)
{
    const auto [key, name] = splitValuePath(hkey(path));
    return registry()->contains(key, name);
}

QVariant KvRegistrySpy::readValue(const QString &path, const QVariant &defaultValue)
{
    return readNormalized(hkey(path), defaultValue);
}

void KvRegistrySpy::writeValue(const QString &path, const QVariant &value)
{
    const auto [key, name] = splitValuePath(hkey(path));
    registry()->setValue(key, name, value);
}

void KvRegistrySpy::removeKey(const QString &path)
{
    const auto [key, name] = splitValuePath(hkey(path));
    registry()->remove(key, name);
}
