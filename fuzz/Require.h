#pragma once

#include <cstdlib>

namespace FuzzTargets {

/** Stops the program if a promise is broken. */
inline void require(bool promise)
{
    if (!promise)
        std::abort();
}

} // namespace FuzzTargets
