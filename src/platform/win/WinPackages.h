#pragma once

#include "platform/Packages.h"

namespace KvPlatform {

/**
 * The packages of this computer, as the Windows Runtime tells of them. May be called from any thread; each object that
 * it gives is used on one thread at a time. What an old Windows lacks is E_NOINTERFACE.
 */
class WinPackages final : public Packages
{
public:
    std::unique_ptr<UserList> findAllUsers() const override;
    std::unique_ptr<RuntimeUser> userFromId(const QString &nonRoamableId) const override;
    std::unique_ptr<PackageManager> packageManager() const override;
};

} // namespace KvPlatform
