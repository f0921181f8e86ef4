#include "series/ChainSeries.h"

#include "series/Statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zeqcam::tool {

std::string RunName::text() const {
    if (seed) return fmt::format("seed {}", *seed);
    return cycle ? fmt::format("cycle {}", *cycle) : of;
}

std::vector<std::vector<Spent>> spentOf(RunCauses const& run) {
    std::vector<std::vector<Spent>> all;
    all.reserve(run.requests.size());
    for (RequestCauses const& request : run.requests) all.push_back(request.spent);
    return all;
}

std::chrono::nanoseconds ChainSeries::Request::inSlowest(std::string const& where) const {
    auto const found = std::find_if(slowest.spent.begin(), slowest.spent.end(),
                                    [&](Spent const& each) { return each.where == where; });
    return found == slowest.spent.end() ? std::chrono::nanoseconds(0) : found->time;
}

void ChainSeries::add(RunCauses run) {
    ++mRuns;
    for (RequestCauses& each : run.requests) {
        Request& request = mRequests[each.subject];
        request.subject = each.subject;
        bool const isSlowest = request.times.empty() || each.time > request.slowest.time;
        request.times.push_back(std::chrono::duration<double, std::milli>(each.time).count());
        request.links.add({each.spent});
        if (!isSlowest) continue;
        request.slowest = std::move(each);
        request.slowestRun = run.name;
    }
}

std::vector<ChainSeries::Request const*> ChainSeries::slowestFirst() const {
    std::vector<std::pair<double, Request const*>> sorted;
    for (auto const& [subject, request] : mRequests) {
        std::vector<double> times = request.times;
        std::sort(times.begin(), times.end());
        sorted.emplace_back(medianOf(times), &request);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](auto const& left, auto const& right) { return left.first > right.first; });
    std::vector<Request const*> all;
    all.reserve(sorted.size());
    for (auto const& [median, request] : sorted) all.push_back(request);
    return all;
}

}  // namespace zeqcam::tool
