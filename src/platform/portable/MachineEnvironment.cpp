#include "platform/portable/MachineEnvironment.h"

#include "platform/portable/WindowsNames.h"

#include <QtCore/QProcessEnvironment>

#include <limits>

namespace KvPlatform {

namespace {

std::optional<QString> processVariable(QStringView name)
{
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString exact = name.toString();
    if (environment.contains(exact))
        return environment.value(exact);
    const QStringList names = environment.keys();
    for (const QString &other : names) {
        if (upperCased(other) == upperCased(name))
            return environment.value(other);
    }
    return std::nullopt;
}

} // namespace

MachineEnvironment::MachineEnvironment(QHash<QString, QString> variables)
    : m_variables(std::move(variables))
{}

std::optional<QString> MachineEnvironment::variable(QStringView name) const
{
    if (!m_variables)
        return processVariable(name);
    const auto found = m_variables->constFind(upperCased(name));
    return found == m_variables->constEnd() ? std::nullopt : std::optional<QString>(*found);
}

QString MachineEnvironment::expand(const QString &text, int capacity) const
{
    const QString whole = Environment::expand(text, std::numeric_limits<int>::max());
    QString result;
    qsizetype position = 0;
    while (position < whole.size() && result.size() < capacity) {
        const qsizetype first = whole.indexOf(u'%', position);
        const qsizetype second = first < 0 ? -1 : whole.indexOf(u'%', first + 1);
        if (second < 0)
            break;
        result += QStringView(whole).sliced(position, first - position);
        const auto value = variable(QStringView(whole).sliced(first + 1, second - first - 1));
        result += value ? *value : whole.mid(first, second - first);
        // The second sign of an unknown name may be the first one of the next.
        position = value ? second + 1 : second;
    }
    result += QStringView(whole).sliced(position);
    return Environment::expand(result, capacity);
}

} // namespace KvPlatform
