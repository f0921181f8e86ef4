#pragma once

#include "Memory.h"
#include "Scheduler.h"

#include <cstdint>
#include <span>

namespace zeqcam::simulation {

// Whether two threads' steps have an order that matters.
bool meet(Step const& one, Step const& other);

// What can differ among the orders of points, watched during one run.
//
// Two points meet when they belong to different threads, are at the same object and do not both read. A run
// is fully told by the order of those that meet: swapping neighbours that do not meet changes no state. Each
// thread's hash is made of its steps and of the hashes of what it met, so the sum of all hashes names the
// state that a run has reached.
//
// A meeting is open when nothing but the meeting itself orders its two points: another schedule can turn it
// round. An object with an open meeting is contested. A thread needs to lose its turn only before a point at
// a contested object: its points up to the next one meet nothing of what the others do meanwhile, so it might
// as well have taken them first, and lost its turn then. That is the same run, with no more preemptions.
class Order final : public Observer {
  public:
    // `contested` are the objects known from earlier runs, sorted.
    explicit Order(std::span<void const* const> contested) : mContested(contested) {}

    void started(Thread* parent, Thread& thread) override;
    void takes(Thread& thread, Time now) override;

    // The state reached.
    [[nodiscard]] std::uint64_t state() const { return mState; }
    // Whether the thread stands before a point at a contested object.
    [[nodiscard]] bool isContested(Thread const& thread) const;
    // Those that were not known.
    [[nodiscard]] OwnVector<void const*> const& newlyContested() const { return mNew; }

  private:
    using Clock = OwnVector<std::uint32_t>;

    struct Object {
        std::uint64_t hash = 0;
        std::uint64_t readers = 0;  // hashes of reads since the last write, in any order
        Clock written;              // what the writers had seen
        Clock read;                 // what the readers had seen
        Clock lastWrites;           // of each thread the step of its last write
        Clock lastReads;
    };

    [[nodiscard]] bool isKnown(void const* address) const;
    std::uint64_t meets(Thread& thread, void const* address, Access access, bool isOrdered);

    std::span<void const* const> const mContested;
    OwnMap<void const*, Object> mObjects;
    OwnVector<void const*> mNew;
    std::uint64_t mState = 0;
};

}  // namespace zeqcam::simulation
