#pragma once

#include <QtCore/QString>

/** Waits on this thread, with the system's own call, until the process has ended. False if it can't. */
bool waitBarely(qint64 processId);

/**
 * Walks the system's list of processes with its own calls, comparing each executable's name without regard to letter
 * case. Gives the number of processes, negative if one had that name.
 */
int findBarely(const QString &name);
