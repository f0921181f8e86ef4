#include "QuietBoard.h"
#include "SideBySide.h"

#include <zeqcam/IPowerOnOffController.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <unordered_map>
#include <vector>

namespace zeqcam::benchmarks {
namespace {

using Status = std::unordered_map<unsigned int, bool>;

constexpr int kQueries = 20;

// What a getter of a guarded map is. It leaves out the change from states to answers.
class GuardedMap {
  public:
    explicit GuardedMap(Status status) : mStatus(std::move(status)) {}

    [[gnu::noinline]] Status get() {
        std::lock_guard const hold(mLock);
        return mStatus;
    }

  private:
    std::mutex mLock;
    Status mStatus;
};

// What the interface asks for: its answer is another type than the states, so no copy of theirs, and is
// filled key by key, each one looked up and counted.
class GuardedStates {
  public:
    explicit GuardedStates(Status const& keys) {
        for (auto const& [key, on] : keys) mStates.emplace(key, 0U);
    }

    [[gnu::noinline]] Status get() {
        std::lock_guard const hold(mLock);
        Status status(mStates.size());
        for (auto const& [key, state] : mStates) status.emplace(key, state == 1 || state == 2);
        return status;
    }

  private:
    std::mutex mLock;
    std::unordered_map<unsigned int, std::uint32_t> mStates;
};

std::vector<Side> statusOf(int sensors) {
    board::Settings settings = deviceSettings();
    std::vector<int> ids(static_cast<std::size_t>(sensors));
    std::iota(ids.begin(), ids.end(), 0);
    for (int const id : ids) settings.sensors[id];

    auto const board = std::make_shared<QuietBoard>(settings);
    auto const controller = NSCam::IPowerOnOffController::create({.sensorIds = ids});
    auto const map = std::make_shared<GuardedMap>(controller->getStatus());
    auto const states = std::make_shared<GuardedStates>(controller->getStatus());
    auto const library = repeated(
        kQueries, [controller = controller.get()] { benchmark::DoNotOptimize(controller->getStatus()); });
    auto const copy = repeated(kQueries, [map = map.get()] { benchmark::DoNotOptimize(map->get()); });
    auto const filled =
        repeated(kQueries, [states = states.get()] { benchmark::DoNotOptimize(states->get()); });
    return {{.name = "library", .job = [board, controller, library] { library(); }, .operations = kQueries},
            {.name = "locked copy of the map",
             .job = [map, copy] { copy(); },
             .operations = kQueries,
             .atMostRatio = 1.2},
            {.name = "answer filled key by key",
             .job = [states, filled] { filled(); },
             .operations = kQueries,
             .atMostRatio = 1.05}};
}

}  // namespace

void addStatus(Comparisons& all) {
    for (int const sensors : {1, 4, 64}) {
        all.push_back({.name = "getStatus, sensors: " + std::to_string(sensors),
                       .sides = [sensors] { return statusOf(sensors); },
                       .samples = 300});
    }
}

}  // namespace zeqcam::benchmarks
