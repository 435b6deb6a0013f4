#include "platform/portable/MachineRegistry.h"

#include "platform/portable/MachineFacts.h"
#include "platform/portable/RegistryData.h"
#include "platform/portable/WindowsNames.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSaveFile>

#include <algorithm>

namespace KvPlatform {

namespace {

using RegistryText::Entry;

// Limits of the Windows registry, which also keep the recursion over a tree shallow.
constexpr qsizetype MostLevels = 512;
constexpr qsizetype MostNameLength = 255;

constexpr qint64 MaximumFileSize = 256 * 1024 * 1024;
const QLatin1String OwnFile("zz-written.reg");
const QLatin1String Users("HKEY_USERS");
const QLatin1String DefaultHive(".DEFAULT");

bool isRoot(const QString &name)
{
    static const QSet<QString> roots = {
        QStringLiteral("HKEY_LOCAL_MACHINE"),  QStringLiteral("HKEY_CURRENT_USER"), QStringLiteral("HKEY_CLASSES_ROOT"),
        QStringLiteral("HKEY_CURRENT_CONFIG"), QStringLiteral("HKEY_USERS"),
    };
    return roots.contains(name);
}

/** Roots, HKEY_USERS and the hives in it can be emptied but not removed. */
bool isPermanent(const QStringList &path)
{
    return path.size() < 2 || (path.size() == 2 && path.first() == Users);
}

/** A name as QSettings passes it to the registry: slashes mean levels there, and backslashes are plain characters. */
QString swapSeparators(QString text)
{
    for (QChar &unit : text) {
        if (unit == u'/')
            unit = u'\\';
        else if (unit == u'\\')
            unit = u'/';
    }
    return text;
}

QStringList namesIn(const QString &name)
{
    QStringList names = name.split(u'/', Qt::SkipEmptyParts);
    for (QString &part : names)
        part = swapSeparators(part);
    return names;
}

QString joined(const QStringList &path)
{
    return path.join(u'\\');
}

void collectNames(const RegistryKey &key, const QString &prefix, QStringList *names)
{
    for (const auto &[upper, value] : key.values)
        names->append(swapSeparators(prefix + (value.name.isEmpty() ? QStringLiteral(".") : value.name)));
    for (const auto &[upper, child] : key.children)
        collectNames(*child, prefix + child->name + u'\\', names);
}

Entry makeEntry(Entry::Kind kind, const QStringList &path)
{
    Entry entry;
    entry.kind = kind;
    entry.key = joined(path);
    return entry;
}

Entry makeEntry(Entry::Kind kind, const QStringList &path, const RegistryValue &value)
{
    Entry entry = makeEntry(kind, path);
    entry.name = value.name;
    entry.value = value.data;
    entry.expandable = value.isExpandable;
    return entry;
}

} // namespace

MachineRegistry::MachineRegistry(const QString &folder, const MachineFacts &facts)
    : m_folder(folder)
    , m_processHive(DefaultHive)
    , m_userHives({DefaultHive})
{
    if (facts.consoleUser && !facts.consoleUser->sidText.isEmpty())
        m_userHives.insert(upperCased(facts.consoleUser->sidText));
    if (facts.processUser && !facts.processUser->sidText.isEmpty()) {
        m_processHive = facts.processUser->sidText;
        m_userHives.insert(upperCased(m_processHive));
    }
    if (!m_folder.isEmpty())
        loadAll();
}

std::optional<MachineRegistry::Path> MachineRegistry::pathOf(const QString &key) const
{
    const qsizetype begin = key.startsWith(u'\\') ? 1 : 0;
    const qsizetype end = key.indexOf(u'\\', begin);
    const QString root = upperCased(QStringView(key).mid(begin, end < 0 ? -1 : end - begin));
    const QStringView rest = end < 0 ? QStringView() : QStringView(key).sliced(end + 1);
    // A name that begins with a separator is no path: so an absent user's SID doesn't lead into HKEY_USERS itself.
    if (!isRoot(root) || rest.startsWith(u'\\') || rest.contains(QChar::Null))
        return std::nullopt;
    Path path{root};
    if (root == QLatin1String("HKEY_CURRENT_USER"))
        path = Path{Users, m_processHive};
    for (const QStringView name : rest.tokenize(u'\\', Qt::SkipEmptyParts)) {
        if (name.size() > MostNameLength || path.size() == MostLevels)
            return std::nullopt;
        path.append(name.toString());
    }
    return path;
}

std::optional<MachineRegistry::Address> MachineRegistry::addressOf(const QString &key, const QString &name) const
{
    const std::optional<Path> path = pathOf(key);
    QStringList names = namesIn(name);
    QString last = names.isEmpty() ? QString() : names.takeLast();
    if (!path || path->size() + names.size() > MostLevels)
        return std::nullopt;
    if (last == QLatin1String("Default") || last == QLatin1String("."))
        last.clear();
    return Address{*path + names, last};
}

std::optional<QVariant> MachineRegistry::read(const QString &key, const QString &name) const
{
    const std::optional<Address> address = addressOf(key, name);
    if (!address)
        return std::nullopt;
    const std::lock_guard<std::mutex> lock(m_mutex);
    const RegistryKey *const found = m_tree.find(address->key);
    if (!found)
        return std::nullopt;
    const auto place = found->values.find(upperCased(address->name));
    return place == found->values.end() ? std::nullopt : std::optional<QVariant>(place->second.data);
}

bool MachineRegistry::contains(const QString &key, const QString &name) const
{
    return read(key, name).has_value();
}

QVariant MachineRegistry::value(const QString &key, const QString &name, const QVariant &defaultValue) const
{
    if (name.isEmpty())
        return QVariant();
    const std::optional<QVariant> data = read(key, name);
    return data ? RegistryData::toSetting(*data) : defaultValue;
}

bool MachineRegistry::isWritable(const Path &path) const
{
    if (path.first() != Users)
        return true;
    return path.size() > 1 && (m_userHives.contains(upperCased(path[1])) || m_tree.find(path.mid(0, 2)));
}

void MachineRegistry::setValue(const QString &key, const QString &name, const QVariant &value)
{
    const std::optional<Address> address = addressOf(key, name);
    if (!address || name.isEmpty())
        return;
    {
        const RegistryValue written{address->name, RegistryData::fromSetting(value), false};
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!isWritable(address->key))
            return;
        m_tree.setValue(address->key, written);
        m_journal.add(makeEntry(Entry::SetValue, address->key, written));
        ++m_revision;
    }
    changed();
}

