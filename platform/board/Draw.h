#pragma once

#include <zeqcam/board/Board.h>

#include <chrono>
#include <cstdint>

namespace zeqcam::board {

// Draws follow from the seed, the sensor and the number of a call alone: they do not depend on how threads
// interleave.

// Whether something of this probability happens at the n-th power-on of a sensor.
bool happens(double probability, std::uint64_t seed, int sensor, int powerOns);

// How long the n-th call of a kind on a sensor or its services takes.
std::chrono::microseconds drawn(TimeRange const& time, std::uint64_t seed, int sensor, Kind call, int nth);

}  // namespace zeqcam::board
