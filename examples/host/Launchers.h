#pragma once

#include "KvAppSetting.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>

class KvProgramContext;

/**
 * Which launcher an entry of the game and tool lists belongs to.
 *
 * The catalogue doesn't say who found a game, so the scanners are asked once more: on the first question after a scan,
 * and only then, since they read all that the launchers left behind. Belongs to the catalogue's thread; QML sees it as
 * "launchers".
 */
class Launchers : public QObject
{
    Q_OBJECT

public:
    /** `catalogue` outlives this object. */
    explicit Launchers(const KvProgramContext &catalogue);
    ~Launchers() override;

    /** "Steam" and its like for a game; for a tool the name by which it was recognised. Empty if nobody knows. */
    QString launcherOf(const KvAppSetting &app);

    /** The same for QML; empty for null. */
    Q_INVOKABLE QString launcherOf(KvAppSetting *app);

private:
    void askScanners();

    const KvProgramContext &m_catalogue;
    bool m_isCurrent = false;
    QHash<QString, QString> m_launcherByGame;
};
