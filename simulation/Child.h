#pragma once

#include "Order.h"
#include "Schedule.h"
#include "Trail.h"

#include <zeqcam/simulation/Simulation.h>

#include <sys/types.h>

#include <functional>

namespace zeqcam::simulation {

// What to run in a process of its own.
struct Job {
    std::function<void()> const& body;
    GivenTurns const& turns;
    Limits const& limits;
    bool reduces;
    Order::Objects const& contested;
    int cpu;  // to stay on: passing the turn on is cheap there; -1: wherever
};

// A run in a forked process. Throws std::system_error when there is none.
class Child {
  public:
    Child(Job const& job, Trail& trail);
    // Ends the process if it is not awaited.
    ~Child();
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    // Readable when the process has ended.
    [[nodiscard]] int end() const { return mEnd; }
    // Waits for it. A process that ended without a result leaves why in the trail.
    void await();

  private:
    [[noreturn]] static void run(Job const& job, Trail& trail);

    Trail& mTrail;
    pid_t mProcess = -1;
    int mEnd = -1;
};

}  // namespace zeqcam::simulation
