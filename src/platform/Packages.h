#pragma once

#include <QtCore/QString>

#include <memory>
#include <vector>

namespace KvPlatform {

/**
 * The error that the package operations raise.
 *
 * The operations of this header are the only ones of the platform that throw. Their callers log the error and carry on.
 */
class hresult_error
{
public:
    hresult_error(qint32 code, QString message)
        : m_code(code)
        , m_message(std::move(message))
    {}

    /** The HRESULT. */
    qint32 code() const noexcept { return m_code; }

    /** The system's text for it. */
    const QString &message() const noexcept { return m_message; }

private:
    qint32 m_code;
    QString m_message;
};

/** Four numbers of a package's version, in the order of the system's structure. */
struct PackageVersion
{
    quint16 major = 0;
    quint16 minor = 0;
    quint16 build = 0;
    quint16 revision = 0;
};

/** A user known to the session. Source: Windows.System.User. Every operation may raise hresult_error. */
class RuntimeUser
{
public:
    virtual ~RuntimeUser();
    virtual int type() const = 0;                 ///< 0 is LocalUser.
    virtual int authenticationStatus() const = 0; ///< 1 is LocallyAuthenticated.
    virtual QString nonRoamableId() const = 0;
};

/** Texts of an app list entry. Source: Windows.ApplicationModel.AppDisplayInfo. May raise hresult_error. */
class AppDisplayInfo
{
public:
    virtual ~AppDisplayInfo();
    virtual QString displayName() const = 0;
    virtual QString description() const = 0;
};

/** One startable entry of a package. Source: Windows.ApplicationModel.Core.AppListEntry. May raise hresult_error. */
class AppListEntry
{
public:
    virtual ~AppListEntry();
    virtual std::unique_ptr<AppDisplayInfo> displayInfo() const = 0;
    virtual QString appUserModelId() const = 0;
};

/** A package's identity. Source: Windows.ApplicationModel.PackageId. May raise hresult_error. */
class PackageId
{
public:
    virtual ~PackageId();
    virtual QString fullName() const = 0;
    virtual PackageVersion version() const = 0;
};

/** Gives items one after the other, and null behind the last. next() may raise hresult_error. */
template<typename Item>
class RuntimeIterator
{
public:
    virtual ~RuntimeIterator() = default;
    virtual std::unique_ptr<Item> next() = 0;
};

using AppListEntries = RuntimeIterator<AppListEntry>;

/** An installed package. Source: Windows.ApplicationModel.Package. May raise hresult_error. */
class Package
{
public:
    virtual ~Package();
    virtual std::unique_ptr<PackageId> id() const = 0;
    virtual QString displayName() const = 0;
    virtual QString publisherDisplayName() const = 0;

    /** The entries in their order; waits for the system without a limit. Never null. Source: GetAppListEntriesAsync. */
    virtual std::unique_ptr<AppListEntries> appListEntries() const = 0;
};

using PackageList = RuntimeIterator<Package>;

/** Source: Windows.Management.Deployment.PackageManager. Every operation may raise hresult_error. */
class PackageManager
{
public:
    virtual ~PackageManager();

    /** All packages of all users; needs elevation. Never null. */
    virtual std::unique_ptr<PackageList> findPackages() const = 0;

    /** The packages of one user; an empty id is the calling user. Never null. */
    virtual std::unique_ptr<PackageList> findPackagesForUser(const QString &userSecurityId) const = 0;
};

/** The entry points to the package system. */
class Packages
{
public:
    virtual ~Packages();

    /** The users known to the session, in the system's order; waits for the system. May raise hresult_error. */
    virtual std::vector<std::unique_ptr<RuntimeUser>> findAllUsers() const;

    /** The package manager, or null on a system that has none. May raise hresult_error. */
    virtual std::unique_ptr<PackageManager> packageManager() const;
};

} // namespace KvPlatform
