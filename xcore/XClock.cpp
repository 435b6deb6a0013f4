#include "XClock.h"

#include "XDispatchQueue.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <mutex>
#include <utility>

namespace {

class SystemClock final : public XClock
{
public:
    std::int64_t now() const override
    {
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    }

    bool isRunning() const override { return true; }
};

struct ClockInForce
{
    std::mutex mutex;
    const std::shared_ptr<XClock> system = std::make_shared<SystemClock>();
    std::shared_ptr<XClock> clock = system;
};

// Never deleted: other static objects may still post jobs while they are destroyed.
ClockInForce &clockInForce()
{
    static ClockInForce *const clock = new ClockInForce;
    return *clock;
}

} // namespace

XClock::~XClock() = default;

std::shared_ptr<XClock> XClock::current()
{
    ClockInForce &inForce = clockInForce();
    const std::lock_guard lock(inForce.mutex);
    return inForce.clock;
}

void XClock::setCurrent(std::shared_ptr<XClock> clock)
{
    ClockInForce &inForce = clockInForce();
    if (!clock)
        clock = inForce.system;
    {
        const std::lock_guard lock(inForce.mutex);
        std::swap(inForce.clock, clock);
    }
    XDispatchQueue::wakeAll();
}

std::int64_t XManualClock::now() const
{
    return m_now.load();
}

bool XManualClock::isRunning() const
{
    return false;
}

void XManualClock::advance(std::int64_t milliseconds)
{
    // Far enough from the end of the range for the sums that a queue makes.
    constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max() / 4;
    const std::int64_t step = std::clamp<std::int64_t>(milliseconds, 0, latest);
    std::int64_t before = m_now.load();
    while (!m_now.compare_exchange_weak(before, std::min(before + step, latest))) {
    }
    XDispatchQueue::wakeAll();
}
