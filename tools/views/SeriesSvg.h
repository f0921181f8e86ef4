#pragma once

#include "series/Series.h"
#include "views/View.h"

namespace zeqcam::tool {

// A histogram of what each request took in many runs, and of each call on a sensor.
void writeSeriesSvg(Series const& series, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
