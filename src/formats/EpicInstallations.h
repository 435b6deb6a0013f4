#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

/** Reads the file in which the Epic launcher keeps its installations, an object of JSON. */
namespace EpicInstallations {

/** What is said of one installation; a text that is not there is empty. */
struct Installation
{
    QString location; ///< The folder, with either separator.
    QString appName;  ///< The launcher's own name for the game.
};

enum Fault
{
    NoFault,
    NotJson,
    NotAnObject,
};

struct Document
{
    Fault fault = NoFault;
    QList<Installation> installations; ///< In the file's order; none if it has no list of them.
};

Document parse(const QByteArray &bytes);

} // namespace EpicInstallations
