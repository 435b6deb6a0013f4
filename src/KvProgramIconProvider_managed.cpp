#include "KvProgramIconProvider.h"

#include "ManagedApp.h"

QImage KvProgramIconProvider::loadManagedAppIcon(const QString &target, int index)
{
    return ManagedApp::icon(target, index, &isContentNarrow, Q_FUNC_INFO);
}
