#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

// A line of a kernel trace as text:
//
//     "  zeqcam-1234  ( 1230) [001] d..3.  8642.315042: sched_waking: comm=worker pid=1240 …"
struct FtraceLine {
    std::string_view name;                // of the thread; empty: unknown
    std::int32_t thread = 0;              // that was on the processor
    std::optional<std::int32_t> process;  // where the trace has the column
    std::chrono::nanoseconds time{};
    std::string_view event;   // "sched_waking"
    std::string_view values;  // all that follows
};

// None: it is none.
std::optional<FtraceLine> ftraceLineOf(std::string_view line);

// The value of "KEY=…" among an event's values, up to the next space. None: there is no such key.
std::optional<std::string_view> valueOf(std::string_view values, std::string_view key);
std::optional<std::int32_t> idOf(std::string_view values, std::string_view key);
// A name may hold spaces: up to " NEXT=".
std::string_view nameBefore(std::string_view values, std::string_view key, std::string_view next);

}  // namespace zeqcam::tool
