#include "views/ComparisonPage.h"

#include "text/JsonText.h"
#include "views/Page.h"
#include "views/SeriesPage.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using Of = Subject::Of;

constexpr double kLeastMs = 0.05;  // a difference of less is told as 0.0

bool isSurelySlower(Difference const& difference) {
    return difference.subject.of == Of::Request && difference.isSure() &&
           difference.interval->low >= kLeastMs;
}

// Its lower end, so that what is told first is what is surely the most.
std::vector<Difference const*> slowerOf(Comparison const& comparison) {
    std::vector<Difference const*> slower;
    for (Difference const& each : comparison.differences) {
        if (isSurelySlower(each)) slower.push_back(&each);
    }
    std::stable_sort(slower.begin(), slower.end(), [](Difference const* left, Difference const* right) {
        return left->interval->low > right->interval->low;
    });
    return slower;
}

std::string slowerText(Difference const& difference) {
    auto const& [low, high] = *difference.interval;
    double const ms = *difference.ms();
    std::string text = fmt::format("{}: {:.1f} instead of {:.1f} ms, {:+.1f} ms", textOf(difference.subject),
                                   *difference.medianAfter, *difference.medianBefore, ms);
    if (*difference.medianBefore > kLeastMs)
        text += fmt::format(" or {:+.0f} %", ms / *difference.medianBefore * 100);
    text += fmt::format(", with {:.0f} % between {:+.1f} and {:+.1f}", kConfidence * 100, low, high);
    if (difference.cause && std::abs(difference.cause->ms) >= kLeastMs)
        text += fmt::format("; most of it: {} {:+.1f}", difference.cause->link, difference.cause->ms);
    return text;
}

// What is worse, and what is not as it was, the gravest first.
ordered_json toldChanges(Comparison const& comparison) {
    ordered_json changes = ordered_json::array();
    auto const add = [&](char const* weight, char const* what, std::string const& text) {
        changes.push_back({{"weight", weight}, {"what", what}, {"text", text}});
    };
    for (Difference const* each : slowerOf(comparison)) add("error", "slower", slowerText(*each));
    for (Subject const& each : comparison.gone) add("warning", "gone", textOf(each));
    for (Subject const& each : comparison.appeared) add("warning", "appeared", textOf(each));
    for (Reordered const& each : comparison.reordered) {
        add("warning", "order",
            fmt::format("{} now begins {} {}", textOf(each.subject), each.isNowBefore ? "before" : "after",
                        textOf(each.other)));
    }
    return changes;
}

std::string failedRunsText(Series const& series) {
    if (series.runs().size() == 1) return series.failedRuns().empty() ? "it passed" : "it failed";
    return fmt::format("{} of {} run{} failed", series.failedRuns().size(), series.runs().size(),
                       series.runs().size() == 1 ? "" : "s");
}

ordered_json comparedVerdict(Compared const& compared) {
    Comparison const& comparison = compared.comparison;
    std::size_t const slower = slowerOf(comparison).size();
    auto const faster =
        std::count_if(comparison.differences.begin(), comparison.differences.end(), [](auto const& each) {
            return each.subject.of == Of::Request && each.isSure() && each.interval->high <= -kLeastMs;
        });
    std::size_t const fewest = std::min(compared.before.runs().size(), compared.after.runs().size());
    std::string text =
        fmt::format("before {}, after {}. ", failedRunsText(compared.before), failedRunsText(compared.after));
    text += fewest < kFewestForConfidence
                ? fmt::format("Fewer than {} runs on a side say nothing on chance", kFewestForConfidence)
                : fmt::format("{} request{} surely slower, {} surely faster", slower,
                              slower == 1 ? " is" : "s are", faster);
    bool const passed = slower == 0 && compared.after.failedRuns().empty();
    return {{"passed", passed},
            {"title", passed ? "Nothing is surely worse" : "It is worse"},
            {"text", std::move(text)}};
}

ordered_json sideFacts(std::string_view side, std::string const& name, Series const& series) {
    std::string const missing = series.asked > series.runs().size()
                                    ? fmt::format(" of {} that were to be", series.asked)
                                    : std::string();
    return {side, fmt::format("{}, {} run{}{}, {} clock", name, series.runs().size(),
                              series.runs().size() == 1 ? "" : "s", missing, nameOf(series.clock))};
}

