#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QMutex>
#include <QtCore/QString>

namespace KvPlatform {

/**
 * The file in which a machine folder keeps what was asked to be started, one JSON object a line.
 *
 * add() may be called from any thread. A file that can't be written loses its lines, with one warning.
 */
class StartJournal
{
public:
    /** An empty path keeps no journal. */
    explicit StartJournal(QString path);

    /** Appends a line, whole or not at all. */
    void add(const QJsonObject &start);

private:
    const QString m_path;
    QMutex m_mutex;
    bool m_hasWarned = false;
};

} // namespace KvPlatform
