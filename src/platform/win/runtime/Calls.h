#pragma once

#include "platform/win/Handles.h"
#include "platform/win/runtime/Errors.h"
#include "platform/win/runtime/Interfaces.h"
#include "platform/win/runtime/RuntimeString.h"

/**
 * Calls of the Windows Runtime that raise hresult_error where they fail. A call that succeeds may give no object all
 * the same; using one that isn't there fails with E_POINTER.
 */
namespace KvPlatform::Runtime {

template<typename Interface>
Interface *required(Interface *object)
{
    if (!object)
        check(E_POINTER);
    return object;
}

/** Another interface of the same object. */
template<typename Interface>
ComPointer<Interface> query(IUnknown *object)
{
    ComPointer<Interface> result;
    check(required(object)->QueryInterface(Interface::iid, result.putVoid()));
    return result;
}

/** What a property holds, or a function without arguments gives: a number or a plain structure. */
template<typename Value, typename Interface>
Value get(Interface *object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Value *))
{
    Value value = {};
    check((required(object)->*getter)(&value));
    return value;
}

/** The same for an object. */
template<typename Result, typename Interface>
ComPointer<Result> getObject(Interface *object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Result **))
{
    ComPointer<Result> result;
    check((required(object)->*getter)(result.put()));
    return result;
}

/** The same for a text. */
template<typename Interface>
QString getText(Interface *object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(HSTRING *))
{
    RuntimeString text;
    check((required(object)->*getter)(text.put()));
    return text.text();
}

/** An object that is closed before it is released, so that what it locks is free at once. */
template<typename Interface>
class ClosingPointer : public ComPointer<Interface>
{
public:
    explicit ClosingPointer(ComPointer<Interface> object)
        : ComPointer<Interface>(std::move(object))
    {}

    ClosingPointer(ClosingPointer &&) noexcept = default;
    ClosingPointer &operator=(ClosingPointer &&) = delete;

    ~ClosingPointer()
    {
        ComPointer<IClosable> closable;
        if (*this && SUCCEEDED(this->get()->QueryInterface(IClosable::iid, closable.putVoid())) && closable)
            closable->Close();
    }
};

} // namespace KvPlatform::Runtime
