#include "KvProgramContext_p.h"

#include "ManagedApp.h"

bool ProgramInfo::launchManaged()
{
    return ManagedApp::launch(managedTarget(), managedTargetAppIndex(), m_displayName, Q_FUNC_INFO);
}
