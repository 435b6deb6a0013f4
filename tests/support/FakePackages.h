#pragma once

#include "FakeCalls.h"
#include "platform/Packages.h"

#include <QtCore/QList>

#include <functional>
#include <memory>
#include <utility>

struct FakeUser
{
    int type = 0;
    int authenticationStatus = 1;
    QString nonRoamableId = {};
};

struct FakeBitmap
{
    int pixelFormat = 30;
    int alphaMode = 0;
    KvPlatform::BitmapPixels pixels = {};
    bool isReachable = true; ///< Whether its memory can be got at.
};

struct FakeEntry
{
    QString displayName = {};
    QString description = {};
    QString appUserModelId = {};
    FakeBitmap logo = {};
};

struct FakePackage
{
    QString fullName = {};
    QString displayName = {};
    QString publisher = {};
    KvPlatform::PackageVersion version = {};
    QList<FakeEntry> entries = {};

    /** A package with one entry. */
    static FakePackage of(const QString &name, const QString &appUserModelId,
                          const KvPlatform::PackageVersion &version = {1, 0, 0, 0})
    {
        return {
            name + QLatin1String("_x64"), name, QStringLiteral("Contoso"), version, {{name, {}, appUserModelId, {}}}};
    }
};

/**
 * A package system with what a test gives it. It tells each call before it answers, and can raise an error in place of
 * any answer. Set up while no source runs; one source at a time.
 */
class FakePackages final : public KvPlatform::Packages
{
public:
    static constexpr qint32 ErrorCode = static_cast<qint32>(0x80070005); ///< Access is denied; its low half is 5.

    explicit FakePackages(std::shared_ptr<FakeCalls> calls)
        : m_calls(std::move(calls))
    {}

    QList<FakeUser> users;
    QList<FakePackage> packages;
    bool hasManager = true;

    /** Asked at each call, with its name: true makes the call raise an error. */
    std::function<bool(const QString &)> fails;

    std::unique_ptr<KvPlatform::UserList> findAllUsers() const override
    {
        call("findAllUsers");
        return std::make_unique<Iterator<KvPlatform::RuntimeUser, User, FakeUser>>(*this, "nextUser", users);
    }

    std::unique_ptr<KvPlatform::RuntimeUser> userFromId(const QString &nonRoamableId) const override
    {
        call(QLatin1String("userFromId ") + nonRoamableId);
        for (const FakeUser &user : users) {
            if (user.nonRoamableId == nonRoamableId)
                return std::make_unique<User>(*this, user);
        }
        return nullptr;
    }

    std::unique_ptr<KvPlatform::PackageManager> packageManager() const override
    {
        call("packageManager");
        return hasManager ? std::make_unique<Manager>(*this) : nullptr;
    }

private:
    void call(const char *name) const { call(QString(QLatin1String(name))); }

    void call(const QString &name) const
    {
        m_calls->add(name);
        if (fails && fails(name))
            throw KvPlatform::hresult_error(ErrorCode, QStringLiteral("Access is denied."));
    }

    /** An object of the package system: the data behind it, and the system that tells its calls. */
    template<typename Interface, typename Data>
    class Object : public Interface
    {
    public:
        Object(const FakePackages &packages, Data content)
            : system(packages)
            , data(std::move(content))
        {}

    protected:
        template<typename Answer>
        Answer answer(const char *name, Answer value) const
        {
            system.call(name);
            return value;
        }

        const FakePackages &system;
        const Data data;
    };

    class User final : public Object<KvPlatform::RuntimeUser, FakeUser>
    {
    public:
        using Object::Object;
        int type() const override { return answer("type", data.type); }
        int authenticationStatus() const override { return answer("authenticationStatus", data.authenticationStatus); }
        QString nonRoamableId() const override { return answer("nonRoamableId", data.nonRoamableId); }

        /** The id without a call. */
        const QString &id() const { return data.nonRoamableId; }
    };

    class Id final : public Object<KvPlatform::PackageId, FakePackage>
    {
    public:
        using Object::Object;
        QString fullName() const override { return answer("fullName", data.fullName); }
        KvPlatform::PackageVersion version() const override { return answer("version", data.version); }
    };

    class Bitmap final : public Object<KvPlatform::SoftwareBitmap, FakeBitmap>
    {
    public:
        using Object::Object;
        int pixelFormat() const override { return answer("pixelFormat", data.pixelFormat); }
        int alphaMode() const override { return answer("alphaMode", data.alphaMode); }
        std::unique_ptr<KvPlatform::SoftwareBitmap> convert(int pixelFormat, int alphaMode) const override
        {
            system.call(QStringLiteral("convert %1 %2").arg(pixelFormat).arg(alphaMode));
            return std::make_unique<Bitmap>(system, FakeBitmap{pixelFormat, alphaMode, data.pixels, data.isReachable});
        }
        std::optional<KvPlatform::BitmapPixels> pixels() const override
        {
            system.call("pixels");
            return data.isReachable ? std::optional<KvPlatform::BitmapPixels>(data.pixels) : std::nullopt;
        }
    };

