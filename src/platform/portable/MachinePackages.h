#pragma once

#include "platform/Packages.h"

#include <memory>

namespace KvPlatform {

struct MachineFacts;

/**
 * The packages that the facts name, in their order; every user has all of them. Where the facts give an error in place
 * of something, asking for it raises that error. Asking for the packages of all users needs elevation, as on Windows.
 */
class MachinePackages final : public Packages
{
public:
    explicit MachinePackages(std::shared_ptr<const MachineFacts> facts);

    std::vector<std::unique_ptr<RuntimeUser>> findAllUsers() const override;
    std::unique_ptr<PackageManager> packageManager() const override;

private:
    std::shared_ptr<const MachineFacts> m_facts;
};

} // namespace KvPlatform
