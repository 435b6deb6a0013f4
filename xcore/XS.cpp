#include "XS.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtQml/QJSEngine>

#include <cstdint>
#include <mutex>
#include <vector>

namespace {

// A file that a module loads whole has some megabytes at most; beyond this something is wrong with it.
constexpr qint64 largestFile = qint64(1) << 30;

// Clean-up functions that bring singletons back to life must not keep the application from ending.
constexpr int mostRoundsAtEnd = 16;

using CleanUp = void (*)();

class CleanUps
{
public:
    // Never deleted: the application object may be a static one.
    static CleanUps &instance()
    {
        static CleanUps *const cleanUps = new CleanUps;
        return *cleanUps;
    }

    void add(CleanUp cleanUp);
    void run();
    void runAtEnd();

private:
    struct Entry
    {
        std::uint64_t order;
        CleanUp cleanUp;
    };

    CleanUp takeNewest(std::uint64_t end);
    std::uint64_t next();

    std::mutex m_mutex;
    std::vector<Entry> m_entries;
    std::uint64_t m_next = 0;
    bool m_isHooked = false;
};

void CleanUps::add(CleanUp cleanUp)
{
    const std::lock_guard lock(m_mutex);
    m_entries.push_back({m_next++, cleanUp});
    // Qt forgets the routine when it has called it, so that each application object needs it anew.
    if (!m_isHooked)
        qAddPostRoutine([] { CleanUps::instance().runAtEnd(); });
    m_isHooked = true;
}

CleanUp CleanUps::takeNewest(std::uint64_t end)
{
    const std::lock_guard lock(m_mutex);
    for (auto entry = m_entries.end(); entry != m_entries.begin();) {
        --entry;
        if (entry->order < end) {
            const CleanUp result = entry->cleanUp;
            m_entries.erase(entry);
            return result;
        }
    }
    return nullptr;
}

std::uint64_t CleanUps::next()
{
    const std::lock_guard lock(m_mutex);
    return m_next;
}

// One at a time and without the lock: a clean-up function may call this function, or add another one.
void CleanUps::run()
{
    const std::uint64_t end = next();
    while (const CleanUp cleanUp = takeNewest(end))
        cleanUp();
}

void CleanUps::runAtEnd()
{
    for (int round = 0; round < mostRoundsAtEnd; ++round) {
        run();
        const std::lock_guard lock(m_mutex);
        m_isHooked = !m_entries.empty();
        if (!m_isHooked)
            return;
    }
    const std::lock_guard lock(m_mutex);
    m_isHooked = false;
}

} // namespace

void XS::initSingleton(QObject *object, void (*cleanUp)())
{
    if (object)
        QJSEngine::setObjectOwnership(object, QJSEngine::CppOwnership);
    if (cleanUp)
        CleanUps::instance().add(cleanUp);
}

void XS::cleanUpSingletons()
{
    CleanUps::instance().run();
}

QByteArray XS::loadData(const QString &path)
{
    QFile file(path);
    // A pipe or device has no end to wait for, and a pipe not even a beginning.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.isSequential() ||
        file.size() > largestFile)
        return {};
    return file.readAll();
}

QJsonValue XS::loadJsonValue(const QString &path)
{
    const QJsonDocument document = QJsonDocument::fromJson(loadData(path));
    if (document.isArray())
        return document.array();
    if (document.isObject())
        return document.object();
    return QJsonValue(QJsonValue::Undefined);
}
