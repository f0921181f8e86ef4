#pragma once

#include "Memory.h"

#include <zeqcam/simulation/Simulation.h>

#include <pthread.h>
#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace zeqcam::simulation {

// Nanoseconds since the run began.
using Time = std::int64_t;
constexpr Time kNever = std::numeric_limits<Time>::max();

struct Thread;

// What must come about before a thread can go on.
enum class Until : std::uint8_t {
    Now,        // nothing
    Free,       // nobody else holds `lock`
    Unwritten,  // nobody holds `lock` for writing
    Woken,      // somebody has woken it
    WokenFree,  // the same, and then nobody holds `lock`
    Ended,      // `target` has ended
    Deadline,   // only that
};

// What a thread does when it next goes on: its point.
struct Step {
    char const* what;              // for a reader: "mutex", "condition variable"
    void const* object = nullptr;  // what others may meet it at; null: nothing
    Access access = Access::Write;
    Until until = Until::Now;
    void const* lock = nullptr;
    Thread const* target = nullptr;
    Time deadline = kNever;
    int idle = 0;  // more than 0: changes nothing that others could wait for, such as a yield
};

// What the order of points tells of a thread; only an exploration keeps it.
struct Past {
    OwnVector<std::uint32_t> clock;  // of each thread the last step that it has seen
    std::uint64_t hash = 0;          // of all that has led to where it is
};

// A thread that a simulation has started. All but `turn`, `shows` and `leaves` belongs to whoever has the
// turn.
struct Thread {
    static void* operator new(std::size_t size) { return OwnMemory<char>().allocate(size); }
    static void operator delete(void* memory) { freeOwn(memory); }

    int number = 0;  // in the order of their starts; the body's is 0
    std::uint64_t identity =
        0;  // made of its parent's and of how many that had started: the same in any order
    std::uint64_t children = 0;
    pthread_t handle{};
    std::atomic<pid_t> kernelId{0};

    std::atomic<int> turn{0};  // a futex: 1 when it may go on

    Step step{.what = "start"};
    std::uint64_t steps = 0;  // that it has come to
    bool woken = false;
    bool timedOut = false;
    bool ended = false;
    bool forgotten = false;         // by the program, which joined or detached it
    std::uint64_t ticket = 0;       // grows with every wait
    std::uint32_t bits = 0;         // of a futex: the wake-ups that it waits for
    bool sleeps = false;            // lost its turn, and nobody has met its step since: see Trail.h
    int idle = 0;                   // how long it has looked on without a change
    OwnVector<OwnString> sections;  // that it has open
    Past past;

    // Taken by itself, when it is asked to show where it stands.
    std::atomic<int> shows{0};
    std::array<void*, 48> frames{};
    int depth = 0;
};

// The simulated thread that calls; null elsewhere.
Thread* self();

// For what the simulation itself calls on a simulated thread: it passes straight through.
class Outside {
  public:
    Outside();
    ~Outside();
    Outside(Outside const&) = delete;
    Outside& operator=(Outside const&) = delete;

  private:
    Thread* const mSelf;
};

constexpr int kFirstId = 1000;
constexpr int idOf(Thread const& thread) {
    return kFirstId + thread.number;
}

}  // namespace zeqcam::simulation
