#pragma once

#include "platform/win/runtime/Interfaces.h"
#include "ServerState.h"

#include <winstring.h>

#include <array>

namespace Runtime = KvPlatform::Runtime;

inline HRESULT giveText(const QString &text, HSTRING *result)
{
    return WindowsCreateString(reinterpret_cast<const wchar_t *>(text.utf16()), static_cast<UINT32>(text.size()),
                               result);
}

template<typename Interface, typename = void>
inline constexpr GUID idOf = {}; // Nobody asks for the collections by their ids.

template<typename Interface>
inline constexpr GUID idOf<Interface, std::void_t<decltype(Interface::iid)>> = Interface::iid;

/**
 * An object that offers the interfaces, of which the first is the default one, and counts its references. Names are
 * those of the interfaces, in their order.
 */
template<typename... Interfaces>
class ServerObject : public Interfaces...
{
public:
    using Names = std::array<const char *, sizeof...(Interfaces)>;

    /** `className` begins the names of the object's calls, `object` ends them. */
    ServerObject(QString className, QString object, const Names &names)
        : m_className(std::move(className))
        , m_object(std::move(object))
        , m_names(names)
    {
        state().countObject(1);
    }

    ServerObject(const ServerObject &) = delete;
    ServerObject &operator=(const ServerObject &) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **object) override
    {
        *object = nullptr;
        size_t number = 0;
        HRESULT result = E_NOINTERFACE;
        (offer<Interfaces>(id, number++, object, &result), ...);
        if (!*object && result == E_NOINTERFACE && isCommon(id) && (isAgile() || !IsEqualGUID(id, Agile)))
            *object = static_cast<First *>(this);
        if (*object) {
            AddRef();
            return S_OK;
        }
        return result;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    virtual ~ServerObject() { state().countObject(-1); }

    static ServerState &state() { return ServerState::instance(); }

    /** Begins a function: a failure is to be returned. */
    HRESULT enter(const char *function) const
    {
        return state().enter(m_className + u'.' + QLatin1String(function), m_object);
    }

    /** Answers a function that gives a number or a plain structure. */
    template<typename Value>
    HRESULT give(const char *function, const Value &value, Value *result) const
    {
        const HRESULT entered = enter(function);
        if (SUCCEEDED(entered))
            *result = value;
        return entered;
    }

    HRESULT give(const char *function, const QString &text, HSTRING *result) const
    {
        const HRESULT entered = enter(function);
        return SUCCEEDED(entered) ? giveText(text, result) : entered;
    }

    /** Answers a function that gives a new object, which `make` makes. */
    template<typename Interface, typename Make>
    HRESULT giveNew(const char *function, Interface **result, Make make) const
    {
        const HRESULT entered = enter(function);
        if (SUCCEEDED(entered))
            *result = make();
        return entered;
    }

    /** Whether the object may be used on any thread. */
    virtual bool isAgile() const { return true; }

    const QString &objectName() const { return m_object; }

private:
    using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;

    static constexpr GUID Agile = {0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};

    static bool isCommon(REFIID id)
    {
        constexpr GUID Unknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
        constexpr GUID Inspectable = {0xAF86E2E0, 0xB12D, 0x4C6A, {0x9C, 0x5A, 0xD7, 0xAA, 0x65, 0x10, 0x1E, 0x90}};
        return IsEqualGUID(id, Agile) || IsEqualGUID(id, Unknown) || IsEqualGUID(id, Inspectable);
    }

    template<typename Interface>
    void offer(REFIID id, size_t number, void **object, HRESULT *result)
    {
        if (!IsEqualGUID(id, idOf<Interface>) || *object)
            return;
        const QString name = QString::fromLatin1(m_names[number]);
        *result = state().enter(m_className + QLatin1String(" as ") + name, m_object);
        if (SUCCEEDED(*result) && state().lacks(name))
            *result = E_NOINTERFACE;
        else if (SUCCEEDED(*result))
            *object = static_cast<Interface *>(this);
    }

    const QString m_className;
    const QString m_object;
    const Names m_names;
    std::atomic<ULONG> m_references{1};
};

/** The functions that every object of the runtime has and nobody here calls. */
template<typename Interface>
class Inspectable : public Interface
{
public:
    HRESULT STDMETHODCALLTYPE GetIids(ULONG *, IID **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel *) override { return E_NOTIMPL; }
};
