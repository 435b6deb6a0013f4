#include "platform/portable/MachineRegistry.h"

#include "platform/portable/MachineFacts.h"
#include "platform/portable/RegistryData.h"
#include "platform/portable/WindowsNames.h"

#include <QtCore/QDebug>
#include <QtCore/QEvent>

#include <algorithm>
#include <utility>

namespace KvPlatform {

namespace {

using RegistryText::Entry;

// Limits of the Windows registry, which also keep the recursion over a tree shallow.
constexpr qsizetype MostLevels = 512;
constexpr qsizetype MostNameLength = 255;

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
bool keepsKey(const QStringList &path)
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

void apply(const Entry &entry, const QStringList &path, RegistryTree *tree)
{
    switch (entry.kind) {
    case Entry::AddKey:
        tree->make(path);
        break;
    case Entry::RemoveKey:
        tree->removeKey(path, keepsKey(path));
        break;
    case Entry::SetValue:
        tree->setValue(path, {entry.name, entry.value, entry.expandable});
        break;
    case Entry::RemoveValue:
        tree->removeValue(path, entry.name);
        break;
    }
}

} // namespace

MachineRegistry::MachineRegistry(const QString &folder, const MachineFacts &facts)
    : m_processHive(DefaultHive)
    , m_userHives({DefaultHive})
    , m_files(folder)
{
    if (facts.consoleUser && !facts.consoleUser->sidText.isEmpty())
        m_userHives.insert(upperCased(facts.consoleUser->sidText));
    if (facts.processUser && !facts.processUser->sidText.isEmpty()) {
        m_processHive = facts.processUser->sidText;
        m_userHives.insert(upperCased(m_processHive));
    }
    reload();
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

bool MachineRegistry::isPermanent(const Path &path) const
{
    return path.size() == 1 || (path.size() == 2 && path.first() == Users && m_userHives.contains(upperCased(path[1])));
}

bool MachineRegistry::isWritable(const Path &path) const
{
    if (path.first() != Users)
        return true;
    return path.size() > 1 && (m_userHives.contains(upperCased(path[1])) || m_tree.find(path.mid(0, 2)));
}

void MachineRegistry::note(const Entry &entry)
{
    if (!m_files.folder().isEmpty())
        m_unsaved.add(entry);
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
        setInTree(address->key, written);
    }
    saveChanges();
}

void MachineRegistry::setInTree(const Path &key, const RegistryValue &value)
{
    const RegistryKey *const found = m_tree.find(key);
    if (found) {
        const auto place = found->values.find(upperCased(value.name));
        if (place != found->values.end() && place->second.hasSameData(value))
            return;
    }
    qsizetype existing = key.size();
    while (existing > 0 && !m_tree.find(key.mid(0, existing)))
        --existing;
    m_tree.setValue(key, value);
    note(makeEntry(Entry::SetValue, key, value));
    for (; existing <= key.size(); ++existing)
        m_watched.tellChange(key.mid(0, existing));
}

void MachineRegistry::remove(const QString &key, const QString &name)
{
    const std::optional<Address> address = addressOf(key, name);
    if (!address)
        return;
    const QStringList names = namesIn(name);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!names.isEmpty() && m_tree.removeValue(address->key, address->name)) {
            note(makeEntry(Entry::RemoveValue, address->key, {address->name, QVariant(), false}));
            m_watched.tellChange(address->key);
        }
        // "Default" and "." stand for a value's name only, not for a key's.
        removeKey(names.isEmpty() ? address->key : address->key + QStringList{names.last()});
    }
    saveChanges();
}

