#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <vector>

/**
 * What Ubisoft's launcher keeps in its configuration file of the games' executables.
 *
 * The file is taken as lines of printable ASCII. A line with "shortcut_name" tells which game follows, and after it a
 * line with "relative" ends in a path below the game's folder. Both may be one line. Only these lines are kept, so that
 * the file can be asked about many games after one reading.
 */
class UbisoftConfiguration
{
public:
    /** Takes the file's next line. */
    void addLine(const QString &line);

    /**
     * The executables that follow a line with the name `gameName`, as often as there is such a line, in their order and
     * each once. A path goes with the first line of the name before it. Letter case counts, and a name is found within
     * a longer one too. A path is what stands behind the line's last blank.
     */
    QList<QString> executablesOf(const QString &gameName) const;

private:
    struct NameLine
    {
        qsizetype number; ///< Among all lines.
        qsizetype begin;  ///< In m_nameText.
    };

    struct PathLine
    {
        qsizetype number;
        QString path;
    };

    QByteArray m_nameText; ///< The lines with names, each with a line feed behind it.
    std::vector<NameLine> m_nameLines;
    std::vector<PathLine> m_pathLines;
    qsizetype m_lineCount = 0;
};
