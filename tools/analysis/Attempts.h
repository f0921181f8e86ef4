#pragma once

#include "record/Record.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace zeqcam::tool {

// A call that powered a sensor on.
struct Attempt {
    std::uint32_t request = 0;  // index into Record::requests
    int sensor = 0;
    Instant began;
    std::optional<Instant> ended;
    std::optional<bool> cameUp;
};

// Those of which it is known for which request they were, in their order.
std::vector<Attempt> attemptsOf(Record const& record);

// A sensor that did not come up, and what the next attempt to power it on cost.
struct Retry {
    int sensor = 0;
    std::chrono::nanoseconds failedAfter{};
    // None: nobody has tried again.
    OptionalNumber<std::uint32_t> request{};         // index into Record::requests
    std::optional<std::chrono::nanoseconds> took{};  // none: it had not ended
};

// One list for each request: its sensors that failed, in the order of their calls.
std::vector<std::vector<Retry>> retriesOf(Record const& record);

}  // namespace zeqcam::tool
