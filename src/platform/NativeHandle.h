#pragma once

#include <functional>

namespace KvPlatform {

/**
 * Owns one handle of the system (a token, a process) and closes it exactly once.
 *
 * The closing function comes with the handle, so that a fake can count what was opened and closed. Not thread-safe, as
 * any other value. Moves only.
 */
class NativeHandle
{
public:
    using Close = std::function<void(void *)>;

    NativeHandle() = default;

    /** Takes over `native`. A null `native` makes an empty handle, and `close` is not called for it. */
    NativeHandle(void *native, Close close);

    NativeHandle(NativeHandle &&other) noexcept;
    NativeHandle &operator=(NativeHandle &&other) noexcept;
    NativeHandle(const NativeHandle &) = delete;
    NativeHandle &operator=(const NativeHandle &) = delete;
    ~NativeHandle();

    explicit operator bool() const { return m_native != nullptr; }

    /** The system's value, for calls of the same back-end. Still owned by this object. */
    void *native() const { return m_native; }

    /** Closes the handle now, if there is one. */
    void reset();

private:
    void *m_native = nullptr;
    Close m_close;
};

} // namespace KvPlatform
