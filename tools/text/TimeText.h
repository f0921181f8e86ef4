#pragma once

#include <chrono>
#include <string>

namespace zeqcam::tool {

// A unit of time as people read times.
struct TimeUnit {
    std::chrono::nanoseconds one;
    char const* name;  // "ms"
};

// The one that suits a time of this length.
TimeUnit unitOf(std::chrono::nanoseconds time);

// How many of the unit the time is.
double countOf(std::chrono::nanoseconds time, TimeUnit unit);

// A time in the unit that suits it, to three digits: "48.1 ms".
std::string timeText(std::chrono::nanoseconds time);

// For files that programs read.
double millisecondsOf(std::chrono::nanoseconds time);

// The number of milliseconds, to a tenth: "48.1".
std::string millisecondsText(std::chrono::nanoseconds time);

// A time of day, as machines read it: "2026-11-23T05:16:48.315Z".
std::string wallClockText(std::chrono::nanoseconds since1970);

}  // namespace zeqcam::tool
