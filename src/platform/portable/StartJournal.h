#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace KvPlatform {

/**
 * What programs a machine was asked to start: a text file with one JSON object in each line.
 *
 * May be called from any thread. A line is appended in one piece, so that several processes may share a machine.
 */
class StartJournal
{
public:
    /** `path` is the host's. The file is made when the first line is written. */
    explicit StartJournal(const QString &path);

    /** Adds one line. Warns once if that fails. */
    void append(const QJsonObject &start) const;

private:
    const QString m_path;
    mutable bool m_hasWarned = false;
};

} // namespace KvPlatform
