#include "platform/portable/MachinePackages.h"

#include "platform/Files.h"
#include "platform/portable/MachineFacts.h"
#include "platform/portable/StartJournal.h"

#include <QtGui/QImageReader>

#include <algorithm>

namespace KvPlatform {

/** What all objects of a machine's packages share. */
struct PackageMachine
{
    std::shared_ptr<const MachineFacts> facts;
    std::shared_ptr<const Files> files;
    std::shared_ptr<const StartJournal> journal;
};

namespace {

using Machine = std::shared_ptr<const PackageMachine>;

constexpr qint32 ErrorAccessDenied = qint32(0x80070005U);    // E_ACCESSDENIED
constexpr qint32 ErrorInvalidArgument = qint32(0x80070057U); // E_INVALIDARG
constexpr qint32 ErrorOutOfBounds = qint32(0x8000000BU);     // E_BOUNDS
constexpr qint32 ErrorFileNotFound = qint32(0x80070002U);    // HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)
constexpr qint32 ErrorNoDecoder = qint32(0x88982F50U);       // WINCODEC_ERR_COMPONENTNOTFOUND

constexpr int Rgba8 = 30;
constexpr int Premultiplied = 0;

void raise(const std::optional<hresult_error> &error)
{
    if (error)
        throw *error;
}

class User final : public RuntimeUser
{
public:
    User(const Machine &, const MachineRuntimeUser &facts)
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

class Bitmap final : public SoftwareBitmap
{
public:
    explicit Bitmap(const QImage &image)
        : m_image(image.convertToFormat(QImage::Format_RGBA8888_Premultiplied))
    {}

    int pixelFormat() const override { return Rgba8; }
    int alphaMode() const override { return Premultiplied; }
    std::unique_ptr<SoftwareBitmap> convert(int, int) const override { return std::make_unique<Bitmap>(m_image); }

    std::optional<BitmapPixels> pixels() const override
    {
        // Rows of four bytes a pixel have no gaps.
        const QByteArray bytes(reinterpret_cast<const char *>(m_image.constBits()), m_image.sizeInBytes());
        return BitmapPixels{m_image.width(), m_image.height(), bytes};
    }

private:
    QImage m_image;
};

class DisplayInfo final : public AppDisplayInfo
{
public:
    DisplayInfo(Machine machine, const MachinePackageEntry &facts)
        : m_machine(std::move(machine))
        , m_facts(facts)
    {}

    QString displayName() const override { return m_facts.displayName; }
    QString description() const override { return m_facts.description; }

    /** The one logo there is, whatever size is asked for. */
    std::unique_ptr<SoftwareBitmap> logo(float, float) const override
    {
        if (!m_machine->files)
            return nullptr;
        if (!m_machine->files->exists(m_facts.logo))
            throw hresult_error(ErrorFileNotFound, QStringLiteral("The system cannot find the file specified."));
        QImageReader reader(m_machine->files->hostPath(m_facts.logo));
        reader.setDecideFormatFromContent(true);
        const QImage image = reader.read();
        if (image.isNull())
            throw hresult_error(ErrorNoDecoder, QStringLiteral("The component cannot be found."));
        return std::make_unique<Bitmap>(image);
    }

private:
    Machine m_machine;
    MachinePackageEntry m_facts;
};

class Entry final : public AppListEntry
{
public:
    Entry(Machine machine, const MachinePackage &package, qsizetype index)
        : m_machine(std::move(machine))
        , m_package(package)
        , m_index(index)
    {}

    std::unique_ptr<AppDisplayInfo> displayInfo() const override
    {
        raise(facts().error);
        return std::make_unique<DisplayInfo>(m_machine, facts());
    }

    QString appUserModelId() const override
    {
        raise(facts().error);
        return facts().appUserModelId;
    }

    void launch() const override { journal(start(), facts().error); }

    void launchForUser(const RuntimeUser *user) const override
    {
        QJsonObject request = start();
        if (user) {
            request.insert(QStringLiteral("forUser"), user->nonRoamableId());
            journal(request, facts().error);
        } else {
            journal(request, hresult_error(ErrorInvalidArgument, QStringLiteral("The parameter is incorrect.")));
        }
    }

private:
    const MachinePackageEntry &facts() const { return m_package.entries.at(m_index); }

    QJsonObject start() const
    {
        return {{QStringLiteral("call"), QStringLiteral("package")},
                {QStringLiteral("fullName"), m_package.fullName},
                {QStringLiteral("index"), m_index}};
    }

    void journal(QJsonObject start, const std::optional<hresult_error> &error) const
    {
        if (error)
            start.insert(QStringLiteral("error"), error->code());
        if (m_machine->journal)
            m_machine->journal->append(start);
        raise(error);
    }

