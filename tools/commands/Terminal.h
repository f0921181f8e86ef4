#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// What the user's locale can show, by the environment.
Glyphs glyphsOfLocale();

// What the output that is open as `descriptor` can show, by the environment and by what it is.
Presentation presentationOn(int descriptor);

}  // namespace zeqcam::tool
