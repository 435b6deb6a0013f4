#include "Process.h"

// Qt opens everything so that children don't get it, and QProcess passes nothing on but what it made for the child.
void Process::keepHandles()
{}
