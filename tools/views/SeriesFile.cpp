#include "views/SeriesFile.h"

#include "series/Statistics.h"
#include "text/JsonText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using Of = Subject::Of;

// Of the form: grows when a program that reads it must change.
constexpr int kSeriesForm = 1;

ordered_json seedsOf(Series const& series, std::vector<std::uint32_t> const& runs) {
    ordered_json seeds = ordered_json::array();
    for (std::uint32_t const run : runs) seeds.push_back(series.runs()[run]);
    return seeds;
}

// Between two samples there are more digits than the samples have.
double rounded(double ms) {
    constexpr double kToAMicrosecond = 1000;
    return std::round(ms * kToAMicrosecond) / kToAMicrosecond;
}

void addFigures(Series const& series, Series::Measured const& measured, ordered_json& into) {
    into["nth"] = measured.subject.nth;
    into["line"] = measured.line ? ordered_json(*measured.line) : ordered_json();
    into["runs"] = measured.seen;
    std::vector<double> const sorted = sortedTimes(measured);
    Spread const spread = sorted.empty() ? Spread() : spreadOf(sorted);
    auto const orNull = [&](auto value) { return sorted.empty() ? ordered_json() : ordered_json(value); };
    into["shortest_ms"] = orNull(spread.shortest);
    into["median_ms"] = orNull(rounded(spread.median));
    into["p90_ms"] = orNull(rounded(spread.p90));
    into["p99_ms"] = orNull(rounded(spread.p99));
    into["longest_ms"] = orNull(spread.longest);
    Series::Sample const* const longest = longestOf(measured);
    into["longest_seed"] = longest ? ordered_json(series.runs()[longest->run]) : ordered_json();
    into["failed_seeds"] = seedsOf(series, measured.failed);
    ordered_json::array_t times(series.runs().size());
    ordered_json::array_t begins(series.runs().size());
    for (Series::Sample const& sample : measured.samples) {
        times[sample.run] = sample.ms;
        begins[sample.run] = rounded(sample.beganMs);
    }
    into["samples_ms"] = std::move(times);
    into["began_ms"] = std::move(begins);
}

// `who`, `what`: what the subject's parts are called.
ordered_json figuresOf(Series const& series, Of of, char const* who, char const* what) {
    ordered_json all = ordered_json::array();
    for (Series::Measured const* measured : measuredOf(series, of)) {
        ordered_json& each =
            all.emplace_back(ordered_json{{who, measured->subject.who}, {what, measured->subject.what}});
        addFigures(series, *measured, each);
    }
    return all;
}

ordered_json brokenRulesOf(Series const& series) {
    ordered_json all = ordered_json::array();
    for (Series::Measured const* measured : measuredOf(series, Of::Rule)) {
        all.push_back(
            {{"rule", measured->subject.what}, {"failed_seeds", seedsOf(series, measured->failed)}});
    }
    return all;
}

ordered_json failedRunsOf(Series const& series) {
    ordered_json all = ordered_json::array();
    for (Series::FailedRun const& each : series.failedRuns()) {
        all.push_back({{"seed", series.runs()[each.run]}, {"cut_off", each.isCutOff}, {"reason", each.why}});
    }
    return all;
}

// A line for each key, and for each object of a list: samples side by side.
void write(ordered_json const& result, std::ostream& out) {
    char const* separator = "{\n";
    for (auto const& [key, value] : result.items()) {
        out << separator << jsonText(key) << ": ";
        separator = ",\n";
        bool const isOfObjects = value.is_array() && !value.empty() && value.front().is_object();
        if (!isOfObjects) {
            out << jsonText(value);
            continue;
        }
        for (std::size_t i = 0; i < value.size(); ++i)
            out << (i == 0 ? "[\n  " : ",\n  ") << jsonText(value[i]);
        out << "\n]";
    }
    out << "\n}\n";
}

}  // namespace

ordered_json resultOf(Series const& series) {
    return {{"form", kSeriesForm},
            {"file", series.file},
            {"clock", nameOf(series.clock)},
            {"runs", series.runs().size()},
            {"runs_by", series.runsBy == Series::RunsBy::Seed ? "seed" : "cycle"},
            {"seeds", series.runs()},
            {"verdict", series.failedRuns().empty() ? "passed" : "failed"},
            {"failed_runs", failedRunsOf(series)},
            {"repeated_by", series.repeatedBy.empty() ? ordered_json() : ordered_json(series.repeatedBy)},
            {"requests", figuresOf(series, Of::Request, "client", "request")},
            {"sensors", figuresOf(series, Of::Sensor, "sensor", "call")},
            {"services", figuresOf(series, Of::Service, "service", "call")},
            {"expectations", figuresOf(series, Of::Expectation, "client", "step")},
            {"links", figuresOf(series, Of::Link, "request", "link")},
            {"broken_rules", brokenRulesOf(series)}};
}

void writeSeriesFile(Series const& series, std::ostream& out) {
    write(resultOf(series), out);
}

}  // namespace zeqcam::tool
