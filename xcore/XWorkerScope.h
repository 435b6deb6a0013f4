#pragma once

/**
 * What a thread of the pool needs for as long as it lives. On Windows it initialises COM for the thread; elsewhere it
 * does nothing. To be built and destroyed on the thread itself.
 */
class XWorkerScope
{
public:
    XWorkerScope();
    ~XWorkerScope();

    XWorkerScope(const XWorkerScope &) = delete;
    XWorkerScope &operator=(const XWorkerScope &) = delete;

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
