#pragma once

/**
 * Reads each entry of each package with the calls of the system that a source has to make, one after the other, and
 * does nothing with what they give. On a thread with COM. Gives the number of entries read.
 */
int readPackagesBarely();
