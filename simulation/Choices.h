#pragma once

#include "Schedule.h"
#include "Scheduler.h"

namespace zeqcam::simulation {

// Everybody goes on by a number drawn from the seed.
class SeededChoice final : public Choice {
  public:
    // A thread that can go on may lose its turn at one point in so many. A few: threads get somewhere, and
    // meet all the same.
    explicit SeededChoice(Seed seed, std::uint64_t pointsToASwitch = 4);
    Thread* next(Thread& current, bool canGoOn, std::span<Thread* const> ready) override;
    [[nodiscard]] std::string schedule() const override { return textOf(mSeed); }

  private:
    std::uint64_t draw();

    Seed const mSeed;
    std::uint64_t const mPointsToASwitch;
    std::uint64_t mState;
};

// By rule a thread goes on as long as it can, and then the one that was started first among those that can.
// Given turns break the rule.
class GivenChoice : public Choice {
  public:
    explicit GivenChoice(GivenTurns turns) : mTurns(std::move(turns)) {}
    Thread* next(Thread& current, bool canGoOn, std::span<Thread* const> ready) override;
    [[nodiscard]] std::string schedule() const override { return textOf(mTurns); }
    [[nodiscard]] bool isUsedUp() const override { return mGiven == mTurns.size(); }

  protected:
    static Thread* byRule(Thread& current, bool canGoOn, std::span<Thread* const> ready) {
        return canGoOn ? &current : ready.front();
    }

  private:
    GivenTurns const mTurns;
    std::size_t mGiven = 0;
};

}  // namespace zeqcam::simulation
