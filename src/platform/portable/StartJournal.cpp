#include "platform/portable/StartJournal.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>

#include <mutex>
#include <utility>

namespace KvPlatform {

StartJournal::StartJournal(QString path)
    : m_path(std::move(path))
{}

void StartJournal::add(const QJsonObject &start)
{
    if (m_path.isEmpty())
        return;
    const QByteArray line = QJsonDocument(start).toJson(QJsonDocument::Compact) + '\n';
    // One for all journals: not every host adds to a file in one piece.
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    QFile file(m_path);
    // Unbuffered, so that a line is one call.
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered) && file.write(line) == line.size())
        return;
    if (!std::exchange(m_hasWarned, true))
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(m_path, file.errorString());
}

} // namespace KvPlatform
