#include "commands/RunCommand.h"

#include "commands/CommonOptions.h"
#include "commands/Input.h"
#include "commands/NextSteps.h"
#include "commands/Repeating.h"
#include "commands/SourceTexts.h"
#include "commands/ViewOptions.h"
#include "devices/RealDevices.h"
#include "rules/Verdict.h"
#include "run/LogOutput.h"
#include "run/Memory.h"
#include "run/Run.h"
#include "run/SimulatedRun.h"
#include "run/TraceMarker.h"
#include "run/Watch.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"
#include "text/ShellText.h"
#include "text/TimeText.h"

#include <zeqcam/board/QosFile.h>

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kRunFooter =
    "A run that is cut off, by --timeout or a signal, is told like one that has ended, and what each of its\n"
    "threads was in, since when, goes to standard error.\n";

// The unified logger's levels, which details are logged up to.
constexpr std::uint32_t kErrors = 1;
constexpr std::uint32_t kWarnings = 2;
constexpr std::uint32_t kAll = 5;

constexpr double kMostSeconds = 1e6;

struct RunOptions : ViewOptions {
    std::string file;
    bool kernelTrace = false;
    std::optional<std::uint32_t> detailsLevel;  // else what the file says, like the seed
    std::optional<std::uint64_t> seed;
    std::optional<double> timeoutSeconds;
    bool simulate = false;
    std::optional<std::string> schedule;
    std::vector<std::string> settings;
    RepeatOptions repeat;
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

void addOptions(CLI::App& app, RunOptions& options) {
    app.add_option("FILE", options.file, "The scenario, in TOML.")->required();
    options.outputs.addOptions(app);
    app.add_flag("--ftrace", options.kernelTrace,
                 "Write trace sections to the kernel's tracer too, as the device's tracer does.");
    app.add_flag("--json", options.json,
                 "Print the requests and final states as JSON, and nothing else; log lines go to standard "
                 "error.");
    addSeed(app, options.seed, "The seed of the faults that happen by chance, instead of the file's.");
    app.add_option("--timeout", options.timeoutSeconds, "Cut the run off when it has not ended by then.")
        ->type_name("SECONDS")
        ->check(secondsCheck());
    addSettings(app, options.settings);
    auto* const simulate =
        app.add_flag("--simulate", options.simulate,
                     "Run in virtual time, one thread at a time, in an order that the seed chooses: the same "
                     "seed gives the same run.");
    app.add_option("--schedule", options.schedule,
                   "Run in the order that a schedule tells, as explore prints it, not the seed.")
        ->type_name("TEXT")
        ->needs(simulate);
    options.repeat.addOptions(app);
    for (char const* const ofOneRun : {"--schedule", "--ftrace"})
        app.get_option(ofOneRun)->excludes(app.get_option("--repeat"));
    options.addStrictness(app);
    options.addSelection(app);
    auto* const verbose = app.add_flag(
        "-v,--verbose", [&options](std::int64_t) { options.detailsLevel = kAll; },
        "Log debug lines too, whatever the file says.");
    app.add_flag(
           "-q,--quiet",
           [&options](std::int64_t times) { options.detailsLevel = times > 1 ? kErrors : kWarnings; },
           "Log warnings and errors only; -qq: errors only.")
        ->excludes(verbose);
    app.footer(kRunFooter + ('\n' + std::string(kExitCodes)));
}

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

// Files, pipes and programs get what they always got.
void tellNext(Record const& record, RunOptions const& options) {
    if (options.json || options.outputs.takeOutput() || isatty(STDOUT_FILENO) != 1) return;
    tellNextSteps(record, verdictOn(record, options.strictness),
                  {options.file, options.settings, options.simulate, options.schedule.value_or("")},
                  options.presentation(options.file), std::cout);
}

int play(Scenario const& scenario, RunOptions& options, LogOutput& log, RealDevices& devices) {
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
            tell(taken, options, options.file);
        } catch (std::exception const& error) {
            complain(error.what());
        }
        devices.giveBack();
        leave(cut->status);
    }
    run->join();
    Record const taken = record();
    run.reset();
    giveMemoryBack();
    bool const isTold = tell(taken, options, options.file);
    tellNext(taken, options);
    return isTold && verdictOn(taken, options.strictness) == Verdict::Passed ? kAllHeld : kFailed;
}

std::optional<std::chrono::nanoseconds> limitOf(RunOptions const& options) {
    if (!options.timeoutSeconds) return {};
    return std::chrono::nanoseconds(std::llround(*options.timeoutSeconds * 1e9));
}

