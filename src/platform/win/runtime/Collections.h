#pragma once

#include "platform/win/runtime/Calls.h"

/** Walks over the collections of the Windows Runtime, in the order of the calls that a loop over them makes. */
namespace KvPlatform::Runtime {

/** Walks a collection that can only be stepped through. Every operation may raise hresult_error. */
template<typename Item>
class IterableWalk
{
public:
    explicit IterableWalk(const ComPointer<IIterable<Item *>> &items)
        : m_iterator(getObject(items.get(), &IIterable<Item *>::First))
        , m_hasCurrent(get(m_iterator.get(), &IIterator<Item *>::get_HasCurrent))
    {}

    /** Goes to the next item, the first time to the first one; false behind the last. */
    bool advance()
    {
        if (m_hasCurrent && m_isUnderWay)
            m_hasCurrent = get(m_iterator.get(), &IIterator<Item *>::MoveNext);
        m_isUnderWay = true;
        return m_hasCurrent;
    }

    /** The item after advance() gave true; may be null. */
    ComPointer<Item> current() const { return getObject(m_iterator.get(), &IIterator<Item *>::get_Current); }

private:
    ComPointer<IIterator<Item *>> m_iterator;
    Boolean m_hasCurrent;
    bool m_isUnderWay = false;
};

/** Walks a list as long as it is when the walk begins. Every operation may raise hresult_error. */
template<typename Item>
class VectorWalk
{
public:
    explicit VectorWalk(ComPointer<IVectorView<Item *>> items)
        : m_items(std::move(items))
    {}

    UINT32 size() const { return get(m_items.get(), &IVectorView<Item *>::get_Size); }

    /** The item at a position; may be null. */
    ComPointer<Item> at(UINT32 index) const
    {
        ComPointer<Item> item;
        check(required(m_items.get())->GetAt(index, item.put()));
        return item;
    }

    /** Goes to the next item, the first time to the first one; false behind the last. */
    bool advance()
    {
        if (!m_isUnderWay)
            m_size = size();
        m_position += m_isUnderWay && m_position < m_size ? 1 : 0;
        m_isUnderWay = true;
        return m_position < m_size;
    }

    ComPointer<Item> current() const { return at(m_position); }

private:
    ComPointer<IVectorView<Item *>> m_items;
    UINT32 m_size = 0;
    UINT32 m_position = 0;
    bool m_isUnderWay = false;
};

} // namespace KvPlatform::Runtime
