#include "commands/RunCommand.h"

#include "commands/Outputs.h"
#include "commands/Terminal.h"
#include "rules/Rule.h"
#include "rules/Verdict.h"
#include "run/LogOutput.h"
#include "run/Memory.h"
#include "run/Run.h"
#include "run/SimulatedRun.h"
#include "run/TraceMarker.h"
#include "run/Watch.h"
#include "scenario/ScenarioReader.h"
#include "text/TimeText.h"
#include "views/Report.h"
#include "views/ResultFile.h"
#include "views/TerminalTimeline.h"

#include <zeqcam/board/QosFile.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kFooter =
    "A run that is cut off, by --timeout or a signal, is told like one that has ended, and what each of its\n"
    "threads was in, since when, goes to standard error.\n";

// The unified logger's levels, which details are logged up to.
constexpr std::uint32_t kErrors = 1;
constexpr std::uint32_t kWarnings = 2;
constexpr std::uint32_t kAll = 5;

constexpr double kMostSeconds = 1e6;
constexpr std::uint64_t kMostSeed = 0xffffffff;

struct Options {
    std::string file;
    Outputs outputs;
    bool kernelTrace = false;
    bool json = false;
    std::optional<std::uint32_t> detailsLevel;  // else what the file says, like the seed
    std::optional<std::uint64_t> seed;
    std::optional<double> timeoutSeconds;
    bool simulate = false;
    std::optional<std::string> schedule;
    Strictness strictness;
    std::optional<int> width;
    std::optional<double> fromMs;
    std::optional<double> toMs;
    std::vector<std::string> clients;
    std::vector<std::string> sensors;
    bool full = false;
    Selection selection;  // as these say of the scenario
};

// Unlike a comparison with both ends, not a number is wrong here.
CLI::Validator secondsCheck() {
    return {[](std::string& text) {
                double seconds = 0;
                bool const isNumber = CLI::detail::lexical_cast(text, seconds);
                return isNumber && seconds > 0 && seconds <= kMostSeconds
                           ? std::string()
                           : "must be more than 0 and at most 1000000 seconds, not " + text;
            },
            ""};
}

CLI::Validator ruleCheck() {
    return {[](std::string& text) {
                auto const all = rules();
                bool const isKnown =
                    std::any_of(all.begin(), all.end(), [&](Rule const& rule) { return rule.name == text; });
                return isKnown ? std::string() : "no rule is named " + text + "; see zeqcam-power rules";
            },
            ""};
}

void addViewOptions(CLI::App& app, Options& options) {
    constexpr double kMostMs = 1e9;
    constexpr int kMostColumns = 10'000;
    auto const number = [&app](char const* name, auto& value, char const* help, auto most) {
        app.add_option(name, value, help)->check(CLI::Range(decltype(most){}, most).description(""));
    };
    app.add_option("--client", options.clients, "Show this client and its sensors only; may be repeated.")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_option("--sensor", options.sensors, "Show this sensor and its clients only; may be repeated.")
        ->type_name("NAME")
        ->allow_extra_args(false);
    number("--from", options.fromMs, "Show what happened from this time on, in milliseconds.", kMostMs);
    number("--to", options.toMs, "Show what happened until this time, in milliseconds.", kMostMs);
    number("--width", options.width, "The columns of the output, instead of the terminal's.", kMostColumns);
    app.add_flag(
        "--full", options.full,
        "Show every row: else the timeline stops at 100 lines, the picture at 4000 pixels and 2 MB.");
}

// Throws CannotOpen, which a wrong command line is told by.
Selection selectionOf(Options const& options, Scenario const& scenario) {
    auto const time = [](std::optional<double> ms) {
        return ms ? std::optional(std::chrono::nanoseconds(std::llround(*ms * 1e6))) : std::nullopt;
    };
    Selection selection{time(options.fromMs), time(options.toMs), options.clients, {}};
    if (selection.from && selection.to && *selection.from >= *selection.to)
        throw CannotOpen("--to: must be later than --from");
    for (std::string const& name : options.clients) {
        bool const known = std::any_of(scenario.clients.begin(), scenario.clients.end(),
                                       [&](Client const& client) { return client.name == name; });
        if (!known) throw CannotOpen("--client: the scenario has no client " + name);
    }
    auto const& all = scenario.settings.sensors;
    for (std::string const& name : options.sensors) {
        auto const found = std::find_if(all.begin(), all.end(), [&](auto const& each) {
            return each.second.name == name || std::to_string(each.first) == name;
        });
        if (found == all.end()) throw CannotOpen("--sensor: the scenario has no sensor " + name);
        selection.sensors.push_back(found->first);
    }
    return selection;
}

