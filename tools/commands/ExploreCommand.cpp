#include "commands/ExploreCommand.h"

#include "commands/CommonOptions.h"
#include "commands/Input.h"
#include "commands/Outputs.h"
#include "commands/ProgressLine.h"
#include "commands/Repeating.h"
#include "commands/SourceTexts.h"
#include "commands/Terminal.h"
#include "devices/RealDevices.h"
#include "rules/Verdict.h"
#include "run/SimulatedRun.h"
#include "run/Watch.h"
#include "scenario/ScenarioReader.h"
#include "text/ShellText.h"
#include "views/Report.h"
#include "views/TerminalTimeline.h"

#include <zeqcam/board/QosFile.h>

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>

namespace zeqcam::tool {
namespace {

constexpr auto kExploreFooter =
    "Each schedule is a run of its own, in virtual time and in a process of its own. The first that breaks "
    "an\n"
    "expectation, a rule or a deadlock's peace is shrunk to the fewest switches and shown, with the command\n"
    "that repeats it. A switch is taken where threads meet: at locks, waits, starts and ends of threads.\n"
    "A search grows with what happens at the same time: leave out of the scenario what it is not about, such "
    "as\n"
    "the queue (queue = \"missing\"). One that is cut short, by a bound or by Ctrl-C, tells how far it "
    "came.\n"
    "Files hold the schedule that failed; where all hold, the one without a preemption.\n";

struct ExploreOptions {
    std::string file;
    std::vector<std::string> settings;
    Outputs outputs;
    std::vector<Source> sources;
    int preemptions = 2;
    std::uint64_t schedules = 0;
    double seconds = 0;
};

void addOptions(CLI::App& app, ExploreOptions& options) {
    app.add_option("FILE", options.file, "The scenario, in TOML.")->required();
    options.outputs.addOptions(app);
    addSettings(app, options.settings);
    app.add_option("--preemptions", options.preemptions,
                   "How often a schedule may take the turn from a thread that could go on; 2 if not given.")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""));
    app.add_option("--schedules", options.schedules, "Run no more schedules than these.")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
    app.add_option("--seconds", options.seconds, "Begin no schedule after this time.")
        ->type_name("S")
        ->check(CLI::PositiveNumber.description(""));
    app.footer(kExploreFooter + ('\n' + std::string(kExitCodes)));
}

// What the scenario or the rules hold against a record; empty: nothing.
std::string complaintAbout(Record const& record) {
    for (Expectation const& expectation : record.expectations) {
        if (expectation.state == Expectation::State::Unmet) {
            return fmt::format("line {}: {}", expectation.line, record.textOf(expectation.unmet));
        }
    }
    for (BrokenRule const& broken : brokenRulesOf(record, {})) {
        if (!broken.isWarning) return fmt::format("{}: {}", broken.rule->name, broken.breach.text);
    }
    return {};
}

std::string counted(std::uint64_t number, std::string_view what) {
    return fmt::format("{} {}{}", fmt::group_digits(number), what, number == 1 ? "" : "s");
}

std::string progressText(simulation::Progress const& progress) {
    return fmt::format("{} run, {} known to come, {}, {:.0f} s", counted(progress.schedules, "schedule"),
                       fmt::group_digits(progress.known),
                       counted(static_cast<std::uint64_t>(progress.preemptions), "preemption"),
                       std::chrono::duration<double>(progress.elapsed).count());
}

// "All 48,120 schedules with at most 2 preemptions hold".
std::string sentenceOf(simulation::Exploration const& found, int preemptions) {
    auto const most = [](int number) {
        if (number == 0) return std::string("without a preemption");
        return "with at most " + counted(static_cast<std::uint64_t>(number), "preemption");
    };
    if (found.complete) {
        return fmt::format("All {} {} hold", counted(found.schedules, "schedule"), most(preemptions));
    }
    std::string const all = found.preemptions < 0 ? "not even all without a preemption were run"
                                                  : "all " + most(found.preemptions) + " were run";
    return fmt::format("{} {}; the search was cut short: {}, not all {}",
                       counted(found.schedules, "schedule"), found.schedules == 1 ? "holds" : "hold", all,
                       most(preemptions));
}

std::string settingsText(ExploreOptions const& options) {
    std::string text;
    for (std::string const& setting : options.settings) text += " --set " + shellWord(setting);
    return text;
}