ordered_json numberOrNull(std::optional<double> number) {
    return number ? ordered_json(*number) : ordered_json();
}

// A difference that is worth a row: of a request any, of a call what has changed.
bool isForTable(Difference const& difference) {
    bool const takesTime =
        std::max(difference.medianBefore.value_or(0), difference.medianAfter.value_or(0)) >= kLeastMs;
    auto const ms = difference.ms();
    return takesTime && (difference.subject.of == Of::Request || !ms || std::abs(*ms) >= kLeastMs);
}

ordered_json differencesTable(Compared const& compared) {
    bool const areSingle = std::max(compared.before.runs().size(), compared.after.runs().size()) == 1;
    ordered_json columns = ordered_json::array({{{"name", "what"}}});
    for (char const* const name : {"before", "after", "change"})
        columns.push_back({{"name", name}, {"unit", "ms"}});
    for (char const* const name : {"at least", "at most"}) {
        if (!areSingle) columns.push_back({{"name", name}, {"unit", "ms"}});
    }
    columns.push_back({{"name", "most of it"}});
    ordered_json rows = ordered_json::array();
    for (Difference const& each : compared.comparison.differences) {
        if (!isForTable(each)) continue;
        ordered_json row{textOf(each.subject), numberOrNull(each.medianBefore),
                         numberOrNull(each.medianAfter), numberOrNull(each.ms())};
        if (!areSingle) {
            row.push_back(each.interval ? ordered_json(each.interval->low) : ordered_json());
            row.push_back(each.interval ? ordered_json(each.interval->high) : ordered_json());
        }
        bool const hasCause = each.cause && std::abs(each.cause->ms) >= kLeastMs;
        row.push_back(hasCause ? fmt::format("{} {:+.1f} ms", each.cause->link, each.cause->ms)
                               : std::string());
        rows.push_back(std::move(row));
    }
    return {{"title", "Before and after"},
            {"note", areSingle ? "Of a single run on each side."
                               : "Medians of the runs; the change lies between the two with 95 %."},
            {"columns", std::move(columns)},
            {"rows", std::move(rows)}};
}

// What a page of this run alone would show, as one of several.
std::string sideJson(char const* name, ShownSide const& side) {
    Presentation presentation;
    presentation.selection = side.selection;
    std::string json = fmt::format("{{\"name\":\"{}\"", name);
    for (auto const& [part, text] : pageParts(*side.record, presentation)) {
        if (part != "blame") json += fmt::format(",\"{}\":{}", part, text);
    }
    return json + '}';
}

ordered_json sourcesOf(Compared const& compared) {
    ordered_json files = ordered_json::array();
    for (auto const& [side, shown] :
         {std::pair{"before", &compared.shownBefore}, std::pair{"after", &compared.shownAfter}}) {
        for (auto const& [name, text] : shown->sources)
            files.push_back({{"name", fmt::format("{}: {}", side, name)}, {"text", text}, {"side", side}});
    }
    return files;
}

}  // namespace

void writeComparisonPage(Compared const& compared, Presentation const& presentation, std::ostream& out) {
    std::vector<NamedSeries> const sets{{"before", &compared.before}, {"after", &compared.after}};
    std::vector<PagePart> parts = pageParts(sets);
    // What failed only before is no fault of what is after.
    std::erase_if(parts, [](PagePart const& part) {
        return part.name == "facts" || part.name == "verdict" || part.name == "findings";
    });
    ordered_json facts = ordered_json::array();
    facts.push_back(sideFacts("before", compared.nameBefore, compared.before));
    facts.push_back(sideFacts("after", compared.nameAfter, compared.after));
    parts.push_back({"facts", jsonText(facts)});
    parts.push_back({"verdict", jsonText(comparedVerdict(compared))});
    parts.push_back({"changes", jsonText(toldChanges(compared.comparison))});
    parts.push_back({"overview", jsonText(ordered_json::array({differencesTable(compared)}))});
    if (compared.areSingleRuns()) {
        parts.push_back({"sides", '[' + sideJson("before", compared.shownBefore) + ",\n" +
                                      sideJson("after", compared.shownAfter) + ']'});
    } else {
        parts.push_back(findingsPart({"after", &compared.after}));
    }
    if (ordered_json const sources = sourcesOf(compared); !sources.empty())
        parts.push_back({"scenario", jsonText(sources)});
    writePage(presentation.title, parts, out);
}

}  // namespace zeqcam::tool
