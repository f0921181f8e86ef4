#include "views/ComparisonReport.h"

#include "text/Printable.h"
#include "views/SvgDistributions.h"
#include "views/Table.h"
#include "views/TerminalTimeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using Of = Subject::Of;

constexpr std::string_view kUnknown = "-";
constexpr double kShown = 0.05;  // milliseconds: what is less is told as 0.0

std::string msText(std::optional<double> ms) {
    return ms ? fmt::format("{:.1f}", *ms) : std::string(kUnknown);
}

// "+9.8 (+12 %)".
std::string changeText(Difference const& difference) {
    auto const ms = difference.ms();
    if (!ms) return std::string(kUnknown);
    if (std::abs(*ms) < kShown) return "0.0";
    std::string text = fmt::format("{:+.1f}", *ms);
    if (*difference.medianBefore > kShown)
        text += fmt::format(" ({:+.0f} %)", *ms / *difference.medianBefore * 100);
    return text;
}

std::string intervalText(Difference const& difference) {
    if (!difference.interval) return std::string(kUnknown);
    auto const& [low, high] = *difference.interval;
    if (std::max(std::abs(low), std::abs(high)) < kShown) return "0.0";
    return fmt::format("{:+.1f} to {:+.1f}", low, high);
}

std::string causeText(Difference const& difference) {
    if (!difference.cause || std::abs(difference.cause->ms) < kShown) return std::string(kUnknown);
    return fmt::format("{} {:+.1f}", printable(difference.cause->link), difference.cause->ms);
}

std::string failedText(Difference const& difference) {
    auto const count = [](Series::Measured const* measured) {
        return measured == nullptr ? 0 : measured->failed.size();
    };
    std::size_t const before = count(difference.before);
    std::size_t const after = count(difference.after);
    return before + after == 0 ? std::string(kUnknown) : fmt::format("{} -> {}", before, after);
}

bool takesTime(Difference const& difference) {
    return difference.medianBefore.value_or(0) >= kShown || difference.medianAfter.value_or(0) >= kShown;
}

bool failsOtherwise(Difference const& difference) {
    return difference.before != nullptr && difference.after != nullptr &&
           difference.before->failed.size() != difference.after->failed.size();
}

// Of requests all that take time are told, of calls those that have changed.
bool isWorthALine(Difference const& difference) {
    if (failsOtherwise(difference)) return true;
    if (!takesTime(difference)) return false;
    auto const ms = difference.ms();
    return difference.subject.of == Of::Request || !ms ||
           (std::abs(*ms) >= kShown && (difference.isSure() || !difference.interval));
}

std::string tableOf(std::vector<Difference const*> const& rows, bool hasCauses,
                    Presentation const& presentation) {
    auto const any = [&](auto const& has) { return std::any_of(rows.begin(), rows.end(), has); };
    bool const hasIntervals = any([](Difference const* each) { return each->interval.has_value(); });
    bool const hasFailed = any([](Difference const* each) { return failedText(*each) != kUnknown; });
    std::vector<Table::Column> columns{
        {"WHAT"}, {"BEFORE", Align::Right}, {"AFTER", Align::Right}, {"CHANGE", Align::Right}};
    if (hasIntervals) columns.push_back({"WITH 95 %", Align::Right});
    if (hasFailed) columns.push_back({"FAILED", Align::Right});
    if (hasCauses) columns.push_back({"MOST OF IT"});
    Table table(std::move(columns));
    for (Difference const* each : rows) {
        std::vector<std::string> cells{printable(textOf(each->subject)), msText(each->medianBefore),
                                       msText(each->medianAfter), changeText(*each)};
        if (hasIntervals) cells.push_back(intervalText(*each));
        if (hasFailed) cells.push_back(failedText(*each));
        if (hasCauses) cells.push_back(causeText(*each));
        table.add(std::move(cells), each->isSure() && each->interval->low >= kShown);
    }
    return table.text(Ink{presentation.colours}, presentation.columns);
}

std::string runsText(Series const& series) {
    std::size_t const runs = series.runs().size();
    std::string text = fmt::format("{} {}", fmt::group_digits(runs), runs == 1 ? "run" : "runs");
    if (std::size_t const failed = series.failedRuns().size(); failed > 0)
        text += fmt::format(", {} failed", failed);
    if (series.asked > runs) text += fmt::format(", {} were not run", fmt::group_digits(series.asked - runs));
    return text;
}

