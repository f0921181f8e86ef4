#include "commands/SweepCommand.h"

#include "commands/CommonOptions.h"
#include "commands/Repeating.h"
#include "commands/Terminal.h"
#include "files/OutputFile.h"
#include "scenario/ScenarioReader.h"
#include "series/Sweep.h"
#include "views/SweepReport.h"

#include <zeqcam/board/QosFile.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kSweepFooter =
    "VALUES are a range with its step, 30..90:10, or a list, 30,45,60; of several --set every choice of "
    "values "
    "is\n"
    "run. FAILED counts runs in which the request did what the scenario does not expect.\n";

struct SweepOptions {
    std::string file;
    std::vector<std::string> settings;
    std::size_t repeat = 1;
    bool real = false;
    std::optional<std::uint64_t> seed;
    std::string svg;
    bool json = false;
    std::optional<int> width;
};

void addOptions(CLI::App& app, SweepOptions& options) {
    constexpr std::size_t kMostRuns = 1'000'000;
    app.add_option("FILE", options.file, "The scenario, in TOML.")->required();
    app.add_option(
           "--set", options.settings,
           "What is to change, and through which values, such as sensor.tele.power_on_ms=30..90:10; may "
           "be repeated.")
        ->type_name("PATH=VALUES")
        ->required()
        ->allow_extra_args(false);
    app.add_option("--repeat", options.repeat, "Run each so often, each time with the next seed.")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, kMostRuns).description(""));
    addSeed(app, options.seed, "The seed of the first run, instead of the file's.");
    app.add_flag("--real", options.real, "Run in real time; else in virtual time.");
    app.add_option("--svg", options.svg, "Write a picture of what the requests took.")->type_name("FILE");
    app.add_flag("--json", options.json, "Print the same as JSON, and nothing else.");
    addWidth(app, options.width);
    app.footer(kSweepFooter + ('\n' + std::string(kExitCodes)));
}

Scenario scenarioWith(SweepOptions const& options, std::vector<std::string> const& settings) {
    Reading reading = readScenarioFile(options.file, settings);
    if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), options.file));
    if (options.seed) reading.scenario.settings.seed = *options.seed;
    return std::move(reading.scenario);
}

// What is wrong with any of the values is known before the first run.
std::vector<Scenario> scenariosOf(SweepOptions const& options, Sweep& sweep) {
    std::vector<Scenario> scenarios;
    for (auto const& values : combinationsOf(sweep.axes)) {
        std::vector<std::string> settings;
        for (std::size_t i = 0; i < values.size(); ++i)
            settings.push_back(sweep.axes[i].path + '=' + values[i]);
        scenarios.push_back(scenarioWith(options, settings));
        sweep.points.push_back({values, {}});
    }
    return scenarios;
}

int statusOf(End end) {
    switch (end) {
        case End::HungUp:
            return kHungUp;
        case End::Quit:
            return kQuit;
        case End::Terminated:
            return kTerminated;
        default:
            return kInterrupted;
    }
}

// False when not all could be written.
bool tell(Sweep const& sweep, SweepOptions const& options, std::optional<OutputFile>& svg) {
    Presentation presentation = presentationOn(STDOUT_FILENO, options.width);
    presentation.title = std::filesystem::path(sweep.file).filename();
    if (options.json) {
        writeSweepFile(sweep, std::cout);
    } else {
        writeSweepReport(sweep, presentation, std::cout);
    }
    bool isWritten = true;
    try {
        if (svg) svg->write([&](std::ostream& out) { writeSweepSvg(sweep, presentation, out); });
    } catch (std::exception const& error) {
        complain(error.what());
        isWritten = false;
    }
    if (!std::cout.flush()) complain("the output cannot be written");
    return isWritten && std::cout;
}

int run(SweepOptions& options) try {
    Sweep sweep{options.file, {}, options.repeat, {}};
    for (std::string const& setting : options.settings) sweep.axes.push_back(sweepAxisOf(setting));
    auto const scenarios = scenariosOf(options, sweep);
    std::error_code none;
    if (!options.svg.empty() && std::filesystem::equivalent(options.svg, options.file, none))
        throw CannotOpen(options.svg + ": would replace " + options.file);
    std::optional<OutputFile> svg;
    if (!options.svg.empty()) svg.emplace(options.svg);
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    bool hasFailed = false;
    for (std::size_t i = 0; i < scenarios.size(); ++i) {
        End end = End::AllDone;
        Repetition repetition;
        repetition.times = options.repeat;
        repetition.simulates = !options.real;
        sweep.points[i].series = repeatWatched(scenarios[i], repetition, end);
        if (end != End::AllDone) return statusOf(end);
        hasFailed = hasFailed || !sweep.points[i].series.failedRuns().empty();
    }
    bool const isTold = tell(sweep, options, svg);
    return isTold && !hasFailed ? kAllHeld : kFailed;
} catch (std::invalid_argument const& error) {
    complain(std::string("--set ") + error.what());
    return kWrongInput;
}

}  // namespace

std::function<int()> addSweep(CLI::App& app) {
    auto const options = std::make_shared<SweepOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
