#pragma once

#include "series/ChainSeries.h"
#include "views/View.h"

#include <nlohmann/json_fwd.hpp>

#include <ostream>

namespace zeqcam::tool {

// For each request of many runs, in how many of them each link of its chain took time, and the median in
// those, beside the chain of the slowest. Unless it is full, of ten requests that took any time.
void writeChainSeries(ChainSeries const& series, Presentation const& presentation, std::ostream& out);

// All of it for programs.
nlohmann::ordered_json chainSeriesJson(ChainSeries const& series);

// All of it as a table of a page.
nlohmann::ordered_json chainSeriesTable(ChainSeries const& series);

}  // namespace zeqcam::tool
