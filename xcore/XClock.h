#pragma once

#include "XCoreGlobal.h"

#include <atomic>
#include <cstdint>
#include <memory>

/**
 * Where XDispatch reads the time from.
 *
 * The library runs on the system's monotonic clock. A test installs an XManualClock instead, so that a delay of an
 * hour takes no time at all. All functions may be called from any thread.
 */
class XCORE_EXPORT XClock
{
public:
    virtual ~XClock();

    /** Milliseconds since an arbitrary fixed moment; never goes back. */
    virtual std::int64_t now() const = 0;

    /** True if time passes by itself, so that waiting for a moment makes sense. */
    virtual bool isRunning() const = 0;

    /** The clock in force. */
    static std::shared_ptr<XClock> current();

    /**
     * Replaces the clock in force; null puts the system's clock back. Jobs that wait already are measured by the new
     * one: each still has to wait for what is left of its delay.
     */
    static void setCurrent(std::shared_ptr<XClock> clock);
};

/** A clock that stands still until somebody turns it. */
class XCORE_EXPORT XManualClock final : public XClock
{
public:
    std::int64_t now() const override;
    bool isRunning() const override;

    /**
     * Turns the clock on by `milliseconds`, a negative number counting as 0, and wakes every dispatcher: jobs that are
     * due by then run in the next turn of their thread's event loop.
     */
    void advance(std::int64_t milliseconds);

private:
    std::atomic<std::int64_t> m_now{0};
};
