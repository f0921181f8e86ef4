#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

// What numbers of a Perfetto trace stand for.
namespace zeqcam::tool::perfetto {

// The kernel's id; 0 where it is none, which is no thread's either.
inline std::int32_t idFrom(std::uint64_t number) {
    constexpr std::uint64_t kMost = 0x7fff'ffff;
    return number <= kMost ? static_cast<std::int32_t>(number) : 0;
}

// No clock of a phone shows more than this, 146 years; sums and differences of two fit too.
inline std::chrono::nanoseconds nanosecondsOf(std::uint64_t time) {
    constexpr std::uint64_t kMost = (std::uint64_t{1} << 62U) - 1;
    return std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(time, kMost)));
}

}  // namespace zeqcam::tool::perfetto
