#include "views/SweepPage.h"

#include "series/Statistics.h"
#include "text/JsonText.h"
#include "views/Page.h"
#include "views/SeriesPage.h"
#include "views/SweepReport.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;

// As many as colours tell apart.
constexpr std::size_t kMostSideBySide = 6;

std::string pathsText(Sweep const& sweep) {
    std::string text;
    for (SweepAxis const& axis : sweep.axes) text += (text.empty() ? "" : ", ") + axis.path;
    return text;
}

ordered_json sweepVerdict(SweptRuns const& runs) {
    std::string text = fmt::format("{} of {} runs failed", runs.failed, runs.done);
    if (runs.done < runs.asked) text += fmt::format(", and {} were not run", runs.asked - runs.done);
    return {{"passed", runs.failed == 0}, {"text", std::move(text)}};
}

ordered_json sweepFacts(Sweep const& sweep) {
    ordered_json facts = ordered_json::array();
    facts.push_back({"file", sweep.file});
    for (SweepAxis const& axis : sweep.axes) {
        constexpr std::size_t kMostNamed = 10;
        std::string values;
        for (std::size_t i = 0; i < std::min(kMostNamed, axis.values.size()); ++i)
            values += (i == 0 ? "" : ", ") + axis.values[i];
        if (axis.values.size() > kMostNamed)
            values += fmt::format(" and {} more to {}", axis.values.size() - kMostNamed, axis.values.back());
        facts.push_back({axis.path, values});
    }
    facts.push_back({"runs with each", sweep.repeat});
    if (!sweep.points.empty()) facts.push_back({"clock", nameOf(sweep.points.front().series.clock)});
    return facts;
}

ordered_json msColumn(char const* name) {
    return {{"name", name}, {"unit", "ms"}};
}

// What the values change the most first.
ordered_json changesTable(Sweep const& sweep) {
    ordered_json rows = ordered_json::array();
    for (SweptRequest const& each : sweptRequestsOf(sweep)) {
        if (each.longest > 0)
            rows.push_back({textOf(each.subject), each.change(), each.least, each.most, each.longest});
    }
    return {{"title", "What the values change"},
            {"note", sweep.repeat > 1 ? "The least and the most of the medians, and the longest of all runs."
                                      : "Of a single run with each value."},
            {"columns",
             {{{"name", "request"}},
              msColumn("change"),
              msColumn("least"),
              msColumn("most"),
              msColumn("longest")}},
            {"rows", std::move(rows)}};
}

// Of each request with each value a row. One run has no median.
ordered_json valuesTable(Sweep const& sweep) {
    bool const areSeveral = sweep.repeat > 1;
    ordered_json columns =
        ordered_json::array({{{"name", "request"}}, {{"name", pathsText(sweep)}}, {{"name", "failed"}}});
    columns.push_back(msColumn(areSeveral ? "median" : "took"));
    if (areSeveral) {
        columns.push_back(msColumn("90 %"));
        columns.push_back(msColumn("longest"));
    }
    ordered_json rows = ordered_json::array();
    for (SweptRequest const& request : sweptRequestsOf(sweep)) {
        if (request.longest <= 0) continue;
        for (SweepPoint const& point : sweep.points) {
            Series::Measured const* const measured = point.series.find(request.subject);
            if (measured == nullptr) continue;
            ordered_json row{textOf(request.subject), valuesText(point), measured->failed.size()};
            bool const isKnown = !measured->samples.empty();
            Spread const spread = isKnown ? spreadOf(sortedTimes(*measured)) : Spread();
            for (double const ms : {spread.median, spread.p90, spread.longest}) {
                if (row.size() < columns.size()) row.push_back(isKnown ? ordered_json(ms) : ordered_json());
            }
            rows.push_back(std::move(row));
        }
    }
    return {{"title", "With each value"}, {"columns", std::move(columns)}, {"rows", std::move(rows)}};
}

}  // namespace

void writeSweepPage(Sweep const& sweep, Presentation const& presentation, std::ostream& out) {
    std::vector<NamedSeries> values;
    values.reserve(sweep.points.size());
    for (SweepPoint const& point : sweep.points) values.push_back({valuesText(point), &point.series});
    bool const areFew = values.size() <= kMostSideBySide;
    std::vector<PagePart> parts = pageParts(values);
    std::erase_if(parts, [&](PagePart const& part) {
        return part.name == "facts" || part.name == "verdict" || (part.name == "distributions" && !areFew);
    });
    parts.push_back({"facts", jsonText(sweepFacts(sweep))});
    parts.push_back({"verdict", jsonText(sweepVerdict(runsIn(sweep)))});
    parts.push_back(plotsPart(pathsText(sweep), values));
    parts.push_back({"overview", jsonText(ordered_json::array({changesTable(sweep)}))});
    if (!areFew) parts.push_back({"values", jsonText(valuesTable(sweep))});
    if (!presentation.sources.empty()) parts.push_back(scenarioPart(presentation.sources));
    writePage(presentation.title, parts, out);
}

}  // namespace zeqcam::tool
