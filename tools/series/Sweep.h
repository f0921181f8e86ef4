#pragma once

#include "series/Series.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// Values that one place of a scenario takes, one after another.
struct SweepAxis {
    std::string path;  // "sensor.tele.power_on_ms"
    std::vector<std::string> values;
};

// "PATH=30..90:10", with both ends, "PATH=a,b,c", or both mixed. Throws std::invalid_argument, which says
// what is wrong.
SweepAxis sweepAxisOf(std::string_view setting);

// What a scenario came to with one value for each axis.
struct SweepPoint {
    std::vector<std::string> values;  // by axis
    Series series;
};

struct Sweep {
    std::string file;
    std::vector<SweepAxis> axes;
    std::size_t repeat = 1;
    std::vector<SweepPoint> points;
};

// Every choice of a value for each axis, the last axis' values nearest to one another.
std::vector<std::vector<std::string>> combinationsOf(std::vector<SweepAxis> const& axes);

// The requests that points tell of, each once, and how far apart their medians are.
struct SweptRequest {
    Subject subject;
    double least = 0;  // of the medians
    double most = 0;
    double longest = 0;  // of all runs

    [[nodiscard]] double change() const { return most - least; }
};

// What changed the most first. Requests that no run ended are not among them.
std::vector<SweptRequest> sweptRequestsOf(Sweep const& sweep);

}  // namespace zeqcam::tool
