#pragma once

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QJsonObject;
QT_END_NAMESPACE

namespace KvPlatform {

/**
 * The file in which a machine folder keeps what was asked to be started, one JSON object a line.
 *
 * add() may be called from any thread. A line is appended in one piece, so that several processes may share a machine.
 * A file that can't be written loses its lines, with one warning.
 */
class StartJournal
{
public:
    /** `path` is the host's; an empty one keeps no journal. The file is made when the first line is written. */
    explicit StartJournal(QString path);

    /** Appends a line, whole or not at all. */
    void add(const QJsonObject &start);

private:
    const QString m_path;
    bool m_hasWarned = false;
};

} // namespace KvPlatform