void addOptions(CLI::App& app, Options& options) {
    app.add_option("FILE", options.file, "The scenario, in TOML.")->required();
    options.outputs.addOptions(app);
    app.add_flag("--ftrace", options.kernelTrace,
                 "Write trace sections to the kernel's tracer too, as the device's tracer does.");
    app.add_flag("--json", options.json,
                 "Print the requests and final states as JSON, and nothing else; log lines go to standard "
                 "error.");
    app.add_option("--seed", options.seed,
                   "The seed of the faults that happen by chance, instead of the file's.")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{0}, kMostSeed).description(""));
    app.add_option("--timeout", options.timeoutSeconds, "Cut the run off when it has not ended by then.")
        ->type_name("SECONDS")
        ->check(secondsCheck());
    auto* const simulate =
        app.add_flag("--simulate", options.simulate,
                     "Run in virtual time, one thread at a time, in an order that the seed chooses: the same "
                     "seed gives the same run.");
    app.add_option("--schedule", options.schedule,
                   "Run in the order that a schedule tells, as explore prints it, not the seed.")
        ->type_name("TEXT")
        ->needs(simulate);
    app.add_option("--allow", options.strictness.allowed, "Let this rule be broken; may be given again.")
        ->type_name("RULE")
        ->expected(1)
        ->take_all()
        ->check(ruleCheck());
    app.add_flag("--strict", options.strictness.clientsToo,
                 "Fail for a broken rule of the clients too, which else is a warning.");
    addViewOptions(app, options);
    auto* const verbose = app.add_flag(
        "-v,--verbose", [&options](std::int64_t) { options.detailsLevel = kAll; },
        "Log debug lines too, whatever the file says.");
    app.add_flag(
           "-q,--quiet",
           [&options](std::int64_t times) { options.detailsLevel = times > 1 ? kErrors : kWarnings; },
           "Log warnings and errors only; -qq: errors only.")
        ->excludes(verbose);
    app.footer(kFooter + ('\n' + std::string(kExitCodes)));
}

struct CutOff {
    ExitStatus status;
    std::string why;
};

// Empty when the run came to its end.
std::optional<CutOff> cutOff(End end, Options const& options) {
    switch (end) {
        case End::TimedOut:
            return CutOff{kTimedOut, "has not ended within " + timeText(std::chrono::nanoseconds(std::llround(
                                                                   *options.timeoutSeconds * 1e9)))};
        case End::HungUp:
            return CutOff{kHungUp, "was hung up"};
        case End::Interrupted:
            return CutOff{kInterrupted, "was interrupted"};
        case End::Quit:
            return CutOff{kQuit, "was told to quit"};
        case End::Terminated:
            return CutOff{kTerminated, "was terminated"};
        case End::AllDone:
            break;
    }
    return {};
}

// Where people read: what a program reads stands alone on the standard output.
std::ostream& textOutput(Options const& options) {
    return options.json || options.outputs.takeOutput() ? std::cerr : std::cout;
}

// Tells what a run came to in every form that was asked for. False when not all of it could be told.
bool tell(Record const& record, Options& options) {
    std::ostream& text = textOutput(options);
    Presentation presentation =
        presentationOn(&text == &std::cout ? STDOUT_FILENO : STDERR_FILENO, options.width);
    presentation.selection = options.selection;
    presentation.full = options.full;
    presentation.strictness = options.strictness;
    presentation.title = std::filesystem::path(options.file).filename();
    if (options.json) {
        writeResult(record, presentation, std::cout);
    } else {
        text << '\n';
        writeTerminalTimeline(record, presentation, text);
        writeReport(record, presentation, text);
    }
    text.flush();
    if (record.cutOff) {
        complain(options.file + ": the run " + *record.cutOff + "; at that time");
        writePending(record, std::cerr);
    }
    bool const written = options.outputs.write(record, presentation);
    if (!std::cout.flush()) complain("the output cannot be written");
    return written && std::cout;
}

