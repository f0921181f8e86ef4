#pragma once

#include "analysis/Attempts.h"
#include "analysis/Doings.h"
#include "analysis/PowerOnLock.h"
#include "analysis/Works.h"
#include "record/Record.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace zeqcam::tool {

// What chains are made of: a record's events by request, by thread and by controller.
class ChainParts {
  public:
    // The record outlives it.
    explicit ChainParts(Record const& record);

    // A request that had its controller to itself.
    struct Keeping {
        std::uint32_t request = 0;
        Instant since;
        Instant until;
    };

    struct Asked {
        std::vector<std::uint32_t> events;     // on the thread that asked: indices into Record::events
        std::optional<std::size_t> firstWork;  // the place in `events` from which on it has its controller
        std::vector<std::size_t> works;        // indices into `works`
    };

    [[nodiscard]] Record const& record() const { return mRecord; }
    [[nodiscard]] Asked const& asked(std::uint32_t request) const { return mAsked[request]; }
    [[nodiscard]] std::vector<Work> const& works() const { return mWorks; }
    [[nodiscard]] Doings const& doings() const { return mDoings; }
    [[nodiscard]] Instant timeOf(std::uint32_t event) const { return mRecord.events[event].time; }

    // Those that kept the request's controller between these times, one after another.
    [[nodiscard]] std::vector<Keeping> keptBetween(std::uint32_t request, Instant begin, Instant end) const;
    // Who held the power-on lock at that time.
    [[nodiscard]] std::optional<LockHold> lockHeldAt(Instant time) const;
    // The work that the thread did before this one, and ended after that event.
    [[nodiscard]] std::optional<std::size_t> workBefore(std::size_t work, std::uint32_t event) const;
    [[nodiscard]] bool isRetry(std::uint32_t request, int sensor) const {
        return mRetried.contains({request, sensor});
    }
    [[nodiscard]] std::vector<Retry> const& retries(std::uint32_t request) const { return mRetries[request]; }
    // None: the record does not tell when the thread had a processor.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> withoutProcessor(std::uint32_t thread,
                                                                           Instant begin, Instant end) const;

  private:
    void findAsked();
    void findKeepings();

    Record const& mRecord;
    Doings const mDoings;
    std::vector<Work> const mWorks;
    std::vector<LockHold> const mHolds;
    std::vector<std::vector<Retry>> const mRetries;
    std::set<std::pair<std::uint32_t, int>> mRetried;
    std::vector<Asked> mAsked;
    std::map<std::uint32_t, std::vector<Keeping>> mKeepings;         // by controller
    std::map<std::uint32_t, std::vector<std::size_t>> mByThread;     // indices into the works
    std::map<std::uint32_t, std::vector<Scheduling>> mScheduling{};  // by thread
};

}  // namespace zeqcam::tool
