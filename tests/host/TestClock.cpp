// Part of the test host only: KVHOST_CLOCK_SPEED=20 makes the dispatchers' time pass twenty times as fast.

#include <XClock.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

namespace {

constexpr int StepTime = 10; // Milliseconds of real time.

void installClock()
{
    const int speed = qEnvironmentVariableIntValue("KVHOST_CLOCK_SPEED");
    if (speed <= 0)
        return;
    const auto clock = std::make_shared<XManualClock>();
    XClock::setCurrent(clock);
    auto *const timer = new QTimer(QCoreApplication::instance());
    QElapsedTimer elapsed;
    elapsed.start();
    QObject::connect(timer, &QTimer::timeout, timer, [clock, elapsed, speed, last = qint64(0)]() mutable {
        const qint64 now = elapsed.elapsed();
        clock->advance((now - last) * speed);
        last = now;
    });
    timer->start(StepTime);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installClock)
