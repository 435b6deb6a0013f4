#pragma once

#include <QtCore/QSize>
#include <QtCore/QString>

/** What can be wrong with the value of an option. The texts are one line for the user; empty means that all is well. */
namespace OptionChecks {

/** A machine folder is a folder with a machine.json of at most 16 MiB that holds one JSON object. */
QString machineProblem(const QString &folder);

/** A metadata file is a file that can be read. What it says is the library's business. */
QString metadataProblem(const QString &path);

/** A settings file is one that StoredSettings understands. */
QString settingsProblem(const QString &path);

/** Whether a file can be written. One that is there stays as it is. */
QString outputProblem(const QString &path);

/** Reads a whole number of seconds up to a day. */
bool readSeconds(const QString &text, int &seconds);

/** Reads a size such as 1120x720, from 1 to 8192 each. */
bool readSize(const QString &text, QSize &size);

} // namespace OptionChecks
