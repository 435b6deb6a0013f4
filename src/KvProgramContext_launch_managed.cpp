#include "KvProgramContext_p.h"

bool ProgramInfo::launchManaged()
{
    return false;
}
