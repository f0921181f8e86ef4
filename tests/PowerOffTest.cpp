#include "PowerTest.h"

#include <unistd.h>

#include <algorithm>

namespace zeqcam::tests {
namespace {

using board::TaskHandles;
using board::TaskRuns;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

std::string notQueued(int sensor) {
    return "W [PowerOnOffController::powerOff] sensorId(" + std::to_string(sensor) +
           ") power-off not queued, runs on the caller's thread";
}

class PowerOffTest : public PowerTest {
  protected:
    Controller poweredOn(std::vector<int> const& sensors) {
        auto controller = create(sensors);
        EXPECT_TRUE(controller->powerOn(sensors));
        return controller;
    }
    void setQueue(board::Queue const& queue) {
        board().change([&](board::Settings& settings) { settings.queue = queue; });
    }
};

TEST_F(PowerOffTest, RunsOneSensorOnTheCallersThread) {
    auto const controller = poweredOn({0});
    auto const told = without(entriesOf([&] { controller->powerOff({0}); }), kNoise);
    EXPECT_THAT(threadsOf(told, Kind::SensorPowerOff), ElementsAre(gettid()));
    EXPECT_THAT(
        tell(told),
        ElementsAre("I [PowerOnOffController::powerOff] powerOff +", "{ LogicalDev powerOff", "{ powerOff: 0",
                    "{ 3A notifyPowerOff", "Hal3APowerOff 0", "} 3A notifyPowerOff", "{ CamHw notifyPowerOff",
                    "PeripheralPowerOff 0", "} CamHw notifyPowerOff", "SensorPowerOff 0",
                    "SensorPowerOffDone 0", "} powerOff: 0", "PeripheralRelease 0", "Hal3ARelease 0",
                    "SensorRelease 0", "D [PowerOnOffController::powerOff] gSensorPowerOnLock unlock",
                    "I [PowerOnOffController::powerOff] powerOff -", "} LogicalDev powerOff"));
    EXPECT_THAT(told.at(9).text, "zeqcam-PowerOnOffController");
    EXPECT_THAT(told.at(9).sensors, ElementsAre(0));
    EXPECT_FALSE(board().isPowered(0));
}

TEST_F(PowerOffTest, PostsSeveralSensorsAndReturnsWhenAllAreOff) {
    board().change([](board::Settings& settings) { settings.sensors[1].powerOffHangs = true; });
    auto const controller = poweredOn({0, 1});
    {
        Background powerOff([&] { controller->powerOff({0, 1}); });
        journal().waitFor(Kind::SensorPowerOff, 2);
        EXPECT_THAT(controller->getStatus(), UnorderedElementsAre(std::pair(0U, true), std::pair(1U, true)));
        EXPECT_THAT(journal().entries(Kind::SensorRelease), IsEmpty());
        board().change([](board::Settings& settings) { settings.sensors[1].powerOffHangs = false; });
    }
    auto const told = entries();
    auto const posts = ofKinds(told, {Kind::TaskPost});
    ASSERT_EQ(posts.size(), 2U);
    EXPECT_EQ(posts[0].number, 1);
    EXPECT_EQ(posts[0].text, "powerOnOffCtrl");
    EXPECT_EQ(ofKinds(told, {Kind::TaskFuture}).size(), 2U);
    EXPECT_THAT(threadsOf(told, Kind::SensorPowerOff), Each(testing::Ne(posts[0].thread)));
    EXPECT_THAT(logLines(told), Not(Contains(testing::HasSubstr("not queued"))));
    EXPECT_THAT(tell(ofKinds(told, {Kind::SensorRelease})),
                ElementsAre("SensorRelease 0", "SensorRelease 1"));
}

TEST_F(PowerOffTest, RunsEveryEntryOnceWhateverTheQueueDoes) {
    struct Case {
        std::string name;
        board::Queue queue;
        std::size_t onCallersThread;
        std::size_t warnings;
    };
    std::vector<std::string> repeated;
    for (Case const& c : std::vector<Case>{
             {"missing", {.present = false}, 3, 3},
             {"drops", {.runs = TaskRuns::Dropped}, 3, 3},
             {"drops, no handle", {.runs = TaskRuns::Dropped, .handles = TaskHandles::NoHandle}, 3, 3},
             {"at once", {.runs = TaskRuns::AtOnce}, 3, 0},
             {"at once, no handle", {.runs = TaskRuns::AtOnce, .handles = TaskHandles::NoHandle}, 3, 0},
             {"at once, no future", {.runs = TaskRuns::AtOnce, .handles = TaskHandles::NoFuture}, 3, 0},
             {"held, no handle", {.runs = TaskRuns::Held, .handles = TaskHandles::NoHandle}, 3, 3},
             {"held, no future", {.runs = TaskRuns::Held, .handles = TaskHandles::NoFuture}, 3, 3},
             {"late", {.runs = TaskRuns::Late, .lateBy = std::chrono::milliseconds(1)}, 0, 0},
             {"two threads", {.threads = 2}, 0, 0},
             {"twice", {.runs = TaskRuns::Twice}, 0, 0},
             {"twice at once", {.runs = TaskRuns::TwiceAtOnce}, 0, 0},
             {"at once, throws", {.runs = TaskRuns::AtOnce, .handles = TaskHandles::Throws}, 3, 0},
             {"throws", {.runs = TaskRuns::Dropped, .handles = TaskHandles::Throws}, 3, 3},
         }) {
        SCOPED_TRACE(c.name);
        setQueue(c.queue);
        auto controller = poweredOn({0, 1});
        auto told = entriesOf([&] { controller->powerOff({0, 1, 0}); });
        auto const threads = threadsOf(told, Kind::SensorPowerOff);
        EXPECT_EQ(threads.size(), 3U);
        EXPECT_EQ(static_cast<std::size_t>(std::count(threads.begin(), threads.end(), gettid())),
                  c.onCallersThread);
        auto const lines = logLines(told);
        EXPECT_EQ(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), notQueued(0)) +
                                           std::count(lines.begin(), lines.end(), notQueued(1))),
                  c.warnings);
        EXPECT_THAT(controller->getStatus(),
                    Each(testing::Field(&std::pair<unsigned const, bool>::second, false)));
        controller.reset();
        EXPECT_THAT(ofKinds(entriesOf([&] { board().runHeldTasks(); }), {Kind::SensorPowerOff}), IsEmpty());
        repeated.push_back("power-off of a sensor that is off: 0");
    }
    board().expectFaults(repeated);
}

