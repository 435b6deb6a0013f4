#include "PackageServer.h"

#include "ServerBitmaps.h"
#include "ServerOperation.h"

#include <QtCore/QJsonArray>

using namespace KvPlatform::Runtime;

namespace {

constexpr auto OutOfBounds = static_cast<HRESULT>(0x8000000BU); // E_BOUNDS

QString text(const QJsonObject &facts, const char *name)
{
    return facts.value(QLatin1String(name)).toString();
}

/** A list of objects, each made anew when it is asked for. */
template<typename Item>
class Vector final : public ServerObject<Inspectable<IVectorView<Item *>>>
{
public:
    using Make = std::function<Item *(UINT32)>;

    Vector(const char *name, const QString &object, qsizetype size, Make make)
        : ServerObject<Inspectable<IVectorView<Item *>>>(QLatin1String(name), object, {"IVectorView"})
        , m_size(static_cast<UINT32>(size))
        , m_make(std::move(make))
    {}

    HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, Item **item) override
    {
        if (index >= m_size)
            return OutOfBounds;
        return this->giveNew("GetAt", item, [&] { return m_make(index); });
    }
    HRESULT STDMETHODCALLTYPE get_Size(UINT32 *size) override { return this->give("get_Size", m_size, size); }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }

private:
    const UINT32 m_size;
    const Make m_make;
};

class User final : public ServerObject<Inspectable<IUser>>
{
public:
    explicit User(const QJsonObject &facts)
        : ServerObject(QStringLiteral("User"), text(facts, "nonRoamableId"), {"IUser"})
        , m_facts(facts)
    {}

    const QString &id() const { return objectName(); }

    HRESULT STDMETHODCALLTYPE get_NonRoamableId(HSTRING *id) override
    {
        return give("get_NonRoamableId", objectName(), id);
    }
    HRESULT STDMETHODCALLTYPE get_AuthenticationStatus(INT32 *status) override
    {
        return give("get_AuthenticationStatus", INT32(m_facts.value(u"authenticationStatus").toInt()), status);
    }
    HRESULT STDMETHODCALLTYPE get_Type(INT32 *type) override
    {
        return give("get_Type", INT32(m_facts.value(u"type").toInt()), type);
    }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }

private:
    const QJsonObject m_facts;
};

class DisplayInfo final : public ServerObject<Inspectable<IAppDisplayInfo>>
{
public:
    explicit DisplayInfo(const QJsonObject &entry)
        : ServerObject(QStringLiteral("DisplayInfo"), text(entry, "appUserModelId"), {"IAppDisplayInfo"})
        , m_entry(entry)
    {}

    HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) override
    {
        return give("get_DisplayName", text(m_entry, "displayName"), name);
    }
    HRESULT STDMETHODCALLTYPE get_Description(HSTRING *description) override
    {
        return give("get_Description", text(m_entry, "description"), description);
    }
    HRESULT STDMETHODCALLTYPE GetLogo(Size size, IRandomAccessStreamReference **logo) override
    {
        const QByteArray call =
            "GetLogo " + QByteArray::number(double(size.width)) + 'x' + QByteArray::number(double(size.height));
        return giveNew(call.constData(), logo,
                       [this] { return makeLogo(m_entry.value(u"logo").toObject(), objectName()); });
    }

private:
    const QJsonObject m_entry;
};

class Entry final
    : public ServerObject<Inspectable<IAppListEntry>, Inspectable<IAppListEntry2>, Inspectable<IAppListEntry3>>
{
public:
    explicit Entry(const QJsonObject &facts)
        : ServerObject(QStringLiteral("Entry"), text(facts, "appUserModelId"),
                       {"IAppListEntry", "IAppListEntry2", "IAppListEntry3"})
        , m_facts(facts)
    {}

    HRESULT STDMETHODCALLTYPE get_DisplayInfo(IAppDisplayInfo **info) override
    {
        return giveNew("get_DisplayInfo", info, [this] { return new DisplayInfo(m_facts); });
    }
    HRESULT STDMETHODCALLTYPE get_AppUserModelId(HSTRING *id) override
    {
        return give("get_AppUserModelId", objectName(), id);
    }
    HRESULT STDMETHODCALLTYPE LaunchAsync(IAsyncOperation<Boolean> **operation) override
    {
        return launch("LaunchAsync", objectName(), operation);
    }
    HRESULT STDMETHODCALLTYPE LaunchForUserAsync(IUser *user, IAsyncOperation<Boolean> **operation) override
    {
        const auto *const own = dynamic_cast<User *>(user);
        if (!own)
            return E_INVALIDARG;
        return launch("LaunchForUserAsync", objectName() + QLatin1String(" for ") + own->id(), operation);
    }

private:
    HRESULT launch(const char *call, const QString &line, IAsyncOperation<Boolean> **operation) const
    {
        return giveNew(call, operation, [&] {
            state().addLaunch(line);
            return new ServerOperation<Boolean>(QLatin1String(call), objectName(), [] { return Boolean(1); });
        });
    }

    const QJsonObject m_facts;
};

