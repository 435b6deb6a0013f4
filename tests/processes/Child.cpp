#include "Child.h"

#include <utility>

QString Child::program()
{
    return QStringLiteral(KV_ENDING_CHILD);
}

Child::Child(qint64 id, void *handle)
    : m_id(id)
    , m_handle(handle)
{}

Child::Child(Child &&other) noexcept
    : m_id(std::exchange(other.m_id, 0))
    , m_handle(std::exchange(other.m_handle, nullptr))
{}

Child &Child::operator=(Child &&other) noexcept
{
    std::swap(m_id, other.m_id);
    std::swap(m_handle, other.m_handle);
    return *this;
}
