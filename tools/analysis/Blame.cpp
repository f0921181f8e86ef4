#include "analysis/Blame.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

std::string controllerOf(Record const& record, std::uint32_t request) {
    auto const controller = record.clients[record.requests[request].client].controller;
    std::string const name(controller ? record.textOf(record.controllers[*controller].name) : "");
    return name.empty() ? "a controller" : "controller " + name;
}

// Unlike in a chain, whose it was does not tell one from another.
std::string whereOf(Record const& record, Chain const& chain, Link const& link) {
    switch (link.is) {
        case Link::Is::Doing:
            return doneText(record, link.done);
        case Link::Is::PowerOnLock:
            return "waiting for the power-on lock";
        case Link::Is::Controller:
            return "waiting for " + controllerOf(record, chain.request);
        case Link::Is::Start:
            return "workers to begin";
        case Link::Is::Queue:
            return "tasks in the queue";
        case Link::Is::Return:
            return "threads to go on after their workers and tasks";
        case Link::Is::Sleep:
            return "sleeps";
    }
    return "?";
}

nanoseconds medianOf(std::vector<nanoseconds>& times) {
    auto const middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return times.size() % 2 == 1 ? *middle : (*middle + *std::max_element(times.begin(), middle)) / 2;
}

}  // namespace

std::vector<Spent> spentOf(Record const& record, Chain const& chain) {
    std::vector<Spent> all;
    auto const spend = [&](std::string const& where, nanoseconds time, std::string_view kind) {
        if (time == nanoseconds(0)) return;
        auto found =
            std::find_if(all.begin(), all.end(), [&](Spent const& each) { return each.where == where; });
        if (found == all.end()) found = all.insert(all.end(), {where, std::string(kind), {}});
        found->time += time;
    };
    for (Link const& link : chain.links) {
        auto const without = link.withoutProcessor.value_or(nanoseconds(0));
        spend(whereOf(record, chain, link), link.time() - without, kindOf(link));
        spend("waiting for a processor", without, "processor");
    }
    return all;
}

void Blame::add(Record const& record, std::vector<Chain const*> const& chains) {
    std::vector<std::vector<Spent>> requests;
    requests.reserve(chains.size());
    for (Chain const* const chain : chains) requests.push_back(spentOf(record, *chain));
    add(requests);
}

void Blame::add(std::vector<std::vector<Spent>> const& requests) {
    ++mRecords;
    mRequests += requests.size();
    std::map<std::string, nanoseconds> inRecord;
    for (std::vector<Spent> const& spent : requests) {
        for (Spent const& each : spent) {
            Row& row = mSums[each.where].row;
            row.where = each.where;
            row.kind = each.kind;
            row.time += each.time;
            row.longest = std::max(row.longest, each.time);
            ++row.requests;
            inRecord[each.where] += each.time;
            mTime += each.time;
        }
    }
    for (auto const& [where, time] : inRecord) mSums[where].times.push_back(time);
}

std::vector<Blame::Row> Blame::rows() const {
    std::vector<Row> rows;
    for (auto const& [where, sum] : mSums) {
        Row& row = rows.emplace_back(sum.row);
        std::vector<nanoseconds> times = sum.times;
        row.medianWhereAny = medianOf(times);
        times.resize(mRecords);  // in the others it took none
        row.median = medianOf(times);
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](Row const& left, Row const& right) { return left.time > right.time; });
    return rows;
}

}  // namespace zeqcam::tool
