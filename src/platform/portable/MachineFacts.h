#pragma once

#include "platform/Folders.h"
#include "platform/Packages.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace KvPlatform {

/** An account of the machine. */
struct MachineUser
{
    QString name;
    QString domain;
    QString sidText; ///< Empty if the facts name none, or one that is no SID.
    QByteArray sid;  ///< The same in binary form.
};

/** Which tokens an elevated process can have. */
struct MachineTokenFacts
{
    bool session = false; ///< The console session user's own.
    bool linked = true;   ///< That user's linked one.
    bool borrowed = true; ///< One of a process that the user runs.
};

/** A user known to the session. */
struct MachineRuntimeUser
{
    int type = 0;
    int authenticationStatus = 0;
    QString nonRoamableId;
    std::optional<hresult_error> error;
};

/** A startable entry of a package. */
struct MachinePackageEntry
{
    QString displayName;
    QString description;
    QString appUserModelId;
    QString logo; ///< A Windows path.
    std::optional<hresult_error> error;
};

/** An installed package. */
struct MachinePackage
{
    QString fullName;
    QString displayName;
    QString publisherDisplayName;
    PackageVersion version;
    QList<MachinePackageEntry> entries;
    std::optional<hresult_error> error;
};

/**
 * What machine.json says of a machine. Every member is optional, and one of the wrong type counts as absent.
 *
 * A plain value without locks: filled once, then only read.
 */
struct MachineFacts
{
    std::optional<MachineUser> consoleUser; ///< Nothing if nobody is signed in.
    std::optional<MachineUser> processUser; ///< The console user unless the facts name another.
    bool elevated = false;
    quint16 uiLanguage = 1033;
    QHash<QString, QString> environment; ///< By upper-cased name.
    QHash<Folder, QString> folders;      ///< With either separator.
    QList<MachineRuntimeUser> users;
    std::optional<hresult_error> usersError;
    QList<MachinePackage> packages;
    std::optional<hresult_error> packagesError;
    QString metadata; ///< A Windows path; empty if the facts name none.
    MachineTokenFacts tokens;

    /** The facts in `json`. What was passed over is told in `faults`, one text each. */
    static MachineFacts parse(const QByteArray &json, QStringList *faults);

    /** The facts in the folder's machine.json; none if it is missing or malformed. Gives at most one warning. */
    static MachineFacts load(const QString &folder);

    /** The facts of the host system itself: its user, and nothing else. */
    static MachineFacts host();
};

/** The binary form of a SID text such as "S-1-5-18", published as [MS-DTYP] 2.4.2; nothing if it is not one. */
std::optional<QByteArray> sidFromText(const QString &text);

} // namespace KvPlatform
