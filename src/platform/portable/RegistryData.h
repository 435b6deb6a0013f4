#pragma once

#include <QtCore/QVariant>

/** What QSettings in its native format makes of the registry's data, and the registry of what QSettings is given. */
namespace RegistryData {

/**
 * Stored data (QString, QStringList, int, qint64, QByteArray) as QSettings gives it. Binary data is taken for UTF-16
 * text. A text "@ByteArray(...)", "@String(...)" or "@Invalid()" is what it says, and a leading "@@" stands for "@".
 */
QVariant toSetting(const QVariant &data);

/**
 * A setting as it is stored: 32-bit numbers as int, 64-bit ones as qint64, lists as QStringList, a text with a zero
 * character in it as QByteArray, anything else as QString.
 */
QVariant fromSetting(const QVariant &value);

} // namespace RegistryData
