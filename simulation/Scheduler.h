#pragma once

#include "Memory.h"
#include "Thread.h"

#include <zeqcam/simulation/Simulation.h>

#include <atomic>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace zeqcam::simulation {

// Who goes on at a point.
class Choice {
  public:
    virtual ~Choice() = default;
    // One of `ready`, which is not empty and in the order of the threads' numbers. `current` has come to a
    // point, where it can go on if it is one of them, or has ended. Null when the schedule does not fit.
    virtual Thread* next(Thread& current, bool canGoOn, std::span<Thread* const> ready) = 0;
    [[nodiscard]] virtual std::string schedule() const = 0;
    // Whether every turn that was to be given has been.
    [[nodiscard]] virtual bool isUsedUp() const { return true; }
};

// Sees the order of all points.
class Observer {
  public:
    virtual ~Observer() = default;
    virtual void started(Thread* parent, Thread& thread) = 0;
    // `thread` goes on and takes its step.
    virtual void takes(Thread& thread, Time now) = 0;
};

// Runs the threads of one simulation. Whoever has the turn is alone in it.
class Scheduler {
  public:
    // All outlive the scheduler's threads; `observer` may be null.
    Scheduler(Limits const& limits, Choice& choice, Observer* observer);
    ~Scheduler();
    Scheduler(Scheduler const&) = delete;
    Scheduler& operator=(Scheduler const&) = delete;

    // On a thread from outside. False when the run was given up: its threads still stand in this object then.
    bool run(std::function<void()> const& body);
    [[nodiscard]] Result const& result() const { return mResult; }

    // ---- on a simulated thread with the turn ----

    // A point: returns when the thread may take the step.
    void reach(Step const& step);
    // A wait for a wake-up: true when woken, false when the deadline came first.
    bool await(Step const& step);
    // Wakes those that wait for `object` and whose wait `accepts`, the longest-waiting first, `count` at
    // most. Returns how many.
    template <class Accepts>
    int wake(void const* object, int count, Accepts const& accepts);
    int wake(void const* object, int count);

    // For a while, points go by the rule (see Choices.h).
    void setUnvaried(bool isUnvaried) { mUnvaried += isUnvaried ? 1 : -1; }
    // All threads that have not ended.
    [[nodiscard]] std::span<Thread* const> live() const { return mLive; }
    [[nodiscard]] bool isReady(Thread const& thread) const;
    [[nodiscard]] Time now() const { return mNow; }
    void fail(std::string_view reason);
    [[noreturn]] void stop(Ending ending, std::string report);
    // What follows is known: no thread goes on.
    [[noreturn]] void cutShort();

    // Who holds a lock. Readers have no name.
    struct Holder {
        Thread* writer = nullptr;
        int depth = 0;
        int readers = 0;
    };
    [[nodiscard]] Holder const* holder(void const* lock) const;
    void acquired(void const* lock, bool forReading = false);
    void released(void const* lock);

    // Starts a thread that waits for its first turn. Returns what pthread_create does.
    int start(pthread_t* handle, pthread_attr_t const* attributes, void* (*function)(void*), void* argument);
    // Null for a thread from outside, or one that the program has given up.
    Thread* find(pthread_t handle);
    // By its number; null when it has ended and been given up.
    Thread* numbered(int number);
    // The program gives up a thread's handle: it may come to mean another.
    void forget(pthread_t handle);

    // ---- for the watchdog ----

    struct Turn {
        std::uint64_t points;
        pid_t thread;
    };
    [[nodiscard]] Turn turn() const { return {mPoints.load(), mCurrentId.load()}; }
    [[nodiscard]] Limits const& limits() const { return mLimits; }
    // From the watchdog: ends the run while a thread keeps the turn.
    void giveUp(Ending ending, std::string report);
    [[nodiscard]] Thread* current() const { return mCurrent.load(); }

  private:
    static void* main(void* start);
    static void leave(void* thread);
    struct Start;

    void findReady();
    bool jump();
    Thread* choose(Thread& current);
    Thread* afterIdling(Thread& current);
    void passTo(Thread& next);
    void awaitTurn(Thread& thread);
    void awaitLeaving();
    void end(Thread& thread);
    void finish(Ending ending, std::string report);
    [[noreturn]] void standStill();
    [[nodiscard]] std::string describeAll(std::string const& headline);

    Limits const mLimits;
    Choice& mChoice;
    Observer* const mObserver;

    OwnVector<std::unique_ptr<Thread>> mThreads;  // in the order of their starts; forgotten ones are gone
    OwnVector<Thread*> mLive;
    OwnVector<Thread*> mReady;
    OwnMap<void const*, Holder> mHolders;
    int mStarted = 0;
    Thread* mLeaving = nullptr;  // has ended, but not yet in the kernel
    int mUnvaried = 0;
    Time mNow = 0;
    std::uint64_t mTickets = 0;
    std::uint64_t mPointsStanding = 0;  // since the clock moved
    std::uint64_t mSwitches = 0;
    std::string mFailure;

    std::atomic<std::uint64_t> mPoints{0};
    std::atomic<pid_t> mCurrentId{0};
    std::atomic<Thread*> mCurrent{nullptr};
    std::atomic<int> mDone{0};  // a futex: 1 when the result stands
    Result mResult;
};

// Of the simulation under way; null when there is none.
Scheduler* scheduler();

template <class Accepts>
int Scheduler::wake(void const* object, int count, Accepts const& accepts) {
    int woken = 0;
    while (woken < count) {
        Thread* longest = nullptr;
        for (Thread* const thread : mLive) {
            bool const waits =
                (thread->step.until == Until::Woken || thread->step.until == Until::WokenFree) &&
                thread->step.object == object && !thread->woken && !thread->timedOut;
            if (waits && accepts(*thread) && (longest == nullptr || thread->ticket < longest->ticket))
                longest = thread;
        }
        if (longest == nullptr) break;
        longest->woken = true;
        ++woken;
    }
    return woken;
}

}  // namespace zeqcam::simulation
