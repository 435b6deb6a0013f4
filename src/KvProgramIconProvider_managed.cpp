#include "KvProgramIconProvider.h"

QImage KvProgramIconProvider::loadManagedAppIcon(const QString &target, int index)
{
    Q_UNUSED(target);
    Q_UNUSED(index);
    return {};
}
