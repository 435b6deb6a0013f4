#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

QT_BEGIN_NAMESPACE
class QProcessEnvironment;
QT_END_NAMESPACE

namespace KvPlatform {
struct Platform;
}

/**
 * What a back-end can do that not every system behind it does. All true by default; the fixture of a back-end turns off
 * what its system lacks, and the suites then say what they skip.
 */
struct Abilities
{
    bool resolveFindsLoss = true;     ///< Resolving a link fails when its target is gone.
    bool environmentTargets = true;   ///< A link's target may hold variables.
    bool currentIdLists = true;       ///< Long names are read from the ID lists that Windows 7 and later write.
    bool sessionsAreToldApart = true; ///< A session that doesn't exist has no user.
    bool tokensNeedRights = true;     ///< A session's token is refused to those who aren't the system.
    bool accountsIgnoreCase = true;   ///< Account names are compared without regard to letter case.
    bool tokensStartPrograms = true;  ///< This user may start programs with copies of its own token.
    bool damagedIconsAreSafe = true;  ///< An icon may claim more images than it has.
    bool smallIconsStaySmall = true;  ///< The largest system icon of a file with small ones is not stretched.
    bool deletionIsTold = true;       ///< The watch over a key tells of the key's deletion.
    bool usersNeedHives = true;       ///< Nothing can be written for a user who has no hive.
    bool seesProcesses = true;        ///< The processes that run can be seen at all.
    bool wideExitCodes = true;        ///< Exit codes have 32 bits, and who ends a process chooses its code.
    bool endIsFinal = true;           ///< A process that has ended can't be ended.
};

/**
 * The computer under test, with what a suite puts on it. One class for each back-end; CMake chooses which is linked.
 *
 * Preparations come before the first call of platform(). Each object is a computer of its own as far as its files,
 * variables and registry key go, and leaves nothing behind. A preparation that fails ends the program, so that no test
 * goes on with half a computer.
 */
class Computer
{
public:
    /** Defined in the fixture. */
    static std::unique_ptr<Computer> create();

    virtual ~Computer() = default;

    virtual const Abilities &abilities() const = 0;

    /** A registry key that is this object's own; it doesn't exist at first. */
    static QString registryKey() { return QStringLiteral("HKEY_CURRENT_USER\\Software\\KvProgram conformance"); }

    /** Takes in what stands behind the first line of an exported registry text, with registryKey() for "KEY". */
    void importRegistry(const QString &body);

    /** Sets an environment variable. */
    virtual void setVariable(const QString &name, const QString &value) = 0;

    /** A folder that is this object's own, as a Windows path with forward slashes. It exists and is empty at first. */
    virtual QString folder() const = 0;

    /** Writes a file of folder(), and makes the folders between. `name` may hold forward slashes. Gives its path. */
    virtual QString addFile(const QString &name, const QByteArray &content = QByteArray()) = 0;

    /** The operations under test. */
    virtual const KvPlatform::Platform &platform() = 0;

    /** The operations as a process that starts now finds them. */
    virtual std::shared_ptr<const KvPlatform::Platform> reopened() const = 0;

    /** Lets a process that gets `environment` use this computer as well. */
    virtual void shareWith(QProcessEnvironment *environment) const = 0;

    /** The operations, for a process that was started so. Defined in the fixture. */
    static std::shared_ptr<const KvPlatform::Platform> sharedPlatform();

private:
    /** Takes in a whole exported registry text. */
    virtual void importText(const QString &text) = 0;
};
