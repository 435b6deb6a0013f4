#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QObject>

#include <memory>

class KvProgramContext;
class Launchers;

/**
 * The catalogue for scripts: commands come in on standard input, one JSON object per line goes out on standard output.
 * Both are UTF-8. Lives on the main thread.
 *
 *     pin NAME, unpin NAME   the first program of that name; answered by {"command": ..., "done": true or false}
 *     lists                  answered by {"command": "lists", "lists": ...}, the lists as --json prints them
 *     scan                   starts a scan; answered at once
 *     quit                   ends, as the end of the input does
 *
 * Each scan that completes is told as {"event": "scan", "apps": [names], "shortcuts": [names]}, each change of the
 * shortcuts as {"event": "shortcuts", "shortcuts": [names]}, before the answer of the command that has caused it.
 */
class Console : public QObject
{
    Q_OBJECT

public:
    /** Both have to live longer than this object. */
    Console(KvProgramContext &catalogue, Launchers &launchers);
    ~Console() override;

    /** Begins to read. */
    void start();

Q_SIGNALS:
    void ended();

private Q_SLOTS:
    void onLines();

private:
    struct Input;

    void onLine(const QString &line);
    QJsonObject run(const QString &command, const QString &name);
    void tell(const QJsonObject &object) const;

    KvProgramContext &m_catalogue;
    Launchers &m_launchers;
    const std::shared_ptr<Input> m_input; // Held jointly with the thread that reads.
};
