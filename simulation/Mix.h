#pragma once

#include <cstdint>

namespace zeqcam::simulation {

// A number that looks like no other: the finalizer of a 64-bit hash.
constexpr std::uint64_t mix(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
}

constexpr std::uint64_t mix(std::uint64_t first, std::uint64_t second) {
    return mix(mix(first) ^ second);
}

}  // namespace zeqcam::simulation
