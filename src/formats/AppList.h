#pragma once

#include <QtCore/QByteArray>

#include <functional>

QT_BEGIN_NAMESPACE
class QXmlStreamAttributes;
QT_END_NAMESPACE

/** Reads the application lists that come with the library, in XML. */
namespace AppList {

/**
 * Calls `visit` with the attributes of each "APP" element, in the list's order and as far as it is well-formed: a fault
 * ends the reading without a word. An element that begins right behind the start of another one is passed over.
 */
void read(const QByteArray &list, const std::function<void(const QXmlStreamAttributes &)> &visit);

} // namespace AppList
