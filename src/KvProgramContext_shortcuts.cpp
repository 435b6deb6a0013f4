#include "KvProgramContext_p.h"

#include "KvRegistrySpy.h"
#include "platform/Files.h"
#include "platform/WindowsPath.h"

#include <algorithm>

namespace {

constexpr int MostShortcuts = 7;

const QString SlotTemplate = QStringLiteral("@HKCU\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo\\shortcut%1");

QString slotPath(int number)
{
    return SlotTemplate.arg(number, 3, 10, QLatin1Char('0'));
}

QString slotText(const ProgramInfo *app)
{
    switch (app->type()) {
    case ProgramInfo::TypeDesktop:
        return WindowsPath::toNativeSeparators(app->desktopTarget());
    case ProgramInfo::TypeManaged:
        return app->productName();
    default:
        return app->targetUrl().toString();
    }
}

/** The key of the target map that a slot's text stands for; empty if it stands for none. */
QUrl slotTarget(const QString &value)
{
    const QString text = value.contains(QLatin1String("://")) ? value : WindowsPath::cleanPath(value);
    const QUrl url(text, QUrl::TolerantMode);
    if (!url.isEmpty() && KvPlatform::Platform::current()->files->exists(text))
        return WindowsPath::toUrl(text);
    return url;
}

} // namespace

bool KvProgramContext::addShortcut(ProgramInfo *app)
{
    if (!app || m_shortcuts.size() >= MostShortcuts || m_shortcuts.contains(app))
        return false;
    m_shortcuts.append(app);
    saveShortcuts();
    Q_EMIT shortcutsChanged();
    return true;
}

bool KvProgramContext::removeShortcut(ProgramInfo *app)
{
    return removeShortcutAt(static_cast<int>(m_shortcuts.indexOf(app)));
}

bool KvProgramContext::removeShortcutAt(int index)
{
    if (index < 0 || index >= m_shortcuts.size())
        return false;
    m_shortcuts.removeAt(index);
    saveShortcuts();
    Q_EMIT shortcutsChanged();
    return true;
}

void KvProgramContext::refreshShortcuts()
{
    QList<ProgramInfo *> shortcuts;
    for (int number = 0; number < MostShortcuts; ++number) {
        const QUrl target = slotTarget(KvRegistrySpy::readValue(slotPath(number), QVariant()).toString());
        if (target.isEmpty())
            continue;
        if (ProgramInfo *const app = findTarget(target, nullptr))
            shortcuts.append(app);
    }
    // QList's own comparison hands null pointers to memcmp for empty lists.
    if (std::equal(shortcuts.cbegin(), shortcuts.cend(), m_shortcuts.cbegin(), m_shortcuts.cend()))
        return;
    m_shortcuts = shortcuts;
    Q_EMIT shortcutsChanged();
}

void KvProgramContext::saveShortcuts()
{
    for (int number = 0; number < MostShortcuts; ++number) {
        const QString text = number < m_shortcuts.size() ? slotText(m_shortcuts.at(number)) : QStringLiteral("");
        KvRegistrySpy::writeValue(slotPath(number), text);
    }
}

ProgramInfo *KvProgramContext::findTarget(const QUrl &url, ProgramInfo *defaultValue) const
{
    return m_targetMap.value(url, defaultValue);
}

void KvProgramContext::reloadShortcutOnRegistryChanged()
{
    auto *const spy = new KvRegistrySpy(this);
    spy->bindForever(SlotTemplate.section(QLatin1Char('\\'), 0, -2), true);
    m_registrySpies.append(spy);
    connect(spy, &KvRegistrySpy::valueChanged, this, &KvProgramContext::refreshShortcuts);
}
