#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// What the user's locale can show, by the environment.
Glyphs glyphsOfLocale();

// What standard output can show, by the environment and by what it is.
Presentation presentationOnOutput();

}  // namespace zeqcam::tool
