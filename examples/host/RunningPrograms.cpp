#include "RunningPrograms.h"

#include "KvProcessSpy.h"

namespace {

// With the first look after 100 ms, the last one comes after some 13 s.
constexpr int Looks = 7;

QString fileName(const QString &path)
{
    return path.mid(qMax(path.lastIndexOf(QLatin1Char('/')), path.lastIndexOf(QLatin1Char('\\'))) + 1);
}

} // namespace

RunningPrograms::RunningPrograms(int firstLook, QObject *parent)
    : QObject(parent)
    , m_firstLook(firstLook)
{}

RunningPrograms::~RunningPrograms() = default;

QStringList RunningPrograms::files() const
{
    QStringList result;
    for (const auto &[path, watch] : m_watches) {
        if (watch.spy->isRunning())
            result.append(path);
    }
    return result;
}

void RunningPrograms::watch(const QString &path)
{
    if (fileName(path).isEmpty())
        return;
    Watch &watch = watchOf(path.toLower());
    if (watch.spy->isRunning())
        return;
    watch.looks = Looks;
    watch.timer->start(m_firstLook);
}

RunningPrograms::Watch &RunningPrograms::watchOf(const QString &path)
{
    if (const auto found = m_watches.find(path); found != m_watches.end())
        return found->second;
    auto *const spy = new KvProcessSpy(this);
    auto *const timer = new QTimer(spy);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, [this, path] { look(path); });
    connect(spy, &KvProcessSpy::exited, this, [this, path] { forget(path); });
    return m_watches.emplace(path, Watch{spy, timer, 0}).first->second;
}

void RunningPrograms::look(const QString &path)
{
    Watch &watch = watchOf(path);
    // A process that has ended by now is bound too, and exited() follows.
    if (watch.spy->bind(fileName(path)))
        Q_EMIT filesChanged();
    else if (--watch.looks > 0)
        watch.timer->start(watch.timer->interval() * 2);
    else
        forget(path);
}

void RunningPrograms::forget(const QString &path)
{
    const auto found = m_watches.find(path);
    if (found == m_watches.end())
        return;
    // It may be the spy that is speaking.
    found->second.spy->disconnect(this);
    found->second.spy->deleteLater();
    m_watches.erase(found);
    Q_EMIT filesChanged();
}
