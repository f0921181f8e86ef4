#include "commands/Input.h"

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "commands/EvidenceFiles.h"
#include "files/OutputFile.h"
#include "run/SimulatedRun.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"

#include <zeqcam/board/QosFile.h>

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
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

void Inputs::each(std::function<void(Input input)> const& take) {
    std::vector<std::string> evidence;
    for (std::string const& path : mOptions.files) {
        if (isScenario(path)) {
            play(path, take);
        } else {
            evidence.push_back(path);
        }
    }
    if (!evidence.empty()) read(evidence, take);
}

int Inputs::end(int status) const {
    if (mLeavesThreads) leave(status);
    return status;
}

void Inputs::play(std::string const& path, std::function<void(Input input)> const& take) {
    Reading reading = readScenarioFile(path, mOptions.settings);
    if (!reading.faults.empty()) throw CannotOpen(faultText(reading.faults.front(), path));
    auto kept = std::make_unique<Scenario>(std::move(reading.scenario));
    Scenario& scenario = *kept;
    if (mOptions.seed) scenario.settings.seed = *mOptions.seed;
    board::QosFile::provide();  // without it a scenario plays as on a device without one
    for (std::uint64_t run = 0; run < mOptions.repeat; ++run) {
        if (mLeavesThreads)
            throw CannotOpen(path + ": nothing can be played after a run in which nobody could go on");
        SimulatedRun played = simulate(scenario, scenario.settings.seed, {});
        played.record.files = {path};
        mLeavesThreads = played.leavesThreads();
        // NOLINTNEXTLINE(bugprone-unused-return-value): threads that never go on use it
        if (mLeavesThreads) static_cast<void>(kept.release());
        take({path, std::move(played.record), true});
        scenario.settings.seed = (scenario.settings.seed + 1) & kMostSeed;
    }
}

void Inputs::read(std::vector<std::string> const& paths, std::function<void(Input input)> const& take) const {
    ProcessRecords records;
    Evidence const evidence = readFiles(paths, records, false);
    std::vector<ReadProcess> processes = records.finish(evidence.files);
    if (mOptions.process) {
        std::erase_if(processes,
                      [&](ReadProcess const& each) { return each.record.process != *mOptions.process; });
    }
    auto const lines = processes.empty() ? nothingIn(evidence, paths, mOptions.process) : evidence.found;
    for (std::size_t i = 0; i + (processes.empty() ? 1 : 0) < lines.size(); ++i) complain(lines[i]);
    if (processes.empty()) throw CannotOpen(lines.back());
    for (ReadProcess& each : processes) {
        std::string name = nameOf(each);
        take({std::move(name), std::move(each.record), false});
    }
}

}  // namespace zeqcam::tool
