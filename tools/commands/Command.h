#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// One command of the tool, such as `run`: it wires a source of records to the rules and views.
struct Command {
    std::string_view name;
    std::string_view help;
    // Adds its options to `app`. What it returns does what they ask for: called at most once, after the
    // command line was read and before the process has started a thread; it tells standard output and error
    // what came of it and answers the exit status. Throws CannotOpen where it can do nothing of it: who
    // called it tells why, and the status is kWrongInput.
    std::function<int()> (*add)(CLI::App& app);
};

// In the order of the help text.
std::span<Command const> commands();

enum ExitStatus : int {
    kAllHeld = 0,
    kFailed = 1,
    kWrongInput = 2,
    kTimedOut = 3,
    kHungUp = 129,
    kInterrupted = 130,
    kQuit = 131,
    kTerminated = 143,
};

// For the end of a help text.
constexpr std::string_view kExitCodes =
    "Exit status:\n"
    "  0    all ran and every expectation held; a file that was checked is right\n"
    "  1    an expectation did not hold, a sensor failed where no step expects it, a rule was broken, the\n"
    "       run broke off, or what it came to cannot be written\n"
    "  2    the file or the command line is wrong, or what it asks for cannot be opened; nothing ran\n"
    "  3    the run had not ended at its --timeout\n"
    "  130  it was interrupted with Ctrl-C (SIGINT); 129, 131, 143: ended by SIGHUP, SIGQUIT, SIGTERM";

// One line to standard error.
void complain(std::string const& message);

// Ends the process where threads may be stuck in the library: nobody waits for them, and nothing that they
// use is destroyed.
[[noreturn]] void leave(int status);

}  // namespace zeqcam::tool
