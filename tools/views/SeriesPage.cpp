#include "views/SeriesPage.h"

#include "series/SeriesBlame.h"
#include "series/Statistics.h"
#include "text/JsonText.h"
#include "views/BlamePart.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using Of = Subject::Of;
using Measured = Series::Measured;

std::string_view wordFor(Series::RunsBy runsBy) {
    return runsBy == Series::RunsBy::Seed ? "seed" : "cycle";
}

// "seeds 7 19 44 and 12 more".
std::string namedRuns(Series const& series, std::vector<std::uint32_t> const& runs) {
    constexpr std::size_t kMost = 20;
    std::string text = std::string(wordFor(series.runsBy)) + (runs.size() == 1 ? "" : "s");
    for (std::size_t i = 0; i < std::min(kMost, runs.size()); ++i)
        text += fmt::format(" {}", series.runs()[runs[i]]);
    return runs.size() <= kMost ? text : text + fmt::format(" and {} more", runs.size() - kMost);
}

// "before: ", where there are several.
std::string prefixOf(NamedSeries const& set, std::size_t sets) {
    return sets > 1 ? set.name + ": " : std::string();
}

// What the runs failed by, each with those that did.
void addFindings(NamedSeries const& set, std::string const& prefix, ordered_json& findings) {
    std::map<std::string, std::vector<std::uint32_t>> runs;
    for (Series::FailedRun const& failed : set.series->failedRuns()) runs[failed.why].push_back(failed.run);
    for (auto const& [why, failed] : runs) {
        findings.push_back({{"weight", "error"},
                            {"what", fmt::format("{} of {}", failed.size(), set.series->runs().size())},
                            {"text", fmt::format("{}{} ({})", prefix, why, namedRuns(*set.series, failed))}});
    }
}

ordered_json findingsOf(std::vector<NamedSeries> const& sets) {
    ordered_json findings = ordered_json::array();
    for (NamedSeries const& set : sets) addFindings(set, prefixOf(set, sets.size()), findings);
    return findings;
}

ordered_json verdictOf(std::vector<NamedSeries> const& sets) {
    std::size_t runs = 0;
    std::size_t failed = 0;
    for (NamedSeries const& set : sets) {
        runs += set.series->runs().size();
        failed += set.series->failedRuns().size();
    }
    return {{"passed", failed == 0}, {"text", fmt::format("{} of {} runs failed", failed, runs)}};
}

ordered_json factsOf(std::vector<NamedSeries> const& sets) {
    ordered_json facts = ordered_json::array();
    for (NamedSeries const& set : sets) {
        std::string const name = prefixOf(set, sets.size());
        facts.push_back({name + "file", set.series->file});
        facts.push_back({name + "runs", set.series->runs().size()});
        facts.push_back({name + "clock", nameOf(set.series->clock)});
    }
    return facts;
}

// What any of the sets has measured of this kind, each once.
std::vector<Subject> subjectsOf(std::vector<NamedSeries> const& sets, Of of) {
    std::vector<Subject> subjects;
    std::set<Subject> known;
    for (NamedSeries const& set : sets) {
        for (Measured const* const each : measuredOf(*set.series, of)) {
            if (known.insert(each->subject).second) subjects.push_back(each->subject);
        }
    }
    return subjects;
}

// "+3.20 ms, with 95 % between +2.10 and +4.00"; null where one of the two did not measure it.
ordered_json differenceOf(std::vector<std::vector<double>> const& sorted) {
    if (sorted.size() != 2 || sorted[0].empty() || sorted[1].empty()) return {};
    std::string const difference = fmt::format("{:+.2f} ms", medianOf(sorted[1]) - medianOf(sorted[0]));
    if (std::max(sorted[0].size(), sorted[1].size()) == 1) return difference;
    if (std::min(sorted[0].size(), sorted[1].size()) < kFewestForConfidence)
        return difference + ", of too few runs to tell it from chance";
    Interval const interval = differenceOfMedians(sorted[0], sorted[1]);
    return fmt::format("{}, with {:.0f} % between {:+.2f} and {:+.2f}", difference, kConfidence * 100,
                       interval.low, interval.high);
}

ordered_json distributionOf(std::vector<NamedSeries> const& sets, Of of, std::string_view title) {
    ordered_json rows = ordered_json::array();
    for (Subject const& subject : subjectsOf(sets, of)) {
        std::vector<std::vector<double>> sorted;
        std::vector<std::size_t> failed;
        bool isToldOf = false;
        for (NamedSeries const& set : sets) {
            Measured const* const measured = set.series->find(subject);
            sorted.push_back(measured ? sortedTimes(*measured) : std::vector<double>());
            failed.push_back(measured ? measured->failed.size() : 0);
            isToldOf = isToldOf || failed.back() > 0 || (!sorted.back().empty() && sorted.back().back() > 0);
        }
        if (!isToldOf) continue;
        rows.push_back({{"name", textOf(subject)},
                        {"samples", sorted},
                        {"failed", failed},
                        {"note", differenceOf(sorted)}});
    }
    std::vector<std::string> names;
    names.reserve(sets.size());
    for (NamedSeries const& set : sets) names.push_back(set.name);
    return {{"title", title},
            {"note", "What took no time in any run is left out."},
            {"sets", std::move(names)},
            {"rows", std::move(rows)}};
}

