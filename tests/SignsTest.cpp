#include "evidence/Signs.h"

#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr std::string_view kController = "zeqcam-PowerOnOffController";
constexpr std::string_view kListener = "ZeqCam/Hal3AListener";

TEST(Signs, AreReadOfEveryLineThatSaysSomething) {
    struct Case {
        std::string_view tag;
        std::string_view text;
        Saying saying;
        std::optional<int> sensor = {};
        bool isDebugPrint = false;
    };
    std::vector<Case> const cases{
        {kController, "[PowerOnOffController::powerOn] get PowerOnLock, Sensor power on", Saying::LockTaken},
        {kController,
         "[PowerOnOffController::powerOn]  failed to get PowerOnLock, exist power on sensor or "
         "waitSensorsPowerOff() operating",
         Saying::LockNotTaken},
        {kController, "[PowerOnOffController::operator()] sensorId(2) state: PowerOngoing", Saying::Admitted,
         2},
        {kController, "[PowerOnOffController::operator()] sensorId(-1) state: 1, needs skipped",
         Saying::Skipped, -1},
        {kController,
         "[PowerOnOffController::operator()] sensorId(7) is not of this controller, needs skipped",
         Saying::NotDriven, 7},
        {kController, "[PowerOnOffController::powerOnOps] powerOn +", Saying::PowerOnBegins},
        {kController, "[PowerOnOffController::powerOnOps] replace data", Saying::RecordFiled},
        {kController,
         "[PowerOnOffController::createData] Bad HalSensor - sensorId=3 (createData){#643:a/b.cpp}",
         Saying::NoHandle, 3},
        {kController, "[PowerOnOffController::powerOnOps] create data fail", Saying::NoRecord},
        {kController,
         "[PowerOnOffController::powerOff] sensorId(1) power-off not queued, runs on the caller's thread",
         Saying::NotQueued, 1},
        {kController, "[PowerOnOffController::powerOff] gSensorPowerOnLock unlock", Saying::LockReleased},
        {kController, "[PowerOnOffController::~PowerOnOffController] release but something(4) still in list",
         Saying::StillInList, 4},
        {kController, "[initSensor] powerOnSensor: 18446744073709551615", Saying::WorkerBegins, -1},
        {kController, "[initSensor] sensorIndex:2 powerOn failed", Saying::SensorFailed, 2},
        {kController, "write camera_ux tid:820 isSetQos 1, issuccess", Saying::Hint},
        {kListener, "0[Hal3AListener::Hal3AListener] 0x7b40001240", Saying::RecordMade, 0},
        {kListener, "-1[Hal3AListener::init] Bad mHal3aCtrl", Saying::No3A, -1},
        {kListener, "3[Hal3AListener::init] Bad mPeripheralCtrl", Saying::NoPeripheral, 3},
        // The debug print says where, and its errors where again.
        {kController,
         "I[zeqcam-PowerOnOffController] PowerOnOffController.cpp:592 powerOnOps() "
         "[PowerOnOffController::powerOnOps] powerOn +",
         Saying::PowerOnBegins, std::nullopt, true},
        {kController,
         "E[zeqcam-PowerOnOffController] f.cpp:287 operator()() [initSensor] sensorIndex:2 powerOn failed "
         "(operator()){#287:/src/f.cpp}",
         Saying::SensorFailed, 2, true},
        {kListener,
         "E[ZeqCam/Hal3AListener] f.cpp:44 init() 12[Hal3AListener::init] Bad mPeripheralCtrl (init){#44:f}",
         Saying::NoPeripheral, 12, true},
        // A trace of a run has no tags.
        {"", "[PowerOnOffController::powerOff] powerOff -", Saying::PowerOffEnds},
        // A later library may say more.
        {kController, "[PowerOnOffController::powerOn] something new", Saying::Other},
        {kController, "[PowerOnOffController::operator()] sensorId(x) state: PowerOngoing", Saying::Other},
    };
    for (auto const& [tag, text, saying, sensor, isDebugPrint] : cases) {
        auto const sign = signOfLine(tag, text);
        ASSERT_TRUE(sign) << text;
        EXPECT_EQ(sign->saying, saying) << text;
        EXPECT_EQ(sign->sensor, sensor) << text;
        bool const isWhole =
            saying == Saying::Other || saying == Saying::Hint || sign->isDebugPrint == isDebugPrint;
        EXPECT_TRUE(isWhole) << text;
    }
}

TEST(Signs, AreNotReadOfOthersLinesAndSections) {
    EXPECT_FALSE(signOfLine("CameraService", "[PowerOnOffController::powerOnOps] powerOn +"));
    EXPECT_FALSE(signOfLine("", "an instant of another trace"));
    for (std::string_view const label :
         {"", "LogicalDev", "LogicalDev powerOnX", "powerOnSensor:", "powerOnSensor: ", "3A notifyPowerOn 2"})
        EXPECT_FALSE(signOfSection(label)) << label;
}

TEST(Signs, AreReadOfSectionsWithAnIdOrAName) {
    struct Case {
        std::string_view label;
        Saying saying;
        std::optional<int> sensor = {};
        std::string_view name = {};
    };
    for (auto const& [label, saying, sensor, name] :
         std::vector<Case>{{"LogicalDev powerOn", Saying::PowerOnSection},
                           {"powerOnSensor: 12", Saying::WorkerSection, 12},
                           {"powerOff: 18446744073709551615", Saying::TaskSection, -1},
                           {"powerOff: tele", Saying::TaskSection, std::nullopt, "tele"},
                           {"powerOnSensor: 3 wide", Saying::WorkerSection, std::nullopt, "3 wide"},
                           {"CamHw notifyPowerOff", Saying::PeripheralOffSection}}) {
        auto const sign = signOfSection(label);
        ASSERT_TRUE(sign) << label;
        EXPECT_EQ(sign->saying, saying) << label;
        EXPECT_EQ(sign->sensor, sensor) << label;
        EXPECT_EQ(sign->sensorName, name) << label;
    }
}

}  // namespace
}  // namespace zeqcam::tool
