#include "commands/Input.h"

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "commands/EvidenceFiles.h"
#include "commands/Repeating.h"
#include "commands/RunProgress.h"
#include "files/OutputFile.h"
#include "run/ForkedRuns.h"
#include "run/Memory.h"
#include "run/SimulatedRun.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"

#include <zeqcam/board/QosFile.h>

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

namespace files = std::filesystem;

constexpr std::uint64_t kMostRuns = 1'000'000;

// "[[sensor]]", "include = …": whether a line begins what stands at the top of a scenario.
bool beginsScenario(std::string_view line) {
    std::size_t const brackets = std::min(line.find_first_not_of('['), line.size());
    line.remove_prefix(brackets);
    constexpr std::string_view kBare = "abcdefghijklmnopqrstuvwxyz_";
    std::size_t const end = std::min(line.find_first_not_of(kBare), line.size());
    std::string_view const name = line.substr(0, end);
    line.remove_prefix(end);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    bool const goesOn = brackets > 0 ? line.starts_with(']') || line.starts_with('.') : line.starts_with('=');
    auto const keys = scenarioKeys();
    return goesOn && std::any_of(keys.begin(), keys.end(),
                                 [&](Key const& key) { return key.table.empty() && key.name == name; });
}

std::string nameOf(ReadProcess const& read) {
    std::string const of = read.record.files.empty() ? "" : " of " + read.record.files.front();
    return (read.record.process ? fmt::format("process {}", *read.record.process) : "a process") + of;
}

}  // namespace

bool isScenario(std::string const& path) {
    if (path == "-") return false;
    if (files::path(path).extension() == ".toml") return true;
    std::error_code none;
    if (!files::is_regular_file(path, none)) return false;  // a pipe can be read but once
    std::ifstream file(path);
    constexpr int kMostLines = 1000;
    std::string line;
    for (int number = 0; number < kMostLines && std::getline(file, line); ++number) {
        std::size_t const begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos || line[begin] == '#') continue;
        return beginsScenario(std::string_view(line).substr(begin));
    }
    return false;
}

std::vector<std::string> withIncluded(std::vector<std::string> const& files) {
    std::vector<std::string> all = files;
    for (std::string const& file : files) {
        if (!isScenario(file)) continue;
        std::vector<std::string> const included = readScenarioFile(file).included;
        all.insert(all.end(), included.begin(), included.end());
    }
    return all;
}

void InputOptions::add(CLI::App& app) {
    app.add_option("FILE", files,
                   "Scenarios, which are played in virtual time, or logs and traces of one phone, of any "
                   "format that it has; - is the standard input.")
        ->required();
    app.add_option("--pid", process, "Of logs and traces, take this process only.")->type_name("N");
    addSeed(app, seed, "The seed of each scenario's first run, instead of the file's.");
    addSettings(app, settings);
    app.add_option("--repeat", repeat, "Play each scenario so often, each time with the next seed.")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, kMostRuns).description(""));
}

void readRecords(std::vector<std::string> const& paths, std::optional<int> process,
                 std::function<void(Input input)> const& take) {
    ProcessRecords records;
    Evidence const evidence = readFiles(paths, records, false);
    std::vector<ReadProcess> processes = records.finish(evidence.files);
    if (process)
        std::erase_if(processes, [&](ReadProcess const& each) { return each.record.process != *process; });
    auto const lines = processes.empty() ? nothingIn(evidence, paths, process) : evidence.found;
    for (std::size_t i = 0; i + (processes.empty() ? 1 : 0) < lines.size(); ++i) complain(lines[i]);
    if (processes.empty()) throw CannotOpen(lines.back());
    for (ReadProcess& each : processes) {
        std::string name = nameOf(each);
        take({.name = std::move(name), .record = std::move(each.record)});
    }
}

void Inputs::each(std::function<std::string(Input const& input)> const& keep,
                  std::function<void(std::string const& kept)> const& take) {
    std::vector<std::string> evidence;
    for (std::string const& path : mOptions.files) {
        if (!isScenario(path)) {
            evidence.push_back(path);
        } else if (!areCutShort()) {
            play(path, keep, take);
        }
    }
    if (evidence.empty() || areCutShort()) return;
    readRecords(evidence, mOptions.process, [&](Input input) {
        input.isFirst = std::exchange(mIsFirst, false);
        take(keep(input));
    });
}

int Inputs::status() const {
    if (areCutShort()) return statusOf(mEnd);
    return mHaveAllEnded ? kAllHeld : kFailed;
}

void Inputs::play(std::string const& path, std::function<std::string(Input const& input)> const& keep,
                  std::function<void(std::string const& kept)> const& take) {
    Reading reading = readScenarioFile(path, mOptions.settings);
    if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), path));
    Scenario& scenario = reading.scenario;
    std::uint64_t const first = mOptions.seed.value_or(scenario.settings.seed);
    auto const seedOf = [&](std::size_t index) { return (first + index) & kMostSeed; };
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    bool const isFirst = std::exchange(mIsFirst, false);
    std::size_t const times = mOptions.repeat.value_or(1);
    Watch const watch;
    RunProgress progress(times);
    std::size_t lost = 0;
    auto const play = [&](std::size_t index) {
        keepOneHeap();
        scenario.settings.seed = seedOf(index);
        SimulatedRun played = simulate(scenario, scenario.settings.seed, {});
        played.record.files = {path};
        return keep({.name = path,
                     .record = std::move(played.record),
                     .isPlayed = true,
                     .isFirst = isFirst && index == 0});
    };
    auto const isCancelled = [&] {
        if (End const seen = watch.look(); !areCutShort() && seen != End::TimedOut) mEnd = seen;
        return areCutShort();
    };
    std::size_t const told =
        playForked({.count = times,
                    .jobs = processorsAllowed(),
                    .bindsToProcessor = true,
                    .play = play,
                    .take =
                        [&](std::size_t index, std::string const& kept) {
                            if (times > 1) progress.show(index + 1, lost);
                            take(kept);
                        },
                    .lost =
                        [&](std::size_t index, std::string const& how) {
                            ++lost;
                            progress.clear();
                            complain(fmt::format("{}, seed {}: {}", path, seedOf(index), how));
                        },
                    .isCancelled = isCancelled});
    if (areCutShort()) complain(fmt::format("{}: was ended after {} of {} runs", path, told, times));
    mHaveAllEnded = mHaveAllEnded && lost == 0;
}

}  // namespace zeqcam::tool
