#pragma once

#include "Choices.h"
#include "Order.h"

#include <array>
#include <cstdint>
#include <span>

namespace zeqcam::simulation {

// What a run in a process of its own leaves behind, in memory that it shares with the one that explores.
// Large enough for any run that is worth exploring; only what is written takes memory.
struct Trail {
    struct Alternative {
        int thread;
        std::uint64_t identity;
    };
    // A point where others could go on, behind the last given turn.
    struct Branch {
        int thread;          // that was at it
        std::uint64_t step;  // of that thread
        std::uint64_t state;
        std::uint64_t asleep;  // who was, as a number of its own
        std::uint64_t goesOn;  // the identity of who went on; 0: nobody, the run ends there
        bool preempts;         // whether giving the turn to another takes it from one that could go on
        std::uint32_t first;   // of its alternatives
        std::uint32_t count;
    };
    static constexpr std::size_t kMostBranches = 1 << 20;
    static constexpr std::size_t kMostAlternatives = 1 << 22;
    static constexpr std::size_t kMostContested = 1 << 16;
    static constexpr std::size_t kMostText = 1 << 18;

    bool isDone;
    bool isFull;  // something did not fit
    bool isUsedUp;
    Ending ending;
    std::uint64_t points;
    std::uint64_t switches;
    int threads;
    Time time;
    std::uint32_t branchCount;
    std::uint32_t alternativeCount;
    std::uint32_t contestedCount;
    std::uint32_t reportLength;
    std::array<Branch, kMostBranches> branches;
    std::array<Alternative, kMostAlternatives> alternatives;
    std::array<void const*, kMostContested> contested;
    std::array<char, kMostText> report;

    void clear();
    void keep(Result const& result);
    void addContested(std::span<void const* const> objects);
    [[nodiscard]] Result result(GivenTurns const& turns) const;
};

// Gives the turns and notes where others could be given.
//
// A thread that lost its turn sleeps until somebody else comes to its step's object. To give it the turn back
// before would be nothing new: it might as well have taken that step first and lost its turn after it, with
// no more preemptions. Who only waits at the object counts too: the step may be what lets him go on, and
// where he could, taking the turn from him would be one more.
class TrailChoice final : public GivenChoice {
  public:
    // `order` null: every point is worth a switch, and nobody sleeps.
    TrailChoice(GivenTurns turns, Order const* order, Trail& trail)
        : GivenChoice(std::move(turns)), mOrder(order), mTrail(trail) {}
    Thread* next(Thread& current, bool canGoOn, std::span<Thread* const> ready) override;

  private:
    void wake();
    [[nodiscard]] std::uint64_t asleep() const;
    void note(Thread const& current, bool canGoOn, std::span<Thread* const> ready, Thread const* goesOn);

    Order const* const mOrder;
    Trail& mTrail;
};

}  // namespace zeqcam::simulation
