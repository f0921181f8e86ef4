#pragma once

#include "analysis/Timeline.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

struct Tick {
    Instant time;
    std::string label;  // the time since the record began, with its unit
};

// Round times for an axis along the timeline, from the first in it: as close together as `most` of them
// allow.
std::vector<Tick> ticksOf(Timeline const& timeline, int most);

}  // namespace zeqcam::tool
