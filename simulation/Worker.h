#pragma once

#include "Schedule.h"
#include "Trail.h"

#include <zeqcam/simulation/Simulation.h>

#include <sys/mman.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <span>
#include <system_error>

namespace zeqcam::simulation {

// Memory that forked processes share with the one that explores.
template <class Value>
class SharedMemory {
  public:
    SharedMemory()
        : mMemory(mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
        if (mMemory == MAP_FAILED)
            throw std::system_error(errno, std::generic_category(), "no memory to share");
    }
    ~SharedMemory() { munmap(mMemory, sizeof(Value)); }
    SharedMemory(SharedMemory const&) = delete;
    SharedMemory& operator=(SharedMemory const&) = delete;

    Value& operator*() const { return *static_cast<Value*>(mMemory); }
    Value* operator->() const { return static_cast<Value*>(mMemory); }

  private:
    void* const mMemory;
};

// The contested objects, sorted. They change only while nothing is run.
struct Contested {
    static constexpr std::size_t kMost = 1 << 16;

    std::size_t count;
    std::array<void const*, kMost> addresses;

    [[nodiscard]] std::span<void const* const> all() const { return std::span(addresses).first(count); }
    // False when there is no room.
    bool add(std::span<void const* const> more);
};

// A process that runs schedules, each in a process of its own that it forks. It does nothing else: all that
// it forks begin with the same memory, so that the same schedule takes the same course, down to its
// addresses.
class Worker {
  public:
    // All that is given outlives it.
    Worker(std::function<void()> const& body, Limits const& limits, Contested const& contested)
        : mBody(body), mLimits(limits), mContested(contested) {}
    ~Worker();
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    // Starts the process. Takes no memory, so that those of several workers are alike. `cpu`: where to stay,
    // since passing the turn on is cheap there; -1: wherever. Throws std::system_error when there is no
    // process.
    void start(int cpu);
    // Begins with a schedule. `reduces`: see Bounds::reduce.
    void begin(GivenTurns const& turns, bool reduces);
    // Begins with what a seed chooses, which leaves no branches.
    void begin(Seed seed);
    // Readable when it is done.
    [[nodiscard]] int end() const { return mEnd; }
    // Waits until it is done. What it left stands until the next.
    Trail const& await();

  private:
    struct Desk {
        static constexpr std::size_t kMostTurns = 1 << 12;

        bool reduces;
        bool isSeeded;
        Seed seed;
        std::size_t turnCount;
        std::array<GivenTurn, kMostTurns> turns;
        Trail trail;
    };

    [[noreturn]] void serve(int requests, int replies);
    [[noreturn]] void run();

    std::function<void()> const& mBody;
    Limits const& mLimits;
    Contested const& mContested;
    SharedMemory<Desk> const mDesk;
    pid_t mProcess = -1;
    int mRequests = -1;
    int mEnd = -1;
};

}  // namespace zeqcam::simulation
