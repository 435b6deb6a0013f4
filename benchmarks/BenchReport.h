#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QSysInfo>

#include <cstdio>

/** Writes what a benchmark has measured, and prints it. Gives the program's exit code. */
inline int writeReport(const char *path, QJsonObject report)
{
    report.insert(QStringLiteral("system"), QSysInfo::prettyProductName());
    report.insert(QStringLiteral("qt"), QString::fromLatin1(qVersion()));
    const QByteArray text = QJsonDocument(report).toJson();
    std::fputs(text.constData(), stdout);
    QFile file(QString::fromLocal8Bit(path));
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size())
        return 0;
    std::fprintf(stderr, "%s: %s\n", path, file.errorString().toLocal8Bit().constData());
    return 1;
}
