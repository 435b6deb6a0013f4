#pragma once

#include "Process.h"

/** What the files of Process share. */
namespace ProcessParts {

/** The working directory of a start: `home` with backslashes, or nothing if there is no such folder. */
QString workingDirectory(const QString &home);

/** The show command (SW_...) for a visibility. */
quint16 showCommand(QWindow::Visibility visibility);

} // namespace ProcessParts
