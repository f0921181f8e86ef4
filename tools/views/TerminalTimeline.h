#pragma once

#include "analysis/Timeline.h"

#include <cstdint>
#include <string>

namespace zeqcam::tool {

enum class Glyphs : std::uint8_t { Ascii, Utf8 };

// What the user's locale can show, by the environment.
Glyphs glyphsOfLocale();

// The timeline as lines of text, none wider than `columns`: a time axis, a line for each thread with the bars
// of its sections, what they hold on lines below it, and the number of sensors powered. How deep it goes
// depends on the width; a failure that is deeper marks the section that holds it. Empty when nothing has
// happened.
std::string terminalTimeline(Timeline const& timeline, int columns, bool colours,
                             Glyphs glyphs = glyphsOfLocale());

}  // namespace zeqcam::tool
