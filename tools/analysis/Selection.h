#pragma once

#include "analysis/SensorLanes.h"
#include "analysis/Timeline.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What of a record is to be shown. Of clients and sensors an empty list is all; where only one of the two is
// chosen, the other are those that requests bring together with it.
struct Selection {
    std::optional<std::chrono::nanoseconds> from;  // since the record's begin
    std::optional<std::chrono::nanoseconds> to;
    std::vector<std::string> clients;  // by name
    std::vector<int> sensors;
};

// Rows that are not chosen have no sections, and sections that begin or end outside keep their times.
Timeline timelineOf(Record const& record, Selection const& selection);

std::vector<SensorLane> sensorLanesOf(Record const& record, Selection const& selection);

}  // namespace zeqcam::tool
