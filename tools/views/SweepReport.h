#pragma once

#include "series/Sweep.h"
#include "views/View.h"

#include <ostream>

namespace zeqcam::tool {

// For each request that the values change: what it took with each of them, and a bar. The others in a line.
void writeSweepReport(Sweep const& sweep, Presentation const& presentation, std::ostream& out);

// The same for programs.
void writeSweepFile(Sweep const& sweep, std::ostream& out);

// A picture of the same: the medians as lines over the values.
void writeSweepSvg(Sweep const& sweep, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
