#pragma once

#include <pthread.h>

#include <atomic>
#include <string>

namespace zeqcam::simulation {

class Scheduler;

// Gives a run up when the thread with the turn comes to no point: it waits in a call that the simulation does
// not know, or computes for ever. Looks on in real time, from a thread of its own.
class Watchdog {
  public:
    // Without a thread to look on from, nobody does.
    explicit Watchdog(Scheduler& scheduler);
    ~Watchdog() { stop(); }
    Watchdog(Watchdog const&) = delete;
    Watchdog& operator=(Watchdog const&) = delete;

    void stop();

  private:
    static void* main(void* watchdog);
    void watch();
    void report(int thread, std::string const& what);

    Scheduler& mScheduler;
    pthread_t mThread{};
    bool mRuns = false;
    std::atomic<int> mStopped{0};  // a futex
};

}  // namespace zeqcam::simulation
