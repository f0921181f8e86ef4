#pragma once

#include "analysis/SensorLanes.h"
#include "analysis/Timeline.h"

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What of a timeline a drawing has room for: indices of its rows that have sections, and of its lanes.
struct RowChoice {
    std::set<std::size_t> rows;
    std::set<std::size_t> lanes;
    std::string leftOut;  // "12 thread rows, 1 sensor lane"; empty: nothing is
};

// Rows with a failure and lanes with a conflict come first, then those of clients, of sensors and others; of
// each kind as many as there is room for. Rooms and heights are of one unit.
RowChoice chooseRows(Timeline const& timeline, std::vector<SensorLane> const& lanes, double room,
                     std::function<double(Row const& row)> const& heightOf, double laneHeight);

}  // namespace zeqcam::tool