// Where people read: the standard output, unless a file stands there.
std::ostream& textOutput(ExploreOptions const& options) {
    return options.outputs.takeOutput() ? std::cerr : std::cout;
}

Presentation presentationOf(ExploreOptions const& options) {
    Presentation presentation =
        presentationOn(options.outputs.takeOutput() ? STDERR_FILENO : STDOUT_FILENO, {});
    presentation.title = std::filesystem::path(options.file).filename();
    presentation.sources = options.sources;
    return presentation;
}

// Plays a schedule once more. What it leaves goes with the process.
SimulatedRun playAgain(Scenario const& scenario, ExploreOptions const& options, std::string const& schedule) {
    SimulatedRun run = simulate(scenario, schedule, {});
    run.record.files = {options.file};
    return run;
}

// Shows the schedule that failed. The exit status.
int show(Scenario const& scenario, ExploreOptions& options, simulation::Exploration const& found) {
    simulation::Result const& failure = *found.failure;
    complain(fmt::format("{}: schedule {} of {} ends in {}:", options.file,
                         fmt::group_digits(found.schedules), "the search", nameOf(failure.ending)));
    std::cerr << failure.report << (failure.report.ends_with('\n') ? "" : "\n");
    SimulatedRun const run = playAgain(scenario, options, failure.schedule);
    Presentation const presentation = presentationOf(options);
    std::ostream& text = textOutput(options);
    writeTerminalTimeline(run.record, presentation, text);
    writeReport(run.record, presentation, text);
    text << "\nIt is repeated by\n  zeqcam-power run " << shellWord(options.file) << settingsText(options)
         << " --simulate --schedule " << shellWord(failure.schedule) << std::endl;
    static_cast<void>(options.outputs.write(run.record, presentation));
    std::cout.flush();
    if (run.leavesThreads()) std::_Exit(kFailed);
    return kFailed;
}

int statusOf(simulation::Exploration const& found, End end) {
    if (found.complete) return kAllHeld;
    return end == End::TimedOut ? kTimedOut : statusOf(end);
}

// Tells that every schedule that was run held. The exit status.
int tellThatAllHold(Scenario const& scenario, ExploreOptions& options, simulation::Exploration const& found,
                    End end) {
    textOutput(options) << sentenceOf(found, options.preemptions) << std::endl;
    bool written = true;
    if (options.outputs.areAsked()) {
        SimulatedRun const run = playAgain(scenario, options, "plain");
        written = options.outputs.write(run.record, presentationOf(options));
    }
    std::cout.flush();
    if (!std::cout) complain("the output cannot be written");
    if (!written || !std::cout) return kFailed;
    return statusOf(found, end);
}

int explore(ExploreOptions& options) {
    auto [scenario, faults, files] = readScenarioFile(options.file, options.settings);
    if (!faults.empty()) {
        complain(faultText(faults.front(), options.file));
        return kWrongInput;
    }
    requireSimulated(scenario, options.file);
    if (options.outputs.areAsked()) options.sources = sourceTexts(options.file, files);
    files.push_back(options.file);
    options.outputs.open(files, false);
    if (std::string const reason = board::QosFile::provide(); !reason.empty()) {
        complain("no QoS file, as on a device without it: " + reason);
    }
    auto const body = [&played = scenario] {
        playSimulated(played, [](Record const& record) {
            std::string const complaint = complaintAbout(record);
            if (!complaint.empty()) simulation::fail(complaint);
        });
    };
    Watch const watch;
    End end = End::TimedOut;
    auto const isCancelled = [&] {
        if (end == End::TimedOut) end = watch.look();
        return end != End::TimedOut;
    };
    auto progress = std::make_unique<ProgressLine>();
    auto const found = simulation::explore(
        body,
        {.preemptions = options.preemptions,
         .schedules = options.schedules,
         .time = std::chrono::milliseconds(static_cast<std::int64_t>(options.seconds * 1000)),
         .progress =
             [&](simulation::Progress const& made) { progress->show([&] { return progressText(made); }); },
         .isCancelled = isCancelled});
    progress.reset();
    return found.failure ? show(scenario, options, found) : tellThatAllHold(scenario, options, found, end);
}

}  // namespace

std::function<int()> addExplore(CLI::App& app) {
    auto const options = std::make_shared<ExploreOptions>();
    addOptions(app, *options);
    return [options] { return explore(*options); };
}

}  // namespace zeqcam::tool
