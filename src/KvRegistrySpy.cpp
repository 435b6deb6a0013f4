#include "KvRegistrySpy.h"

#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/Registry.h"

#include <QtCore/QMap>

#include <utility>

namespace {

constexpr QLatin1Char Separator('\\');

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
    Q_UNUSED(watchSubtree)
    unbind();
    m_prefix = hkey(path);
    return false;
}

void KvRegistrySpy::bindForever(const QString &path, bool watchSubtree)
{
    bind(path, watchSubtree);
}

void KvRegistrySpy::unbind()
{}

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
