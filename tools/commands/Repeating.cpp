#include "commands/Repeating.h"

#include "commands/Command.h"
#include "commands/ViewOptions.h"
#include "views/SeriesFile.h"
#include "views/SeriesReport.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <utility>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;

// One line on the standard error, if that is a terminal, which goes in the end.
class Progress {
  public:
    explicit Progress(std::size_t times) : mTimes(times), mIsShown(isatty(STDERR_FILENO) == 1) {}
    ~Progress() {
        if (mNext != Clock::time_point()) std::cerr << "\r\033[K" << std::flush;
    }
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    void show(Series const& series) {
        constexpr std::chrono::milliseconds kPause{100};
        auto const now = Clock::now();
        if (!mIsShown || now < mNext) return;
        mNext = now + kPause;
        std::cerr << fmt::format("\r\033[K{} of {} runs, {} failed, {:.0f} s",
                                 fmt::group_digits(series.runs().size()), fmt::group_digits(mTimes),
                                 fmt::group_digits(series.failedRuns().size()),
                                 std::chrono::duration<double>(now - mBegan).count())
                  << std::flush;
    }

  private:
    std::size_t const mTimes;
    bool const mIsShown;
    Clock::time_point const mBegan = Clock::now();
    Clock::time_point mNext;
};

}  // namespace

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
    Progress progress(repetition.times);
    repetition.progress = [&](Series const& series) { progress.show(series); };
    repetition.isCancelled = [&] {
        if (End const seen = watch.look(); end == End::AllDone && seen != End::TimedOut) end = seen;
        return end != End::AllDone;
    };
    return repeat(scenario, repetition);
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
