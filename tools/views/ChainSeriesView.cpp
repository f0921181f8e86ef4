#include "views/ChainSeriesView.h"

#include "series/Statistics.h"
#include "text/Printable.h"
#include "text/TextWidth.h"
#include "text/TimeText.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using Waiting = ChainSeries::Request;

double inMs(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Spread spreadIn(Waiting const& request) {
    std::vector<double> times = request.times;
    std::sort(times.begin(), times.end());
    return spreadOf(times);
}

// The request as a whole, and then its links.
Table linkTable(Waiting const& request) {
    Table table({{"MEDIAN", Align::Right},
                 {"LONGEST", Align::Right},
                 {"RUNS", Align::Right},
                 {"SLOWEST", Align::Right},
                 {"WAITED FOR"}});
    Spread const spread = spreadIn(request);
    std::string const longest = fmt::format("{:.1f}", spread.longest);
    table.add({fmt::format("{:.1f}", spread.median), longest, std::to_string(request.times.size()), longest,
               "all of it"});
    for (Blame::Row const& row : request.links.rows()) {
        auto const inSlowest = request.inSlowest(row.where);
        table.add({millisecondsText(row.medianWhereAny), millisecondsText(row.longest),
                   std::to_string(row.requests), inSlowest.count() > 0 ? millisecondsText(inSlowest) : "-",
                   printable(row.where)});
    }
    return table;
}

}  // namespace

void writeChainSeries(ChainSeries const& series, Presentation const& presentation, std::ostream& out) {
    constexpr std::size_t kMost = 10;
    Ink const ink{presentation.colours};
    auto all = series.slowestFirst();
    if (!presentation.full)
        std::erase_if(all, [](Waiting const* request) { return request->slowest.time.count() == 0; });
    std::size_t const most = presentation.full ? all.size() : std::min(kMost, all.size());
    for (std::size_t i = 0; i < most; ++i) {
        Waiting const& request = *all[i];
        int const columns = std::max(presentation.columns, 1);
        out << '\n'
            << ink.bold(shortened(printable(textOf(request.subject)), columns, "~")) << '\n'
            << linkTable(request).text(ink, presentation.columns);
        if (!request.slowest.spent.empty())
            out << "  the slowest, " << printable(request.slowestRun.text()) << ": "
                << printable(request.slowest.line) << '\n';
    }
    if (all.empty()) out << "\nno request took any time\n";
    if (all.size() > most)
        out << fmt::format("\n{} requests more: --full tells them, --request one\n", all.size() - most);
}

ordered_json chainSeriesJson(ChainSeries const& series) {
    ordered_json requests = ordered_json::array();
    for (Waiting const* const request : series.slowestFirst()) {
        Spread const spread = spreadIn(*request);
        RunName const& run = request->slowestRun;
        ordered_json links = ordered_json::array();
        for (Blame::Row const& row : request->links.rows()) {
            links.push_back({{"link", row.where},
                             {"kind", row.kind},
                             {"runs", row.requests},
                             {"median_ms", inMs(row.medianWhereAny)},
                             {"longest_ms", inMs(row.longest)},
                             {"in_slowest_ms", inMs(request->inSlowest(row.where))}});
        }
        requests.push_back({{"client", request->subject.who},
                            {"request", request->subject.what},
                            {"nth", request->subject.nth},
                            {"runs", request->times.size()},
                            {"median_ms", spread.median},
                            {"p90_ms", spread.p90},
                            {"p99_ms", spread.p99},
                            {"longest_ms", spread.longest},
                            {"slowest",
                             {{"name", run.of},
                              {"seed", run.seed ? ordered_json(*run.seed) : ordered_json()},
                              {"cycle", run.cycle ? ordered_json(*run.cycle) : ordered_json()},
                              {"line", request->slowest.line}}},
                            {"links", std::move(links)}});
    }
    return {{"runs", series.runs()}, {"requests", std::move(requests)}};
}

ordered_json chainSeriesTable(ChainSeries const& series) {
    ordered_json rows = ordered_json::array();
    for (Waiting const* const request : series.slowestFirst()) {
        for (Blame::Row const& row : request->links.rows()) {
            rows.push_back({textOf(request->subject), row.where, inMs(row.medianWhereAny), inMs(row.longest),
                            row.requests, inMs(request->inSlowest(row.where)), request->slowestRun.text()});
        }
    }
    return {{"title", "What requests waited for"},
            {"note", "The median of a link is that of the runs in which it took time."},
            {"columns",
             {{{"name", "request"}},
              {{"name", "link"}},
              {{"name", "median"}, {"unit", "ms"}},
              {{"name", "longest"}, {"unit", "ms"}},
              {{"name", "runs"}},
              {{"name", "in the slowest"}, {"unit", "ms"}},
              {{"name", "which is"}}}},
            {"rows", std::move(rows)}};
}

}  // namespace zeqcam::tool
