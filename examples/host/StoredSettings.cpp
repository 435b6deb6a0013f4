#include "StoredSettings.h"

#include "KvAppSetting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace {

constexpr qint64 LargestFile = qint64(16) * 1024 * 1024;

QString message(const char *source)
{
    return QCoreApplication::translate("StoredSettings", source);
}

std::unique_ptr<KvAppSetting> makeSetting(const QJsonObject &object)
{
    QString executable = object.value(QLatin1String("executable")).toString().toLower();
    executable.replace(QLatin1Char('\\'), QLatin1Char('/'));
    auto setting = std::make_unique<KvAppSetting>();
    setting->setMonitorModel(object.value(QLatin1String("model")).toString());
    setting->setExecutable(executable);
    return setting;
}

bool isSetting(const QJsonObject &object)
{
    const QString list = object.value(QLatin1String("list")).toString();
    return object.value(QLatin1String("model")).isString() && object.value(QLatin1String("executable")).isString() &&
           (list == QLatin1String("games") || list == QLatin1String("tools"));
}

QList<KvAppSetting *> pointers(const std::vector<std::unique_ptr<KvAppSetting>> &settings)
{
    QList<KvAppSetting *> result;
    for (const auto &setting : settings)
        result.append(setting.get());
    return result;
}

} // namespace

StoredSettings::StoredSettings() = default;
StoredSettings::~StoredSettings() = default;

QString StoredSettings::builtInFile()
{
    return QStringLiteral(":/KvHost/settings.json");
}

QString StoredSettings::load(const QString &path)
{
    m_games.clear();
    m_tools.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return message("\"%1\" can't be read: %2.").arg(path, file.errorString());
    const QByteArray bytes = file.read(LargestFile + 1);
    if (bytes.size() > LargestFile)
        return message("\"%1\" is too large.").arg(path);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return message("\"%1\" is not JSON: %2 (offset %3).")
            .arg(path, error.errorString(), QString::number(error.offset));
    if (!document.isArray())
        return message("\"%1\" does not hold a JSON array.").arg(path);
    const QJsonArray elements = document.array();
    for (const QJsonValue element : elements) {
        const QJsonObject object = element.toObject();
        if (!isSetting(object))
            return message("\"%1\" holds something that is no setting with model, executable and list.").arg(path);
        const bool isGame = object.value(QLatin1String("list")).toString() == QLatin1String("games");
        (isGame ? m_games : m_tools).push_back(makeSetting(object));
    }
    return {};
}

QStringList StoredSettings::models() const
{
    QStringList result;
    for (const auto *const list : {&m_games, &m_tools}) {
        for (const auto &setting : *list)
            result.append(setting->monitorModel());
    }
    return result;
}

QList<KvAppSetting *> StoredSettings::games() const
{
    return pointers(m_games);
}

QList<KvAppSetting *> StoredSettings::tools() const
{
    return pointers(m_tools);
}
