#include "Draw.h"

#include <initializer_list>
#include <random>

namespace zeqcam::board {
namespace {

// From 0 on, less than 1.
double draw(std::uint64_t seed, std::initializer_list<int> what) {
    std::vector<std::uint32_t> mixed{static_cast<std::uint32_t>(seed),
                                     static_cast<std::uint32_t>(seed >> 32)};
    for (int const each : what) mixed.push_back(static_cast<std::uint32_t>(each));
    std::seed_seq sequence(mixed.begin(), mixed.end());
    return static_cast<double>(std::mt19937_64(sequence)() >> 11) * 0x1p-53;
}

}  // namespace

bool happens(double probability, std::uint64_t seed, int sensor, int powerOns) {
    return probability > 0.0 && draw(seed, {sensor, powerOns}) < probability;
}

std::chrono::microseconds drawn(TimeRange const& time, std::uint64_t seed, int sensor, Kind call, int nth) {
    if (time.most <= time.least) return time.least;
    auto const choices = static_cast<double>((time.most - time.least).count() + 1);
    auto const chosen = draw(seed, {sensor, nth, static_cast<int>(call)}) * choices;
    return time.least + std::chrono::microseconds(static_cast<std::int64_t>(chosen));
}

}  // namespace zeqcam::board
