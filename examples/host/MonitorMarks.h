#pragma once

#include "StoredSettings.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

class KvProgramContext;

/**
 * The marks of the games and tools that are set up for one monitor model, as KvAppSetting::hasSelected. They are set
 * after each scan and at each choice of a model. Belongs to the catalogue's thread; QML sees it as "marks".
 */
class MonitorMarks : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList models READ models CONSTANT)
    Q_PROPERTY(QString model READ model WRITE setModel NOTIFY modelChanged)

public:
    /** `settings` is a file that StoredSettings understands; nothing is set up if it can't be read. `catalogue`
     * outlives this object. */
    MonitorMarks(KvProgramContext &catalogue, const QString &settings, const QString &model);
    ~MonitorMarks() override;

    /** The models that there are settings for, and the one that the run began with, sorted. */
    QStringList models() const;

    /** The chosen model; empty for none, and nothing is marked then. */
    QString model() const { return m_model; }
    void setModel(const QString &model);

Q_SIGNALS:
    /** The marks are those of another model now. */
    void modelChanged();

private:
    void mark();

    KvProgramContext &m_catalogue;
    StoredSettings m_settings;
    QString m_firstModel;
    QString m_model;
};
