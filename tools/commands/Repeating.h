#pragma once

#include "run/Repetition.h"

#include <cstddef>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace zeqcam::tool {

struct ViewOptions;

// How a command line asks for many runs.
struct RepeatOptions {
    std::optional<std::size_t> times;
    std::optional<std::size_t> jobs;

    // --repeat and --jobs. This object outlives the reading of the command line.
    void addOptions(CLI::App& app);
};

// Plays it, with progress where the standard error is a terminal, until it is done or a signal ends it.
// `end`: what has ended it, AllDone: nothing.
Series repeatWatched(Scenario const& scenario, Repetition repetition, End& end);

// The exit status of what a signal has ended.
int statusOf(End end);

// Tells what many runs came to in every form that was asked for. False when not all of it could be told.
bool tell(Series const& series, ViewOptions& options);

}  // namespace zeqcam::tool
