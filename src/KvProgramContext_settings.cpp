#include "KvProgramContext_p.h"

#include <QtCore/QDebug>

#include <algorithm>
#include <utility>

namespace {

/** Marks each installed application that the stored settings of a model name, and no other. */
void markSelected(const QList<KvAppSetting *> &installed, const QList<KvAppSetting *> &stored, const QString &model)
{
    for (KvAppSetting *const app : installed) {
        app->setHasSelected(false);
        const QString executable = app->executable().toLower();
        const bool found = std::any_of(stored.cbegin(), stored.cend(), [&](const KvAppSetting *setting) {
            // A list of QML's may hold nothing in a place.
            return setting && setting->executable() == executable && setting->monitorModel() == model;
        });
        if (found)
            app->setHasSelected(true);
    }
}

} // namespace

void KvProgramContext::deleteAppSettings()
{
    qDeleteAll(std::exchange(m_gameApps, {}));
    qDeleteAll(std::exchange(m_toolApps, {}));
}

void KvProgramContext::updateInstalledAppListByModel(const QString &model, const QList<KvAppSetting *> &gameAppSettings,
                                                     const QList<KvAppSetting *> &toolAppSettings)
{
    qDebug() << "updateInstalledAppListByModel: " << model;
    markSelected(m_gameApps, gameAppSettings, model);
    markSelected(m_toolApps, toolAppSettings, model);
}

void KvProgramContext::updateInstalledAppListStatus(const QString &executable, bool isGame, bool selected)
{
    const QList<KvAppSetting *> apps = isGame ? m_gameApps : m_toolApps;
    const auto app = std::find_if(apps.cbegin(), apps.cend(), [&executable](const KvAppSetting *setting) {
        return setting->executable().toLower() == executable;
    });
    if (app != apps.cend())
        (*app)->setHasSelected(selected);
}
