#include "commands/SweepCommand.h"

#include "commands/CommonOptions.h"
#include "commands/Outputs.h"
#include "commands/Repeating.h"
#include "commands/SourceTexts.h"
#include "commands/Terminal.h"
#include "scenario/ScenarioReader.h"
#include "series/Sweep.h"
#include "views/SweepPage.h"
#include "views/SweepReport.h"

#include <zeqcam/board/QosFile.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
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
    Outputs outputs{{"svg", "html"}};
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
    options.outputs.addOptions(app);
    app.get_option("--svg")->description("Write a picture of what the requests took.");
    app.add_flag("--json", options.json, "Print the same as JSON, and nothing else.");
    addWidth(app, options.width);
    app.footer(kSweepFooter + ('\n' + std::string(kExitCodes)));
}

// What is wrong with any of the values is known before the first run. `files`: gets those that the scenario
// includes too.
std::vector<Scenario> scenariosOf(SweepOptions const& options, Sweep& sweep,
                                  std::vector<std::string>& files) {
    std::vector<Scenario> scenarios;
    for (auto const& values : combinationsOf(sweep.axes)) {
        std::vector<std::string> settings;
        for (std::size_t i = 0; i < values.size(); ++i)
            settings.push_back(sweep.axes[i].path + '=' + values[i]);
        Reading reading = readScenarioFile(options.file, settings);
        if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), options.file));
        if (options.seed) reading.scenario.settings.seed = *options.seed;
        scenarios.push_back(std::move(reading.scenario));
        for (std::string& included : reading.included) {
            if (std::find(files.begin(), files.end(), included) == files.end())
                files.push_back(std::move(included));
        }
        sweep.points.push_back({values, {}});
    }
    return scenarios;
}

// False when not all could be written.
bool tell(Sweep const& sweep, SweepOptions& options, std::vector<Source> sources) {
    std::ostream& text = options.json || options.outputs.takeOutput() ? std::cerr : std::cout;
    Presentation presentation =
        presentationOn(&text == &std::cout ? STDOUT_FILENO : STDERR_FILENO, options.width);
    presentation.title = std::filesystem::path(sweep.file).filename();
    presentation.sources = std::move(sources);
    if (options.json) {
        writeSweepFile(sweep, std::cout);
    } else {
        writeSweepReport(sweep, presentation, text);
    }
    bool const isWritten = options.outputs.write([&](View const& view, std::ostream& out) {
        view.option == "svg" ? writeSweepSvg(sweep, presentation, out)
                             : writeSweepPage(sweep, presentation, out);
    });
    if (!std::cout.flush()) complain("the output cannot be written");
    return isWritten && std::cout;
}

int run(SweepOptions& options) try {
    Sweep sweep{options.file, {}, options.repeat, {}};
    for (std::string const& setting : options.settings) sweep.axes.push_back(sweepAxisOf(setting));
    std::vector<std::string> files{options.file};
    auto const scenarios = scenariosOf(options, sweep, files);
    std::vector<Source> sources;
    if (options.outputs.areAsked()) sources = sourceTexts(options.file, {files.begin() + 1, files.end()});
    options.outputs.open(files, options.json);
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    End end = End::AllDone;
    for (std::size_t i = 0; i < scenarios.size() && end == End::AllDone; ++i) {
        Repetition repetition;
        repetition.times = options.repeat;
        repetition.simulates = !options.real;
        sweep.points[i].series = repeatWatched(scenarios[i], repetition, end);
    }
    std::erase_if(sweep.points, [](SweepPoint const& point) { return point.series.runs().empty(); });
    if (sweep.points.empty()) {
        complain(options.file + ": was ended before any of its runs");
        return statusOf(end);
    }
    bool const isTold = tell(sweep, options, std::move(sources));
    if (end != End::AllDone) return statusOf(end);
    return isTold && runsIn(sweep).failed == 0 ? kAllHeld : kFailed;
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
