#include "platform/portable/StartJournal.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>

namespace KvPlatform {

StartJournal::StartJournal(const QString &path)
    : m_path(path)
{}

void StartJournal::append(const QJsonObject &start) const
{
    const QByteArray line = QJsonDocument(start).toJson(QJsonDocument::Compact) + '\n';
    const std::lock_guard<std::mutex> lock(m_mutex);
    QFile file(m_path);
    // Unbuffered, since the host adds what comes in one call to the end in one piece.
    const bool isOpen = file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
    if (isOpen && file.write(line) == line.size())
        return;
    if (!m_hasWarned)
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(m_path, file.errorString());
    m_hasWarned = true;
}

} // namespace KvPlatform