    class Info final : public Object<KvPlatform::AppDisplayInfo, FakeEntry>
    {
    public:
        using Object::Object;
        QString displayName() const override { return answer("entryName", data.displayName); }
        QString description() const override { return answer("description", data.description); }
        std::unique_ptr<KvPlatform::SoftwareBitmap> logo(float width, float height) const override
        {
            system.call(QStringLiteral("logo %1 %2").arg(double(width)).arg(double(height)));
            return std::make_unique<Bitmap>(system, data.logo);
        }
    };

    class Entry final : public Object<KvPlatform::AppListEntry, FakeEntry>
    {
    public:
        using Object::Object;
        std::unique_ptr<KvPlatform::AppDisplayInfo> displayInfo() const override
        {
            system.call("displayInfo");
            return std::make_unique<Info>(system, data);
        }
        QString appUserModelId() const override { return answer("appUserModelId", data.appUserModelId); }
        void launch() const override { system.call("launch"); }
        void launchForUser(const KvPlatform::RuntimeUser *user) const override
        {
            const auto *const own = dynamic_cast<const User *>(user);
            system.call(QLatin1String("launchForUser ") + (own ? own->id() : QStringLiteral("nobody")));
        }
    };

    /** Walks a list; `Item` is made of each element. */
    template<typename Interface, typename Item, typename Data>
    class Iterator final : public KvPlatform::RuntimeIterator<Interface>
    {
    public:
        Iterator(const FakePackages &packages, const char *name, QList<Data> list)
            : m_system(packages)
            , m_name(name)
            , m_list(std::move(list))
        {}

        std::unique_ptr<Interface> next() override
        {
            m_system.call(m_name);
            return m_at < m_list.size() ? std::make_unique<Item>(m_system, m_list.at(m_at++)) : nullptr;
        }

    private:
        const FakePackages &m_system;
        const char *const m_name;
        QList<Data> m_list;
        qsizetype m_at = 0;
    };

    class Entries final : public KvPlatform::AppListEntries
    {
    public:
        Entries(const FakePackages &packages, const QList<FakeEntry> &list)
            : m_system(packages)
            , m_list(list)
            , m_iterator(packages, "nextEntry", list)
        {}

        std::unique_ptr<KvPlatform::AppListEntry> next() override { return m_iterator.next(); }
        quint32 size() const override
        {
            m_system.call("size");
            return static_cast<quint32>(m_list.size());
        }
        std::unique_ptr<KvPlatform::AppListEntry> at(quint32 index) const override
        {
            m_system.call(QStringLiteral("at %1").arg(index));
            return std::make_unique<Entry>(m_system, m_list.at(index));
        }

    private:
        const FakePackages &m_system;
        QList<FakeEntry> m_list;
        Iterator<KvPlatform::AppListEntry, Entry, FakeEntry> m_iterator;
    };

    class Package final : public Object<KvPlatform::Package, FakePackage>
    {
    public:
        using Object::Object;
        std::unique_ptr<KvPlatform::PackageId> id() const override
        {
            system.call("id");
            return std::make_unique<Id>(system, data);
        }
        QString displayName() const override { return answer("packageName", data.displayName); }
        QString publisherDisplayName() const override { return answer("publisher", data.publisher); }
        std::unique_ptr<KvPlatform::AppListEntries> appListEntries() const override
        {
            system.call("appListEntries");
            return std::make_unique<Entries>(system, data.entries);
        }
    };

    class Manager final : public KvPlatform::PackageManager
    {
    public:
        explicit Manager(const FakePackages &packages)
            : m_system(packages)
        {}

        std::unique_ptr<KvPlatform::PackageList> findPackages() const override
        {
            return list(QStringLiteral("findPackages"));
        }

        std::unique_ptr<KvPlatform::PackageList> findPackagesForUser(const QString &userSecurityId) const override
        {
            return list(QLatin1String("findPackagesForUser \"") + userSecurityId + QLatin1Char('"'));
        }

        std::unique_ptr<KvPlatform::Package> findPackage(const QString &fullName) const override
        {
            return find(QLatin1String("findPackage ") + fullName, fullName);
        }

        std::unique_ptr<KvPlatform::Package> findPackageForUser(const QString &userSecurityId,
                                                                const QString &fullName) const override
        {
            return find(QStringLiteral("findPackageForUser \"%1\" %2").arg(userSecurityId, fullName), fullName);
        }

    private:
        std::unique_ptr<KvPlatform::Package> find(const QString &call, const QString &fullName) const
        {
            m_system.call(call);
            for (const FakePackage &package : m_system.packages) {
                if (package.fullName == fullName)
                    return std::make_unique<Package>(m_system, package);
            }
            return nullptr;
        }

        std::unique_ptr<KvPlatform::PackageList> list(const QString &call) const
        {
            m_system.call(call);
            return std::make_unique<Iterator<KvPlatform::Package, Package, FakePackage>>(m_system, "nextPackage",
                                                                                         m_system.packages);
        }

        const FakePackages &m_system;
    };

    std::shared_ptr<FakeCalls> m_calls;
};
