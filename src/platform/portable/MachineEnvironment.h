#pragma once

#include "platform/Environment.h"

#include <QtCore/QHash>

#include <optional>

namespace KvPlatform {

/** The variables of a machine, or those of this process. May be called from any thread. */
class MachineEnvironment final : public Environment
{
public:
    /** The variables of this process, as they are at each call. */
    MachineEnvironment() = default;

    /** Those in `variables`, by upper-cased name, and no others. */
    explicit MachineEnvironment(QHash<QString, QString> variables);

    QString expand(const QString &text, int capacity) const override;

private:
    std::optional<QString> variable(QStringView name) const;

    std::optional<QHash<QString, QString>> m_variables;
};

} // namespace KvPlatform
