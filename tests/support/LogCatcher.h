#pragma once

#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

/**
 * Keeps the messages that are logged while it lives, from any thread, instead of printing them.
 *
 * One at a time; the former message handler is put back at the end.
 */
class LogCatcher
{
public:
    struct Line
    {
        QtMsgType type;
        QString text;
        QString file = {};     ///< Of the log context.
        QString function = {}; ///< The same.
    };

    LogCatcher()
    {
        s_current = this;
        m_former = qInstallMessageHandler(&LogCatcher::handle);
    }

    ~LogCatcher()
    {
        qInstallMessageHandler(m_former);
        s_current = nullptr;
    }

    LogCatcher(const LogCatcher &) = delete;
    LogCatcher &operator=(const LogCatcher &) = delete;

    QList<Line> lines() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }

    /** The texts of one level, in order. */
    QStringList texts(QtMsgType type) const
    {
        QStringList texts;
        for (const Line &line : lines()) {
            if (line.type == type)
                texts.append(line.text);
        }
        return texts;
    }

    void clear()
    {
        const QMutexLocker lock(&m_mutex);
        m_lines.clear();
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        const QMutexLocker lock(&s_current->m_mutex);
        s_current->m_lines.append({type, text, QString::fromUtf8(context.file), QString::fromUtf8(context.function)});
    }

    static inline LogCatcher *s_current = nullptr;
    mutable QMutex m_mutex;
    QList<Line> m_lines;
    QtMessageHandler m_former = nullptr;
};
