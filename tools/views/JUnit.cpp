#include "views/JUnit.h"

#include "analysis/Pending.h"
#include "analysis/Standings.h"
#include "rules/Verdict.h"
#include "text/TimeText.h"
#include "views/FailureText.h"
#include "views/JUnitSuites.h"
#include "views/StandingText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using junit::Came;
using junit::Case;
using junit::Suite;

// Empty where the record is of no file.
std::string fileOf(Record const& record) {
    return record.files.empty() ? std::string() : record.files.front();
}

// "phone.toml:12: ", with as much of it as is known.
std::string placeText(Record const& record, OptionalNumber<std::int32_t> line) {
    std::string const file = fileOf(record);
    if (!line) return file.empty() ? "" : file + ": ";
    return fmt::format("{}:{}: ", file.empty() ? "line" : file, *line);
}

// Who waits for whom, and what each thread was in.
std::vector<std::string> pendingLines(Record const& record) {
    std::vector<std::string> lines = standingLines(record, standingsOf(record));
    for (auto const& [thread, in] : pendingIn(record, timelineOf(record))) {
        std::string line = thread + ':';
        for (auto const& [label, since] : in)
            line += fmt::format(" in \"{}\" for {}", label, timeText(record.end - since));
        lines.push_back(std::move(line));
    }
    return lines;
}

Suite runOf(Record const& record) {
    Case ends{.group = "run", .name = "ends", .took = record.end - record.begin};
    ends.notes = failureLines(record);
    if (record.cutOff) {
        ends.came = Came::Erred;
        ends.type = "cut off";
        ends.message = "the run " + *record.cutOff;
        ends.told = pendingLines(record);
    }
    return {"run", {std::move(ends)}};
}

Suite expectationsOf(Record const& record) {
    Suite suite{"expectations", {}};
    std::map<std::pair<std::uint32_t, std::string>, int> times;  // of a client's step, which may be repeated
    for (Expectation const& each : record.expectations) {
        Case tested{.group = std::string(record.nameOfClient(each.client)),
                    .name = fmt::format("line {}: {}", each.line, nameOf(each.step)),
                    .line = each.line};
        int const time = ++times[{each.client, tested.name}];
        if (time > 1) tested.name += fmt::format(" ({})", time);
        if (each.request) {
            Request const& request = record.requests[*each.request];
            tested.took = request.ended.value_or(record.end) - request.began;
        }
        if (each.state != Expectation::State::Held) {
            tested.came = Came::Failed;
            tested.type = each.state == Expectation::State::Unmet ? "unmet" : "not reached";
            tested.message = record.textOf(each.unmet);
            tested.told = {placeText(record, tested.line) + tested.group + ": " +
                           std::string(nameOf(each.step)) + ": " + tested.message};
        }
        suite.cases.push_back(std::move(tested));
    }
    return suite;
}

std::string breachText(Record const& record, BrokenRule const& broken) {
    return fmt::format("{}{}: {}{}", placeText(record, broken.line), timeText(broken.time - record.begin),
                       broken.client ? std::string(record.nameOfClient(*broken.client)) + ": " : "",
                       broken.breach.text);
}

// The warnings of a rule, or its breaches, are told by its case.
void addBreach(Record const& record, BrokenRule const& broken, Case& tested) {
    if (broken.isWarning) {
        tested.notes.push_back("warning: " + breachText(record, broken));
        return;
    }
    tested.came = Came::Failed;
    tested.type = broken.rule->of == Rule::Of::Sequence ? "sequence" : "clients";
    if (tested.told.empty()) {
        tested.message = broken.breach.text;
        tested.line = broken.line;
    }
    tested.told.push_back(breachText(record, broken));
}

Suite rulesOf(Record const& record, Strictness const& strictness) {
    Suite suite{"rules", {}};
    std::map<std::string_view, std::size_t> places;
    for (Rule const& rule : rules()) {
        places[rule.name] = suite.cases.size();
        Case& tested = suite.cases.emplace_back();
        tested.group = "rules";
        tested.name = rule.name;
        auto const& allowed = strictness.allowed;
        bool const isAllowed = std::find(allowed.begin(), allowed.end(), rule.name) != allowed.end();
        if (!isAllowed && record.shows.contains(rule.needs)) continue;
        tested.came = Came::Skipped;
        tested.message = isAllowed ? "may be broken: --allow" : "the record lacks events that it needs";
    }
    for (BrokenRule const& broken : brokenRulesOf(record, strictness))
        addBreach(record, broken, suite.cases[places.at(broken.rule->name)]);
    return suite;
}

}  // namespace

void writeJUnit(Record const& record, Presentation const& presentation, std::ostream& out) {
    junit::Report report{
        .title = presentation.title,
        .file = fileOf(record),
        .took = record.end - record.begin,
        .suites = {runOf(record), expectationsOf(record), rulesOf(record, presentation.strictness)}};
    if (record.toWallClock) report.began = record.begin.time_since_epoch() + *record.toWallClock;
    if (record.seed) report.properties = {{"seed", std::to_string(*record.seed)}};
    junit::write(report, out);
}

}  // namespace zeqcam::tool