TEST_F(PowerOffTest, WaitsForATaskThatTheQueueHasBegunWithoutAHandle) {
    setQueue({.handles = TaskHandles::NoHandle});
    board().change([](board::Settings& settings) { settings.sensors[0].powerOffHangs = true; });
    auto const controller = poweredOn({0, 1});
    std::atomic<bool> returned{false};
    Background powerOff([&] {
        controller->powerOff({0, 1});
        returned = true;
    });
    journal().waitFor(Kind::SensorPowerOff, 1);
    EXPECT_FALSE(returned);
    EXPECT_THAT(journal().entries(Kind::SensorRelease), IsEmpty());
    board().change([](board::Settings& settings) { settings.sensors[0].powerOffHangs = false; });
    powerOff.join();
    EXPECT_EQ(journal().entries(Kind::SensorPowerOff).size(), 2U);
}

TEST_F(PowerOffTest, ReleasesTheLockWithTheLastRecordOnly) {
    auto const controller = poweredOn({0, 1, 2});
    auto const unlocks = [](std::vector<Entry> const& told) {
        auto const lines = logLines(told);
        return std::count(lines.begin(), lines.end(),
                          "D [PowerOnOffController::powerOff] gSensorPowerOnLock unlock");
    };
    EXPECT_EQ(unlocks(entriesOf([&] { controller->powerOff({0, 1}); })), 0);
    EXPECT_EQ(unlocks(entriesOf([&] { controller->powerOff({2}); })), 1);
    EXPECT_EQ(unlocks(entriesOf([&] { controller->powerOff({2}); })), 1) << "also while it is free";
}

TEST_F(PowerOffTest, CountsItsSensorsAsOffAfterItsLastLine) {
    auto const controller = poweredOn({0});
    std::vector<bool> countedAsOn;
    LineWatch stream([&](std::string const& line) {
        if (line.find("powerOff -") != std::string::npos)
            countedAsOn.push_back(controller->getStatus().at(0));
    });
    board().change([&](board::Settings& settings) {
        settings.logStream = &stream;
        settings.log.mode = 0x2;
    });
    controller->powerOff({0});
    EXPECT_THAT(countedAsOn, ElementsAre(true));
    EXPECT_FALSE(controller->getStatus().at(0));
    board().change([](board::Settings& settings) { settings.logStream = nullptr; });
}

TEST_F(PowerOffTest, PassesOverSensorsThatAreOffOrUnknown) {
    auto const controller = poweredOn({0});
    EXPECT_THAT(entriesOf([&] { controller->powerOff({}); }), IsEmpty());
    auto const told = entriesOf([&] { controller->powerOff({99}); });
    EXPECT_THAT(tell(ofKinds(told, {Kind::TraceBegin})),
                ElementsAre("{ LogicalDev powerOff", "{ powerOff: 99"));
    EXPECT_THAT(controller->getStatus(), ElementsAre(std::pair(0U, true)));
    EXPECT_TRUE(board().isPowered(0));
}

TEST_F(PowerOffTest, LooksAtNoRefusal) {
    board().change([](board::Settings& settings) {
        settings.sensors[0].powerOffFails = true;
        settings.sensors[0].hal3a->offStatus = 7;
    });
    auto const controller = poweredOn({0});
    controller->powerOff({0});
    EXPECT_THAT(controller->getStatus(), ElementsAre(std::pair(0U, false)));
    EXPECT_EQ(board().openHandles(), 0);
}

}  // namespace
}  // namespace zeqcam::tests
