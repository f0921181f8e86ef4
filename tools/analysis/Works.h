#pragma once

#include "record/Record.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// What another thread did for a request: a worker that powered a sensor on, a task that powered one off.
struct Work {
    std::uint32_t request = 0;  // index into Record::requests
    std::uint32_t thread = 0;   // index into Record::threads
    int sensor = 0;
    bool powersOn = false;
    bool hasEnded = false;              // else its end was not seen
    std::vector<std::uint32_t> events;  // its own, in order: indices into Record::events; one at least
};

// By the begin of the work, as `causesOf` finds them.
std::vector<Work> worksOf(Record const& record);

}  // namespace zeqcam::tool