class Id final : public ServerObject<Inspectable<IPackageId>>
{
public:
    explicit Id(const QJsonObject &package)
        : ServerObject(QStringLiteral("Id"), text(package, "fullName"), {"IPackageId"})
        , m_version(package.value(u"version").toArray())
    {}

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Version(Version *version) override
    {
        const auto part = [this](qsizetype index) { return static_cast<UINT16>(m_version.at(index).toInt()); };
        return give("get_Version", Version{part(0), part(1), part(2), part(3)}, version);
    }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_FullName(HSTRING *name) override { return give("get_FullName", objectName(), name); }
    HRESULT STDMETHODCALLTYPE slot13() override { return E_NOTIMPL; }

private:
    const QJsonArray m_version;
};

class Package final : public ServerObject<Inspectable<IPackage>, Inspectable<IPackage2>, Inspectable<IPackage3>>
{
public:
    explicit Package(const QJsonObject &facts)
        : ServerObject(QStringLiteral("Package"), text(facts, "fullName"), {"IPackage", "IPackage2", "IPackage3"})
        , m_facts(facts)
    {}

    HRESULT STDMETHODCALLTYPE get_Id(IPackageId **id) override
    {
        return giveNew("get_Id", id, [this] { return new Id(m_facts); });
    }
    HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) override
    {
        return give("get_DisplayName", text(m_facts, "displayName"), name);
    }
    HRESULT STDMETHODCALLTYPE get_PublisherDisplayName(HSTRING *name) override
    {
        return give("get_PublisherDisplayName", text(m_facts, "publisherDisplayName"), name);
    }
    HRESULT STDMETHODCALLTYPE GetAppListEntriesAsync(IAsyncOperation<IAppListEntries *> **operation) override
    {
        return giveNew("GetAppListEntriesAsync", operation, [this] {
            const auto make = [entries = m_facts.value(u"entries").toArray(), object = objectName()] {
                const auto entry = [entries](UINT32 index) { return new Entry(entries.at(index).toObject()); };
                return new Vector<IAppListEntry>("Entries", object, entries.size(), entry);
            };
            return new ServerOperation<IAppListEntries *>(QStringLiteral("GetAppListEntriesAsync"), objectName(), make);
        });
    }
    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }

private:
    const QJsonObject m_facts;
};

class PackageIterator final : public ServerObject<Inspectable<IIterator<IPackage *>>>
{
public:
    explicit PackageIterator(const QJsonArray &packages)
        : ServerObject(QStringLiteral("Iterator"), QString(), {"IIterator"})
        , m_packages(packages)
    {}

    HRESULT STDMETHODCALLTYPE get_Current(IPackage **package) override
    {
        const auto make = [this] { return new Package(m_packages.at(m_at).toObject()); };
        return hasCurrent() ? giveNew("get_Current", package, make) : OutOfBounds;
    }
    HRESULT STDMETHODCALLTYPE get_HasCurrent(Boolean *has) override
    {
        return give("get_HasCurrent", Boolean(hasCurrent()), has);
    }
    HRESULT STDMETHODCALLTYPE MoveNext(Boolean *has) override
    {
        m_at += hasCurrent() ? 1 : 0;
        return give("MoveNext", Boolean(hasCurrent()), has);
    }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }

private:
    bool hasCurrent() const { return m_at < m_packages.size(); }

    const QJsonArray m_packages;
    qsizetype m_at = 0;
};

class PackageList final : public ServerObject<Inspectable<IIterable<IPackage *>>>
{
public:
    PackageList()
        : ServerObject(QStringLiteral("Packages"), QString(), {"IIterable"})
        , m_packages(state().script().value(u"packages").toArray())
    {}

    HRESULT STDMETHODCALLTYPE First(IIterator<IPackage *> **iterator) override
    {
        return giveNew("First", iterator, [this] { return new PackageIterator(m_packages); });
    }

private:
    const QJsonArray m_packages;
};

