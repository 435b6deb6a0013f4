#include "platform/portable/MachinePackages.h"

#include "platform/portable/MachineFacts.h"

namespace KvPlatform {

namespace {

constexpr qint32 ErrorAccessDenied = qint32(0x80070005U); // E_ACCESSDENIED

void raise(const std::optional<hresult_error> &error)
{
    if (error)
        throw *error;
}

class User final : public RuntimeUser
{
public:
    explicit User(const MachineRuntimeUser &facts)
        : m_facts(facts)
    {}

    int type() const override { return checked().type; }
    int authenticationStatus() const override { return checked().authenticationStatus; }
    QString nonRoamableId() const override { return checked().nonRoamableId; }

private:
    const MachineRuntimeUser &checked() const
    {
        raise(m_facts.error);
        return m_facts;
    }

    MachineRuntimeUser m_facts;
};

class DisplayInfo final : public AppDisplayInfo
{
public:
    explicit DisplayInfo(const MachinePackageEntry &facts)
        : m_facts(facts)
    {}

    QString displayName() const override { return m_facts.displayName; }
    QString description() const override { return m_facts.description; }

private:
    MachinePackageEntry m_facts;
};

class Entry final : public AppListEntry
{
public:
    explicit Entry(const MachinePackageEntry &facts)
        : m_facts(facts)
    {}

    std::unique_ptr<AppDisplayInfo> displayInfo() const override
    {
        raise(m_facts.error);
        return std::make_unique<DisplayInfo>(m_facts);
    }

    QString appUserModelId() const override
    {
        raise(m_facts.error);
        return m_facts.appUserModelId;
    }

private:
    MachinePackageEntry m_facts;
};

class Id final : public PackageId
{
public:
    explicit Id(const MachinePackage &facts)
        : m_facts(facts)
    {}

    QString fullName() const override { return m_facts.fullName; }
    PackageVersion version() const override { return m_facts.version; }

private:
    MachinePackage m_facts;
};

/** Gives an `Item` made of each of the facts. */
template<typename Interface, typename Item, typename Facts>
class FactsIterator final : public RuntimeIterator<Interface>
{
public:
    explicit FactsIterator(const QList<Facts> &facts)
        : m_facts(facts)
    {}

    std::unique_ptr<Interface> next() override
    {
        if (m_next == m_facts.size())
            return nullptr;
        return std::make_unique<Item>(m_facts.at(m_next++));
    }

private:
    QList<Facts> m_facts;
    qsizetype m_next = 0;
};

class FactsPackage final : public Package
{
public:
    explicit FactsPackage(const MachinePackage &facts)
        : m_facts(facts)
    {}

    std::unique_ptr<PackageId> id() const override { return std::make_unique<Id>(m_facts); }
    QString displayName() const override { return m_facts.displayName; }
    QString publisherDisplayName() const override { return m_facts.publisherDisplayName; }

    std::unique_ptr<AppListEntries> appListEntries() const override
    {
        raise(m_facts.error);
        return std::make_unique<FactsIterator<AppListEntry, Entry, MachinePackageEntry>>(m_facts.entries);
    }

private:
    MachinePackage m_facts;
};

class Manager final : public PackageManager
{
public:
    explicit Manager(std::shared_ptr<const MachineFacts> facts)
        : m_facts(std::move(facts))
    {}

    std::unique_ptr<PackageList> findPackages() const override
    {
        if (!m_facts->elevated)
            throw hresult_error(ErrorAccessDenied, QStringLiteral("Access is denied."));
        return findPackagesForUser(QString());
    }

    std::unique_ptr<PackageList> findPackagesForUser(const QString &) const override
    {
        raise(m_facts->packagesError);
        return std::make_unique<FactsIterator<Package, FactsPackage, MachinePackage>>(m_facts->packages);
    }

private:
    std::shared_ptr<const MachineFacts> m_facts;
};

} // namespace

MachinePackages::MachinePackages(std::shared_ptr<const MachineFacts> facts)
    : m_facts(std::move(facts))
{}

std::vector<std::unique_ptr<RuntimeUser>> MachinePackages::findAllUsers() const
{
    raise(m_facts->usersError);
    std::vector<std::unique_ptr<RuntimeUser>> users;
    for (const MachineRuntimeUser &user : m_facts->users)
        users.push_back(std::make_unique<User>(user));
    return users;
}

std::unique_ptr<PackageManager> MachinePackages::packageManager() const
{
    return std::make_unique<Manager>(m_facts);
}

} // namespace KvPlatform