// Client threads may be stuck in the library, and nothing that they use may go: nobody waits for them, and
// nothing is destroyed.
[[noreturn]] void leave(int status) {
    std::cout.flush();
    std::_Exit(status);
}

int play(Scenario const& scenario, Options& options, LogOutput& log) {
    keepMemorySmall();
    Watch watch;
    auto run = std::make_unique<Run>(scenario, Run::Drains::Meanwhile, [&watch] { watch.allDone(); });
    auto const cut = cutOff(
        watch.wait(options.timeoutSeconds ? Watch::Limit(*options.timeoutSeconds) : Watch::Limit()), options);
    auto const record = [&] {
        Record taken = run->record();
        taken.files = {options.file};
        if (cut) taken.cutOff = cut->why;
        return taken;
    };
    if (cut) {
        log.close();
        try {
            Record const taken = record();
            giveMemoryBack();
            tell(taken, options);
        } catch (std::exception const& error) {
            complain(error.what());
        }
        leave(cut->status);
    }
    run->join();
    Record const taken = record();
    run.reset();
    giveMemoryBack();
    bool const isTold = tell(taken, options);
    return isTold && verdictOn(taken, options.strictness) == Verdict::Passed ? kAllHeld : kFailed;
}

// In virtual time nothing is waited for: a run that nobody can go on with is cut off at once.
int playSimulated(Scenario const& scenario, Options& options, LogOutput& log) {
    std::optional<std::chrono::nanoseconds> limit;
    if (options.timeoutSeconds) limit = std::chrono::nanoseconds(std::llround(*options.timeoutSeconds * 1e9));
    Order const order = options.schedule ? Order(*options.schedule) : Order(scenario.settings.seed);
    SimulatedRun played = simulate(scenario, order, limit);
    played.record.files = {options.file};
    log.close();
    bool const isTold = tell(played.record, options);
    if (!played.result.report.empty()) std::cerr << played.result.report << '\n';
    if (played.leavesThreads()) leave(kTimedOut);
    if (played.record.cutOff) return kTimedOut;
    return isTold && verdictOn(played.record, options.strictness) == Verdict::Passed ? kAllHeld : kFailed;
}

int run(Options& options) try {
    auto [scenario, faults, files] = readScenarioFile(options.file);
    if (!faults.empty()) {
        complain(faultText(faults.front(), options.file));
        return kWrongInput;
    }
    options.selection = selectionOf(options, scenario);
    files.push_back(options.file);
    options.outputs.open(files, options.json);
    std::optional<Descriptor> traceMarker;
    if (options.kernelTrace) traceMarker.emplace(openTraceMarker());
    if (std::string const reason = board::QosFile::provide(); !reason.empty()) {
        complain("no QoS file, as on a device without it: " + reason);
    }
    using Addresses = LogOutput::Addresses;
    LogOutput log(textOutput(options), options.simulate ? Addresses::Hidden : Addresses::Shown);
    std::ostream logStream(&log);
    scenario.settings.logStream = &logStream;
    if (traceMarker) scenario.settings.traceMarker = traceMarker->get();
    if (options.seed) scenario.settings.seed = *options.seed;
    if (options.detailsLevel) scenario.settings.log.detailsLevel = *options.detailsLevel;
    return options.simulate ? playSimulated(scenario, options, log) : play(scenario, options, log);
} catch (CannotOpen const& error) {
    complain(error.what());
    return kWrongInput;
} catch (std::invalid_argument const& error) {
    complain(std::string("--schedule: ") + error.what());
    return kWrongInput;
}

}  // namespace

std::function<int()> addRun(CLI::App& app) {
    auto const options = std::make_shared<Options>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
