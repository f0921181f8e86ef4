#pragma once

#include "record/Record.h"
#include "replay/Measured.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// Which clients of a record can have one controller, where the record does not say: those that keep each
// other waiting, or find each other's sensors on, have one; those that work at the same time, or power on a
// sensor that the other one has on, have two; so have those whose tasks run on different threads, where
// nothing else tells. What is left has the fewest.
//
// By the record's clients, the number of each one's controller, from 0.
std::vector<std::uint32_t> controllersOf(Record const& record, std::vector<MeasuredRequest> const& measured);

}  // namespace zeqcam::tool
