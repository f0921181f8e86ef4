#pragma once

#include "Scheduler.h"

#include <time.h>

namespace zeqcam::simulation {

// Where the clocks stand when a run begins: the start of the year 2000, and a machine up for a quarter of an
// hour.
constexpr Time kSecond = 1'000'000'000;
constexpr Time kWallClockStart = 946'684'800 * kSecond;
constexpr Time kMonotonicStart = 1000 * kSecond;

constexpr Time startOf(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE ? kWallClockStart : kMonotonicStart;
}
// What would not fit is for ever.
constexpr Time durationOf(timespec const& time) {
    return time.tv_sec < kNever / kSecond ? time.tv_sec * kSecond + time.tv_nsec : kNever;
}
constexpr Time after(Time now, Time duration) {
    return duration < kNever - now ? now + duration : kNever;
}
constexpr timespec timespecOf(Time time) {
    return {.tv_sec = time / kSecond, .tv_nsec = time % kSecond};
}
// An absolute time of a clock as a time of the run.
constexpr Time deadlineOf(clockid_t clock, timespec const* time) {
    if (time == nullptr || durationOf(*time) == kNever) return kNever;
    return durationOf(*time) - startOf(clock);
}

// What a lock needs that only a thread from outside the simulation can give: tried again until patience ends.
void awaitOutside(Step const& step, int& attempts);

}  // namespace zeqcam::simulation
