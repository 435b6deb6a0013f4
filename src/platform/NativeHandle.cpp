#include "platform/NativeHandle.h"

#include <utility>

namespace KvPlatform {

NativeHandle::NativeHandle(void *native, Close close)
    : m_native(native)
    , m_close(std::move(close))
{}

NativeHandle::NativeHandle(NativeHandle &&other) noexcept
    : m_native(std::exchange(other.m_native, nullptr))
    , m_close(std::move(other.m_close))
{}

NativeHandle &NativeHandle::operator=(NativeHandle &&other) noexcept
{
    if (this != &other) {
        reset();
        m_native = std::exchange(other.m_native, nullptr);
        m_close = std::move(other.m_close);
    }
    return *this;
}

NativeHandle::~NativeHandle()
{
    reset();
}

void NativeHandle::reset()
{
    void *const native = std::exchange(m_native, nullptr);
    if (native && m_close)
        m_close(native);
}

} // namespace KvPlatform
