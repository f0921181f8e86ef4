#include "SideBySide.h"
#include "Ways.h"

#include <sys/resource.h>

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zeqcam::benchmarks {
namespace {

constexpr std::chrono::milliseconds kSlowSensor{5};

// The call on one sensor, at the priority of a power-on: no power-on can be shorter.
Side slowestAlone(Bench const& bench) {
    auto const job = [bench] {
        setpriority(PRIO_PROCESS, 0, -20);
        unsigned int const index = 0;
        auto* const sensor = NSCam::IHalSensorList::get()->createSensor("alone", 0);
        sensor->powerOn("alone", 1, &index);
        sensor->release("alone");
        setpriority(PRIO_PROCESS, 0, 0);
    };
    return {.name = "the slowest sensor alone", .job = job};
}

// No platform call at all: what this kernel can do.
Side sleepingThreads(int sensors) {
    auto const job = [sensors] {
        onPlainThreads(static_cast<std::size_t>(sensors),
                       [](std::size_t) { std::this_thread::sleep_for(kSlowSensor); });
    };
    return {.name = "threads that only sleep as long", .job = job, .atMostRatio = 1.05};
}

std::vector<Side> slowSensors(int sensors) {
    Bench const bench = benchOf(sensors, kSlowSensor);
    return {powerOn(bench, kLibrary), slowestAlone(bench), powerOn(bench, kPlainThreads),
            sleepingThreads(sensors)};
}

// Apart from the above, whose time a task group's threads take while they look for more to do.
std::vector<Side> slowSensorsInOtherWays(int sensors) {
    Bench const bench = benchOf(sensors, kSlowSensor);
    std::vector<Side> sides{powerOn(bench, kLibrary), powerOn(bench, kOneAfterAnother)};
#ifdef ZEQCAM_HAVE_TBB
    sides.push_back(powerOn(bench, kTaskGroup));
#endif
    return sides;
}

// The cost for one sensor of a request, in a large and in a small one.
std::vector<Side> largeAndSmall(Side (*side)(Bench const&, Way const&), Way const& way,
                                std::optional<double> atMostRatio) {
    auto const board = boardOf(256);
    std::vector<Side> sides;
    for (int const sensors : {256, 8}) {
        auto const bench = std::make_shared<PowerBench>(board, idsFrom(0, sensors));
        sides.push_back(side(bench, way));
        sides.back().name = way.name + ", sensors: " + std::to_string(sensors);
        sides.back().operations = sensors;
    }
    sides.back().atMostRatio = atMostRatio;
    return sides;
}

constexpr int kControllers = 16;
constexpr int kCycles = 64;
constexpr int kSensorsOfEach = 2;

// The same number of cycles, shared by as many threads as there are controllers.
Side cyclesOf(std::vector<Bench> const& benches, int controllers) {
    auto const job = [benches, controllers] {
        onThreads(controllers, [&](int thread) {
            PowerBench& bench = *benches[static_cast<std::size_t>(thread)];
            for (int i = 0; i < kCycles / controllers; ++i) {
                kLibrary.on(bench);
                kLibrary.off(bench);
            }
        });
    };
    return {.name = "controllers: " + std::to_string(controllers),
            .job = job,
            .undo = emptyQosFile,
            .operations = kCycles};
}

std::vector<Side> controllersAtOnce(int controllers) {
    auto const board = boardOf(kControllers * kSensorsOfEach);
    std::vector<Bench> benches;
    for (int i = 0; i < controllers; ++i) {
        benches.push_back(std::make_shared<PowerBench>(board, idsFrom(i * kSensorsOfEach, kSensorsOfEach)));
    }
    return {cyclesOf(benches, controllers), withTarget(cyclesOf(benches, 1), 1.0)};
}

}  // namespace

void addPower(Comparisons& all) {
    for (auto const& [sensors, samples] : std::initializer_list<std::pair<int, int>>{
             {1, 100}, {2, 100}, {3, 100}, {8, 60}, {64, 15}, {256, 5}}) {
        auto const sides = [sensors = sensors] {
            Bench const bench = benchOf(sensors);
            return std::vector<Side>{powerOn(bench, kLibrary),
                                     withTarget(powerOn(bench, kPlainThreads), 1.2)};
        };
        all.push_back({.name = "power-on, sensors: " + std::to_string(sensors),
                       .sides = sides,
                       .samples = samples,
                       .counts = sensors <= 8});
    }
    for (int const sensors : {1, 2, 4, 8, 16}) {
        all.push_back({.name = "power-on, sensors of 5 ms: " + std::to_string(sensors),
                       .sides = [sensors] { return slowSensors(sensors); },
                       .samples = 15,
                       .counts = false});
        all.push_back({.name = "power-on, sensors of 5 ms: " + std::to_string(sensors) + ", other ways",
                       .sides = [sensors] { return slowSensorsInOtherWays(sensors); },
                       .samples = 3,
                       .counts = false});
    }
    for (auto const& [sensors, samples] :
         std::initializer_list<std::pair<int, int>>{{1, 100}, {2, 100}, {8, 60}, {64, 15}}) {
        auto const sides = [sensors = sensors] {
            Bench const bench = benchOf(sensors);
            return std::vector<Side>{powerOff(bench, kLibrary),
                                     withTarget(powerOff(bench, kPackagedTasks), 1.2)};
        };
        all.push_back({.name = "power-off, sensors: " + std::to_string(sensors),
                       .sides = sides,
                       .samples = samples,
                       .counts = sensors <= 8});
    }
    for (int const controllers : {4, 16}) {
        all.push_back({.name = "one cycle, controllers at once: " + std::to_string(controllers),
                       .sides = [controllers] { return controllersAtOnce(controllers); },
                       .samples = 25,
                       .counts = false});
    }
    all.push_back({.name = "power-on, for one sensor",
                   .sides = [] { return largeAndSmall(powerOn, kLibrary, 1.2); },
                   .samples = 15,
                   .counts = false});
    all.push_back({.name = "power-on by hand, for one sensor",
                   .sides = [] { return largeAndSmall(powerOn, kPlainThreads, {}); },
                   .samples = 15,
                   .counts = false});
    all.push_back({.name = "power-off, for one sensor",
                   .sides = [] { return largeAndSmall(powerOff, kLibrary, 1.2); },
                   .samples = 15,
                   .counts = false});
    all.push_back({.name = "cycle of 3 sensors",
                   .sides =
                       [] {
                           Bench const bench = benchOf(3);
                           return std::vector<Side>{cycle(bench, kLibrary), cycle(bench, kPlainThreads)};
                       },
                   .samples = 100});
}

}  // namespace zeqcam::benchmarks
