#pragma once

#include "XCoreGlobal.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Settings of the program that surrounds a module. All functions may be called from any thread. */
class XCORE_EXPORT XEnvironment
{
public:
    /**
     * The value of the setting `name`; invalid if nobody gave it one. `choice` names the property by which a product
     * may choose between several values, such as "sku"; there is only one product here, so it is not looked at.
     *
     * "app.metadata" is the path of the metadata file: the environment variable `KVPROGRAM_METADATA` if it is set and
     * not empty, else the text given to setDefault, else `app.metadata.json` beside the library or program that holds
     * this function.
     */
    static QVariant varChoice(const QString &name, const QString &choice);

    /** The value that varChoice gives for `name` when the environment names none. An invalid value takes it back. */
    static void setDefault(const QString &name, const QVariant &value);
};
