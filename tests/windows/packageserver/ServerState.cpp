#include "ServerState.h"

#include <oleauto.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <chrono>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds Patience{10};

/** Leaves the text where the caller of a failed call finds it. */
void setErrorText(const QString &text)
{
    ICreateErrorInfo *creator = nullptr;
    if (FAILED(CreateErrorInfo(&creator)))
        return;
    const std::wstring copy = text.toStdWString();
    BSTR description = SysAllocString(copy.c_str());
    creator->SetDescription(description);
    SysFreeString(description);
    IErrorInfo *info = nullptr;
    if (SUCCEEDED(creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&info)))) {
        SetErrorInfo(0, info);
        info->Release();
    }
    creator->Release();
}

} // namespace

ServerState &ServerState::instance()
{
    // Never destroyed: factories may be released while the process ends.
    static ServerState *const state = new ServerState;
    return *state;
}

bool ServerState::setScript(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    const std::lock_guard lock(m_mutex);
    m_script = document.object();
    m_hasScript = true;
    m_calls.clear();
    m_launches.clear();
    m_callsUntilFailure = -1;
    m_isGateOpen = true;
    m_arrivals = 0;
    return document.isObject();
}

void ServerState::loadScript()
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_hasScript)
            return;
    }
    QFile file(qEnvironmentVariable("KV_PACKAGE_SCRIPT"));
    const bool isNamed = !file.fileName().isEmpty();
    setScript(isNamed && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("{}"));
}

QJsonObject ServerState::script() const
{
    const std::lock_guard lock(m_mutex);
    return m_script;
}

QStringList ServerState::takeCalls()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_calls, {});
}

QStringList ServerState::takeLaunches()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_launches, {});
}

void ServerState::failCall(int number, qint32 code, const QString &text)
{
    const std::lock_guard lock(m_mutex);
    m_callsUntilFailure = number;
    m_failureCode = code;
    m_failureText = text;
}

HRESULT ServerState::fail(qint32 code, const QString &text) const
{
    if (!text.isEmpty())
        setErrorText(text);
    return code;
}

HRESULT ServerState::enter(const QString &call, const QString &object)
{
    const std::lock_guard lock(m_mutex);
    const QString whole = object.isEmpty() ? call : call + u' ' + object;
    m_calls.append(whole);
    if (m_callsUntilFailure >= 0 && m_callsUntilFailure-- == 0)
        return fail(m_failureCode, m_failureText);
    const QJsonObject failures = m_script.value(u"fail").toObject();
    for (const QString &key : {whole, call}) {
        const QJsonObject failure = failures.value(key).toObject();
        if (!failure.isEmpty())
            return fail(failure.value(u"code").toInt(), failure.value(u"text").toString());
    }
    return S_OK;
}

bool ServerState::lacks(const QString &interfaceName) const
{
    const std::lock_guard lock(m_mutex);
    return m_script.value(u"lacks").toArray().contains(interfaceName);
}

bool ServerState::isAgile(const QString &className) const
{
    const std::lock_guard lock(m_mutex);
    return !m_script.value(u"notAgile").toArray().contains(className);
}

QString ServerState::ending(const QString &call, const QString &object) const
{
    const std::lock_guard lock(m_mutex);
    const QJsonObject operations = m_script.value(u"operations").toObject();
    for (const QString &key : {call + u' ' + object, call, u"*"_s}) {
        if (operations.contains(key))
            return operations.value(key).toString();
    }
    return u"done"_s;
}

void ServerState::addLaunch(const QString &launch)
{
    const std::lock_guard lock(m_mutex);
    m_launches.append(launch);
    QFile journal(m_script.value(u"journal").toString());
    if (!journal.fileName().isEmpty() && journal.open(QIODevice::Append))
        journal.write(launch.toUtf8() + '\n');
}

void ServerState::runAndCount(Work work)
{
    work();
    work = nullptr; // What it holds goes before it counts as done.
    const std::lock_guard lock(m_mutex);
    --m_threads;
    m_changed.notify_all();
}

void ServerState::post(Work work)
{
    const std::lock_guard lock(m_mutex);
    ++m_threads;
    m_posted.push_back(std::move(work));
    m_changed.notify_all();
    if (std::exchange(m_hasWorker, true))
        return;
    std::thread([this] {
        for (;;) {
            std::unique_lock waiting(m_mutex);
            m_changed.wait(waiting, [this] { return !m_posted.empty(); });
            Work next = std::move(m_posted.front());
            m_posted.pop_front();
            waiting.unlock();
            runAndCount(std::move(next));
        }
    }).detach();
}

void ServerState::startThread(Work work)
{
    const std::lock_guard lock(m_mutex);
    ++m_threads;
    std::thread([this, task = std::move(work)]() mutable { runAndCount(std::move(task)); }).detach();
}

void ServerState::setGate(bool isOpen)
{
    const std::lock_guard lock(m_mutex);
    m_isGateOpen = isOpen;
    m_changed.notify_all();
}

void ServerState::passGate()
{
    std::unique_lock lock(m_mutex);
    ++m_arrivals;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_isGateOpen; });
}

bool ServerState::waitAtGate(int operations)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, Patience, [this, operations] { return m_arrivals >= operations; });
}

bool ServerState::waitForThreads()
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, Patience, [this] { return m_threads == 0; });
}
