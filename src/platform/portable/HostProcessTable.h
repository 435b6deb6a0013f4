#pragma once

#include "platform/ProcessTable.h"

namespace KvPlatform {

/**
 * The host system's own processes. Never null.
 *
 * On Linux all of it is answered; other systems of its family list nothing and tell no program's path, and a system of
 * another family has the safe answers only. The ends come on one thread of the table's own. What differs from Windows:
 * a process that isn't this one's child, or whose starter has collected it already, ends without an exit code; one that
 * a signal has ended has 128 and the signal's number, as shells tell it; and a process is always ended by a signal,
 * whatever exit code is asked for.
 */
std::shared_ptr<ProcessTable> createHostProcessTable();

} // namespace KvPlatform
