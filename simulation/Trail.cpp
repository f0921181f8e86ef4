#include "Trail.h"

#include "Mix.h"

#include <algorithm>

namespace zeqcam::simulation {

void Trail::clear() {
    isDone = isFull = isUsedUp = false;
    ending = Ending::Failed;
    points = switches = 0;
    threads = 0;
    time = 0;
    branchCount = alternativeCount = contestedCount = reportLength = 0;
}

void Trail::keep(Result const& result) {
    ending = result.ending;
    points = result.points;
    switches = result.switches;
    threads = result.threads;
    time = result.time.count();
    reportLength = static_cast<std::uint32_t>(std::min(result.report.size(), report.size()));
    std::copy_n(result.report.begin(), reportLength, report.begin());
    isDone = true;
}

void Trail::addContested(std::span<void const* const> objects) {
    isFull = isFull || objects.size() > contested.size();
    contestedCount = static_cast<std::uint32_t>(std::min(objects.size(), contested.size()));
    std::copy_n(objects.begin(), contestedCount, contested.begin());
}

Result Trail::result(GivenTurns const& turns) const {
    return {.ending = ending,
            .report = std::string(report.data(), reportLength),
            .schedule = textOf(turns),
            .points = points,
            .switches = switches,
            .threads = threads,
            .time = std::chrono::nanoseconds(time)};
}

Thread* TrailChoice::next(Thread& current, bool canGoOn, std::span<Thread* const> ready) {
    if (mOrder != nullptr) wake();
    if (!isUsedUp()) {
        Thread* const given = GivenChoice::next(current, canGoOn, ready);
        if (mOrder != nullptr && given != nullptr && given != &current && canGoOn) current.sleeps = true;
        return given;
    }
    Thread* const goesOn = byRule(current, canGoOn, ready);
    bool const isWorthASwitch = mOrder == nullptr || !canGoOn || mOrder->isContested(current);
    Thread const* const noted = goesOn->sleeps ? nullptr : goesOn;
    if ((ready.size() > 1 && isWorthASwitch) || noted == nullptr) note(current, canGoOn, ready, noted);
    if (noted == nullptr) scheduler()->cutShort();
    return goesOn;
}

void TrailChoice::wake() {
    std::span<Thread* const> const live = scheduler()->live();
    for (Thread* const thread : live) {
        if (!thread->sleeps) continue;
        thread->sleeps = !std::any_of(live.begin(), live.end(), [thread](Thread const* other) {
            return other != thread && !scheduler()->isReady(*other) && meet(thread->step, other->step);
        });
    }
}

// A sum, so that the order of the threads makes no difference.
std::uint64_t TrailChoice::asleep() const {
    std::uint64_t sum = 0;
    for (Thread const* const thread : scheduler()->live()) {
        if (thread->sleeps) sum += mix(thread->identity);
    }
    return sum;
}

void TrailChoice::note(Thread const& current, bool canGoOn, std::span<Thread* const> ready,
                       Thread const* goesOn) {
    if (mTrail.branchCount == Trail::kMostBranches ||
        mTrail.alternativeCount + ready.size() > Trail::kMostAlternatives) {
        mTrail.isFull = true;
        return;
    }
    Trail::Branch& branch = mTrail.branches[mTrail.branchCount++];
    branch = {.thread = current.number,
              .step = current.steps,
              .state = mOrder != nullptr ? mOrder->state() : 0,
              .asleep = asleep(),
              .goesOn = goesOn != nullptr ? goesOn->identity : 0,
              .preempts = canGoOn,
              .first = mTrail.alternativeCount,
              .count = 0};
    for (Thread const* const thread : ready) {
        if (thread == goesOn || thread->sleeps) continue;
        mTrail.alternatives[mTrail.alternativeCount++] = {.thread = thread->number,
                                                          .identity = thread->identity};
        ++branch.count;
    }
}

}  // namespace zeqcam::simulation
