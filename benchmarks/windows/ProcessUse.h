#pragma once

#include <QtCore/QtGlobal>

/** What this process holds of the system. */
struct ProcessUse
{
    quint32 handles = 0;
    int threads = 0;
    qint64 privateBytes = 0;

    static ProcessUse now();

    /** Milliseconds since the system made this process. */
    static double millisecondsSinceStart();
};
