#include "StrictBoard.h"

#include <zeqcam/platform/IHalSensor.h>

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

using board::CallerFault;
using board::Kind;
using board::Settings;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char const* kCaller = "caller";

NSCam::IHalSensor* makeHandle(int sensor) {
    return NSCam::IHalSensorList::get()->createSensor(kCaller, sensor);
}
std::int32_t powerOn(NSCam::IHalSensor* handle, std::uint32_t sensor = 0) {
    return handle->powerOn(kCaller, 1, &sensor);
}
std::int32_t powerOff(NSCam::IHalSensor* handle, std::uint32_t sensor = 0) {
    return handle->powerOff(kCaller, 1, &sensor);
}
Settings twoSensors() {
    return {.sensors = {{0, {}}, {1, {}}}};
}

TEST(CallerFault, IsWhateverNoCallerMayDoToASensor) {
    struct Case {
        char const* name;
        std::function<void(StrictBoard& board, NSCam::IHalSensor* handle)> use;  // of a handle of sensor 0
        std::vector<std::string> faults;
    };
    std::uint32_t const zero = 0;
    for (Case const &c : std::vector<Case>{
             {"two cycles",
              [](auto&, auto*handle) {
                  for (int i = 0; i < 2; ++i) {
                      powerOn(handle);
                      handle->afterPowerOn(kCaller, 0);
                      powerOff(handle);
                  }
              },
              {}},
             {"on twice",
              [](auto&, auto*handle) {
                  powerOn(handle);
                  EXPECT_EQ(powerOn(handle), 1) << "carried out all the same";
                  powerOff(handle);
              },
              {"power-on of a sensor that is on: 0"}},
             {"off at first",
              [](auto&, auto*handle) { powerOff(handle); },
              {"power-off of a sensor that is off: 0"}},
             {"off twice",
              [](auto&, auto*handle) {
                  powerOn(handle);
                  powerOff(handle);
                  powerOff(handle);
              },
              {"power-off of a sensor that is off: 0"}},
             {"off and on again after refusals",
              [](auto&board, auto*handle) {
                  board.change([](Settings& settings) {
                      settings.sensors[0] = {.powerOnFails = {.times = {1}}, .powerOffFails = true};
                  });
                  powerOn(handle);
                  powerOff(handle);
                  powerOn(handle);
                  powerOff(handle);
                  powerOff(handle);
                  powerOn(handle);
                  powerOff(handle);
              },
              {}},
             {"another sensor",
              [](auto&, auto*handle) {
                  powerOn(handle, 1);
                  handle->afterPowerOn(kCaller, 1);
                  powerOff(handle, 1);
              },
              std::vector<std::string>(3, "a handle used for another sensor: 0")},
             {"no sensor",
              [&](auto&, auto*handle) {
                  EXPECT_EQ(handle->powerOn(kCaller, 0, &zero), 0);
                  EXPECT_EQ(handle->powerOff(kCaller, 1, nullptr), 0);
              },
              std::vector<std::string>(2, "a call for no sensor: 0")},
             {"another name",
              [&](auto&, auto*handle) {
                  handle->powerOn("another", 1, &zero);
                  handle->powerOff(nullptr, 1, &zero);
              },
              std::vector<std::string>(2, "a handle used in another caller's name: 0")},
         }) {
        SCOPED_TRACE(c.name);
        StrictBoard board(twoSensors());
        NSCam::IHalSensor* const handle = makeHandle(0);
        c.use(board, handle);
        handle->release(kCaller);
        EXPECT_THAT(board.faults(), ElementsAreArray(c.faults));
        board.expectFaults(ElementsAreArray(c.faults));
    }
}

TEST(CallerFault, IsAReleaseWithoutAPowerOffButNotAfterOneThatFailed) {
    StrictBoard board(twoSensors());
    for (bool const asksForOff : {true, false}) {
        board.change([&](Settings& settings) { settings.sensors[0].powerOffFails = asksForOff; });
        NSCam::IHalSensor* const handle = makeHandle(0);
        powerOn(handle);
        if (asksForOff) powerOff(handle);
        handle->release(kCaller);
        EXPECT_TRUE(board.isPowered(0));
    }
    board.expectFaults(ElementsAre("a handle released while its sensor is powered: 0"));
}

TEST(CallerFault, IsAnyUseOfAHandleAfterItsRelease) {
    StrictBoard board(twoSensors());
    NSCam::IHalSensor* const released = makeHandle(0);
    released->release(kCaller);
    for (int others = 0; others < 64; ++others) {
        NSCam::IHalSensor* const handle = makeHandle(0);
        ASSERT_NE(handle, released);
        handle->release(kCaller);
    }
    EXPECT_EQ(powerOn(released), 0);
    EXPECT_EQ(powerOff(released), 0);
    released->afterPowerOn(kCaller, 0);
    released->release(kCaller);
    EXPECT_FALSE(board.isPowered(0));
    EXPECT_EQ(board.openHandles(), 0);
    board.expectFaults(ElementsAreArray(std::vector<std::string>(4, "a handle used after its release: 0")));
}

TEST(CallerFault, IsListedWithItsThreadAndTimeAlsoWhileTheJournalIsOff) {
    StrictBoard board(twoSensors());
    NSCam::IHalSensor* const handle = makeHandle(1);
    auto const before = std::chrono::steady_clock::now();
    powerOff(handle, 1);
    board.journal().setOn(false);
    powerOff(handle, 1);
    handle->release(kCaller);
    auto const listed = board.callerFaults();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].sensor, 1);
    EXPECT_EQ(listed[0].thread, gettid());
    EXPECT_LE(before, listed[0].time);
    EXPECT_LE(listed[0].time, listed[1].time);
    auto const told = board.journal().entries();
    ASSERT_EQ(told.size(), 5U);
    EXPECT_EQ(told[2].kind, Kind::SensorPowerOff);
    EXPECT_EQ(told[3].kind, Kind::CallerFault) << "behind the call that it is about";
    EXPECT_EQ(told[3].text, "power-off of a sensor that is off");
    board.expectFaults(testing::SizeIs(2));
}

}  // namespace
}  // namespace zeqcam::tests
