#pragma once

#include <QtCore/QString>

namespace KvPlatform {

/** The environment variables of this process. */
class Environment
{
public:
    virtual ~Environment();

    /**
     * `text` with each `%NAME%` replaced by that variable's value, in one pass; unknown names stay as they are, and
     * names are compared without regard to case. The result holds at most `capacity` UTF-16 units and ends before the
     * first zero character. The safe answer is `text` itself, cut to `capacity`.
     * Source: ExpandEnvironmentStringsW.
     */
    virtual QString expand(const QString &text, int capacity) const;
};

} // namespace KvPlatform
