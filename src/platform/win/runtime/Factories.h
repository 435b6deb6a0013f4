#pragma once

#include "platform/win/Handles.h"
#include "platform/win/runtime/Errors.h"

namespace KvPlatform::Runtime {

/** The runtime classes of which the module makes objects, or calls static functions. */
enum class RuntimeClass
{
    PackageManager,
    User,
    BitmapDecoder,
    SoftwareBitmap,
};

/**
 * The activation factory of a class, by the one interface of it that the module uses. It is fetched once and kept until
 * the module ends, if it may be used on any thread. May be called on any thread: one without COM then belongs to the
 * multithreaded apartment, which is kept alive from the first call on. May raise hresult_error.
 */
ComPointer<IUnknown> activationFactory(RuntimeClass runtimeClass, const GUID &id);

template<typename Interface>
ComPointer<Interface> activationFactory(RuntimeClass runtimeClass)
{
    ComPointer<Interface> factory;
    *factory.put() = static_cast<Interface *>(activationFactory(runtimeClass, Interface::iid).release());
    return factory;
}

/** Lets go of the factories that are kept, while nobody else uses this header. */
void releaseFactories();

} // namespace KvPlatform::Runtime
