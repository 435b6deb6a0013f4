#pragma once

#include "KvProgramContextProbe.h"

#include <XClock.h>
#include <XDispatch.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QStringList>

/** A catalogue of the platform in force, on a clock that stands still. One at a time, on the main thread. */
class ScanRunner
{
public:
    ScanRunner()
    {
        XClock::setCurrent(m_clock);
        m_context = KvProgramContextProbe::create();
    }

    /** Waits for what still runs in the background. */
    ~ScanRunner()
    {
        m_context.reset();
        XDispatch::waitForBackground(60'000);
        turn();
        XClock::setCurrent(nullptr);
    }

    ScanRunner(const ScanRunner &) = delete;
    ScanRunner &operator=(const ScanRunner &) = delete;

    KvProgramContext &context() { return *m_context; }

    /** Another catalogue takes the place of this one, whatever runs. */
    void recreate()
    {
        m_context.reset();
        m_context = KvProgramContextProbe::create();
    }

    static void turn()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void advance(int milliseconds)
    {
        m_clock->advance(milliseconds);
        turn();
    }

    /** A whole scan; false if its sources don't end within a minute, or it isn't published. */
    bool scan()
    {
        bool published = false;
        const auto connection = QObject::connect(m_context.get(), &KvProgramContext::isEmptyChanged, m_context.get(),
                                                 [&published] { published = true; });
        XDispatch::waitForBackground(60'000);
        m_context->startScan();
        const bool ended = XDispatch::waitForBackground(60'000);
        turn();
        advance(100);
        advance(100);
        QObject::disconnect(connection);
        return ended && published;
    }

    /** The names of all programs published, in their order. */
    QStringList names() const { return texts(&ProgramInfo::displayName); }

    /** The paths of all programs published, in the same order; empty for what is no file. */
    QStringList targets() const { return texts(&ProgramInfo::desktopTarget); }

private:
    QStringList texts(QString (ProgramInfo::*text)() const) const
    {
        QStringList result;
        for (const ProgramInfo *const app : m_context->allApps())
            result.append((app->*text)());
        return result;
    }

    std::shared_ptr<XManualClock> m_clock = std::make_shared<XManualClock>();
    std::unique_ptr<KvProgramContext> m_context;
};
