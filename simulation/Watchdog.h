#pragma once

#include <atomic>
#include <string>

namespace zeqcam::simulation {

class Scheduler;

// Gives a run up when the thread with the turn comes to no point: it waits in a call that the simulation does
// not know, or computes for ever. Looks on in real time, from the thread that waits for the run's end.
class Watchdog {
  public:
    explicit Watchdog(Scheduler& scheduler) : mScheduler(scheduler) {}

    // Waits until `done`, a futex, is 1.
    void watchUntil(std::atomic<int> const& done);

  private:
    void report(int thread, std::string const& what);

    Scheduler& mScheduler;
};

}  // namespace zeqcam::simulation
