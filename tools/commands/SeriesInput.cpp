#include "commands/SeriesInput.h"

#include "commands/Input.h"
#include "commands/Repeating.h"
#include "commands/SourceTexts.h"
#include "files/OutputFile.h"
#include "run/LogOutput.h"
#include "run/SimulatedRun.h"
#include "scenario/ScenarioReader.h"
#include "series/Cycles.h"
#include "series/ResultReading.h"

#include <zeqcam/board/QosFile.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <ostream>
#include <utility>

namespace zeqcam::tool {
namespace {

Reading readPlayable(std::string const& path, SeriesInput const& input) {
    Reading reading = readScenarioFile(path);
    if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), path));
    if (input.seed) reading.scenario.settings.seed = *input.seed;
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    return reading;
}

InputRuns played(std::string const& path, SeriesInput const& input) {
    Reading const reading = readPlayable(path, input);
    InputRuns runs;
    runs.series = repeatWatched(reading.scenario,
                                {.times = input.repeat,
                                 .jobs = input.jobs,
                                 .strictness = input.strictness,
                                 .selection = {},
                                 .progress = {},
                                 .isCancelled = {}},
                                runs.end);
    runs.shown.sources = sourceTexts(path, reading.included);
    return runs;
}

// From its begin to its end, of a record whose only one it is.
Selection selectionOf(Record const& record, std::vector<Cycle> const& cycles) {
    if (cycles.empty()) return {};
    return {.from = cycles.front().begin - record.begin, .to = cycles.front().end - record.begin};
}

InputRuns readEvidence(std::string const& path, SeriesInput const& input) {
    InputRuns all;
    all.series.runsBy = Series::RunsBy::Cycle;
    readRecords({path}, {}, [&](Input read) {
        Series& series = all.series;
        series.clock = read.record.clock;
        auto runs = figuresOfCycles(read.record, input.strictness, series.runs().size() + 1);
        if (runs.empty()) runs.push_back(figuresOf(read.record, input.strictness, series.runs().size() + 1));
        for (RunFigures& run : runs) series.add(std::move(run));
        if (series.runs().size() > 1) return;
        all.shown.selection = selectionOf(read.record, cyclesOf(read.record));
        all.shown.record = std::move(read.record);
    });
    return all;
}

InputRuns runsOf(std::string const& path, SeriesInput const& input) try {
    if (isScenario(path)) return played(path, input);
    if (!isResult(path)) return readEvidence(path, input);
    return {readResult(path), {}};
} catch (CannotOpen const&) {
    throw;
} catch (std::runtime_error const& error) {
    throw CannotOpen(error.what());
}

}  // namespace

std::vector<std::string> filesOf(std::vector<std::string> const& paths) {
    namespace files = std::filesystem;
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

InputRuns runsOf(std::vector<std::string> const& files, SeriesInput const& input) {
    InputRuns all;
    for (std::string const& file : files) {
        InputRuns one = runsOf(file, input);
        if (&file == &files.front()) {
            all.series.clock = one.series.clock;
            all.series.runsBy = one.series.runsBy;
            all.series.file = file;
        }
        all.series.add(one.series);
        auto& sources = all.shown.sources;
        sources.insert(sources.end(), one.shown.sources.begin(), one.shown.sources.end());
        all.shown.selection = one.shown.selection;
        all.shown.record = std::move(one.shown.record);  // of one file alone it is the only run's
        all.end = one.end;
        if (all.end != End::AllDone) break;
    }
    return all;
}

std::optional<Record> RecordPlayer::play(std::string const& path, SeriesInput const& input) {
    if (mLeavesThreads) return {};
    // As the runs of many are played: log lines meet on a lock, which is part of the order.
    struct Kept {
        Scenario scenario;
        std::ostream nobody{nullptr};
        LogOutput log{nobody, LogOutput::Addresses::Hidden};
        std::ostream logStream{&log};
    };
    auto kept = std::make_unique<Kept>();
    kept->scenario = readPlayable(path, input).scenario;
    kept->log.close();
    kept->scenario.settings.logStream = &kept->logStream;
    SimulatedRun run = simulate(kept->scenario, kept->scenario.settings.seed, {});
    mLeavesThreads = run.leavesThreads();
    // NOLINTNEXTLINE(bugprone-unused-return-value): threads that never go on use it
    if (mLeavesThreads) static_cast<void>(kept.release());
    run.record.files = {path};
    return std::move(run.record);
}

}  // namespace zeqcam::tool
