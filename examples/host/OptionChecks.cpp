#include "OptionChecks.h"

#include "StoredSettings.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QSaveFile>
#include <QtCore/QStringList>

namespace {

constexpr qint64 LargestFacts = qint64(16) * 1024 * 1024;
constexpr int LargestSide = 8192;
constexpr int SecondsPerDay = 24 * 60 * 60;

QString message(const char *source)
{
    return QCoreApplication::translate("OptionChecks", source);
}

bool readNumber(const QString &digits, int smallest, int largest, int &number)
{
    bool ok = false;
    const int value = digits.toInt(&ok);
    if (!ok || value < smallest || value > largest)
        return false;
    number = value;
    return true;
}

} // namespace

QString OptionChecks::machineProblem(const QString &folder)
{
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return message("The machine folder \"%1\" is not there.").arg(folder);

    QFile file(QDir(folder).filePath(QStringLiteral("machine.json")));
    if (!file.open(QIODevice::ReadOnly))
        return message("\"%1\" can't be read: %2.").arg(file.fileName(), file.errorString());
    const QByteArray facts = file.read(LargestFacts + 1);
    if (facts.size() > LargestFacts)
        return message("\"%1\" is too large.").arg(file.fileName());

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(facts, &error);
    if (error.error != QJsonParseError::NoError)
        return message("\"%1\" is not JSON: %2 (offset %3).")
            .arg(file.fileName(), error.errorString(), QString::number(error.offset));
    if (!document.isObject())
        return message("\"%1\" does not hold a JSON object.").arg(file.fileName());
    return {};
}

QString OptionChecks::metadataProblem(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return message("The metadata file \"%1\" can't be read: %2.").arg(path, file.errorString());
    return {};
}

QString OptionChecks::settingsProblem(const QString &path)
{
    return StoredSettings().load(path);
}

QString OptionChecks::outputProblem(const QString &path)
{
    if (path.isEmpty())
        return message("A file without a name can't be written.");
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return message("\"%1\" can't be written: %2.").arg(path, file.errorString());
    file.cancelWriting();
    return {};
}

bool OptionChecks::readSeconds(const QString &text, int &seconds)
{
    return readNumber(text, 0, SecondsPerDay, seconds);
}

bool OptionChecks::readSize(const QString &text, QSize &size)
{
    const QStringList parts = text.split(QLatin1Char('x'));
    int width = 0;
    int height = 0;
    if (parts.size() != 2 || !readNumber(parts[0], 1, LargestSide, width) ||
        !readNumber(parts[1], 1, LargestSide, height))
        return false;
    size = {width, height};
    return true;
}
