#include "commands/Commands.h"

#include "analysis/Pending.h"
#include "analysis/Timeline.h"
#include "files/OutputFile.h"
#include "run/LogOutput.h"
#include "run/Run.h"
#include "run/TraceMarker.h"
#include "run/Watch.h"
#include "scenario/ScenarioReader.h"
#include "text/Printable.h"
#include "views/Report.h"
#include "views/ResultFile.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"
#include "views/TraceFile.h"

#include <zeqcam/board/QosFile.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace zeqcam::tool {
namespace {

std::string told(Fault const& fault, std::string const& file) {
    std::string text = file;
    if (fault.line > 0) text += ':' + std::to_string(fault.line);
    if (!fault.field.empty()) text += ": " + fault.field;
    return text + ": " + fault.message;
}

bool wantsColours() {
    auto const variable = [](char const* name) {
        char const* const value = std::getenv(name);
        return std::string_view(value ? value : "");
    };
    std::string_view const terminal = variable("TERM");
    return isatty(STDOUT_FILENO) == 1 && variable("NO_COLOR").empty() && !terminal.empty() &&
           terminal != "dumb";
}

int terminalColumns() {
    constexpr int kColumns = 80;  // of text that goes elsewhere
    winsize size{};
    bool const known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kColumns;
}

// A slip of the command line must not cost a file.
void requireApart(std::string const& output, std::string const& other) {
    std::error_code none;
    if (std::filesystem::is_regular_file(output, none) && std::filesystem::equivalent(output, other, none)) {
        throw CannotOpen(output + ": would replace " + other);
    }
}

// What a run's outcome goes to besides standard output.
struct Files {
    explicit Files(RunOptions const& options) {
        requireApart(options.trace, options.file);
        requireApart(options.svg, options.file);
        if (!options.trace.empty()) trace.emplace(options.trace);
        if (!options.svg.empty()) svg.emplace(options.svg);
        requireApart(options.svg, options.trace);
        if (options.kernelTrace) traceMarker.emplace(openTraceMarker());
    }

    std::optional<OutputFile> trace;
    std::optional<OutputFile> svg;
    std::optional<Descriptor> traceMarker;
};

struct CutOff {
    ExitStatus status;
    std::string why;
};

// Empty when the run came to its end.
std::optional<CutOff> cutOff(End end, RunOptions const& options) {
    switch (end) {
        case End::TimedOut:
            return CutOff{kTimedOut, "has not ended within " + timeText(std::chrono::nanoseconds(std::llround(
                                                                   *options.timeoutSeconds * 1e9)))};
        case End::Interrupted:
            return CutOff{kInterrupted, "was interrupted"};
        case End::Terminated:
            return CutOff{kTerminated, "was terminated"};
        case End::AllDone:
            break;
    }
    return {};
}

// Whatever has become of the others, each file is written.
template <class Text>
bool write(std::optional<OutputFile>& file, Text const& text) {
    try {
        if (file) file->write(text());
        return true;
    } catch (std::exception const& error) {
        complain(error.what());
        return false;
    }
}

// Tells what a run came to in every form that was asked for. False when not all of it could be told.
bool tell(Scenario const& scenario, Outcome const& outcome, std::optional<CutOff> const& cut,
          RunOptions const& options, Files& files) {
    Timeline const timeline = timelineOf(outcome.journal, outcome.end);
    auto const pending = cut ? pendingIn(timeline, outcome) : std::vector<Pending>();
    if (options.json) {
        std::cout << resultFile(scenario, outcome, pending, options.file);
    } else {
        bool const colours = wantsColours();
        std::cout << '\n'
                  << terminalTimeline(timeline, terminalColumns(), colours)
                  << report(scenario, outcome, options.file, colours);
    }
    std::cout.flush();
    if (cut) {
        complain(options.file + ": the run " + cut->why + "; at that time");
        std::cerr << pendingText(pending, outcome);
    }
    std::string const name = std::filesystem::path(options.file).filename();
    bool const traced = write(files.trace, [&] { return traceFile(timeline, name); });
    bool const drawn = write(files.svg, [&] { return svgTimeline(timeline, name); });
    if (!std::cout) complain("the output cannot be written");
    return traced && drawn && std::cout;
}

// Client threads may be stuck in the library, and nothing that they use may go: nobody waits for them, and
// nothing is destroyed.
[[noreturn]] void leave(int status) {
    std::cout.flush();
    std::_Exit(status);
}

int play(Scenario const& scenario, RunOptions const& options, Files& files, LogOutput& log) {
    Watch watch;
    auto run = std::make_unique<Run>(scenario, [&watch] { watch.allDone(); });
    auto const cut = cutOff(
        watch.wait(options.timeoutSeconds ? Watch::Limit(*options.timeoutSeconds) : Watch::Limit()), options);
    if (cut) {
        log.close();
        try {
            tell(scenario, run->outcome(), cut, options, files);
        } catch (std::exception const& error) {
            complain(error.what());
        }
        leave(cut->status);
    }
    run->join();
    Outcome const outcome = run->outcome();
    run.reset();
    bool const isTold = tell(scenario, outcome, {}, options, files);
    return isTold && allHeld(outcome) ? kAllHeld : kFailed;
}

}  // namespace

void complain(std::string const& message) {
    std::cerr << "zeqcam-power: " + printable(message) + '\n';
}

int checkScenario(std::string const& file) {
    auto const faults = readScenarioFile(file).faults;
    for (Fault const& fault : faults) complain(told(fault, file));
    return faults.empty() ? kAllHeld : kWrongInput;
}

int runScenario(RunOptions const& options) try {
    auto [scenario, faults] = readScenarioFile(options.file);
    if (!faults.empty()) {
        complain(told(faults.front(), options.file));
        return kWrongInput;
    }
    Files files(options);
    if (std::string const reason = board::QosFile::provide(); !reason.empty()) {
        complain("no QoS file, as on a device without it: " + reason);
    }
    LogOutput log(options.json ? std::cerr : std::cout);
    std::ostream logStream(&log);
    scenario.settings.logStream = &logStream;
    if (files.traceMarker) scenario.settings.traceMarker = files.traceMarker->get();
    if (options.seed) scenario.settings.seed = *options.seed;
    if (options.detailsLevel) scenario.settings.log.detailsLevel = *options.detailsLevel;
    return play(scenario, options, files, log);
} catch (CannotOpen const& error) {
    complain(error.what());
    return kWrongInput;
}

}  // namespace zeqcam::tool
