#include "run/SimulatedRun.h"

#include "run/Run.h"
#include "text/Addresses.h"
#include "text/TimeText.h"

#include <zeqcam/ThreadSafety.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;
using simulation::Ending;

class AllDone {
  public:
    void tell() {
        std::lock_guard const hold(mLock);
        mDone = true;
        mTold.notify_all();
    }

    // Whether all was done by the limit.
    bool wait(std::optional<Clock::time_point> limit) {
        std::lock_guard const hold(mLock);
        while (!mDone) {
            if (!limit) {
                mTold.wait(mLock);
            } else if (mTold.wait_until(mLock, *limit) == std::cv_status::timeout) {
                break;
            }
        }
        return mDone;
    }

  private:
    std::mutex mLock;
    std::condition_variable_any mTold;
    bool mDone ZEQCAM_GUARDED_BY(mLock) = false;
};

// To follow "the run".
std::string whyCutOff(Ending ending) {
    switch (ending) {
        case Ending::Deadlock:
            return "cannot end: no thread can go on";
        case Ending::Livelock:
            return "does not get on: threads run and time stands";
        case Ending::Blocked:
            return "waits in a call that the simulation does not know";
        default:
            return "ended otherwise: " + std::string(nameOf(ending));
    }
}

// What the run's thread and the thread outside share. Kept where threads are left.
struct Shared {
    AllDone allDone;
    std::unique_ptr<Run> run;
    Clock::time_point began;
    std::optional<Record> record;  // once the run has ended or is cut off
};

void playUntil(Scenario const& scenario, std::optional<std::chrono::nanoseconds> limit, Shared& shared) {
    shared.began = Clock::now();
    shared.run = std::make_unique<Run>(scenario, Run::Drains::AtTheEnd, [&shared] { shared.allDone.tell(); });
    bool const ended = shared.allDone.wait(limit ? std::optional(shared.began + *limit) : std::nullopt);
    if (ended) shared.run->join();
    shared.record = shared.run->record();
    if (!ended) shared.record->cutOff = "has not ended within " + timeText(*limit);
    shared.run.reset();  // lets what hangs go on, in no time
}

void hideAddresses(Record& record) {
    for (Event& event : record.events) {
        event.shown = record.texts.add(withoutAddresses(record.textOf(event.shown)));
    }
}

}  // namespace

bool SimulatedRun::leavesThreads() const {
    return result.ending != Ending::Ended && result.ending != Ending::Failed;
}

SimulatedRun simulate(Scenario const& scenario, Order const& order,
                      std::optional<std::chrono::nanoseconds> limit) {
    auto shared = std::make_unique<Shared>();
    auto const body = [&scenario, limit, shared = shared.get()] { playUntil(scenario, limit, *shared); };
    auto const* const schedule = std::get_if<std::string>(&order);
    SimulatedRun run;
    run.result = schedule ? simulation::replay(body, *schedule) : simulation::run(body, std::get<0>(order));
    if (shared->record) {
        run.record = std::move(*shared->record);
    } else if (shared->run) {
        run.record = shared->run->record(shared->began + run.result.time);
    }
    run.record.clock = ClockKind::Virtual;
    run.record.toWallClock.reset();
    hideAddresses(run.record);
    if (run.leavesThreads()) {
        if (!run.record.cutOff) run.record.cutOff = whyCutOff(run.result.ending);
        static_cast<void>(shared.release());
    }
    return run;
}

void playSimulated(Scenario const& scenario, std::function<void(Record const& record)> const& judge) {
    Shared shared;
    playUntil(scenario, {}, shared);
    shared.record->clock = ClockKind::Virtual;
    judge(*shared.record);
}

}  // namespace zeqcam::tool
