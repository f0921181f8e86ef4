#include "analysis/Works.h"

#include "analysis/Attribution.h"
#include "analysis/Causes.h"

#include <map>
#include <optional>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr KindSet kBegins{Kind::TraceBegin, Kind::SensorPowerOn, Kind::SensorPowerOff, Kind::TaskRun};
constexpr KindSet kEnds{Kind::TraceEnd, Kind::SensorPowerOnDone, Kind::SensorPowerOffDone, Kind::TaskRunDone};

// The work that a thread is at.
struct WorkUnderWay {
    std::size_t work;
    int depth = 0;  // of what it has begun and not ended
};

class WorkReader {
  public:
    explicit WorkReader(Record const& record)
        : mRecord(record), mRequests(attributionOf(record)), mCauses(causesOf(record)) {}

    std::vector<Work> read() {
        for (std::uint32_t index = 0; index < mRecord.events.size(); ++index) read(index);
        return std::move(mWorks);
    }

  private:
    void read(std::uint32_t index) {
        Event const& event = mRecord.events[index];
        if (event.kind == Kind::TaskRun) {
            mUnderWay.erase(event.thread);
            mTasks[event.thread].clear();
        }
        if (auto const task = mTasks.find(event.thread); task != mTasks.end()) task->second.push_back(index);
        if (mNext < mCauses.size() && mCauses[mNext].event == index) return begin(mCauses[mNext++], index);
        auto const found = mUnderWay.find(event.thread);
        if (found == mUnderWay.end()) return;
        Work const& work = mWorks[found->second.work];
        if (found->second.depth > 0 || mRequests[index] == OptionalNumber(work.request)) {
            add(found->second, index);
        } else {
            mUnderWay.erase(found);
        }
    }

    // A task has begun before its first call shows whose it is.
    void begin(Cause const& cause, std::uint32_t index) {
        mWorks.push_back({cause.request, cause.working, cause.sensor, cause.powersOn, false, {}});
        WorkUnderWay& now =
            mUnderWay.insert_or_assign(cause.working, WorkUnderWay{mWorks.size() - 1}).first->second;
        auto const task = mTasks.find(cause.working);
        bool const isTask = task != mTasks.end() && !cause.powersOn;
        for (std::uint32_t const event : isTask ? task->second : std::vector{index}) add(now, event);
        if (task != mTasks.end()) mTasks.erase(task);
    }

    void add(WorkUnderWay& now, std::uint32_t index) {
        Event const& event = mRecord.events[index];
        if (kBegins.contains(event.kind)) ++now.depth;
        if (kEnds.contains(event.kind)) --now.depth;
        mWorks[now.work].events.push_back(index);
        mWorks[now.work].hasEnded = now.depth <= 0;
        if (event.kind == Kind::TaskRunDone) mUnderWay.erase(event.thread);
    }

    Record const& mRecord;
    std::vector<OptionalNumber<std::uint32_t>> const mRequests;
    std::vector<Cause> const mCauses;
    std::size_t mNext = 0;
    std::vector<Work> mWorks;
    std::map<std::uint32_t, WorkUnderWay> mUnderWay;  // by thread
    // What threads have done of a task that has not shown yet whose it is.
    std::map<std::uint32_t, std::vector<std::uint32_t>> mTasks;
};

}  // namespace

std::vector<Work> worksOf(Record const& record) {
    return WorkReader(record).read();
}

}  // namespace zeqcam::tool
