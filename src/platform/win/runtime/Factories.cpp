#include "platform/win/runtime/Factories.h"

#include "platform/win/runtime/RuntimeString.h"

#include <objidl.h>
#include <roapi.h>

#include <array>
#include <atomic>

namespace KvPlatform::Runtime {

namespace {

constexpr GUID AgileObject = {0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};

constexpr std::array ClassNames{
    L"Windows.Management.Deployment.PackageManager",
    L"Windows.System.User",
    L"Windows.Graphics.Imaging.BitmapDecoder",
    L"Windows.Graphics.Imaging.SoftwareBitmap",
};

/** One place for each class, filled at most once. */
class Slots
{
public:
    ~Slots() { clear(); }

    std::atomic<IUnknown *> &operator[](RuntimeClass runtimeClass)
    {
        return m_factories[static_cast<size_t>(runtimeClass)];
    }

    void clear()
    {
        for (std::atomic<IUnknown *> &slot : m_factories) {
            if (IUnknown *const factory = slot.exchange(nullptr))
                factory->Release();
        }
    }

private:
    std::array<std::atomic<IUnknown *>, ClassNames.size()> m_factories{};
};

Slots slots;

/**
 * What is kept outlives the threads that fetched it. Their apartment must not end with the last of them, since the
 * libraries behind it would be unloaded.
 */
void keepApartment()
{
    static const HRESULT kept = [] {
        CO_MTA_USAGE_COOKIE cookie = {};
        return CoIncrementMTAUsage(&cookie);
    }();
    check(kept);
}

ComPointer<IUnknown> fetch(RuntimeClass runtimeClass, const GUID &id)
{
    keepApartment();
    const StringArgument name(QString::fromWCharArray(ClassNames[static_cast<size_t>(runtimeClass)]));
    ComPointer<IUnknown> factory;
    check(RoGetActivationFactory(name.get(), id, factory.putVoid()));
    if (!factory)
        check(E_POINTER);
    return factory;
}

bool isAgile(IUnknown *object)
{
    ComPointer<IUnknown> agile;
    return SUCCEEDED(object->QueryInterface(AgileObject, agile.putVoid()));
}

} // namespace

ComPointer<IUnknown> activationFactory(RuntimeClass runtimeClass, const GUID &id)
{
    std::atomic<IUnknown *> &slot = slots[runtimeClass];
    IUnknown *kept = slot.load(std::memory_order_acquire);
    if (!kept) {
        ComPointer<IUnknown> fetched = fetch(runtimeClass, id);
        if (!isAgile(fetched.get()))
            return fetched;
        // Another thread may have been faster; then its factory stays.
        if (slot.compare_exchange_strong(kept, fetched.get(), std::memory_order_acq_rel))
            kept = fetched.release();
    }
    kept->AddRef();
    ComPointer<IUnknown> factory;
    *factory.put() = kept;
    return factory;
}

void releaseFactories()
{
    slots.clear();
}

} // namespace KvPlatform::Runtime
