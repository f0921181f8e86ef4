#include "analysis/Attribution.h"
#include "circle/LeftBehind.h"
#include "evidence/Packet.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

namespace zeqcam::tests {
namespace {

using namespace tool;
using board::Kind;
using std::chrono::nanoseconds;

constexpr std::uint64_t kAsleep = 1;
constexpr std::uint64_t kEnded = 0x20;

// What the scheduler did on one processor, in columns.
class Columns {
  public:
    void switchTo(std::uint64_t time, std::uint64_t thread, std::uint64_t left) {
        mTimes.push_back(time - std::exchange(mLast, time));
        mLeft.push_back(left);
        mNext.push_back(thread);
    }
    void wake(std::uint64_t time, std::uint64_t thread) {
        mWakingTimes.push_back(time - std::exchange(mLastWaking, time));
        mWoken.push_back(thread);
    }
    [[nodiscard]] std::string text() const {
        return bytesField(4, packedField(1, mTimes) + packedField(2, mLeft) + packedField(3, mNext) +
                                 packedField(7, mWakingTimes) + packedField(8, mWoken));
    }

  private:
    std::uint64_t mLast = 0;
    std::uint64_t mLastWaking = 0;
    std::vector<std::uint64_t> mTimes;
    std::vector<std::uint64_t> mLeft;
    std::vector<std::uint64_t> mNext;
    std::vector<std::uint64_t> mWakingTimes;
    std::vector<std::uint64_t> mWoken;
};

// A processor's share of the trace: each thread has one of its own, and sleeps while it waits for a sensor.
struct Processor {
    std::string events;
    Columns columns;
    int depth = 0;  // of sections
};

std::uint64_t priorityOf(Event const& line) {
    constexpr std::uint64_t kOfLevels[] = {4, 6, 5, 4, 4, 3};
    return kOfLevels[static_cast<std::size_t>(line.number.value_or(0))];
}

class Writer {
  public:
    Writer(Played const& run, std::optional<int> lost)
        : mRecord(run.record), mRequests(attributionOf(run.record)), mToWall(toWallClock(run)), mLost(lost) {
        // In virtual time much happens at one instant; no phone's clock stands.
        std::uint64_t last = 0;
        for (Event const& event : mRecord.events)
            mTimes.push_back(last = std::max(timeOf(event.time), last + kLeastStep));
    }

    std::string text() {
        std::string clocks;
        std::uint64_t const begin = timeOf(mRecord.begin);
        for (auto const& [id, time] : {std::pair{6, begin}, std::pair{1, begin + offset()}})
            clocks += bytesField(1, numberField(1, static_cast<std::uint64_t>(id)) + numberField(2, time));
        mText = packet(numberField(10, 1) + numberField(8, begin) + bytesField(6, clocks));
        for (std::size_t i = 0; i < mRecord.events.size(); ++i) {
            add(i);
            constexpr std::size_t kEventsOfAPacket = 40;
            if (i % kEventsOfAPacket == kEventsOfAPacket - 1) flush();
        }
        flush();
        return mText;
    }

  private:
    static constexpr std::uint64_t kLeastStep = 2;

    static std::uint64_t timeOf(Instant time) {
        return static_cast<std::uint64_t>(time.time_since_epoch().count());
    }
    [[nodiscard]] std::uint64_t offset() const { return static_cast<std::uint64_t>(mToWall.count()); }
    [[nodiscard]] std::uint32_t idOf(std::uint32_t thread) const {
        return static_cast<std::uint32_t>(*mRecord.threads[thread].id);
    }

    void add(std::size_t index) {
        Event const& event = mRecord.events[index];
        Processor& processor = mProcessors[event.thread];
        std::uint64_t const time = mTimes[index];
        std::uint32_t const id = idOf(event.thread);
        std::string const process = std::to_string(*mRecord.process);
        std::string const label(mRecord.textOf(event.text));
        switch (event.kind) {
            case Kind::TraceBegin:
                if (label.starts_with("powerOnSensor: ")) start(index);
                if (processor.depth++ == 0) processor.columns.switchTo(time, id, kAsleep);
                processor.events +=
                    zeqcam::tests::event(time, id, print("B|" + process + '|' + label + '\n'));
                break;
            case Kind::TraceEnd:
                processor.events += zeqcam::tests::event(time, id, print("E|" + process + '\n'));
                if (--processor.depth == 0) processor.columns.switchTo(time, 0, kEnded);
                break;
            case Kind::SensorPowerOn:
                if (processor.depth > 0) processor.columns.switchTo(time, 0, kAsleep);
                break;
            case Kind::SensorPowerOnDone:
                if (processor.depth == 0) break;
                processor.columns.wake(time, id);
                processor.columns.switchTo(time, id, kAsleep);
                break;
            case Kind::UnifiedLog:
                mText += packet(numberField(10, 1) + bytesField(39, line(event, time)));
                break;
            default:
                break;
        }
    }

    void start(std::size_t index) {
        std::uint32_t const starter = starterOf(mRecord, mRequests, index);
        Event const& event = mRecord.events[index];
        mProcessors[starter].events += zeqcam::tests::event(
            mTimes[index] - 1, idOf(starter),
            bytesField(235, numberField(1, idOf(event.thread)) + bytesField(2, "worker")));
    }

    [[nodiscard]] std::string line(Event const& event, std::uint64_t time) const {
        return bytesField(1, numberField(2, static_cast<std::uint64_t>(*mRecord.process)) +
                                 numberField(3, idOf(event.thread)) + numberField(5, time + offset()) +
                                 bytesField(6, mRecord.textOf(event.text)) +
                                 numberField(7, priorityOf(event)) +
                                 bytesField(8, mRecord.textOf(event.shown)));
    }

    // Processor by processor, as the tracer drains them.
    void flush() {
        bool const isLost = mLost == mPackets;
        bool const hasLost = mLost && *mLost + 1 == mPackets;
        for (auto& [number, processor] : mProcessors) {
            std::string const events = processor.events + std::exchange(processor.columns, {}).text();
            if (!isLost) mText += bundle(number, (hasLost ? numberField(3, 1) : "") + events);
            processor.events.clear();
        }
        ++mPackets;
    }

    Record const& mRecord;
    std::vector<OptionalNumber<std::uint32_t>> const mRequests;
    nanoseconds const mToWall;
    std::vector<std::uint64_t> mTimes;  // of the events
    std::optional<int> const mLost;
    int mPackets = 0;
    std::map<std::uint32_t, Processor> mProcessors;
    std::string mText;
};

}  // namespace

std::string perfettoOf(Played const& run, std::optional<int> lost) {
    return Writer(run, lost).text();
}

}  // namespace zeqcam::tests
