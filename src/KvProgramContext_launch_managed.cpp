#include "KvProgramContext_p.h"

#include "ManagedApp.h"

bool ProgramInfo::launchManaged(const char *function)
{
    return ManagedApp::launch(managedTarget(), managedTargetAppIndex(), m_displayName, function);
}
