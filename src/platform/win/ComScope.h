#pragma once

namespace KvPlatform {

/**
 * COM on the thread that builds and destroys this object: initialised for the multithreaded apartment and balanced.
 *
 * A thread that somebody else has initialised for another kind of apartment is left as it is, and may call COM as well.
 */
class ComScope
{
public:
    ComScope();
    ~ComScope();

    ComScope(const ComScope &) = delete;
    ComScope &operator=(const ComScope &) = delete;

    /** True if the thread may call COM. */
    bool hasCom() const { return m_com != Com::None; }

private:
    enum class Com
    {
        None,
        Own,     ///< Initialised by this object, which has to balance it.
        Foreign, ///< Initialised by somebody else for another kind of apartment; left alone.
    };

    Com m_com = Com::None;
};

} // namespace KvPlatform
