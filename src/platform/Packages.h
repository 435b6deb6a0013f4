#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>
#include <optional>

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

/** What a bitmap holds, in the form of QImage::Format_RGBA8888_Premultiplied without gaps between the rows. */
struct BitmapPixels
{
    int width = 0;
    int height = 0;
    QByteArray bytes; ///< 4 * width * height of them.
};

/** A decoded picture. Source: Windows.Graphics.Imaging.SoftwareBitmap. Every operation may raise hresult_error. */
class SoftwareBitmap
{
public:
    virtual ~SoftwareBitmap();
    virtual int pixelFormat() const = 0; ///< 30 is Rgba8.
    virtual int alphaMode() const = 0;   ///< 0 is Premultiplied, 1 Straight, 2 Ignore.

    /** The same picture in another format. Never null. Source: SoftwareBitmap.Convert. */
    virtual std::unique_ptr<SoftwareBitmap> convert(int pixelFormat, int alphaMode) const = 0;

    /**
     * The content as it lies in memory, read as 4 bytes for each pixel whatever the format is. Nothing if the memory
     * can't be reached, or is too small for that. Source: IMemoryBufferByteAccess::GetBuffer.
     */
    virtual std::optional<BitmapPixels> pixels() const = 0;
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

/** Texts and picture of an app list entry. Source: Windows.ApplicationModel.AppDisplayInfo. May raise hresult_error. */
class AppDisplayInfo
{
public:
    virtual ~AppDisplayInfo();
    virtual QString displayName() const = 0;
    virtual QString description() const = 0;

    /**
     * The largest logo of the entry that fits into the size, decoded; waits for the system without a limit. Null on a
     * system that decodes none. Source: GetLogo, BitmapDecoder.
     */
    virtual std::unique_ptr<SoftwareBitmap> logo(float width, float height) const;
};

/** One startable entry of a package. Source: Windows.ApplicationModel.Core.AppListEntry. May raise hresult_error. */
class AppListEntry
{
public:
    virtual ~AppListEntry();
    virtual std::unique_ptr<AppDisplayInfo> displayInfo() const = 0;
    virtual QString appUserModelId() const = 0;

    /** Begins to start the entry and doesn't wait for what comes of it. Source: LaunchAsync. */
    virtual void launch() const;

    /**
     * The same for a user of the same platform's; null is passed on, and the system decides what it means. Source:
     * LaunchForUserAsync, which Windows has since version 1803.
     */
    virtual void launchForUser(const RuntimeUser *user) const;
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

using UserList = RuntimeIterator<RuntimeUser>;

/** The entries of a package, one after the other or by position. Every operation may raise hresult_error. */
class AppListEntries : public RuntimeIterator<AppListEntry>
{
public:
    virtual quint32 size() const = 0;

    /** The entry at a position below size(), without regard to how far next() has come. Never null. */
    virtual std::unique_ptr<AppListEntry> at(quint32 index) const = 0;
};

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

    /** A package of any user; needs elevation. Null if there is none. */
    virtual std::unique_ptr<Package> findPackage(const QString &fullName) const;

    /** A package of one user; an empty id is the calling user. Null if there is none. */
    virtual std::unique_ptr<Package> findPackageForUser(const QString &userSecurityId, const QString &fullName) const;
};

/** The entry points to the package system. */
class Packages
{
public:
    virtual ~Packages();

    /** The users known to the session, in the system's order; waits for the system. Never null. May raise
     * hresult_error. */
    virtual std::unique_ptr<UserList> findAllUsers() const;

    /** The user of that id; null if there is none. May raise hresult_error. Source: Windows.System.User.GetFromId. */
    virtual std::unique_ptr<RuntimeUser> userFromId(const QString &nonRoamableId) const;

    /** The package manager, or null on a system that has none. May raise hresult_error. */
    virtual std::unique_ptr<PackageManager> packageManager() const;
};

} // namespace KvPlatform
