#pragma once

#include "evidence/Item.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

// A day as a log tells it.
struct LogDate {
    std::optional<int> year;
    int month = 1;
    int day = 1;
};

// The days from 1970 to that one.
std::int64_t daysSince1970(int year, int month, int day);

// A line of `logcat -v threadtime`, with any of its modifiers.
struct LogcatLine {
    std::optional<LogDate> date;               // none: `time` is since the zero of a clock
    std::chrono::nanoseconds time;             // of the day, as the zone has it
    std::optional<std::chrono::seconds> zone;  // east of UTC
    std::int32_t process = 0;
    std::int32_t thread = 0;
    char level = 'D';
    std::string_view tag;
    std::string_view text;
    std::size_t tagAt = 0;  // where in the line
};

// None: it is none.
std::optional<LogcatLine> logcatLineOf(std::string_view line);

// What `logcat -v` calls the format of such a line where no reader can use it: "brief". Empty: not known.
std::string_view otherLogcatFormat(std::string_view line);

// Whether it is one of the letters that stand for a level.
bool isLogLevel(char letter);

}  // namespace zeqcam::tool
