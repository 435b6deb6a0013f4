#pragma once

#include "platform/win/runtime/Interfaces.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

/** A logo of the script's, which can be opened and decoded. */
KvPlatform::Runtime::IRandomAccessStreamReference *makeLogo(const QJsonObject &facts, const QString &object);

/** The factories of the classes that decode and convert. */
IInspectable *makeDecoderFactory();
IInspectable *makeBitmapFactory();
