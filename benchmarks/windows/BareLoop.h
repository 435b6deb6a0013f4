#pragma once

#include <QtCore/QString>

/**
 * Reads each link below `folder` with the calls of the system that a source has to make, one after the other, and does
 * nothing with what they give. On a thread with COM. Gives the number of links read.
 */
int readLinksBarely(const QString &folder);
