#include "commands/ReadCommand.h"

#include "commands/EvidenceFiles.h"
#include "commands/Repeating.h"
#include "commands/ViewOptions.h"
#include "evidence/ProcessRecords.h"
#include "replay/ScenarioWriter.h"
#include "rules/Verdict.h"
#include "series/Cycles.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/RequestText.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kExitStatus =
    "\nExit status:\n"
    "  0    read, and every rule that could be judged holds\n"
    "  1    a rule is broken, or what was read cannot be written\n"
    "  2    nothing of the library could be read; the command line is wrong, or a file cannot be opened\n";

struct ReadOptions : ViewOptions {
    std::vector<std::string> files;
    std::optional<int> process;
    bool follow = false;
    std::string scenario;
    bool repeat = false;
};

void addOptions(CLI::App& app, ReadOptions& options) {
    app.add_option("FILE", options.files,
                   "Logs and traces of one phone, of any format that it has, compressed or not; - is the "
                   "standard input.")
        ->required();
    app.add_option("--pid", options.process, "Tell of this process only.")->type_name("N");
    app.add_flag("--follow", options.follow,
                 "Tell each request as it ends; of one file. Ctrl-C ends it as the file's end does.");
    app.add_option("--scenario", options.scenario, "Write a scenario that plays it again.")
        ->type_name("FILE");
    app.add_flag(
           "--repeat", options.repeat,
           "Take each power cycle as a run, and tell what all of them came to: how long each request took, "
           "and how often it failed.")
        ->excludes("--follow")
        ->excludes("--scenario");
    options.outputs.addOptions(app);
    app.add_flag("--json", options.json, "Print what was read as JSON, and nothing else.");
    options.addStrictness(app);
    options.addSelection(app);
    app.footer(std::string(reachTable()) + kExitStatus);
}

// "thread 812: power on 0 2: true, 51.2 ms".
void tellRequest(std::string_view client, Request const& request) {
    std::string text = printable(client) + ": " + std::string(nameOf(request.kind));
    for (int const sensor : sensorsOf(request)) text += fmt::format(" {}", sensor);
    text += ": " + (request.ended ? resultText(request) + ", " + timeText(*request.ended - request.began)
                                  : std::string("its end was not seen"));
    std::cout << text << std::endl;
}

void tellReach(ReadProcess const& read, std::ostream& out) {
    Record const& record = read.record;
    out << "\nWhat the evidence tells\n";
    for (std::string const& line : reachLines(read.reach)) out << "  " << line << '\n';
    for (std::string const& note : read.notes) out << "  " << printable(note) << '\n';
    constexpr std::size_t kMostLosses = 10;
    for (std::size_t i = 0; i < std::min(kMostLosses, record.losses.size()); ++i) {
        Loss const& loss = record.losses[i];
        out << "  lost: " << printable(record.files[loss.place.file]) << ':' << loss.place.number << ": "
            << printable(record.textOf(loss.text)) << '\n';
    }
    if (record.losses.size() > kMostLosses)
        out << "  and " << record.losses.size() - kMostLosses << " losses more\n";
    std::map<std::string, std::string> unjudged;  // rules by what it would take
    for (Judgement const& judgement : judge(record)) {
        if (judgement.breaches) continue;
        std::string& rules = unjudged[neededFor(*judgement.rule, read.reach)];
        rules += (rules.empty() ? "" : ", ") + std::string(judgement.rule->name);
    }
    if (!unjudged.empty()) out << "Rules that could not be judged, by what it would take\n";
    for (auto const& [needed, rules] : unjudged) out << "  " << needed << ":\n      " << rules << '\n';
    out.flush();
}

bool tellProcess(ReadProcess const& read, ReadOptions& options) {
    Record const& record = read.record;
    std::string const name = record.process ? fmt::format("process {}", *record.process) : "a process";
    if (options.outputs.areAsked())
        options.sources = {{"a scenario that plays it again", scenarioOf(record, read.notes)}};
    if (!options.json)
        options.textOutput() << '\n' << name << " of " << printable(record.files.front()) << '\n';
    bool isTold = tell(record, options, name);
    if (!options.json) tellReach(read, options.textOutput());
    if (options.scenario.empty()) return isTold;
    try {
        OutputFile(options.scenario).write([&](std::ostream& out) { out << scenarioOf(record, read.notes); });
    } catch (std::exception const& error) {
        complain(error.what());
        isTold = false;
    }
    return isTold;
}