    Machine m_machine;
    MachinePackage m_package;
    qsizetype m_index;
};

class Entries final : public AppListEntries
{
public:
    Entries(Machine machine, const MachinePackage &package)
        : m_machine(std::move(machine))
        , m_package(package)
    {}

    quint32 size() const override { return quint32(m_package.entries.size()); }

    std::unique_ptr<AppListEntry> at(quint32 index) const override
    {
        if (index >= size())
            throw hresult_error(ErrorOutOfBounds, QStringLiteral("The operation attempted to access data outside the "
                                                                 "valid range"));
        return std::make_unique<Entry>(m_machine, m_package, qsizetype(index));
    }

    std::unique_ptr<AppListEntry> next() override { return m_next < size() ? at(m_next++) : nullptr; }

private:
    Machine m_machine;
    MachinePackage m_package;
    quint32 m_next = 0;
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

class FactsPackage final : public Package
{
public:
    FactsPackage(Machine machine, const MachinePackage &facts)
        : m_machine(std::move(machine))
        , m_facts(facts)
    {}

    std::unique_ptr<PackageId> id() const override { return std::make_unique<Id>(m_facts); }
    QString displayName() const override { return m_facts.displayName; }
    QString publisherDisplayName() const override { return m_facts.publisherDisplayName; }

    std::unique_ptr<AppListEntries> appListEntries() const override
    {
        raise(m_facts.error);
        return std::make_unique<Entries>(m_machine, m_facts);
    }

private:
    Machine m_machine;
    MachinePackage m_facts;
};

/** Gives an `Item` made of each of the facts. */
template<typename Interface, typename Item, typename Facts>
class FactsIterator final : public RuntimeIterator<Interface>
{
public:
    FactsIterator(Machine machine, const QList<Facts> &facts)
        : m_machine(std::move(machine))
        , m_facts(facts)
    {}

    std::unique_ptr<Interface> next() override
    {
        if (m_next == m_facts.size())
            return nullptr;
        return std::make_unique<Item>(m_machine, m_facts.at(m_next++));
    }

private:
    Machine m_machine;
    QList<Facts> m_facts;
    qsizetype m_next = 0;
};

class Manager final : public PackageManager
{
public:
    explicit Manager(Machine machine)
        : m_machine(std::move(machine))
    {}

    std::unique_ptr<PackageList> findPackages() const override
    {
        checkElevation();
        return findPackagesForUser(QString());
    }

    std::unique_ptr<PackageList> findPackagesForUser(const QString &) const override
    {
        raise(m_machine->facts->packagesError);
        return std::make_unique<FactsIterator<Package, FactsPackage, MachinePackage>>(m_machine,
                                                                                      m_machine->facts->packages);
    }

    std::unique_ptr<Package> findPackage(const QString &fullName) const override
    {
        checkElevation();
        return findPackageForUser(QString(), fullName);
    }

    std::unique_ptr<Package> findPackageForUser(const QString &, const QString &fullName) const override
    {
        raise(m_machine->facts->packagesError);
        const QList<MachinePackage> &packages = m_machine->facts->packages;
        const auto isIt = [&fullName](const MachinePackage &package) {
            return package.fullName.compare(fullName, Qt::CaseInsensitive) == 0;
        };
        const auto found = std::find_if(packages.begin(), packages.end(), isIt);
        return found == packages.end() ? nullptr : std::make_unique<FactsPackage>(m_machine, *found);
    }

private:
    void checkElevation() const
    {
        if (!m_machine->facts->elevated)
            throw hresult_error(ErrorAccessDenied, QStringLiteral("Access is denied."));
    }

    Machine m_machine;
};

} // namespace

MachinePackages::MachinePackages(std::shared_ptr<const MachineFacts> facts, std::shared_ptr<const Files> files,
                                 std::shared_ptr<const StartJournal> journal)
    : m_machine(std::make_shared<const PackageMachine>(
          PackageMachine{std::move(facts), std::move(files), std::move(journal)}))
{}

std::unique_ptr<UserList> MachinePackages::findAllUsers() const
{
    raise(m_machine->facts->usersError);
    return std::make_unique<FactsIterator<RuntimeUser, User, MachineRuntimeUser>>(m_machine, m_machine->facts->users);
}

std::unique_ptr<RuntimeUser> MachinePackages::userFromId(const QString &nonRoamableId) const
{
    raise(m_machine->facts->usersError);
    for (const MachineRuntimeUser &user : m_machine->facts->users) {
        if (user.nonRoamableId == nonRoamableId)
            return std::make_unique<User>(m_machine, user);
    }
    return nullptr;
}

std::unique_ptr<PackageManager> MachinePackages::packageManager() const
{
    return std::make_unique<Manager>(m_machine);
}

} // namespace KvPlatform
