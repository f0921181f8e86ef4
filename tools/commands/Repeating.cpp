#include "commands/Repeating.h"

#include "commands/Command.h"
#include "commands/RunProgress.h"
#include "commands/ViewOptions.h"
#include "views/SeriesFile.h"
#include "views/SeriesReport.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <utility>

namespace zeqcam::tool {

void RepeatOptions::addOptions(CLI::App& app) {
    constexpr std::size_t kMostRuns = 10'000'000;
    constexpr std::size_t kMostJobs = 1024;
    auto* const repeat =
        app.add_option("--repeat", times,
                       "Run it as many times, with the seed and those that follow it, and tell what all runs "
                       "came to; their log lines go nowhere.")
            ->type_name("N")
            ->check(CLI::Range(std::size_t{1}, kMostRuns).description(""));
    app.add_option("--jobs", jobs,
                   "As many simulated runs at the same time; if not given, as there are processors.")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, kMostJobs).description(""))
        ->needs(repeat);
}

Series repeatWatched(Scenario const& scenario, Repetition repetition, End& end) {
    Watch const watch;
    end = End::AllDone;
    RunProgress progress(repetition.times);
    repetition.progress = [&](Series const& series) {
        progress.show(series.runs().size(), series.failedRuns().size());
    };
    repetition.isCancelled = [&] {
        if (End const seen = watch.look(); end == End::AllDone && seen != End::TimedOut) end = seen;
        return end != End::AllDone;
    };
    return repeat(scenario, repetition);
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

bool tell(Series const& series, ViewOptions& options) {
    Presentation const presentation = options.presentation(std::filesystem::path(series.file).filename());
    if (options.json) {
        writeSeriesFile(series, std::cout);
    } else {
        writeSeriesReport(series, presentation, options.textOutput());
        options.textOutput().flush();
    }
    bool const written = options.outputs.write(series, presentation);
    if (!std::cout.flush()) complain("the output cannot be written");
    return written && std::cout;
}

}  // namespace zeqcam::tool
