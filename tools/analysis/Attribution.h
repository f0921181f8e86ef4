#pragma once

#include "record/Record.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// The request that each event belongs to: its client's own events, those of a worker from its call on its
// sensor on, and those of a task from its first call on. Unknown is also "none". Where two requests are about
// the same sensor at the same time, the one that began first has the first call.
std::vector<OptionalNumber<std::uint32_t>> attributionOf(Record const& record);

}  // namespace zeqcam::tool