void MachineRegistry::removeKey(const Path &path)
{
    const RegistryKey *const key = m_tree.find(path);
    if (!key || path == Path{Users})
        return;
    if (!keepsKey(path)) {
        note(makeEntry(Entry::RemoveKey, path));
    } else {
        for (const auto &[upper, child] : key->children)
            note(makeEntry(Entry::RemoveKey, path + Path{child->name}));
        for (const auto &[upper, value] : key->values)
            note(makeEntry(Entry::RemoveValue, path, {value.name, QVariant(), false}));
    }
    m_tree.removeKey(path, keepsKey(path));
    m_watched.tellRemoval(path, keepsKey(path));
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

MachineRegistry::Content MachineRegistry::load()
{
    Content content;
    m_files.read([this, &content](const RegistryFiles::File &file) { loadFile(file, &content); });
    return content;
}

void MachineRegistry::loadFile(const RegistryFiles::File &file, Content *content) const
{
    const auto warn = [&file](const QString &text) {
        if (file.isNew)
            qWarning().noquote() << QStringLiteral("[MACHINE] ") + file.path + text;
    };
    const RegistryText::Document document = RegistryText::parse(file.content);
    for (const RegistryText::Fault &fault : document.faults)
        warn(QStringLiteral(":%1: %2").arg(fault.line).arg(fault.text));
    QString refused;
    for (Entry entry : document.entries) {
        const std::optional<Path> path = pathOf(entry.key);
        if (!path) {
            if (entry.key != refused)
                warn(QStringLiteral(": no such root, or too deep: ") + entry.key.left(MostNameLength));
            refused = entry.key;
            continue;
        }
        apply(entry, *path, &content->tree);
        if (file.isWritten) {
            entry.key = joined(*path);
            content->written.add(entry);
        }
    }
}

void MachineRegistry::reload()
{
    const std::lock_guard<std::mutex> fileLock(m_fileMutex);
    reloadFiles();
}

void MachineRegistry::reloadFiles()
{
    Content content = load();
    m_written = std::move(content.written);
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry &entry : m_unsaved.entries())
        apply(entry, entry.key.split(u'\\'), &content.tree);
    m_watched.tellDifference(m_tree, content.tree);
    m_tree = std::move(content.tree);
}

void MachineRegistry::refresh()
{
    const std::lock_guard<std::mutex> fileLock(m_fileMutex);
    if (!m_files.areCurrent())
        reloadFiles();
}

bool MachineRegistry::openKey(const QString &key, WatchedKey *watched)
{
    refresh();
    const std::optional<Path> path = pathOf(key);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!path || (!m_tree.find(*path) && !isPermanent(*path)))
        return false;
    for (const QString &name : *path)
        watched->path.append(upperCased(name));
    watched->isPermanent = isPermanent(*path);
    m_watched.add(watched);
    return true;
}

bool MachineRegistry::armKey(WatchedKey *watched, bool withSubtree)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    watched->isArmed = !watched->isDeleted;
    watched->isTold = false;
    watched->withSubtree = withSubtree;
    return watched->isArmed;
}

bool MachineRegistry::takeNotice(WatchedKey *watched, const QEvent &event)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return event.type() == QEvent::User && std::exchange(watched->isTold, false);
}

void MachineRegistry::closeKey(WatchedKey *watched)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watched.remove(watched);
}

/** Comes after each change, without m_mutex held. */
void MachineRegistry::saveChanges()
{
    const std::lock_guard<std::mutex> fileLock(m_fileMutex);
    {
        // Another thread's save may have taken the change along.
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_unsaved.entries().isEmpty())
            return;
    }
    const std::unique_ptr<FolderLock> processLock = m_files.lock();
    if (!processLock)
        return warnOnce(QStringLiteral("can't be locked"));
    if (!m_files.areCurrent())
        reloadFiles();
    RegistryJournal unsaved;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        unsaved = std::exchange(m_unsaved, RegistryJournal());
    }
    if (!save(unsaved))
        keepUnsaved(std::move(unsaved));
}

bool MachineRegistry::save(const RegistryJournal &changes)
{
    RegistryJournal written = m_written;
    for (const Entry &entry : changes.entries())
        written.add(entry);
    const QString problem = m_files.write(RegistryText::serialize(written.entries()));
    if (!problem.isEmpty()) {
        warnOnce(problem);
        return false;
    }
    m_written = std::move(written);
    return true;
}

void MachineRegistry::keepUnsaved(RegistryJournal former)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry &entry : m_unsaved.entries())
        former.add(entry);
    m_unsaved = std::move(former);
}

void MachineRegistry::warnOnce(const QString &problem)
{
    if (!std::exchange(m_hasWarned, true))
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(m_files.writtenPath(), problem);
}

} // namespace KvPlatform
