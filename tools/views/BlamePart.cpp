#include "views/BlamePart.h"

#include "text/JsonText.h"
#include "text/TimeText.h"

#include <fmt/format.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

namespace zeqcam::tool {
namespace {}  // namespace

PagePart blamePart(Blame const& blame) {
    using nlohmann::ordered_json;
    constexpr double kPercent = 100;
    ordered_json rows = ordered_json::array();
    for (Blame::Row const& row : blame.rows()) {
        double const all = millisecondsOf(blame.time());
        rows.push_back({row.where, millisecondsOf(row.time),
                        all > 0 ? kPercent * millisecondsOf(row.time) / all : 0, millisecondsOf(row.median),
                        millisecondsOf(row.longest), row.requests});
    }
    ordered_json const table{
        {"title", "Where the time of requests went"},
        {"note",
         fmt::format("{} request{} of {} run{}. Only what a request waited for counts.", blame.requests(),
                     blame.requests() == 1 ? "" : "s", blame.records(), blame.records() == 1 ? "" : "s")},
        {"columns",
         {{{"name", "where"}},
          {{"name", "time"}, {"unit", "ms"}},
          {{"name", "share"}, {"unit", "%"}},
          {{"name", "median of a run"}, {"unit", "ms"}},
          {{"name", "longest of a request"}, {"unit", "ms"}},
          {{"name", "requests"}}}},
        {"rows", std::move(rows)}};
    return {"blame", jsonText(table)};
}

}  // namespace zeqcam::tool
