#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

namespace KvPlatform {

/** One way to read a command line. */
struct CommandProgram
{
    QString program;   ///< As it stands in the line, without quotes.
    QString arguments; ///< What follows it.
};

/**
 * The programs that a command line may name, in the order in which the system looks for them: what stands between the
 * quotes, or else what stands in front of each blank in turn, up to the 260 characters of a program's path, and the
 * whole line. Never empty. Source: CreateProcessW, lpCommandLine.
 */
QList<CommandProgram> commandPrograms(const QString &command);

/** `program`, and the same with ".exe" if its file name has no suffix. */
QList<QString> programNames(const QString &program);

} // namespace KvPlatform
