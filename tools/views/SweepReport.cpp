#include "views/SweepReport.h"

#include "series/Statistics.h"
#include "text/JsonText.h"
#include "text/Printable.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;

constexpr double kToldMs = 0.05;  // milliseconds, which are told as 0.1

std::string barOf(double time, double longest, int cells, Glyphs glyphs) {
    auto const count = longest <= 0 ? 0 : static_cast<int>(std::lround(time / longest * cells));
    std::string bar;
    for (int i = 0; i < count; ++i) bar += glyphs == Glyphs::Utf8 ? "█" : "#";
    return bar;
}

std::string lastOf(std::string const& path) {
    return path.substr(path.find('.') == std::string::npos ? 0 : path.find('.') + 1);
}

Table tableOf(Sweep const& sweep, SweptRequest const& request, Presentation const& presentation) {
    constexpr int kBar = 40;
    bool const areSeveral = sweep.repeat > 1;
    std::vector<Table::Column> columns;
    for (SweepAxis const& axis : sweep.axes) columns.push_back({printable(lastOf(axis.path)), Align::Right});
    columns.push_back({areSeveral ? "MEDIAN" : "TIME", Align::Right});
    if (areSeveral) columns.insert(columns.end(), {{"90%", Align::Right}, {"LONGEST", Align::Right}});
    columns.push_back({"FAILED", Align::Right});
    columns.push_back({""});
    Table table(std::move(columns));
    for (SweepPoint const& point : sweep.points) {
        std::vector<std::string> cells;
        for (std::string const& value : point.values) cells.push_back(printable(value));
        Series::Measured const* const measured = point.series.find(request.subject);
        bool const isKnown = measured && !measured->samples.empty();
        Spread const spread = isKnown ? spreadOf(sortedTimes(*measured)) : Spread();
        auto const time = [&](double ms) { return isKnown ? fmt::format("{:.1f}", ms) : std::string("-"); };
        cells.push_back(time(spread.median));
        if (areSeveral) cells.insert(cells.end(), {time(spread.p90), time(spread.longest)});
        std::size_t const failed = measured ? measured->failed.size() : 0;
        cells.push_back(failed == 0 ? "" : std::to_string(failed));
        cells.push_back(barOf(spread.median, request.most, kBar, presentation.glyphs));
        table.add(std::move(cells), failed > 0);
    }
    return table;
}

ordered_json requestJson(Series const& series, Series::Measured const& measured) {
    ordered_json json{
        {"client", measured.subject.who}, {"request", measured.subject.what}, {"nth", measured.subject.nth}};
    bool const isKnown = !measured.samples.empty();
    Spread const spread = isKnown ? spreadOf(sortedTimes(measured)) : Spread();
    auto const time = [&](double ms) { return isKnown ? ordered_json(ms) : ordered_json(); };
    json["median_ms"] = time(spread.median);
    json["p90_ms"] = time(spread.p90);
    json["p99_ms"] = time(spread.p99);
    json["longest_ms"] = time(spread.longest);
    json["failed_seeds"] = ordered_json::array();
    for (std::uint32_t const run : measured.failed) json["failed_seeds"].push_back(series.runs()[run]);
    return json;
}

}  // namespace

std::string valuesText(SweepPoint const& point) {
    std::string text;
    for (std::string const& value : point.values) text += (text.empty() ? "" : " ") + value;
    return text;
}

SweptRuns runsIn(Sweep const& sweep) {
    SweptRuns runs;
    runs.asked = sweep.repeat;
    for (SweepAxis const& axis : sweep.axes) runs.asked *= axis.values.size();
    for (SweepPoint const& point : sweep.points) {
        runs.done += point.series.runs().size();
        runs.failed += point.series.failedRuns().size();
    }
    return runs;
}

void writeSweepReport(Sweep const& sweep, Presentation const& presentation, std::ostream& out) {
    Ink const ink{presentation.colours};
    std::string same;
    for (SweptRequest const& request : sweptRequestsOf(sweep)) {
        std::string const name = printable(textOf(request.subject));
        if (request.change() < kToldMs) {
            if (request.most >= kToldMs)
                same += fmt::format("{}{} {:.1f}", same.empty() ? "" : ", ", name, request.most);
            continue;
        }
        out << ink.bold(fmt::format("{}, from {:.1f} to {:.1f} ms", name, request.least, request.most))
            << '\n'
            << tableOf(sweep, request, presentation).text(ink, presentation.columns) << '\n';
    }
    if (!same.empty()) out << "The same for all values: " << same << '\n';
    SweptRuns const runs = runsIn(sweep);
    out << fmt::format("{} run{}, {} failed", runs.done, runs.done == 1 ? "" : "s", runs.failed)
        << (runs.done < runs.asked ? fmt::format(", and {} were not run\n", runs.asked - runs.done) : "\n");
    for (SweepPoint const& point : sweep.points) {
        if (point.series.failedRuns().empty()) continue;
        std::string values;
        for (std::size_t i = 0; i < sweep.axes.size(); ++i)
            values += (i == 0 ? "" : " ") + sweep.axes[i].path + '=' + point.values[i];
        out << ink.red(printable(fmt::format("  {}: {}", values, point.series.failedRuns().front().why)))
            << '\n';
    }
}

void writeSweepFile(Sweep const& sweep, std::ostream& out) {
    ordered_json json{{"file", sweep.file}, {"set", ordered_json::array()}, {"runs", sweep.repeat}};
    for (SweepAxis const& axis : sweep.axes)
        json["set"].push_back({{"path", axis.path}, {"values", axis.values}});
    json["points"] = ordered_json::array();
    for (SweepPoint const& point : sweep.points) {
        ordered_json one{{"values", point.values},
                         {"failed_seeds", ordered_json::array()},
                         {"requests", ordered_json::array()}};
        for (Series::FailedRun const& failed : point.series.failedRuns())
            one["failed_seeds"].push_back(point.series.runs()[failed.run]);
        for (Series::Measured const* const each : measuredOf(point.series, Subject::Of::Request))
            one["requests"].push_back(requestJson(point.series, *each));
        json["points"].push_back(std::move(one));
    }
    out << jsonText(json, 2) << '\n';
}

}  // namespace zeqcam::tool
