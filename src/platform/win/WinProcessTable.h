#pragma once

#include "platform/ProcessTable.h"

namespace KvPlatform {

/** The computer's processes. Their ends come on threads of the system's wait pool. May be called from any thread. */
class WinProcessTable final : public ProcessTable
{
public:
    std::unique_ptr<ProcessSnapshot> snapshot() const override;
    HandleResult open(quint32 access, quint32 processId) const override;

    /** At most 32768 units, whatever the capacity. */
    std::optional<QString> programPath(const NativeHandle &process, qsizetype capacity) const override;

    std::optional<quint32> exitCode(const NativeHandle &process, quint32 *error) const override;
    quint32 poll(const NativeHandle &process) const override;
    HandleResult callAtEnd(const NativeHandle &process, std::function<void()> callback) const override;
    quint32 terminate(const NativeHandle &process, quint32 exitCode) const override;
};

} // namespace KvPlatform
