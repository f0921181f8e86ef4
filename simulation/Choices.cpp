#include "Choices.h"

#include "Mix.h"

#include <algorithm>

namespace zeqcam::simulation {

SeededChoice::SeededChoice(Seed seed, std::uint64_t pointsToASwitch)
    : mSeed(seed), mPointsToASwitch(pointsToASwitch), mState(mix(seed)) {}

std::uint64_t SeededChoice::draw() {
    return mState = mix(mState);
}

Thread* SeededChoice::next(Thread& current, bool canGoOn, std::span<Thread* const> ready) {
    if (ready.size() == 1) return ready.front();
    if (canGoOn && draw() % mPointsToASwitch != 0) return &current;
    return ready[draw() % ready.size()];
}

Thread* GivenChoice::next(Thread& current, bool canGoOn, std::span<Thread* const> ready) {
    if (isUsedUp()) return byRule(current, canGoOn, ready);
    GivenTurn const& turn = mTurns[mGiven];
    if (turn.thread != current.number || turn.step != current.steps) return byRule(current, canGoOn, ready);
    ++mGiven;
    auto const found = std::find_if(ready.begin(), ready.end(),
                                    [&](Thread const* thread) { return thread->number == turn.next; });
    return found != ready.end() ? *found : nullptr;
}

}  // namespace zeqcam::simulation
