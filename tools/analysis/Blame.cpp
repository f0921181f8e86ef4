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

struct Spent {
    nanoseconds time{};
    std::string_view kind;
};

}  // namespace

void Blame::add(Record const& record, std::vector<Chain const*> const& chains) {
    ++mRecords;
    std::map<std::string, nanoseconds> inRecord;
    for (Chain const* const chain : chains) {
        ++mRequests;
        mTime += chain->time();
        std::map<std::string, Spent> spent;
        for (Link const& link : chain->links) {
            auto const without = link.withoutProcessor.value_or(nanoseconds(0));
            auto const spend = [&](std::string const& where, nanoseconds time, std::string_view kind) {
                if (time == nanoseconds(0)) return;
                spent[where].time += time;
                spent[where].kind = kind;
            };
            spend(whereOf(record, *chain, link), link.time() - without, kindOf(link));
            spend("waiting for a processor", without, "processor");
        }
        for (auto const& [where, each] : spent) {
            Row& row = mSums[where].row;
            row.where = where;
            row.kind = each.kind;
            row.time += each.time;
            row.longest = std::max(row.longest, each.time);
            ++row.requests;
            inRecord[where] += each.time;
        }
    }
    for (auto const& [where, time] : inRecord) mSums[where].times.push_back(time);
}

std::vector<Blame::Row> Blame::rows() const {
    std::vector<Row> rows;
    for (auto const& [where, sum] : mSums) {
        Row& row = rows.emplace_back(sum.row);
        std::vector<nanoseconds> times = sum.times;
        times.resize(mRecords);  // in the others it took none
        auto const middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        row.median = *middle;
        if (times.size() % 2 == 0) row.median = (*middle + *std::max_element(times.begin(), middle)) / 2;
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](Row const& left, Row const& right) { return left.time > right.time; });
    return rows;
}

}  // namespace zeqcam::tool
