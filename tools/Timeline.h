#pragma once

#include <zeqcam/board/Journal.h>

#include <chrono>
#include <string>
#include <vector>

namespace zeqcam::tool {

using Instant = std::chrono::steady_clock::time_point;

// A trace section, a client's request, a wait or a call on a sensor, with what it holds.
struct Section {
    std::string label;
    Instant begin;
    Instant end;          // of the timeline, while `open`
    bool open = false;    // it had not ended when the journal was read
    bool failed = false;  // a sensor that did not come up, a request that was refused
    std::vector<Section> inner;
};

// A thread, named by what it is: a client's name, "sensor 2 worker", "powerOnOffCtrl". The workers of one sensor, one
// after another, are one row.
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

// What each thread of a run did, when. The terminal's timeline, the picture and the trace file are drawn from it.
struct Timeline {
    Instant begin;
    Instant end;
    std::vector<Row> rows;
    std::vector<Mark> marks;
    std::vector<PoweredCount> powered;
};

// `now` ends the sections that are still open.
Timeline timelineOf(std::vector<board::Entry> const& entries, Instant now);

}  // namespace zeqcam::tool
