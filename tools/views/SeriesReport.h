#pragma once

#include "series/Series.h"
#include "views/View.h"

#include <ostream>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What many runs came to, for people: tables of what each request and call took, and which runs failed by
// what.
void writeSeriesReport(Series const& series, Presentation const& presentation, std::ostream& out);

// How the samples lie from the first to the last bin, a cell for each: "▁▂▅█▂  ▁".
std::string sparkline(std::vector<std::size_t> const& counts, Glyphs glyphs);

// "seeds 7, 19, 44 and 5 more".
std::string runsText(Series const& series, std::vector<std::uint32_t> const& runs);

}  // namespace zeqcam::tool