ordered_json distributionsOf(std::vector<NamedSeries> const& sets) {
    constexpr std::array<std::pair<Of, std::string_view>, 3> kKinds{{{Of::Request, "Requests"},
                                                                     {Of::Sensor, "Power calls of sensors"},
                                                                     {Of::Service, "Calls of services"}}};
    ordered_json all = ordered_json::array();
    for (auto const& [of, title] : kKinds) {
        ordered_json distribution = distributionOf(sets, of, title);
        if (!distribution["rows"].empty()) all.push_back(std::move(distribution));
    }
    return all;
}

ordered_json failureTable(std::vector<NamedSeries> const& sets) {
    ordered_json rows = ordered_json::array();
    for (NamedSeries const& set : sets) {
        for (Measured const& each : set.series->measured()) {
            if (each.failed.empty()) continue;
            rows.push_back({prefixOf(set, sets.size()) + textOf(each.subject), each.failed.size(), each.seen,
                            namedRuns(*set.series, each.failed)});
        }
    }
    return {{"title", "What failed"},
            {"columns", {{{"name", "what"}}, {{"name", "failed"}}, {{"name", "seen"}}, {{"name", "in"}}}},
            {"rows", std::move(rows)}};
}

// The number that the whole text is; null: it is none.
ordered_json jsonNumber(std::string const& text) {
    ordered_json number = ordered_json::parse(text, nullptr, false);
    return number.is_number() ? number : ordered_json();
}

// Numbers where all are.
ordered_json axisValues(std::vector<NamedSeries> const& values) {
    ordered_json numbers = ordered_json::array();
    ordered_json names = ordered_json::array();
    for (NamedSeries const& value : values) {
        names.push_back(value.name);
        numbers.push_back(jsonNumber(value.name));
    }
    bool const areNumbers = std::none_of(numbers.begin(), numbers.end(),
                                         [](ordered_json const& number) { return number.is_null(); });
    return areNumbers ? numbers : names;
}

// As many as colours tell apart.
constexpr std::size_t kMostLinesOfAPlot = 6;

struct PlottedLine {
    ordered_json json;
    double change;  // of its medians
};

// What changes the most first; not what took no time.
std::vector<PlottedLine> plottedLines(std::vector<NamedSeries> const& values) {
    std::vector<PlottedLine> lines;
    for (Subject const& subject : subjectsOf(values, Of::Request)) {
        ordered_json line{{"name", textOf(subject)}};
        std::vector<double> medians;
        double longest = 0;
        for (NamedSeries const& value : values) {
            Measured const* const measured = value.series->find(subject);
            std::vector<double> const times = measured ? sortedTimes(*measured) : std::vector<double>();
            for (auto const& [member, share] : {std::pair{"y", 0.5}, {"low", 0.1}, {"high", 0.9}})
                line[member].push_back(times.empty() ? ordered_json()
                                                     : ordered_json(quantileOf(times, share)));
            if (times.empty()) continue;
            medians.push_back(medianOf(times));
            longest = std::max(longest, times.back());
        }
        if (longest <= 0) continue;
        auto const [least, most] = std::minmax_element(medians.begin(), medians.end());
        lines.push_back({std::move(line), *most - *least});
    }
    std::stable_sort(lines.begin(), lines.end(), [](PlottedLine const& left, PlottedLine const& right) {
        return left.change > right.change;
    });
    return lines;
}

}  // namespace

std::vector<PagePart> pageParts(std::vector<NamedSeries> const& sets) {
    std::vector<PagePart> parts{{"facts", jsonText(factsOf(sets))},
                                {"verdict", jsonText(verdictOf(sets))},
                                {"findings", jsonText(findingsOf(sets))},
                                {"distributions", jsonText(distributionsOf(sets))}};
    ordered_json failures = failureTable(sets);
    if (!failures["rows"].empty())
        parts.push_back({"tables", jsonText(ordered_json::array({std::move(failures)}))});
    return parts;
}

PagePart findingsPart(NamedSeries const& set) {
    ordered_json findings = ordered_json::array();
    addFindings(set, set.name + ": ", findings);
    return {"findings", jsonText(findings)};
}

PagePart plotsPart(std::string const& what, std::vector<NamedSeries> const& values) {
    std::vector<PlottedLine> const lines = plottedLines(values);
    std::size_t const shown = std::min(lines.size(), kMostLinesOfAPlot);
    ordered_json series = ordered_json::array();
    for (std::size_t i = 0; i < shown; ++i) series.push_back(lines[i].json);
    bool const areSingle = std::all_of(values.begin(), values.end(), [](NamedSeries const& value) {
        return value.series->runs().size() <= 1;
    });
    std::string note = areSingle ? "Of a single run with each value."
                                 : "The median of the runs, and from 10 % to 90 % of them.";
    if (shown < lines.size())
        note += fmt::format(" {} requests that change less are left out.", lines.size() - shown);
    ordered_json const plot{{"title", "What requests took"},
                            {"note", std::move(note)},
                            {"x", {{"name", what}, {"values", axisValues(values)}}},
                            {"series", std::move(series)}};
    return {"plots", jsonText(ordered_json::array({plot}))};
}

void writeSeriesHtml(Series const& series, Presentation const& presentation, std::ostream& out) {
    std::vector<PagePart> parts = pageParts(std::vector<NamedSeries>{{"", &series}});
    if (Blame const blame = blameOf(series); blame.requests() > 0) parts.push_back(blamePart(blame));
    if (!presentation.sources.empty()) parts.push_back(scenarioPart(presentation.sources));
    writePage(presentation.title, parts, out);
}

}  // namespace zeqcam::tool
