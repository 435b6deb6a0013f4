#include "Computer.h"

void Computer::importRegistry(const QString &body)
{
    const QString keyed = QString(body).replace(QStringLiteral("[KEY"), u'[' + registryKey());
    importText(QStringLiteral("Windows Registry Editor Version 5.00\n\n") + keyed);
}
