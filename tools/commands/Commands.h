#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zeqcam::tool {

enum ExitStatus : int {
    kAllHeld = 0,
    kFailed = 1,
    kWrongInput = 2,
    kTimedOut = 3,
    kInterrupted = 130,
    kTerminated = 143,
};

struct RunOptions {
    std::string file;
    std::string trace;  // a path; empty: none
    std::string svg;    // likewise
    bool kernelTrace = false;
    bool json = false;
    std::optional<std::uint32_t> detailsLevel;  // else what the file says, like the seed
    std::optional<std::uint64_t> seed;
    std::optional<double> timeoutSeconds;
};

// Each tells standard output and error what came of it, and answers the exit status. Called once, before the
// process starts a thread.
//
// A run that is cut off does not return: its threads may be stuck, and the process ends under them.
int runScenario(RunOptions const& options);
int checkScenario(std::string const& file);

// One line to standard error.
void complain(std::string const& message);

}  // namespace zeqcam::tool
