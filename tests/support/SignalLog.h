#pragma once

#include <QtCore/QMetaMethod>
#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <utility>

/** The names of the signals that an object has emitted, in their order over all its signals. On the object's thread. */
class SignalLog : public QObject
{
    Q_OBJECT

public:
    explicit SignalLog(const QObject *watched)
    {
        const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("record()"));
        const QMetaObject *const meta = watched->metaObject();
        for (int index = QObject::staticMetaObject.methodCount(); index < meta->methodCount(); ++index) {
            if (meta->method(index).methodType() == QMetaMethod::Signal)
                connect(watched, meta->method(index), this, slot);
        }
    }

    /** The signals since the last time. */
    QStringList take() { return std::exchange(m_names, {}); }

private Q_SLOTS:
    void record() { m_names.append(QString::fromLatin1(sender()->metaObject()->method(senderSignalIndex()).name())); }

private:
    QStringList m_names;
};