void MachineRegistry::remove(const QString &key, const QString &name)
{
    const std::optional<Address> address = addressOf(key, name);
    if (!address)
        return;
    const QStringList names = namesIn(name);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        bool isChanged = false;
        if (!names.isEmpty() && m_tree.removeValue(address->key, address->name)) {
            m_journal.add(makeEntry(Entry::RemoveValue, address->key, {address->name, QVariant(), false}));
            isChanged = true;
        }
        // "Default" and "." stand for a value's name only, not for a key's.
        const Path below = names.isEmpty() ? address->key : address->key + QStringList{names.last()};
        if (!removeKey(below) && !isChanged)
            return;
        ++m_revision;
    }
    changed();
}

bool MachineRegistry::removeKey(const Path &path)
{
    if (!isPermanent(path)) {
        const bool isRemoved = m_tree.removeKey(path, false);
        if (isRemoved)
            m_journal.add(makeEntry(Entry::RemoveKey, path));
        return isRemoved;
    }
    const RegistryKey *const key = m_tree.find(path);
    if (!key || path == Path{Users})
        return false;
    for (const auto &[upper, child] : key->children)
        m_journal.add(makeEntry(Entry::RemoveKey, path + Path{child->name}));
    for (const auto &[upper, value] : key->values)
        m_journal.add(makeEntry(Entry::RemoveValue, path, {value.name, QVariant(), false}));
    return m_tree.removeKey(path, true);
}

QStringList MachineRegistry::childGroups(const QString &key) const
{
    const std::optional<Path> path = pathOf(key);
    QStringList names;
    const std::lock_guard<std::mutex> lock(m_mutex);
    const RegistryKey *const found = path ? m_tree.find(*path) : nullptr;
    if (!found)
        return names;
    names.reserve(qsizetype(found->children.size()));
    for (const auto &[upper, child] : found->children)
        names.append(swapSeparators(child->name));
    return names;
}

QStringList MachineRegistry::allKeys(const QString &key) const
{
    const std::optional<Path> path = pathOf(key);
    QStringList names;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const RegistryKey *const found = path ? m_tree.find(*path) : nullptr;
        if (found)
            collectNames(*found, QString(), &names);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void MachineRegistry::loadAll()
{
    QStringList names = QDir(m_folder).entryList({QStringLiteral("*.reg")}, QDir::Files | QDir::Hidden);
    std::sort(names.begin(), names.end(),
              [](const QString &one, const QString &other) { return upperCased(one) < upperCased(other); });
    for (const QString &name : std::as_const(names))
        loadFile(m_folder + u'/' + name, name == OwnFile);
}

void MachineRegistry::loadFile(const QString &path, bool isOwn)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaximumFileSize) {
        const QString reason = file.isOpen() ? QStringLiteral("larger than 256 MiB") : file.errorString();
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(path, reason);
        return;
    }
    const RegistryText::Document document = RegistryText::parse(file.readAll());
    for (const RegistryText::Fault &fault : document.faults)
        qWarning().noquote() << QStringLiteral("[MACHINE] %1:%2: %3").arg(path).arg(fault.line).arg(fault.text);
    QString refused;
    for (const Entry &entry : document.entries) {
        if (!apply(entry, isOwn) && entry.key != refused) {
            refused = entry.key;
            const QString shown = refused.left(MostNameLength);
            qWarning().noquote() << QStringLiteral("[MACHINE] %1: no such root, or too deep: %2").arg(path, shown);
        }
    }
}

bool MachineRegistry::apply(const Entry &entry, bool isOwn)
{
    const std::optional<Path> path = pathOf(entry.key);
    if (!path)
        return false;
    const std::lock_guard<std::mutex> lock(m_mutex);
    switch (entry.kind) {
    case Entry::AddKey:
        m_tree.make(*path);
        break;
    case Entry::RemoveKey:
        m_tree.removeKey(*path, isPermanent(*path));
        break;
    case Entry::SetValue:
        m_tree.setValue(*path, {entry.name, entry.value, entry.expandable});
        break;
    case Entry::RemoveValue:
        m_tree.removeValue(*path, entry.name);
        break;
    }
    if (isOwn) {
        Entry kept = entry;
        kept.key = joined(*path);
        m_journal.add(kept);
    }
    return true;
}

/** Comes after each write, without a lock held. */
void MachineRegistry::changed()
{
    if (m_folder.isEmpty())
        return;
    const std::lock_guard<std::mutex> saveLock(m_saveMutex);
    QByteArray text;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        // Another thread's save may have taken this change along.
        if (m_revision == m_savedRevision)
            return;
        m_savedRevision = m_revision;
        text = RegistryText::serialize(m_journal.entries());
    }
    save(text);
}

void MachineRegistry::save(const QByteArray &text)
{
    QDir().mkpath(m_folder);
    QSaveFile file(m_folder + u'/' + OwnFile);
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit())
        return;
    if (!m_hasWarned)
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(file.fileName(), file.errorString());
    m_hasWarned = true;
}

} // namespace KvPlatform
