#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Package classes of the Windows Runtime with made-up content, in a DLL that a Windows of Wine's loads in the place of
 * its own. What it serves, how its operations end and which calls fail stands in a script:
 *
 *     {
 *       "users": [{"type": 0, "authenticationStatus": 1, "nonRoamableId": "user-1"}],
 *       "packages": [{"fullName": "A_1", "displayName": "A", "publisherDisplayName": "P", "version": [1, 2, 3, 4],
 *                     "entries": [{"displayName": "a", "description": "", "appUserModelId": "A!1",
 *                                  "logo": {"kind": "plate", "width": 9, "height": 9, "format": 30, "alphaMode": 0,
 *                                           "start": 0, "gap": 0, "capacity": -1}}]}],
 *       "operations": {"*": "done", "GetAppListEntriesAsync A_1": "gate"},
 *       "fail": {"Package.get_Id A_1": {"code": -2147023728, "text": "Element not found."}},
 *       "lacks": ["IAppListEntry3"],
 *       "notAgile": ["Windows.System.User"],
 *       "journal": "C:\\launches.txt"
 *     }
 *
 * The keys of "operations" and "fail" are names of calls, with the name of the object that they go to or without. An
 * operation is "done" before anybody waits; ends "late", while the handler is being set; on a "thread" that begins
 * then, or in a "race" with one that begins at once; when the "gate" opens; in an "error"; or is "canceled". Logos are
 * a "plate" whose pixels tell their place, "glass" of one half-transparent colour, or a "glyph" in the middle columns
 * of nothing. Launches are written to the journal, a line each.
 *
 * The first class that is asked for loads the script that KV_PACKAGE_SCRIPT names. All functions may be called from any
 * thread.
 */
class PackageServer
{
public:
    virtual ~PackageServer() = default;

    /** Serves what this script tells. False if it is no JSON object. */
    virtual bool setScript(const QByteArray &json) = 0;

    /** The calls since the last time, such as "Package.get_Id A_1"; factories and interfaces count as calls. */
    virtual QStringList takeCalls() = 0;

    /** Makes the call of that number, counted from 0 at this moment, fail with that code; -1 lets all succeed. */
    virtual void failCall(int number, qint32 code, const QString &text) = 0;

    /** The launches since the last time, such as "A!1" or "A!1 for user-1". */
    virtual QStringList takeLaunches() = 0;

    /** The number of objects that live, factories included. */
    virtual int objects() const = 0;

    virtual void setGate(bool isOpen) = 0;

    /** Waits until that many operations have come to the gate since the script was set; false after ten seconds. */
    virtual bool waitAtGate(int operations) = 0;

    /** Waits until nothing runs on threads of the server's; false after ten seconds. */
    virtual bool waitForThreads() = 0;
};

/** The DLL's one server, by the name "kvPackageServer". */
using PackageServerFunction = PackageServer *();
