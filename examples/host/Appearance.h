#pragma once

#include "Options.h"

/** How the window looks, as far as it is settled outside QML. */
namespace Appearance {

/** Picks the display and the renderer. To be called before there is an application object. */
void chooseDisplay(const Options &options);

/** Picks the controls' style and the palette. To be called before QML is loaded. */
void apply(const Options &options);

} // namespace Appearance
