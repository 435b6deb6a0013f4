#pragma once

#include "Launchers.h"
#include "MonitorMarks.h"
#include "RunningPrograms.h"

#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlApplicationEngine>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickItem;
class QQuickWindow;
QT_END_NAMESPACE

class ProgramInfo;

/**
 * The example host's window over a small machine, used as a person would.
 *
 * Its programs are called "Program 000" and so on, and are addresses, but for those named below. Failures are told by
 * texts and null pointers, for the test to compare.
 */
class WindowFixture
{
public:
    static constexpr int Programs = 300;
    static constexpr int Pictured = 10; ///< Its icon is a picture,
    static constexpr int Missing = 11;  ///< is not there,
    static constexpr int Broken = 12;   ///< is no picture.
    static constexpr int Tool = 290;    ///< Program files from here on. This one is a tool,
    static constexpr int Game = 291;    ///< a game,
    static constexpr int Clock = 292;   ///< may run,
    static constexpr int Refused = 293; ///< can't be started.
    static constexpr int Others = 294;  ///< Four programs.

    /** Readies the process; to be called once. */
    bool prepare();

    /** Opens the window and waits for the first scan. */
    bool open();

    /** Closes the window and unpins everything. Gives the warnings that QML had. */
    QStringList close();

    bool rescan();

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void type(const QString &text) const;
    void select(int program) const;

    /** Presses Tab until `item` or something in it has the focus. */
    bool tabTo(const QQuickItem *item) const;

    /** The item of that name. */
    QQuickItem *find(const char *name) const;
    static QQuickItem *findIn(QQuickItem *root, const char *name);

    /** The tile that shows an entry of the list, if it is in view. */
    QQuickItem *tile(const QString &name) const;

    QString selected() const;
    bool areDetailsBeside() const;
    int shown() const;
    bool isLoading() const;

    QQuickWindow *window() const { return m_window; }
    RunningPrograms &running() { return *m_running; }
    MonitorMarks &marks() { return *m_marks; }

    static QString numbered(int number);
    static ProgramInfo *record(int program);

    /** Names of the pinned programs. */
    static QStringList pinned();

    /** A file of the machine. */
    QString path(const QString &name) const { return m_folder.filePath(name); }
    bool write(const QString &name, const QByteArray &bytes) const;

    /** The calls and commands or addresses that were started since the last question. */
    QStringList takeStarts() const;

private:
    void dropPictures() const;
    bool writeMachine() const;
    bool writeGames() const;
    bool writeIcons() const;

    QTemporaryDir m_folder;
    QStringList m_warnings;
    std::unique_ptr<Launchers> m_launchers;
    std::unique_ptr<MonitorMarks> m_marks;
    std::unique_ptr<RunningPrograms> m_running;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr;
};
