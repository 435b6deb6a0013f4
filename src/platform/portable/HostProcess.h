#pragma once

#include <QtCore/QtGlobal>

#include <memory>
#include <mutex>
#include <optional>

namespace KvPlatform {

/** A descriptor of the host system, closed exactly once. */
class HostDescriptor
{
public:
    HostDescriptor() = default;

    /** Takes over `descriptor`; a negative one is none. */
    explicit HostDescriptor(int descriptor);

    HostDescriptor(HostDescriptor &&other) noexcept;
    HostDescriptor &operator=(HostDescriptor &&other) noexcept;
    HostDescriptor(const HostDescriptor &) = delete;
    HostDescriptor &operator=(const HostDescriptor &) = delete;
    ~HostDescriptor();

    explicit operator bool() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

/**
 * One process of the host system. May be used from any thread.
 *
 * On Linux it is held by a descriptor, so that its id can't pass to another process unnoticed; systems without that are
 * asked by the id.
 */
class HostProcess
{
public:
    /** The process, or nothing, with the error's published Windows code in `error`. */
    static std::shared_ptr<HostProcess> open(quint32 id, quint32 *error);

    HostProcess(int id, HostDescriptor descriptor);

    int id() const { return m_id; }

    /** Becomes readable at the end; negative if the system has none, so that hasEnded() must be asked again. */
    int descriptor() const { return m_descriptor.get(); }

    bool hasEnded() const;

    /** The exit code of an ended process, if it can be had; kept from the first time on. */
    std::optional<quint32> exitCode() const;

    /** Ends the process; 0 or the error's published Windows code. */
    quint32 terminate() const;

private:
    const int m_id;
    const HostDescriptor m_descriptor;
    mutable std::mutex m_mutex;
    mutable std::optional<quint32> m_exitCode;
};

} // namespace KvPlatform
