#include "XEnvironment.h"

#include "XModulePath.h"

#include <QtCore/QFileInfo>
#include <QtCore/QHash>

#include <mutex>

namespace {

struct Defaults
{
    std::mutex mutex;
    QHash<QString, QVariant> values;
};

// Never deleted: other static objects may still ask while they are destroyed.
Defaults &defaults()
{
    static Defaults *const values = new Defaults;
    return *values;
}

QVariant defaultOf(const QString &name)
{
    Defaults &known = defaults();
    const std::lock_guard lock(known.mutex);
    return known.values.value(name);
}

QVariant metadataPath()
{
    const QString given = qEnvironmentVariable("KVPROGRAM_METADATA");
    if (!given.isEmpty())
        return given;
    const QVariant preset = defaultOf(QStringLiteral("app.metadata"));
    if (preset.isValid())
        return preset;
    return QString(QFileInfo(xModulePath()).path() + QLatin1String("/app.metadata.json"));
}

} // namespace

QVariant XEnvironment::varChoice(const QString &name, const QString &choice)
{
    Q_UNUSED(choice);
    return name == QLatin1String("app.metadata") ? metadataPath() : defaultOf(name);
}

void XEnvironment::setDefault(const QString &name, const QVariant &value)
{
    Defaults &known = defaults();
    const std::lock_guard lock(known.mutex);
    if (value.isValid())
        known.values.insert(name, value);
    else
        known.values.remove(name);
}
