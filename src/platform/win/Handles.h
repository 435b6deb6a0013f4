#pragma once

#include "platform/NativeHandle.h"

#include <QtCore/QString>

#include <windows.h>

#include <objbase.h>
#include <wtsapi32.h>

#include <utility>

namespace KvPlatform {

/**
 * Owns one resource of the system from the moment it exists, and gives it back exactly once.
 *
 * `Traits` names the resource's type, the value that stands for none, and how it is given back. Moves only. Not
 * thread-safe, as any other value.
 */
template<typename Traits>
class Unique
{
public:
    using Value = typename Traits::Value;

    Unique() = default;

    /** Takes over `value`. */
    explicit Unique(Value value)
        : m_value(value)
    {}

    Unique(Unique &&other) noexcept
        : m_value(other.release())
    {}

    Unique &operator=(Unique &&other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }

    Unique(const Unique &) = delete;
    Unique &operator=(const Unique &) = delete;
    ~Unique() { reset(); }

    explicit operator bool() const { return m_value != Traits::none(); }

    /** The value itself. Still owned by this object. */
    Value get() const { return m_value; }

    /** The value itself, which the caller owns from now on. */
    [[nodiscard]] Value release() { return std::exchange(m_value, Traits::none()); }

    /** Gives back what is held, and takes over `value`. */
    void reset(Value value = Traits::none())
    {
        const Value former = std::exchange(m_value, value);
        if (former != Traits::none())
            Traits::giveBack(former);
    }

    /** Empties the object and gives the place where a call of the system writes the next value. */
    [[nodiscard]] Value *put()
    {
        reset();
        return &m_value;
    }

private:
    Value m_value = Traits::none();
};

/** Kernel objects whose functions tell failure by a null handle: tokens, processes and events. */
struct NullHandleTraits
{
    using Value = HANDLE;
    static Value none() { return nullptr; }
    static void giveBack(Value handle) { CloseHandle(handle); }
};

/** Walks through a folder, from FindFirstFileW. */
struct FindTraits
{
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void giveBack(Value handle) { FindClose(handle); }
};

/** Icons that are the caller's own. */
struct IconTraits
{
    using Value = HICON;
    static Value none() { return nullptr; }
    static void giveBack(Value icon) { DestroyIcon(icon); }
};

/** Open keys of the registry. */
struct RegistryKeyTraits
{
    using Value = HKEY;
    static Value none() { return nullptr; }
    static void giveBack(Value key) { RegCloseKey(key); }
};

/** Memory from CoTaskMemAlloc. */
template<typename Type>
struct TaskMemoryTraits
{
    using Value = Type *;
    static Value none() { return nullptr; }
    static void giveBack(Value memory) { CoTaskMemFree(memory); }
};

/** Memory from LocalAlloc. */
template<typename Type>
struct LocalMemoryTraits
{
    using Value = Type *;
    static Value none() { return nullptr; }
    static void giveBack(Value memory) { LocalFree(memory); }
};

/** Memory from the functions of the terminal services. */
template<typename Type>
struct SessionMemoryTraits
{
    using Value = Type *;
    static Value none() { return nullptr; }
    static void giveBack(Value memory) { WTSFreeMemory(memory); }
};

/** One reference to a COM object. */
template<typename Interface>
struct InterfaceTraits
{
    using Value = Interface *;
    static Value none() { return nullptr; }
    static void giveBack(Value object) { object->Release(); }
};

using UniqueHandle = Unique<NullHandleTraits>;
using UniqueFind = Unique<FindTraits>;
using UniqueIcon = Unique<IconTraits>;
using UniqueRegistryKey = Unique<RegistryKeyTraits>;

template<typename Type>
using UniqueTaskMemory = Unique<TaskMemoryTraits<Type>>;

template<typename Type>
using UniqueLocalMemory = Unique<LocalMemoryTraits<Type>>;

template<typename Type>
using UniqueSessionMemory = Unique<SessionMemoryTraits<Type>>;

/** A COM object, by one of its interfaces. */
template<typename Interface>
class ComPointer : public Unique<InterfaceTraits<Interface>>
{
public:
    Interface *operator->() const { return this->get(); }

    /** As put(), in the type in which COM asks for it. */
    [[nodiscard]] void **putVoid() { return reinterpret_cast<void **>(this->put()); }
};

/** The handle in the form in which it crosses the border of the platform. */
inline NativeHandle toNative(UniqueHandle handle)
{
    return NativeHandle(handle.release(), [](void *native) { CloseHandle(native); });
}

/** The text as the system takes it, ending in a zero. Valid as long as `text` is neither changed nor destroyed. */
inline const wchar_t *wide(const QString &text)
{
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    return reinterpret_cast<const wchar_t *>(text.utf16());
}

} // namespace KvPlatform