QString toText(HSTRING value)
{
    UINT32 length = 0;
    const wchar_t *const characters = WindowsGetStringRawBuffer(value, &length);
    return QString::fromWCharArray(characters, length);
}

class Manager final : public ServerObject<Inspectable<IPackageManager>>
{
public:
    Manager()
        : ServerObject(QStringLiteral("PackageManager"), QString(), {"IPackageManager"})
    {}

    HRESULT STDMETHODCALLTYPE FindPackages(IIterable<IPackage *> **packages) override
    {
        return giveNew("FindPackages", packages, [] { return new PackageList; });
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityId(HSTRING user, IIterable<IPackage *> **packages) override
    {
        if (!toText(user).isEmpty())
            return E_ACCESSDENIED;
        return giveNew("FindPackagesByUserSecurityId", packages, [] { return new PackageList; });
    }
    HRESULT STDMETHODCALLTYPE FindPackageByPackageFullName(HSTRING name, IPackage **package) override
    {
        return find("FindPackageByPackageFullName", toText(name), package);
    }
    HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(HSTRING user, HSTRING name,
                                                                         IPackage **package) override
    {
        if (!toText(user).isEmpty())
            return E_ACCESSDENIED;
        return find("FindPackageByUserSecurityIdPackageFullName", toText(name), package);
    }
    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot13() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot14() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot15() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot16() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot18() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot19() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot20() override { return E_NOTIMPL; }

private:
    HRESULT find(const char *call, const QString &name, IPackage **package) const
    {
        return giveNew(call, package, [&name]() -> IPackage * {
            const QJsonArray packages = state().script().value(u"packages").toArray();
            for (const QJsonValue &facts : packages) {
                if (text(facts.toObject(), "fullName") == name)
                    return new Package(facts.toObject());
            }
            return nullptr;
        });
    }
};

class ManagerFactory final : public ServerObject<Inspectable<KvPlatform::Runtime::IActivationFactory>>
{
public:
    ManagerFactory()
        : ServerObject(QStringLiteral("PackageManagers"), QString(), {"IActivationFactory"})
    {}

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable **instance) override
    {
        return giveNew("ActivateInstance", instance, [] { return new Manager; });
    }
};

class UserFactory final : public ServerObject<Inspectable<IUserStatics>>
{
public:
    UserFactory()
        : ServerObject(QStringLiteral("Users"), QString(), {"IUserStatics"})
    {}

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindAllAsync(IAsyncOperation<IUsers *> **operation) override
    {
        return giveNew("FindAllAsync", operation, [] {
            const QJsonArray users = state().script().value(u"users").toArray();
            const auto make = [users] {
                const auto user = [users](UINT32 index) { return new User(users.at(index).toObject()); };
                return new Vector<IUser>("UserList", QString(), users.size(), user);
            };
            return new ServerOperation<IUsers *>(QStringLiteral("FindAllAsync"), QString(), make);
        });
    }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFromId(HSTRING id, IUser **user) override
    {
        return giveNew("GetFromId", user, [id]() -> IUser * {
            const QJsonArray users = state().script().value(u"users").toArray();
            for (const QJsonValue &facts : users) {
                if (text(facts.toObject(), "nonRoamableId") == toText(id))
                    return new User(facts.toObject());
            }
            return nullptr;
        });
    }

protected:
    bool isAgile() const override { return state().isAgile(QStringLiteral("Windows.System.User")); }
};

IInspectable *makeFactory(const QString &className)
{
    if (className == u"Windows.Management.Deployment.PackageManager")
        return new ManagerFactory;
    if (className == u"Windows.System.User")
        return new UserFactory;
    if (className == u"Windows.Graphics.Imaging.BitmapDecoder")
        return makeDecoderFactory();
    if (className == u"Windows.Graphics.Imaging.SoftwareBitmap")
        return makeBitmapFactory();
    return nullptr;
}

} // namespace

extern "C" {

__declspec(dllexport) PackageServer *kvPackageServer()
{
    return &ServerState::instance();
}

/** Called by the system for a class whose registration names this DLL. */
__declspec(dllexport) HRESULT WINAPI DllGetActivationFactory(HSTRING className, IUnknown **factory)
{
    ServerState &state = ServerState::instance();
    state.loadScript();
    const QString name = toText(className);
    const HRESULT entered = state.enter(QStringLiteral("activate"), name);
    if (FAILED(entered))
        return entered;
    *factory = makeFactory(name);
    return *factory ? S_OK : CLASS_E_CLASSNOTAVAILABLE;
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow()
{
    return S_FALSE;
}
}
