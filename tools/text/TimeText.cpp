#include "text/TimeText.h"

#include <fmt/format.h>

#include <ctime>

namespace zeqcam::tool {

using std::chrono::nanoseconds;

TimeUnit unitOf(nanoseconds time) {
    using namespace std::chrono_literals;
    if (time >= 1s) return {1s, "s"};
    if (time >= 1ms) return {1ms, "ms"};
    if (time >= 1us || time == 0ns) return {1us, "us"};
    return {1ns, "ns"};
}

double countOf(nanoseconds time, TimeUnit unit) {
    return std::chrono::duration<double>(time) / std::chrono::duration<double>(unit.one);
}

std::string timeText(nanoseconds time) {
    TimeUnit const unit = unitOf(time);
    double const count = countOf(time, unit);
    return fmt::format("{:.{}f} {}", count, count < 10 ? 2 : count < 100 ? 1 : 0, unit.name);
}

double millisecondsOf(nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

std::string millisecondsText(nanoseconds time) {
    return fmt::format("{:.1f}", millisecondsOf(time));
}

std::string wallClockText(nanoseconds since1970) {
    auto const milliseconds = since1970 / std::chrono::milliseconds(1);
    std::time_t const seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    return fmt::format("{}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", parts.tm_year + 1900, parts.tm_mon + 1,
                       parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, milliseconds % 1000);
}

}  // namespace zeqcam::tool
