#pragma once

#include <zeqcam/board/Journal.h>

#include <chrono>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What the sensors themselves took of a request. A sensor that the library did not call counts for nothing.
struct SensorTimes {
    int calls = 0;
    std::chrono::microseconds slowest{0};
    std::chrono::microseconds oneAfterAnother{0};
};

// One for each request of the client that stands in the journal, in order.
std::vector<SensorTimes> sensorTimes(std::vector<board::Entry> const& journal, std::string_view client);

}  // namespace zeqcam::tool
