#include "platform/portable/StartJournal.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>

#include <mutex>

namespace KvPlatform {

StartJournal::StartJournal(const QString &path)
    : m_path(path)
{}

void StartJournal::append(const QJsonObject &start) const
{
    // One for all journals: not every host adds to a file in one piece.
    static std::mutex mutex;
    const QByteArray line = QJsonDocument(start).toJson(QJsonDocument::Compact) + '\n';
    const std::lock_guard<std::mutex> lock(mutex);
    QFile file(m_path);
    // Unbuffered, so that a line is one call.
    const bool isOpen = file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
    if (isOpen && file.write(line) == line.size())
        return;
    if (!m_hasWarned)
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(m_path, file.errorString());
    m_hasWarned = true;
}

} // namespace KvPlatform
