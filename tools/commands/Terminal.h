#pragma once

#include "views/View.h"

#include <optional>

namespace zeqcam::tool {

// What the user's locale can show, by the environment.
Glyphs glyphsOfLocale();

// What the output that is open as `descriptor` can show, by the environment and by what it is.
// `width`: its columns where the user says so, else COLUMNS and the terminal tell.
Presentation presentationOn(int descriptor, std::optional<int> width);

}  // namespace zeqcam::tool