// "medians of 200 runs".
std::string figuresText(Series const& series) {
    std::size_t const runs = series.runs().size();
    return runs == 1 ? "a single run" : fmt::format("medians of {} runs", fmt::group_digits(runs));
}

// A single run has no median.
std::string requestsTitle(Compared const& compared) {
    std::string const before = figuresText(compared.before);
    std::string const after = figuresText(compared.after);
    if (before == after) return fmt::format("Requests in milliseconds, {} on each side", before);
    return fmt::format("Requests in milliseconds, {} before and {} after", before, after);
}

// How far it can be relied on.
std::string confidenceText(Compared const& compared) {
    std::size_t const fewest = std::min(compared.before.runs().size(), compared.after.runs().size());
    if (fewest <= 1) return "A single run on a side: no statement on chance.\n";
    if (fewest < kFewestForConfidence)
        return fmt::format("Fewer than {} runs on a side: no statement on chance.\n", kFewestForConfidence);
    return "95 %: the percentile bootstrap of the difference of the medians.\n";
}

std::string orderText(Comparison const& comparison) {
    std::string text;
    for (Subject const& each : comparison.appeared) text += "appeared: " + printable(textOf(each)) + '\n';
    for (Subject const& each : comparison.gone) text += "gone: " + printable(textOf(each)) + '\n';
    for (Reordered const& each : comparison.reordered) {
        text += fmt::format("order: {} now begins {} {}\n", printable(textOf(each.subject)),
                            each.isNowBefore ? "before" : "after", printable(textOf(each.other)));
    }
    return text;
}

}  // namespace

void writeComparisonReport(Compared const& compared, Presentation const& presentation, std::ostream& out) {
    Ink const ink{presentation.colours};
    out << "before: " << printable(compared.nameBefore) << ", " << runsText(compared.before) << '\n'
        << "after:  " << printable(compared.nameAfter) << ", " << runsText(compared.after) << '\n';
    if (compared.areSingleRuns()) {
        auto const& [before, after] = std::tie(compared.shownBefore, compared.shownAfter);
        writeTerminalTimelines({{"before: " + compared.nameBefore, &*before.record, before.selection},
                                {"after: " + compared.nameAfter, &*after.record, after.selection}},
                               presentation, out);
    } else if (std::max(compared.before.runs().size(), compared.after.runs().size()) == 1) {
        out << "No timelines: of a side no more than figures is known.\n";
    }
    struct Part {
        Of of;
        std::string title;
    };
    for (auto const& [of, title] :
         {Part{Of::Request, requestsTitle(compared)}, Part{Of::Sensor, "Calls on sensors that changed"},
          Part{Of::Service, "Calls on services that changed"}}) {
        std::vector<Difference const*> rows;
        for (Difference const& each : compared.comparison.differences) {
            if (each.subject.of == of && isWorthALine(each)) rows.push_back(&each);
        }
        if (rows.empty()) continue;
        out << '\n' << ink.bold(title) << '\n' << tableOf(rows, of == Of::Request, presentation);
    }
    std::string const order = orderText(compared.comparison);
    out << '\n' << order << (order.empty() ? "" : "\n") << confidenceText(compared);
}

void writeComparisonSvg(Compared const& compared, Presentation const& presentation, std::ostream& out) {
    DistributionPicture picture{.title = presentation.title,
                                .note = "times in milliseconds",
                                .above = compared.nameBefore,
                                .below = compared.nameAfter,
                                .rows = {},
                                .full = presentation.full};
    for (Difference const& each : compared.comparison.differences) {
        if (each.subject.of == Of::Service || (!each.medianBefore && !each.medianAfter)) continue;
        Distribution& row = picture.rows.emplace_back();
        row.title = textOf(each.subject);
        row.note = fmt::format("{} -> {} ms, {}", msText(each.medianBefore), msText(each.medianAfter),
                               changeText(each));
        if (each.medianBefore) row.above = sortedTimes(*each.before);
        if (each.medianAfter) row.below = sortedTimes(*each.after);
    }
    writeDistributions(picture, out);
}

}  // namespace zeqcam::tool
