#pragma once

#include "platform/Environment.h"

namespace KvPlatform {

/** The variables of this process, as they are at each call. May be called from any thread. */
class WinEnvironment final : public Environment
{
public:
    /** The system counts a terminating zero in. What it gives of a text that doesn't fit is its own choice. */
    QString expand(const QString &text, int capacity) const override;
};

} // namespace KvPlatform
