#include "platform/win/runtime/AsyncWait.h"

#include <objbase.h>

namespace KvPlatform::Runtime {

namespace {

bool isSingleThreadedApartment()
{
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    if (FAILED(CoGetApartmentType(&type, &qualifier)))
        return false;
    const bool isNeutralOnOne =
        type == APTTYPE_NA && (qualifier == APTTYPEQUALIFIER_NA_ON_STA || qualifier == APTTYPEQUALIFIER_NA_ON_MAINSTA);
    return type == APTTYPE_STA || type == APTTYPE_MAINSTA || isNeutralOnOne;
}

} // namespace

Completion::Completion()
    : m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (!m_event)
        check(HRESULT_FROM_WIN32(GetLastError()));
}

void Completion::complete(AsyncStatus status)
{
    m_status = status;
    SetEvent(m_event.get());
}

AsyncStatus Completion::wait() const
{
    if (isSingleThreadedApartment()) {
        HANDLE event = m_event.get();
        DWORD index = 0;
        check(CoWaitForMultipleHandles(COWAIT_DISPATCH_CALLS, INFINITE, 1, &event, &index));
    } else if (WaitForSingleObject(m_event.get(), INFINITE) != WAIT_OBJECT_0) {
        check(HRESULT_FROM_WIN32(GetLastError()));
    }
    return m_status;
}

} // namespace KvPlatform::Runtime
