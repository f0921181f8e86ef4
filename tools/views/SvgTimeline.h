#pragma once

#include "analysis/Timeline.h"

#include <string>

namespace zeqcam::tool {

// The timeline as one self-contained picture, legible on light and on dark pages.
std::string svgTimeline(Timeline const& timeline, std::string const& title);

}  // namespace zeqcam::tool
