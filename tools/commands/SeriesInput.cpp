#include "commands/SeriesInput.h"

#include "commands/Input.h"
#include "commands/Repeating.h"
#include "files/OutputFile.h"
#include "scenario/ScenarioReader.h"
#include "series/Cycles.h"
#include "series/ResultReading.h"

#include <zeqcam/board/QosFile.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <utility>

namespace zeqcam::tool {
namespace {

namespace files = std::filesystem;

std::vector<std::string> filesOf(std::vector<std::string> const& paths) {
    std::vector<std::string> all;
    for (std::string const& path : paths) {
        std::error_code none;
        if (!files::is_directory(path, none)) {
            all.push_back(path);
            continue;
        }
        std::vector<std::string> inside;
        std::error_code unreadable;
        for (auto const& entry : files::directory_iterator(path, unreadable)) {
            if (entry.is_regular_file()) inside.push_back(entry.path());
        }
        if (unreadable) throw CannotOpen(path + ": cannot be read: " + unreadable.message());
        if (inside.empty()) throw CannotOpen(path + ": holds no file");
        std::sort(inside.begin(), inside.end());
        all.insert(all.end(), inside.begin(), inside.end());
    }
    return all;
}

Series played(std::string const& path, SeriesInput const& input) {
    Reading reading = readScenarioFile(path);
    if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), path));
    if (input.seed) reading.scenario.settings.seed = *input.seed;
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    End end = End::AllDone;
    Series series = repeatWatched(reading.scenario,
                                  {.times = input.repeat,
                                   .jobs = input.jobs,
                                   .strictness = input.strictness,
                                   .progress = {},
                                   .isCancelled = {}},
                                  end);
    if (end != End::AllDone) throw CannotOpen(path + ": was ended before all of its runs");
    return series;
}

Series readEvidence(std::string const& path, SeriesInput const& input) {
    Series series;
    series.runsBy = Series::RunsBy::Cycle;
    InputOptions options;
    options.files = {path};
    Inputs(options).each([&](Input const& read) {
        series.clock = read.record.clock;
        auto runs = figuresOfCycles(read.record, input.strictness, series.runs().size() + 1);
        if (runs.empty()) runs.push_back(figuresOf(read.record, input.strictness, series.runs().size() + 1));
        for (RunFigures& run : runs) series.add(std::move(run));
    });
    return series;
}

}  // namespace

Series seriesOf(std::vector<std::string> const& paths, SeriesInput const& input) {
    Series all;
    bool isFirst = true;
    for (std::string const& path : filesOf(paths)) {
        Series const one = [&] {
            if (isScenario(path)) return played(path, input);
            if (!isResult(path)) return readEvidence(path, input);
            try {
                return readResult(path);
            } catch (std::exception const& error) {
                throw CannotOpen(error.what());
            }
        }();
        if (std::exchange(isFirst, false)) {
            all.clock = one.clock;
            all.runsBy = one.runsBy;
            all.file = path;
        }
        all.add(one);
    }
    return all;
}

}  // namespace zeqcam::tool
