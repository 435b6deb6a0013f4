#include "KvProgramContext_p.h"

#include "KvRegistrySpy.h"

bool KvProgramContext::addShortcut(ProgramInfo *app)
{
    Q_UNUSED(app)
    return false;
}

bool KvProgramContext::removeShortcut(ProgramInfo *app)
{
    Q_UNUSED(app)
    return false;
}

bool KvProgramContext::removeShortcutAt(int index)
{
    Q_UNUSED(index)
    return false;
}

void KvProgramContext::refreshShortcuts()
{}

void KvProgramContext::saveShortcuts()
{}

ProgramInfo *KvProgramContext::findTarget(const QUrl &url, ProgramInfo *defaultValue) const
{
    return m_targetMap.value(url, defaultValue);
}

void KvProgramContext::reloadShortcutOnRegistryChanged()
{
    auto *const spy = new KvRegistrySpy(this);
    spy->bindForever(QStringLiteral("@HKCU\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo"), true);
    m_registrySpies.append(spy);
    connect(spy, &KvRegistrySpy::valueChanged, this, &KvProgramContext::refreshShortcuts);
}
