#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** Reads the settings of the anti-cheat launcher that some games carry, an object of JSON. */
namespace AntiCheatSettings {

enum Fault
{
    NoFault,
    NotJson,
    NotAnObject,
};

struct Settings
{
    Fault fault = NoFault;
    QString executable; ///< The game's program below its folder, without quotes; empty if it is not told.
};

Settings parse(const QByteArray &bytes);

} // namespace AntiCheatSettings
