#pragma once

#include "record/Record.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// A worker or a task that powers a sensor on or off for a request of another thread.
struct Cause {
    std::uint32_t request = 0;  // index into Record::requests
    Instant asked;              // the request's begin, on
    std::uint32_t asking = 0;   // this thread: index into Record::threads
    Instant began;              // the work, on
    std::uint32_t working = 0;  // this thread
    std::uint32_t event = 0;    // that begins the work: index into Record::events
    int sensor = 0;
    bool powersOn = false;
};

// By the begin of the work. Where several requests ask for the same of a sensor, it is done for the one that
// got past its controller's lock last.
std::vector<Cause> causesOf(Record const& record);

}  // namespace zeqcam::tool
