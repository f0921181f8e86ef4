#pragma once

#include "views/ComparisonReport.h"

#include <ostream>

namespace zeqcam::tool {

// A page of what was compared: what has become worse beyond doubt and what fails after; of single runs both
// timelines on one scale; then the figures and the scenarios.
void writeComparisonPage(Compared const& compared, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
