#include "views/BlamePart.h"

#include <fmt/format.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

namespace zeqcam::tool {
namespace {

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

PagePart blamePart(Blame const& blame) {
    using nlohmann::ordered_json;
    constexpr double kPercent = 100;
    ordered_json rows = ordered_json::array();
    for (Blame::Row const& row : blame.rows()) {
        double const all = milliseconds(blame.time());
        rows.push_back({row.where, milliseconds(row.time),
                        all > 0 ? kPercent * milliseconds(row.time) / all : 0, milliseconds(row.median),
                        milliseconds(row.longest), row.requests});
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
    return {"blame", table.dump(-1, ' ', false, ordered_json::error_handler_t::replace)};
}

}  // namespace zeqcam::tool
