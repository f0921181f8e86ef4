#include "views/ComparisonReport.h"

#include "text/JsonText.h"

#include <nlohmann/json.hpp>

#include <string>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using Of = Subject::Of;

// Grows when a program that reads it must change.
constexpr int kComparisonForm = 1;

ordered_json orNull(std::optional<double> number) {
    return number ? ordered_json(*number) : ordered_json();
}

ordered_json sideOf(std::string const& name, Series const& series) {
    return {{"name", name},
            {"clock", nameOf(series.clock)},
            {"runs", series.runs().size()},
            {"failed_runs", series.failedRuns().size()}};
}

ordered_json sideOf(Series::Measured const* measured, std::optional<double> median) {
    if (measured == nullptr) return {};
    return {{"runs", measured->seen}, {"median_ms", orNull(median)}, {"failed", measured->failed.size()}};
}

ordered_json differencesOf(Comparison const& comparison, Of of, char const* who, char const* what) {
    ordered_json all = ordered_json::array();
    for (Difference const& each : comparison.differences) {
        if (each.subject.of != of) continue;
        auto const& interval = each.interval;
        all.push_back({{who, each.subject.who},
                       {what, each.subject.what},
                       {"nth", each.subject.nth},
                       {"before", sideOf(each.before, each.medianBefore)},
                       {"after", sideOf(each.after, each.medianAfter)},
                       {"change_ms", orNull(each.ms())},
                       {"low_ms", interval ? ordered_json(interval->low) : ordered_json()},
                       {"high_ms", interval ? ordered_json(interval->high) : ordered_json()},
                       {"sure", each.isSure()}});
        if (of != Of::Request) continue;
        all.back()["cause"] = each.cause
                                  ? ordered_json{{"link", each.cause->link}, {"change_ms", each.cause->ms}}
                                  : ordered_json();
    }
    return all;
}

ordered_json textsOf(std::vector<Subject> const& subjects) {
    ordered_json all = ordered_json::array();
    for (Subject const& each : subjects) all.push_back(textOf(each));
    return all;
}

ordered_json orderOf(Comparison const& comparison) {
    ordered_json all = ordered_json::array();
    for (Reordered const& each : comparison.reordered) {
        all.push_back({{"request", textOf(each.subject)},
                       {"now_begins", each.isNowBefore ? "before" : "after"},
                       {"other", textOf(each.other)}});
    }
    return all;
}

}  // namespace

void writeComparisonFile(Compared const& compared, std::ostream& out) {
    Comparison const& comparison = compared.comparison;
    ordered_json const result{{"form", kComparisonForm},
                              {"before", sideOf(compared.nameBefore, compared.before)},
                              {"after", sideOf(compared.nameAfter, compared.after)},
                              {"confidence", kConfidence},
                              {"method", "percentile bootstrap of the difference of medians"},
                              {"requests", differencesOf(comparison, Of::Request, "client", "request")},
                              {"sensors", differencesOf(comparison, Of::Sensor, "sensor", "call")},
                              {"services", differencesOf(comparison, Of::Service, "service", "call")},
                              {"appeared", textsOf(comparison.appeared)},
                              {"gone", textsOf(comparison.gone)},
                              {"reordered", orderOf(comparison)}};
    out << jsonText(result, 2) << '\n';
}

}  // namespace zeqcam::tool
