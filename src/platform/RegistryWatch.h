#pragma once

#include <QtCore/QString>

#include <functional>
#include <memory>

namespace KvPlatform {

/**
 * One registry key that was opened to be watched, and the event by which the system tells of its changes.
 *
 * Belongs to the thread that opened it, which needs an event loop. The end of the object closes the event and the key;
 * it may come from inside the function given to notify(). Source: RegNotifyChangeKeyValue,
 * https://learn.microsoft.com/windows/win32/api/winreg/nf-winreg-regnotifychangekeyvalue
 */
class RegistryWatch
{
public:
    virtual ~RegistryWatch();

    /**
     * Takes back a notice that was not delivered yet, and asks for the next one: once, of whatever changes from now on.
     * `watchSubtree` counts the keys below as well, `filter` holds REG_NOTIFY_CHANGE_ flags. Gives the system's error
     * code, 0 for success. A key that was deleted can't be armed again, not even if it has been made anew.
     */
    virtual quint32 arm(bool watchSubtree, quint32 filter);

    /** Has `onChange` called for each notice, from the event loop, until the object ends. To be called once. */
    virtual void notify(std::function<void()> onChange);
};

/** A key, or the error code of the system's refusal. */
struct RegistryWatchResult
{
    std::unique_ptr<RegistryWatch> watch; ///< Null on failure.
    quint32 error = 0;
};

/** Opens registry keys to watch them. */
class RegistryWatches
{
public:
    virtual ~RegistryWatches();

    /**
     * Opens the key `subKey` below the predefined key `root`, such as 0x80000002 for HKEY_LOCAL_MACHINE. An empty
     * `subKey` is the predefined key itself. `access` holds the system's access rights.
     */
    virtual RegistryWatchResult open(quint32 root, const QString &subKey, quint32 access) const;
};

} // namespace KvPlatform
