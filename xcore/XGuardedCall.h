#pragma once

#include <QtCore/QtGlobal>

#include <exception>
#include <functional>

/**
 * Calls `function` and logs what it throws, since an exception must not get into Qt's event loop and would end the
 * process on a thread of the pool.
 */
inline void xCallGuarded(const std::function<void()> &function) noexcept
{
    try {
        function();
    } catch (const std::exception &error) {
        qWarning("XDispatch: a job threw an exception: %s", error.what());
    } catch (...) {
        qWarning("XDispatch: a job threw an exception of unknown type");
    }
}
