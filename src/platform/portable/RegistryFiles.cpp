#include "platform/portable/RegistryFiles.h"

#include "platform/portable/WindowsNames.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QThread>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace KvPlatform {

namespace {

constexpr qint64 MaximumFileSize = 256 * 1024 * 1024;
constexpr qint64 CoarsestTime = 2000; // Milliseconds between two times of change that every file system tells apart.
constexpr qint64 LockPatience = 10'000;
const QLatin1String WrittenFile("zz-written.reg");

std::filesystem::path nativePath(const QString &path)
{
    return std::filesystem::path(path.toStdU16String());
}

/** Milliseconds; negative for a time to come. */
qint64 ageOf(const QDateTime &modified)
{
    return modified.msecsTo(QDateTime::currentDateTimeUtc());
}

QByteArray hashOf(const QByteArray &content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha1);
}

} // namespace

RegistryFiles::RegistryFiles(const QString &folder)
    : m_folder(folder)
{}

QString RegistryFiles::writtenPath() const
{
    return m_folder + u'/' + WrittenFile;
}

QStringList RegistryFiles::paths(const QString &folder)
{
    QStringList names;
    if (!folder.isEmpty())
        names = QDir(folder).entryList({QStringLiteral("*.reg")}, QDir::Files | QDir::Hidden);
    std::sort(names.begin(), names.end(),
              [](const QString &one, const QString &other) { return upperCased(one) < upperCased(other); });
    for (QString &name : names)
        name.prepend(folder + u'/');
    return names;
}

/** A file that was changed just now may change once more without a later time. */
bool RegistryFiles::isSettled(const QDateTime &modified)
{
    return ageOf(modified) > CoarsestTime;
}

bool RegistryFiles::isBeingWritten(const QString &folder)
{
    const QStringList found = paths(folder);
    return std::any_of(found.begin(), found.end(), [](const QString &path) {
        const State state = stateOf(path);
        const qint64 age = ageOf(state.modified);
        // A time to come would hold up the others' changes until then.
        return state.size == 0 && age >= 0 && age <= CoarsestTime;
    });
}

RegistryFiles::State RegistryFiles::stateOf(const QString &path)
{
    const QFileInfo info(path);
    return {info.size(), info.lastModified().toUTC(), QByteArray()};
}

bool RegistryFiles::isCurrent(const QString &path, State &state)
{
    const State now = stateOf(path);
    if (now.size != state.size || now.modified != state.modified)
        return false;
    if (state.hash.isEmpty())
        return true;
    const bool willBeSettled = isSettled(state.modified);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || hashOf(file.readAll()) != state.hash)
        return false;
    if (willBeSettled)
        state.hash.clear();
    return true;
}

void RegistryFiles::keepState(const QString &path, State state, const QByteArray &content)
{
    if (state.size <= MaximumFileSize && !isSettled(state.modified))
        state.hash = hashOf(content);
    m_states.insert(path, state);
}

void RegistryFiles::read(const std::function<void(const File &)> &visit)
{
    QMap<QString, State> former;
    former.swap(m_states);
    for (const QString &path : paths(m_folder)) {
        const auto known = former.find(path);
        File found{path, QByteArray(), path == writtenPath(), known == former.end() || !isCurrent(path, *known)};
        // Before the content: a file that is replaced in between is then read once more.
        const State state = stateOf(path);
        QFile file(path);
        if (file.open(QIODevice::ReadOnly) && file.size() <= MaximumFileSize) {
            found.content = file.readAll();
            visit(found);
        } else if (found.isNew) {
            const QString reason = file.isOpen() ? QStringLiteral("larger than 256 MiB") : file.errorString();
            qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(path, reason);
        }
        keepState(path, state, found.content);
    }
}

bool RegistryFiles::areCurrent()
{
    const QStringList found = paths(m_folder);
    return found.size() == m_states.size() && std::all_of(found.begin(), found.end(), [this](const QString &path) {
               const auto known = m_states.find(path);
               return known != m_states.end() && isCurrent(path, *known);
           });
}

std::unique_ptr<FolderLock> RegistryFiles::lock() const
{
    QDir().mkpath(m_folder);
    QElapsedTimer patience;
    patience.start();
    bool isTaken = true;
    while (isTaken && !patience.hasExpired(LockPatience)) {
        if (std::unique_ptr<FolderLock> lock = FolderLock::tryLock(m_folder, &isTaken))
            return lock;
        QThread::usleep(200);
    }
    return nullptr;
}

QString RegistryFiles::write(const QByteArray &content)
{
    // Replaced as a whole, so that neither a reader nor the end of this process comes upon half of it. Waiting for the
    // disk, as QSaveFile does, would hold up the interface's thread for each value.
    QFile file(writtenPath() + QStringLiteral(".new"));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        return file.errorString();
    file.close();
    std::error_code error;
    std::filesystem::rename(nativePath(file.fileName()), nativePath(writtenPath()), error);
    if (error)
        return QString::fromLocal8Bit(error.message().c_str());
    keepState(writtenPath(), stateOf(writtenPath()), content);
    return QString();
}

} // namespace KvPlatform
