#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <map>

class KvProcessSpy;

/**
 * Which of the programs that this host has started are running. Lives on the thread of its window; QML sees it as
 * "running".
 *
 * A start tells no process id, so the process is looked for by its file's name some moments later, a few times and ever
 * more rarely. A program that never shows up is forgotten. Another process of the same name, if it is met first, counts
 * as the program.
 */
class RunningPrograms : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList files READ files NOTIFY filesChanged)

public:
    /** The first look is `firstLook` milliseconds after a start, and each of the next after twice the time before. */
    explicit RunningPrograms(int firstLook = 100, QObject *parent = nullptr);
    ~RunningPrograms() override;

    /** The paths of the programs that run, as QML has given them but in lower case, sorted. */
    QStringList files() const;

    /** How many programs are being looked for or watched. */
    int count() const { return static_cast<int>(m_watches.size()); }

    /** To be called after the program with this path, in either separator, was started. */
    Q_INVOKABLE void watch(const QString &path);

Q_SIGNALS:
    void filesChanged();

private:
    struct Watch
    {
        KvProcessSpy *spy; // This object's child.
        QTimer *timer;     // The spy's child.
        int looks;         // How many are left.
    };

    Watch &watchOf(const QString &path);
    void look(const QString &path);
    void forget(const QString &path);

    const int m_firstLook;
    std::map<QString, Watch> m_watches; // By path.
};
