#include "MonitorMarks.h"

#include "KvProgramContext.h"

MonitorMarks::MonitorMarks(KvProgramContext &catalogue, const QString &settings, const QString &model)
    : m_catalogue(catalogue)
    , m_firstModel(model)
    , m_model(model)
{
    m_settings.load(settings);
    const auto markIfChosen = [this] {
        if (!m_model.isEmpty())
            mark();
    };
    connect(&catalogue, &KvProgramContext::toolAppsChanged, this, markIfChosen);
    connect(&catalogue, &KvProgramContext::gameAppsChanged, this, markIfChosen);
}

MonitorMarks::~MonitorMarks() = default;

QStringList MonitorMarks::models() const
{
    QStringList models = m_settings.models();
    models.append(m_firstModel);
    models.removeAll(QString());
    models.removeDuplicates();
    models.sort();
    return models;
}

void MonitorMarks::setModel(const QString &model)
{
    if (model == m_model)
        return;
    m_model = model;
    mark();
    Q_EMIT modelChanged();
}

void MonitorMarks::mark()
{
    // A stored setting may belong to a model without a name, which is not what choosing none means.
    if (m_model.isEmpty())
        m_catalogue.updateInstalledAppListByModel(m_model, {}, {});
    else
        m_catalogue.updateInstalledAppListByModel(m_model, m_settings.games(), m_settings.tools());
}