void select(std::vector<ReadProcess> const& processes, ReadOptions& options) {
    std::vector<std::string> clients;
    std::map<int, std::string> sensors;
    for (auto const& [record, reach, notes] : processes) {
        for (Record::Client const& client : record.clients) clients.emplace_back(record.textOf(client.name));
        for (Record::Sensor const& sensor : record.sensors)
            sensors.emplace(sensor.id, record.textOf(sensor.name));
    }
    options.select(clients, sensors, "the evidence");
}

int complainOfNothing(Evidence const& evidence, ReadOptions const& options) {
    for (std::string const& line : nothingIn(evidence, options.files, options.process)) complain(line);
    return kWrongInput;
}

// What programs read holds one process.
void requireOne(std::vector<ReadProcess> const& processes, ReadOptions const& options) {
    bool const isForOne = options.json || options.outputs.areAsked() || !options.scenario.empty();
    if (processes.size() < 2 || !isForOne) return;
    std::string ids;
    for (ReadProcess const& each : processes)
        ids += (ids.empty() ? "" : ", ") + std::to_string(each.record.process.value_or(0));
    throw CannotOpen("there is more than one process or clock: choose with --pid, or give one file: " + ids);
}

// The power cycles of all processes, as runs of one series.
int tellCycles(std::vector<ReadProcess> const& processes, ReadOptions& options) {
    Series series;
    series.runsBy = Series::RunsBy::Cycle;
    series.file = options.files.front();
    for (ReadProcess const& each : processes) {
        series.clock = each.record.clock;
        for (RunFigures& run :
             figuresOfCycles(each.record, options.strictness, series.runs().size() + 1, options.selection))
            series.add(std::move(run));
    }
    if (series.runs().empty()) {
        complain("no power cycle has ended in what was read: no power-on with the power-off that ends it");
        return kWrongInput;
    }
    return tell(series, options) && series.failedRuns().empty() ? kAllHeld : kFailed;
}

int run(ReadOptions& options) {
    if (options.follow && options.files.size() > 1) throw CannotOpen("--follow: is of one file");
    for (std::string const& file : options.files) {
        std::error_code none;
        if (!options.scenario.empty() && std::filesystem::equivalent(file, options.scenario, none))
            throw CannotOpen(options.scenario + ": would replace " + file);
    }
    if (options.repeat) options.outputs.requireSeriesViews();
    options.outputs.open(options.files, options.json);
    ProcessRecords records =
        options.follow
            ? ProcessRecords([&](std::int32_t process, std::string_view client, Request const& request) {
                  if (process == options.process.value_or(process)) tellRequest(client, request);
              })
            : ProcessRecords();
    Evidence const evidence = readFiles(options.files, records, options.follow);
    std::vector<ReadProcess> processes = records.finish(evidence.files);
    if (options.process) {
        std::erase_if(processes,
                      [&](ReadProcess const& each) { return each.record.process != *options.process; });
    }
    if (processes.empty()) return complainOfNothing(evidence, options);
    for (std::string const& found : evidence.found) complain(found);
    if (!options.repeat) requireOne(processes, options);
    select(processes, options);
    if (options.repeat) return tellCycles(processes, options);
    bool holds = true;
    for (ReadProcess const& each : processes) {
        auto const broken = brokenRulesOf(each.record, options.strictness);
        bool const isTold = tellProcess(each, options);
        holds = holds && isTold && std::all_of(broken.begin(), broken.end(), [](BrokenRule const& rule) {
                    return rule.isWarning;
                });
    }
    return holds ? kAllHeld : kFailed;
}

}  // namespace

std::function<int()> addRead(CLI::App& app) {
    auto const options = std::make_shared<ReadOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
