#pragma once

#include "platform/Packages.h"

#include <memory>

namespace KvPlatform {

class Files;
class StartJournal;
struct MachineFacts;

/**
 * The packages that the facts name, in their order; every user has all of them. Where the facts give an error in place
 * of something, asking for it raises that error. Asking for the packages of all users needs elevation, as on Windows.
 * A logo is an image file of any kind that Qt reads. May be called from any thread.
 */
class MachinePackages final : public Packages
{
public:
    /** `files` finds the logos, `journal` gets the launches; without them there are none. */
    explicit MachinePackages(std::shared_ptr<const MachineFacts> facts, std::shared_ptr<const Files> files = nullptr,
                             std::shared_ptr<const StartJournal> journal = nullptr);

    std::unique_ptr<UserList> findAllUsers() const override;
    std::unique_ptr<RuntimeUser> userFromId(const QString &nonRoamableId) const override;
    std::unique_ptr<PackageManager> packageManager() const override;

private:
    const std::shared_ptr<const struct PackageMachine> m_machine;
};

} // namespace KvPlatform
