#include "platform/win/WinPackages.h"

#include "platform/win/runtime/AsyncWait.h"
#include "platform/win/runtime/Calls.h"
#include "platform/win/runtime/Collections.h"
#include "platform/win/runtime/Factories.h"
#include "platform/win/WinBitmaps.h"

namespace KvPlatform {

using namespace Runtime;

namespace {

/** Something of ours that stands for an object of the system's; the object may be missing, and then each call fails. */
template<typename Interface, typename Object>
class Wrapper : public Interface
{
public:
    explicit Wrapper(ComPointer<Object> object)
        : m_object(std::move(object))
    {}

    Object *object() const { return m_object.get(); }

private:
    const ComPointer<Object> m_object;
};

class WinUser final : public Wrapper<RuntimeUser, IUser>
{
public:
    using Wrapper::Wrapper;
    int type() const override { return get(object(), &IUser::get_Type); }
    int authenticationStatus() const override { return get(object(), &IUser::get_AuthenticationStatus); }
    QString nonRoamableId() const override { return getText(object(), &IUser::get_NonRoamableId); }
};

class WinDisplayInfo final : public Wrapper<AppDisplayInfo, IAppDisplayInfo>
{
public:
    using Wrapper::Wrapper;
    QString displayName() const override { return getText(object(), &IAppDisplayInfo::get_DisplayName); }
    QString description() const override { return getText(object(), &IAppDisplayInfo::get_Description); }

    std::unique_ptr<SoftwareBitmap> logo(float width, float height) const override
    {
        ComPointer<IRandomAccessStreamReference> logo;
        check(required(object())->GetLogo({width, height}, logo.put()));
        return decodeBitmap(logo.get());
    }
};

class WinEntry final : public Wrapper<AppListEntry, IAppListEntry>
{
public:
    using Wrapper::Wrapper;

    std::unique_ptr<AppDisplayInfo> displayInfo() const override
    {
        return std::make_unique<WinDisplayInfo>(getObject(object(), &IAppListEntry::get_DisplayInfo));
    }

    QString appUserModelId() const override
    {
        return getText(query<IAppListEntry2>(object()).get(), &IAppListEntry2::get_AppUserModelId);
    }

    // The operation is let go at once: what becomes of the start is nobody's business here.
    void launch() const override { getObject(object(), &IAppListEntry::LaunchAsync); }

    void launchForUser(const RuntimeUser *user) const override
    {
        const auto *const winUser = dynamic_cast<const WinUser *>(user);
        const auto entry = query<IAppListEntry3>(object());
        ComPointer<IAsyncOperation<Boolean>> operation;
        check(entry->LaunchForUserAsync(winUser ? winUser->object() : nullptr, operation.put()));
    }
};

class WinEntries final : public AppListEntries
{
public:
    explicit WinEntries(ComPointer<IAppListEntries> entries)
        : m_walk(std::move(entries))
    {}

    quint32 size() const override { return m_walk.size(); }
    std::unique_ptr<AppListEntry> at(quint32 index) const override
    {
        return std::make_unique<WinEntry>(m_walk.at(index));
    }

    std::unique_ptr<AppListEntry> next() override
    {
        return m_walk.advance() ? std::make_unique<WinEntry>(m_walk.current()) : nullptr;
    }

private:
    VectorWalk<IAppListEntry> m_walk;
};

class WinPackageId final : public Wrapper<PackageId, IPackageId>
{
public:
    using Wrapper::Wrapper;
    QString fullName() const override { return getText(object(), &IPackageId::get_FullName); }

    PackageVersion version() const override
    {
        const Version version = get(object(), &IPackageId::get_Version);
        return {version.major, version.minor, version.build, version.revision};
    }
};

class WinPackage final : public Wrapper<Package, IPackage>
{
public:
    using Wrapper::Wrapper;

    std::unique_ptr<PackageId> id() const override
    {
        return std::make_unique<WinPackageId>(getObject(object(), &IPackage::get_Id));
    }