// In virtual time nothing is waited for: a run that nobody can go on with is cut off at once.
int playSimulated(Scenario const& scenario, RunOptions& options, LogOutput& log) {
    Order const order = options.schedule ? Order(*options.schedule) : Order(scenario.settings.seed);
    SimulatedRun played = simulate(scenario, order, limitOf(options));
    played.record.files = {options.file};
    log.close();
    bool const isTold = tell(played.record, options, options.file);
    tellNext(played.record, options);
    if (!played.result.report.empty()) std::cerr << played.result.report << '\n';
    if (played.leavesThreads()) leave(kTimedOut);
    if (played.record.cutOff) return kTimedOut;
    return isTold && verdictOn(played.record, options.strictness) == Verdict::Passed ? kAllHeld : kFailed;
}

// The command that plays one of many runs alone, up to its seed.
std::string commandOfOne(RunOptions const& options) {
    std::string command = "zeqcam-power run " + shellWord(options.file);
    for (std::string const& setting : options.settings) command += " --set " + shellWord(setting);
    if (options.simulate) command += " --simulate";
    if (options.timeoutSeconds) command += fmt::format(" --timeout {}", *options.timeoutSeconds);
    for (std::string const& rule : options.strictness.allowed) command += " --allow " + shellWord(rule);
    if (options.strictness.clientsToo) command += " --strict";
    if (options.detailsLevel)
        command += *options.detailsLevel == kAll ? " -v" : *options.detailsLevel == kErrors ? " -qq" : " -q";
    return command + " --seed";
}

int playMany(Scenario const& scenario, RunOptions& options) {
    std::size_t const times = *options.repeat.times;
    if (scenario.settings.seed + times - 1 > kMostSeed) {
        complain(fmt::format("--repeat: {} seeds from {} on are too many", times, scenario.settings.seed));
        return kWrongInput;
    }
    End end = End::AllDone;
    Series series = repeatWatched(scenario,
                                  {.times = times,
                                   .jobs = options.repeat.jobs.value_or(0),
                                   .simulates = options.simulate,
                                   .limit = limitOf(options),
                                   .strictness = options.strictness,
                                   .selection = options.selection,
                                   .progress = {},
                                   .isCancelled = {}},
                                  end);
    series.file = options.file;
    series.repeatedBy = commandOfOne(options);
    bool const isTold = tell(series, options);
    if (auto const cut = cutOff(end, options)) return cut->status;
    return isTold && series.failedRuns().empty() ? kAllHeld : kFailed;
}

int run(RunOptions& options) try {
    auto [scenario, faults, files] = readScenarioFile(options.file, options.settings);
    if (!faults.empty()) {
        complain(faultText(faults.front(), options.file));
        return kWrongInput;
    }
    std::vector<std::string> clients;
    for (Client const& client : scenario.clients) clients.push_back(client.name);
    std::map<int, std::string> sensors;
    for (auto const& [id, sensor] : scenario.settings.sensors) sensors.emplace(id, sensor.name);
    options.select(clients, sensors, "the scenario");
    if (options.outputs.areAsked()) options.sources = sourceTexts(options.file, files);
    files.push_back(options.file);
    if (options.repeat.times) options.outputs.requireSeriesViews();
    options.outputs.open(files, options.json);
    std::optional<Descriptor> traceMarker;
    if (options.kernelTrace) traceMarker.emplace(openTraceMarker());
    if (options.simulate) requireSimulated(scenario, options.file);
    RealDevices devices(Sysfs(), scenario, options.file);
    for (std::string const& device : devices.stillOn()) complain("not off before the run: " + device);
    if (std::string const reason = board::QosFile::provide(); !reason.empty()) {
        complain("no QoS file, as on a device without it: " + reason);
    }
    using Addresses = LogOutput::Addresses;
    LogOutput log(options.textOutput(), options.simulate ? Addresses::Hidden : Addresses::Shown);
    std::ostream logStream(&log);
    scenario.settings.logStream = &logStream;
    if (traceMarker) scenario.settings.traceMarker = traceMarker->get();
    if (options.seed) scenario.settings.seed = *options.seed;
    if (options.detailsLevel) scenario.settings.log.detailsLevel = *options.detailsLevel;
    if (options.repeat.times) return playMany(scenario, options);
    return options.simulate ? playSimulated(scenario, options, log) : play(scenario, options, log, devices);
} catch (std::invalid_argument const& error) {
    complain(std::string("--schedule: ") + error.what());
    return kWrongInput;
}

}  // namespace

std::function<int()> addRun(CLI::App& app) {
    auto const options = std::make_shared<RunOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
