#include "analysis/ChainParts.h"

#include "analysis/ControllerUse.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

using board::Kind;
using std::chrono::nanoseconds;

}  // namespace

ChainParts::ChainParts(Record const& record)
    : mRecord(record),
      mDoings(doingsOf(record)),
      mWorks(worksOf(record)),
      mHolds(lockHoldsOf(record)),
      mRetries(retriesOf(record)),
      mAsked(record.requests.size()) {
    for (auto const& retries : mRetries) {
        for (Retry const& retry : retries) {
            if (retry.request) mRetried.emplace(*retry.request, retry.sensor);
        }
    }
    findAsked();
    for (std::size_t work = 0; work < mWorks.size(); ++work) {
        mAsked[mWorks[work].request].works.push_back(work);
        mByThread[mWorks[work].thread].push_back(work);
    }
    findKeepings();
    for (Scheduling const& each : record.scheduling) mScheduling[each.thread].push_back(each);
}

void ChainParts::findAsked() {
    std::vector<OptionalNumber<std::uint32_t>> threads(mAsked.size());
    for (std::uint32_t index = 0; index < mRecord.events.size(); ++index) {
        Event const& event = mRecord.events[index];
        if (!event.request) continue;
        auto& thread = threads[*event.request];
        if (event.kind == Kind::Request) thread = event.thread;
        if (thread != OptionalNumber(event.thread)) continue;
        Asked& asked = mAsked[*event.request];
        if (!asked.firstWork && kControllersWork.contains(event.kind)) asked.firstWork = asked.events.size();
        asked.events.push_back(index);
    }
}

void ChainParts::findKeepings() {
    for (std::uint32_t index = 0; index < mAsked.size(); ++index) {
        Request const& request = mRecord.requests[index];
        auto const controller = mRecord.clients[request.client].controller;
        Asked const& asked = mAsked[index];
        if (!controller || !asked.firstWork || !needsController(request.kind)) continue;
        mKeepings[*controller].push_back({index, timeOf(asked.events[*asked.firstWork]),
                                          request.ended.value_or(std::max(mRecord.end, request.began))});
    }
    for (auto& [controller, keepings] : mKeepings) {
        std::stable_sort(keepings.begin(), keepings.end(), [](Keeping const& left, Keeping const& right) {
            return std::pair(left.since, left.until) < std::pair(right.since, right.until);
        });
    }
}

std::vector<ChainParts::Keeping> ChainParts::keptBetween(std::uint32_t request, Instant begin,
                                                         Instant end) const {
    std::vector<Keeping> kept;
    auto const controller = mRecord.clients[mRecord.requests[request].client].controller;
    auto const found = controller ? mKeepings.find(*controller) : mKeepings.end();
    if (found == mKeepings.end()) return kept;
    auto const from = std::partition_point(found->second.begin(), found->second.end(),
                                           [&](Keeping const& keeping) { return keeping.until <= begin; });
    for (auto keeping = from; keeping != found->second.end() && keeping->since < end; ++keeping) {
        if (keeping->request == request) continue;
        Instant const since = std::max(keeping->since, kept.empty() ? begin : kept.back().until);
        Instant const until = std::min(keeping->until, end);
        if (since < until) kept.push_back({keeping->request, since, until});
    }
    return kept;
}

std::optional<LockHold> ChainParts::lockHeldAt(Instant time) const {
    auto const next = std::partition_point(mHolds.begin(), mHolds.end(),
                                           [&](LockHold const& hold) { return hold.since <= time; });
    if (next == mHolds.begin()) return {};
    LockHold const& hold = *std::prev(next);
    return hold.until.value_or(Instant::max()) > time ? std::optional(hold) : std::nullopt;
}

std::optional<std::size_t> ChainParts::workBefore(std::size_t work, std::uint32_t event) const {
    auto const& ofThread = mByThread.at(mWorks[work].thread);
    auto const found = std::lower_bound(ofThread.begin(), ofThread.end(), work);
    if (found == ofThread.begin()) return {};
    std::size_t const before = *std::prev(found);
    return mWorks[before].events.back() > event ? std::optional(before) : std::nullopt;
}

std::optional<nanoseconds> ChainParts::withoutProcessor(std::uint32_t thread, Instant begin,
                                                        Instant end) const {
    auto const found = mScheduling.find(thread);
    if (found == mScheduling.end()) return {};
    auto const& states = found->second;
    auto state = std::partition_point(states.begin(), states.end(),
                                      [&](Scheduling const& each) { return each.time <= begin; });
    if (state != states.begin()) --state;
    nanoseconds time{};
    for (; state != states.end() && state->time < end; ++state) {
        if (state->state != Scheduling::State::Runnable) continue;
        auto const next = std::next(state);
        time += std::min(next == states.end() ? end : next->time, end) - std::max(state->time, begin);
    }
    return time;
}

}  // namespace zeqcam::tool
