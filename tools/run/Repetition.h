#pragma once

#include "analysis/Selection.h"
#include "rules/Strictness.h"
#include "run/Watch.h"
#include "scenario/Scenario.h"
#include "series/Series.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

namespace zeqcam::tool {

// A scenario to be played many times, with one seed after another.
struct Repetition {
    std::size_t times = 1;
    std::size_t jobs = 0;   // simulated runs at the same time; 0: as many as there are processors
    bool simulates = true;  // else in real time, one after another, so that they do not disturb each other
    std::optional<std::chrono::nanoseconds> limit;  // of each run, of its own clock
    Strictness strictness;
    Selection selection;  // of each run
    // Told after each run, on the calling thread; may be empty.
    std::function<void(Series const& soFar)> progress;
    // What has ended all, from outside; may be empty. Asked on the calling thread ten times a second.
    std::function<bool()> isCancelled;
};

// What the runs came to: of the scenario's seed and those that follow it, in their order, each in a process
// of its own. A run that is cut off, or whose process ends before it, counts as failed. The scenario's log
// lines go nowhere. To be called where no other thread lives. Throws std::system_error when there is no
// process.
Series repeat(Scenario scenario, Repetition const& repetition);

}  // namespace zeqcam::tool