    QString displayName() const override
    {
        return getText(query<IPackage2>(object()).get(), &IPackage2::get_DisplayName);
    }

    QString publisherDisplayName() const override
    {
        return getText(query<IPackage2>(object()).get(), &IPackage2::get_PublisherDisplayName);
    }

    std::unique_ptr<AppListEntries> appListEntries() const override
    {
        const auto package = query<IPackage3>(object());
        return std::make_unique<WinEntries>(waitFor(getObject(package.get(), &IPackage3::GetAppListEntriesAsync)));
    }
};

/** Makes an `Item` of each object on the walk. */
template<typename Interface, typename Item, typename Walk>
class WinIterator final : public RuntimeIterator<Interface>
{
public:
    explicit WinIterator(Walk walk)
        : m_walk(std::move(walk))
    {}

    std::unique_ptr<Interface> next() override
    {
        return m_walk.advance() ? std::make_unique<Item>(m_walk.current()) : nullptr;
    }

private:
    Walk m_walk;
};

class WinPackageManager final : public Wrapper<PackageManager, IPackageManager>
{
public:
    using Wrapper::Wrapper;

    std::unique_ptr<PackageList> findPackages() const override
    {
        return list(getObject(object(), &IPackageManager::FindPackages));
    }

    std::unique_ptr<PackageList> findPackagesForUser(const QString &userSecurityId) const override
    {
        const StringArgument user(userSecurityId);
        ComPointer<IIterable<IPackage *>> packages;
        check(object()->FindPackagesByUserSecurityId(user.get(), packages.put()));
        return list(packages);
    }

    std::unique_ptr<Package> findPackage(const QString &fullName) const override
    {
        const StringArgument name(fullName);
        ComPointer<IPackage> package;
        check(object()->FindPackageByPackageFullName(name.get(), package.put()));
        return package ? std::make_unique<WinPackage>(std::move(package)) : nullptr;
    }

    std::unique_ptr<Package> findPackageForUser(const QString &userSecurityId, const QString &fullName) const override
    {
        const StringArgument user(userSecurityId);
        const StringArgument name(fullName);
        ComPointer<IPackage> package;
        check(object()->FindPackageByUserSecurityIdPackageFullName(user.get(), name.get(), package.put()));
        return package ? std::make_unique<WinPackage>(std::move(package)) : nullptr;
    }

private:
    static std::unique_ptr<PackageList> list(const ComPointer<IIterable<IPackage *>> &packages)
    {
        using Walk = IterableWalk<IPackage>;
        return std::make_unique<WinIterator<Package, WinPackage, Walk>>(Walk(packages));
    }
};

} // namespace

std::unique_ptr<UserList> WinPackages::findAllUsers() const
{
    using Walk = VectorWalk<IUser>;
    const auto statics = activationFactory<IUserStatics>(RuntimeClass::User);
    return std::make_unique<WinIterator<RuntimeUser, WinUser, Walk>>(
        Walk(waitFor(getObject(statics.get(), &IUserStatics::FindAllAsync))));
}

std::unique_ptr<RuntimeUser> WinPackages::userFromId(const QString &nonRoamableId) const
{
    const auto statics = activationFactory<IUserStatics>(RuntimeClass::User);
    const StringArgument id(nonRoamableId);
    ComPointer<IUser> user;
    check(statics->GetFromId(id.get(), user.put()));
    return user ? std::make_unique<WinUser>(std::move(user)) : nullptr;
}

std::unique_ptr<PackageManager> WinPackages::packageManager() const
{
    const auto factory = activationFactory<IActivationFactory>(RuntimeClass::PackageManager);
    const ComPointer<IInspectable> instance = getObject(factory.get(), &IActivationFactory::ActivateInstance);
    return std::make_unique<WinPackageManager>(query<IPackageManager>(instance.get()));
}

} // namespace KvPlatform
