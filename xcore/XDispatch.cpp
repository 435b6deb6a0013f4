#include "XDispatch.h"

#include "XDispatchQueue.h"
#include "XThreadPool.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QThread>

#include <chrono>
#include <utility>

namespace {

QThread &mainThread()
{
    const QCoreApplication *const application = QCoreApplication::instance();
    return *(application ? application->thread() : QThread::currentThread());
}

// Null also if Qt has deleted the thread of the parent.
QThread &threadOf(const XDispatch *parent)
{
    QThread *const thread = parent ? parent->thread() : nullptr;
    return *(thread ? thread : QThread::currentThread());
}

} // namespace

XDispatch::XDispatch(const XDispatch *parent)
    : XDispatch(threadOf(parent))
{}

XDispatch::XDispatch(QThread &thread)
    : m_queue(XDispatchQueue::create(&thread))
{}

XDispatch::~XDispatch()
{
    m_queue->close();
}

XDispatch *XDispatch::main()
{
    // Never deleted: other static objects may still use it while they are destroyed.
    static XDispatch *const dispatch = new XDispatch(mainThread());
    return dispatch;
}

QThread *XDispatch::thread() const
{
    return m_queue->thread();
}

void XDispatch::postLater(int delay, Function function)
{
    m_queue->post(delay, std::move(function));
}

void XDispatch::postUniqueLater(QObject *receiver, const QString &key, int delay, Function function)
{
    m_queue->postUnique(receiver, key, delay, std::move(function));
}

void XDispatch::removeAll(bool waitForRunning)
{
    Q_UNUSED(waitForRunning);
    m_queue->clear();
}

void XDispatch::runInBackground(QObject *context, Function function)
{
    if (!function)
        return;
    if (!context) {
        XThreadPool::global().start(std::move(function));
        return;
    }
    // Taken here, where the context is known to be alive: taken on the other thread it could race with its deletion.
    QPointer<QObject> guard(context);
    XThreadPool::global().start([guard = std::move(guard), function = std::move(function)] {
        if (guard)
            function();
    });
}

bool XDispatch::waitForBackground(int timeout)
{
    return XThreadPool::global().waitForDone(std::chrono::milliseconds(timeout));
}
