#pragma once

#include "analysis/Blame.h"
#include "series/Series.h"

namespace zeqcam::tool {

// Where the time of the series' requests went, run by run, as far as it keeps their links.
Blame blameOf(Series const& series);

}  // namespace zeqcam::tool
