#pragma once

#include <zeqcam/board/Journal.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {

using Instant = std::chrono::steady_clock::time_point;

// A client's request; one that only waits; a trace section; a call that powers a sensor on or off.
enum class SectionKind : std::uint8_t { Request, Wait, Trace, SensorCall };

// A part of a thread's time, with the parts that it holds.
struct Section {
    SectionKind kind = SectionKind::Trace;
    std::string label;
    Instant begin;
    Instant end;          // of the timeline, while `open`
    bool open = false;    // it had not ended when the journal was read
    bool failed = false;  // a sensor that did not come up, a request that was refused
    std::vector<Section> inner;
};

// A thread, named by what it is: a client's name, "sensor 2 worker", "powerOnOffCtrl". The workers of one
// sensor, one after another, are one row.
struct Row {
    std::string name;
    std::vector<int> threads;  // the kernel's ids
    std::vector<Section> sections;
};

// A log line or a mark of a power-on profile.
struct Mark {
    Instant time;
    std::size_t row = 0;
    std::string level;  // "error", "warning", "info", "debug" or "profile"
    std::string text;
};

// How many sensors were powered from a time on.
struct PoweredCount {
    Instant time;
    int sensors = 0;
};

// What each thread of a run did, when. The terminal's timeline, the picture and the trace file are drawn from
// it.
struct Timeline {
    Instant begin;
    Instant end;
    std::vector<Row> rows;
    std::vector<Mark> marks;
    std::vector<PoweredCount> powered;  // the first of them at the begin
};

// `now` ends the sections that are still open.
Timeline timelineOf(std::vector<board::Entry> const& entries, Instant now);

// Whether the section or one that it holds, at any depth, failed.
bool holdsFailure(Section const& section);

struct Tick {
    Instant time;
    std::string label;  // the time since the begin, with its unit
};

// Round times for an axis along the timeline, the begin first: as close together as `most` of them allow.
std::vector<Tick> ticksOf(Timeline const& timeline, int most);

// A time in the unit that suits it, to three digits: "48.1 ms".
std::string timeText(std::chrono::nanoseconds time);

}  // namespace zeqcam::tool
