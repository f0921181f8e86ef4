#include "SideBySide.h"
#include "Ways.h"

#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace zeqcam::benchmarks {
namespace {

constexpr std::chrono::milliseconds kSlowSensor{5};
constexpr unsigned int kBusyThreadsOfEach = 2;

// Two threads for each processor that only compute, as long as it stands.
class BusyProcessors {
  public:
    BusyProcessors() {
        for (unsigned int i = 0; i < kBusyThreadsOfEach * std::thread::hardware_concurrency(); ++i) {
            mThreads.emplace_back([this] {
                while (!mEnds.load(std::memory_order_relaxed)) {
                }
            });
        }
    }
    ~BusyProcessors() {
        mEnds = true;
        for (auto& thread : mThreads) thread.join();
    }
    BusyProcessors(BusyProcessors const&) = delete;
    BusyProcessors& operator=(BusyProcessors const&) = delete;

  private:
    std::atomic<bool> mEnds{false};
    std::vector<std::thread> mThreads;
};

bool mayRaisePriority() {
    int const nice = getpriority(PRIO_PROCESS, 0);
    bool const may = setpriority(PRIO_PROCESS, 0, -20) == 0;
    setpriority(PRIO_PROCESS, 0, nice);
    return may;
}

Side underLoad(Side side, std::shared_ptr<BusyProcessors> const& busy) {
    side.job = [busy, job = side.job] { job(); };
    return side;
}

std::vector<Side> slowSensorsUnderLoad() {
    Bench const bench = benchOf(3, kSlowSensor);
    auto const busy = std::make_shared<BusyProcessors>();
    std::vector<Side> sides{underLoad(powerOn(bench, kLibrary), busy),
                            underLoad(powerOn(bench, kPlainThreadsWithoutHints), busy)};
    // Without the priority nothing tells the two apart.
    if (mayRaisePriority()) {
        sides[1].atMostRatio = 1.0;
        sides[1].atMostTailRatio = 0.75;
    }
    return sides;
}

}  // namespace

void addLoad(Comparisons& all) {
    all.push_back({.name = "power-on under load, sensors of 5 ms: 3",
                   .sides = slowSensorsUnderLoad,
                   .samples = 200,
                   .counts = false,
                   .tails = true});
}

}  // namespace zeqcam::benchmarks
