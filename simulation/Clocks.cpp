// Clocks and sleeps, in the C library's place.
#include "Libc.h"
#include "Turn.h"

#include <cerrno>

namespace zeqcam::simulation {
namespace {

// As much as a yield: who looks at the clock on and on waits for it to move.
constexpr int kIdleLook = 64;
constexpr int kLooksToPoint = 1024;

Time look(clockid_t clock) {
    Thread& thread = *self();
    thread.idle += kIdleLook;
    if (thread.idle >= kLooksToPoint) scheduler()->reach({.what = "look at the clock", .idle = kIdleLook});
    return startOf(clock) + scheduler()->now();
}

bool isVirtual(clockid_t clock) {
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_BOOTTIME:
            return true;
        default:
            return false;
    }
}

bool isValid(timespec const& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kSecond;
}

void sleepUntil(Time deadline) {
    scheduler()->reach({.what = "sleep", .until = Until::Deadline, .deadline = deadline});
}

}  // namespace
}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (self() == nullptr || !isVirtual(clock)) return libc().clock_gettime(clock, time);
    *time = timespecOf(look(clock));
    return 0;
}

TAKES_PLACE int gettimeofday(timeval* time, void* zone) noexcept {
    if (self() == nullptr) return libc().gettimeofday(time, zone);
    timespec const now = timespecOf(look(CLOCK_REALTIME));
    *time = {.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
    return 0;
}

TAKES_PLACE time_t time(time_t* result) noexcept {
    if (self() == nullptr) return libc().time(result);
    time_t const now = look(CLOCK_REALTIME) / kSecond;
    if (result != nullptr) *result = now;
    return now;
}

TAKES_PLACE int timespec_get(timespec* time, int base) noexcept {
    if (self() == nullptr || base != TIME_UTC) return libc().timespec_get(time, base);
    *time = timespecOf(look(CLOCK_REALTIME));
    return base;
}

TAKES_PLACE int nanosleep(timespec const* time, timespec* left) {
    if (self() == nullptr || !isValid(*time)) return libc().nanosleep(time, left);
    sleepUntil(after(scheduler()->now(), durationOf(*time)));
    return 0;
}

TAKES_PLACE int clock_nanosleep(clockid_t clock, int flags, timespec const* time, timespec* left) {
    if (self() == nullptr || !isVirtual(clock) || !isValid(*time))
        return libc().clock_nanosleep(clock, flags, time, left);
    bool const isAbsolute = (flags & TIMER_ABSTIME) != 0;
    sleepUntil(isAbsolute ? deadlineOf(clock, time) : after(scheduler()->now(), durationOf(*time)));
    return 0;
}

TAKES_PLACE int usleep(useconds_t time) {
    if (self() == nullptr) return libc().usleep(time);
    sleepUntil(scheduler()->now() + Time{time} * 1000);
    return 0;
}

TAKES_PLACE unsigned int sleep(unsigned int seconds) {
    if (self() == nullptr) return libc().sleep(seconds);
    sleepUntil(scheduler()->now() + Time{seconds} * kSecond);
    return 0;
}

TAKES_PLACE int sched_yield() noexcept {
    if (self() == nullptr) return libc().sched_yield();
    scheduler()->reach({.what = "yield", .idle = kIdleLook});
    return 0;
}
