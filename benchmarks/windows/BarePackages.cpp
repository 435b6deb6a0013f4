#include "BarePackages.h"

#include "platform/win/runtime/AsyncWait.h"

#include <roapi.h>

using namespace KvPlatform::Runtime;
using KvPlatform::ComPointer;

namespace {

template<typename Interface>
bool queryBarely(IUnknown *object, ComPointer<Interface> &result)
{
    return SUCCEEDED(object->QueryInterface(Interface::iid, result.putVoid()));
}

template<typename Interface>
bool readText(Interface *object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(HSTRING *))
{
    RuntimeString text;
    return SUCCEEDED((object->*getter)(text.put()));
}

bool readEntry(IPackage *package, IAppListEntry *entry)
{
    ComPointer<IPackageId> id;
    ComPointer<IAppDisplayInfo> info;
    ComPointer<IPackage2> package2;
    ComPointer<IAppListEntry2> entry2;
    Version version = {};
    return SUCCEEDED(package->get_Id(id.put())) && SUCCEEDED(entry->get_DisplayInfo(info.put())) &&
           SUCCEEDED(id->get_Version(&version)) && readText(id.get(), &IPackageId::get_FullName) &&
           readText(info.get(), &IAppDisplayInfo::get_DisplayName) &&
           readText(info.get(), &IAppDisplayInfo::get_Description) && queryBarely(package, package2) &&
           readText(package2.get(), &IPackage2::get_PublisherDisplayName) && queryBarely(entry, entry2) &&
           readText(entry2.get(), &IAppListEntry2::get_AppUserModelId);
}

/** Waits as little as possible. */
bool findEntries(IPackage *package, ComPointer<IAppListEntries> &entries)
{
    ComPointer<IPackage3> package3;
    ComPointer<IAsyncOperation<IAppListEntries *>> operation;
    ComPointer<IAsyncInfo> info;
    auto status = AsyncStatus::Started;
    if (!queryBarely(package, package3) || FAILED(package3->GetAppListEntriesAsync(operation.put())) ||
        !queryBarely(operation.get(), info) || FAILED(info->get_Status(&status)))
        return false;
    if (status == AsyncStatus::Started) {
        const auto handler = CompletedHandler<IAppListEntries *>::create();
        if (FAILED(operation->put_Completed(handler.get())) || handler->wait() != AsyncStatus::Completed)
            return false;
    }
    return SUCCEEDED(operation->GetResults(entries.put()));
}

int readPackage(IPackage *package)
{
    ComPointer<IAppListEntries> entries;
    UINT32 size = 0;
    if (!findEntries(package, entries) || FAILED(entries->get_Size(&size)))
        return 0;
    int count = 0;
    for (UINT32 i = 0; i < size; ++i) {
        ComPointer<IAppListEntry> entry;
        count += SUCCEEDED(entries->GetAt(i, entry.put())) && readEntry(package, entry.get()) ? 1 : 0;
    }
    return count;
}

bool findPackages(ComPointer<IIterator<IPackage *>> &iterator)
{
    const StringArgument name(QStringLiteral("Windows.Management.Deployment.PackageManager"));
    ComPointer<IInspectable> instance;
    ComPointer<IPackageManager> manager;
    ComPointer<IIterable<IPackage *>> packages;
    return SUCCEEDED(RoActivateInstance(name.get(), instance.put())) && queryBarely(instance.get(), manager) &&
           SUCCEEDED(manager->FindPackagesByUserSecurityId(nullptr, packages.put())) &&
           SUCCEEDED(packages->First(iterator.put()));
}

} // namespace

int readPackagesBarely()
{
    ComPointer<IIterator<IPackage *>> iterator;
    Boolean has = 0;
    int count = 0;
    if (!findPackages(iterator) || FAILED(iterator->get_HasCurrent(&has)))
        return 0;
    while (has) {
        ComPointer<IPackage> package;
        if (FAILED(iterator->get_Current(package.put())))
            return 0;
        count += readPackage(package.get());
        if (FAILED(iterator->MoveNext(&has)))
            return 0;
    }
    return count;
}
