#pragma once

#include "PackageServer.h"

#include <QtCore/QHash>
#include <QtCore/QJsonObject>

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

/** What the objects of the server share: the script, and what has happened. */
class ServerState final : public PackageServer
{
public:
    static ServerState &instance();

    bool setScript(const QByteArray &json) override;
    QStringList takeCalls() override;
    void failCall(int number, qint32 code, const QString &text) override;
    QStringList takeLaunches() override;
    int objects() const override { return m_objects; }
    void setGate(bool isOpen) override;
    bool waitAtGate(int operations) override;
    bool waitForThreads() override;

    /** Loads the script of the environment, unless there is one. */
    void loadScript();

    QJsonObject script() const;

    /** To be called first by every call; a failure is what the call has to return. */
    HRESULT enter(const QString &call, const QString &object);

    bool lacks(const QString &interfaceName) const;
    bool isAgile(const QString &className) const;

    /** How the operation of that call ends. */
    QString ending(const QString &call, const QString &object) const;

    void addLaunch(const QString &launch);
    void countObject(int change) { m_objects += change; }

    using Work = std::function<void()>;

    /** Runs `work` on the server's other thread, which does one thing after the other. */
    void post(Work work);

    /** Runs `work` on a thread of its own. */
    void startThread(Work work);

    /** Blocks until the gate is open. */
    void passGate();

private:
    HRESULT fail(qint32 code, const QString &text) const;
    void runAndCount(Work work);

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    QJsonObject m_script;
    bool m_hasScript = false;
    QStringList m_calls;
    QStringList m_launches;
    int m_callsUntilFailure = -1;
    qint32 m_failureCode = 0;
    QString m_failureText;
    bool m_isGateOpen = true;
    int m_arrivals = 0;
    int m_threads = 0; ///< And what has been posted.
    bool m_hasWorker = false;
    std::deque<Work> m_posted;
    std::atomic<int> m_objects{0};
};
