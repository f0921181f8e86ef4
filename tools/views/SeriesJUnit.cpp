#include "views/SeriesJUnit.h"

#include "rules/Rule.h"
#include "series/Statistics.h"
#include "views/JUnitSuites.h"
#include "views/SeriesReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using junit::Came;
using junit::Case;
using Of = Subject::Of;

std::chrono::nanoseconds nanosecondsOf(double ms) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double, std::milli>(ms));
}

// "3 of 100 runs: seeds 7, 19, 44".
std::string inRuns(Series const& series, std::vector<std::uint32_t> const& runs) {
    return fmt::format("{} of {} runs: {}", runs.size(), series.runs().size(), runsText(series, runs));
}

// In those runs, the first of which is repeated by the command that is told.
void fail(Case& tested, Came came, std::string type, std::vector<std::uint32_t> const& runs,
          Series const& series) {
    tested.came = came;
    tested.type = std::move(type);
    tested.message = inRuns(series, runs);
    tested.told = {tested.message};
    if (!series.repeatedBy.empty())
        tested.told.push_back(fmt::format("{} {}", series.repeatedBy, series.runs()[runs.front()]));
}

// Whether every run came to its end.
Case endsOf(Series const& series) {
    Case ends{.group = "run", .name = "ends"};
    std::vector<std::uint32_t> cutOff;
    for (Series::FailedRun const& each : series.failedRuns()) {
        if (!each.isCutOff) continue;
        if (cutOff.empty()) ends.notes.push_back(each.why);
        cutOff.push_back(each.run);
    }
    if (!cutOff.empty()) fail(ends, Came::Erred, "cut off", cutOff, series);
    return ends;
}

std::vector<Case> expectationsOf(Series const& series) {
    std::vector<Case> cases;
    for (Series::Measured const* each : measuredOf(series, Of::Expectation)) {
        Subject const& subject = each->subject;
        std::string name = each->line ? fmt::format("line {}: {}", *each->line, subject.what) : subject.what;
        if (subject.nth > 1) name += fmt::format(" ({})", subject.nth);
        Case& tested =
            cases.emplace_back(Case{.group = subject.who, .name = std::move(name), .line = each->line});
        if (std::vector<double> const sorted = sortedTimes(*each); !sorted.empty())
            tested.took = nanosecondsOf(medianOf(sorted));
        if (!each->failed.empty()) fail(tested, Came::Failed, "unmet", each->failed, series);
    }
    return cases;
}

std::vector<Case> rulesOf(Series const& series, Strictness const& strictness) {
    std::vector<Case> cases;
    for (Rule const& rule : rules()) {
        Case& tested = cases.emplace_back(Case{.group = "rules", .name = std::string(rule.name)});
        auto const& allowed = strictness.allowed;
        if (std::find(allowed.begin(), allowed.end(), rule.name) != allowed.end()) {
            tested.came = Came::Skipped;
            tested.message = "may be broken: --allow";
            continue;
        }
        auto const* const broken = series.find({.of = Of::Rule, .who = {}, .what = std::string(rule.name)});
        if (broken == nullptr) continue;
        fail(tested, Came::Failed, rule.of == Rule::Of::Sequence ? "sequence" : "clients", broken->failed,
             series);
    }
    return cases;
}

}  // namespace

void writeSeriesJUnit(Series const& series, Presentation const& presentation, std::ostream& out) {
    junit::write({.title = presentation.title,
                  .file = series.file,
                  .properties = {{"runs", std::to_string(series.runs().size())}},
                  .suites = {{"run", {endsOf(series)}},
                             {"expectations", expectationsOf(series)},
                             {"rules", rulesOf(series, presentation.strictness)}}},
                 out);
}

}  // namespace zeqcam::tool
