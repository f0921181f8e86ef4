#pragma once

#include "series/Sweep.h"
#include "views/View.h"

#include <ostream>

namespace zeqcam::tool {

// A page of what requests took with each value: what failed, what changed the most, a plot, the figures with
// each value, and the scenario.
void writeSweepPage(Sweep const& sweep, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
