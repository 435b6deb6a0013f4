#pragma once

#include <QtCore/QString>

/**
 * A process that this one has started, and which ends by itself. Until it is collected the system keeps its exit code
 * and gives its id to nobody else. Moves only.
 */
class Child
{
public:
    /** How long a child lives that is meant to be ended by somebody else. */
    static constexpr int Forever = 300'000;

    /** The program that tests start. */
    static QString program();

    /** Starts program(), or a copy of it. A refusal ends this program, so that no test goes on without its child. */
    static Child start(int milliseconds, int exitCode, const QString &path = program());

    Child(Child &&other) noexcept;
    Child &operator=(Child &&other) noexcept;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    /** Ends the process if it hasn't ended, and collects it. */
    ~Child();

    qint64 id() const { return m_id; }

    /** Waits for the end, and collects the process. Gives the exit code; -1 for one that was ended from outside. */
    int collect();

    /** The descriptors or handles that this process has open now, and its threads. */
    static int openHandles();
    static int threads();

private:
    Child(qint64 id, void *handle);

    qint64 m_id = 0; // 0 if there is nothing to collect.
    void *m_handle = nullptr;
};
