#include "formats/UbisoftConfiguration.h"

#include <QtCore/QByteArrayMatcher>
#include <QtCore/QSet>

#include <algorithm>

namespace {

/** `text` as bytes if a line can hold it, and null otherwise. */
QByteArray printable(const QString &text)
{
    const bool isPrintable =
        std::all_of(text.cbegin(), text.cend(), [](QChar unit) { return unit >= u' ' && unit <= u'~'; });
    return isPrintable ? text.toLatin1() : QByteArray();
}

} // namespace

void UbisoftConfiguration::addLine(const QString &line)
{
    if (line.contains(QLatin1String("shortcut_name"))) {
        m_nameLines.push_back({m_lineCount, m_nameText.size()});
        m_nameText += line.toLatin1() + '\n';
    }
    if (line.contains(QLatin1String("relative")))
        m_pathLines.push_back({m_lineCount, line.mid(line.lastIndexOf(u' ') + 1)});
    ++m_lineCount;
}

QList<QString> UbisoftConfiguration::executablesOf(const QString &gameName) const
{
    QList<QString> executables;
    const QByteArray name = printable(gameName);
    if (name.isEmpty() != gameName.isEmpty())
        return executables;
    const QByteArrayMatcher matcher(name);
    QSet<QString> found;
    auto nameLine = m_nameLines.cbegin();
    auto pathLine = m_pathLines.cbegin();
    while (nameLine != m_nameLines.cend()) {
        const qsizetype match = name.isEmpty() ? nameLine->begin : matcher.indexIn(m_nameText, nameLine->begin);
        if (match < 0)
            break;
        nameLine = std::upper_bound(nameLine, m_nameLines.cend(), match,
                                    [](qsizetype at, const NameLine &line) { return at < line.begin; }) -
                   1;
        pathLine = std::lower_bound(pathLine, m_pathLines.cend(), nameLine->number,
                                    [](const PathLine &line, qsizetype number) { return line.number < number; });
        if (pathLine == m_pathLines.cend())
            break;
        if (!found.contains(pathLine->path)) {
            found.insert(pathLine->path);
            executables.append(pathLine->path);
        }
        // The name has to be told again for the next path.
        nameLine = std::upper_bound(nameLine, m_nameLines.cend(), pathLine->number,
                                    [](qsizetype number, const NameLine &line) { return number < line.number; });
    }
    return executables;
}
