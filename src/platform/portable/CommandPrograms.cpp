#include "platform/portable/CommandPrograms.h"

#include "platform/WindowsPath.h"

namespace KvPlatform {

namespace {

constexpr qsizetype LongestPath = 260;

CommandProgram quotedProgram(const QString &command)
{
    const qsizetype quote = command.indexOf(u'"', 1);
    if (quote < 0)
        return {command.mid(1), QString()};
    return {command.mid(1, quote - 1), command.mid(quote + 1).trimmed()};
}

} // namespace

QList<CommandProgram> commandPrograms(const QString &command)
{
    if (command.startsWith(u'"'))
        return {quotedProgram(command)};
    QList<CommandProgram> programs;
    qsizetype end = command.indexOf(u' ');
    while (end >= 0 && end <= LongestPath) {
        programs.append({command.left(end), command.mid(end + 1).trimmed()});
        end = command.indexOf(u' ', end + 1);
    }
    programs.append({command, QString()});
    return programs;
}

QList<QString> programNames(const QString &program)
{
    if (program.isEmpty())
        return {};
    if (WindowsPath::fileName(program).contains(u'.'))
        return {program};
    return {program, program + QStringLiteral(".exe")};
}

} // namespace KvPlatform
