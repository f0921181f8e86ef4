#pragma once

#include <chrono>
#include <functional>
#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zeqcam::benchmarks {

enum class Unit { Time, Number };

inline double nanosecondsNow() {
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// One way of doing a job. `prepare` and `undo` stand around each job and are not measured.
struct Side {
    std::string name;
    std::function<void()> job;
    std::function<void()> prepare = [] {};
    std::function<void()> undo = [] {};
    int operations = 1;                              // in one job: what is shown is the cost of one
    std::function<double()> meter = nanosecondsNow;  // what grows by a job's cost
    Unit unit = Unit::Time;

    // The target that the comparison's first side has against this one; none: it is shown only.
    std::optional<double> atMostRatio = {};
    std::optional<double> atMostLonger = {};     // nanoseconds
    std::optional<double> atMostTailRatio = {};  // of the 99th percentiles
};

// A job done by the library, the first side, and by others. Their jobs alternate, so that whatever else the
// machine does meets all of them.
struct Comparison {
    std::string name;
    std::function<std::vector<Side>()> sides;  // made anew for each repetition; throws: not on this machine
    int samples = 1;                           // of each side in one repetition
    bool counts = true;                        // its instructions repeat
    bool tails = false;                        // its 99th percentile gets a row as well
};

using Comparisons = std::vector<Comparison>;

// A job of `operations` calls. The call is inlined: what it costs is not lost beside the job's own call.
template <class Call>
std::function<void()> repeated(int operations, Call call) {
    return [operations, call] {
        for (int i = 0; i < operations; ++i) call();
    };
}

// Starts `count` threads, lets them go all at once, and returns when all have ended.
inline void onThreads(int count, std::function<void(int)> const& run) {
    std::latch start(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            run(i);
        });
    }
    for (auto& thread : threads) thread.join();
}

// All of them. Log statements, sections and the hint are measured from inside the library's own code.
[[gnu::visibility("default")]] void addInside(Comparisons& all);
void addJournal(Comparisons& all);
void addStatus(Comparisons& all);
void addPower(Comparisons& all);
void addLoad(Comparisons& all);
void addKernel(Comparisons& all);
Comparisons allComparisons();

}  // namespace zeqcam::benchmarks
