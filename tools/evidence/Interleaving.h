#pragma once

#include "evidence/Sighting.h"

#include <chrono>
#include <vector>

namespace zeqcam::tool {

// What one file tells of a process, on the clock of all of them.
struct FileSightings {
    Sightings sightings;
    std::chrono::nanoseconds resolution{1};  // a time t stands for any from t to before t + resolution
};

// All of them in one order. Where times are too coarse to say which came first on a thread, the order in
// which the library tells things decides, and a time is moved within what it stands for. What stands in two
// files is there once.
Sightings interleave(std::vector<FileSightings> files);

}  // namespace zeqcam::tool
