#include "PowerTest.h"

namespace zeqcam::tests {
namespace {

using NSCam::IPowerOnOffController;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using StateTest = PowerTest;

// Whether a new power-on of a controller of its own finds the lock free. Leaves it as it was.
bool lockIsFree(board::Board& board) {
    std::size_t const before = board.journal().entries().size();
    IPowerOnOffController::create({.sensorIds = {}})->powerOn({12345});
    auto told = board.journal().entries();
    told.erase(told.begin(), told.begin() + static_cast<std::ptrdiff_t>(before));
    return logLines(told).at(0) == "D [PowerOnOffController::powerOn] get PowerOnLock, Sensor power on";
}

TEST_F(StateTest, ANewControllerKnowsItsSensorsAsOff) {
    EXPECT_THAT(create({})->getStatus(), IsEmpty());
    EXPECT_THAT(
        create({2, 0, 2, -1})->getStatus(),
        UnorderedElementsAre(std::pair(0U, false), std::pair(2U, false), std::pair(4294967295U, false)));
    auto const queue = journal().entries(Kind::QueueCreate).at(0);
    EXPECT_EQ(queue.text, "powerOnOffCtrl");
    EXPECT_EQ(queue.number, 0);
}

TEST_F(StateTest, ADestroyedControllerTellsAndPowersOffWhatIsStillOn) {
    auto controller = create({0, 1});
    controller->powerOn({0, 1});
    controller->powerOff({1});
    auto const told = entriesOf([&] { controller.reset(); });
    EXPECT_THAT(
        tell(without(told, kNoise)),
        ElementsAre("W [PowerOnOffController::~PowerOnOffController] release but something(0) still in list",
                    "{ 3A notifyPowerOff", "Hal3APowerOff 0", "} 3A notifyPowerOff", "{ CamHw notifyPowerOff",
                    "PeripheralPowerOff 0", "} CamHw notifyPowerOff", "SensorPowerOff 0",
                    "SensorPowerOffDone 0", "QueueRelease powerOnOffCtrl", "PeripheralRelease 0",
                    "Hal3ARelease 0", "SensorRelease 0"));
    EXPECT_EQ(ofKinds(told, {Kind::SensorRelease}).at(0).text, "zeqcam-PowerOnOffController");
}

TEST_F(StateTest, ADestroyedControllerFreesTheLockOfItsOwnPowerOnOnly) {
    auto holder = create({0});
    auto other = create({1});
    holder->powerOn({0});
    other->powerOn({1});
    other.reset();
    EXPECT_FALSE(lockIsFree(board())) << "another controller's power-on holds it";
    holder.reset();
    EXPECT_TRUE(lockIsFree(board()));

    holder = create({0});
    holder->powerOn({99});  // no record, but the lock
    EXPECT_FALSE(lockIsFree(board()));
    holder.reset();
    EXPECT_TRUE(lockIsFree(board()));
}

TEST_F(StateTest, AControllerWhoseLockAnotherHasFreedDoesNotFreeTheNextHolders) {
    auto first = create({0});
    auto second = create({1});
    first->powerOn({0});
    second->powerOff({1});  // no record left there: releases the lock, whoever holds it
    second->powerOn({1});
    first.reset();
    EXPECT_FALSE(lockIsFree(board()));
    second->powerOff({1});
}

TEST_F(StateTest, RequestsOnOneControllerRunOneAtATime) {
    board().change([](board::Settings& settings) { settings.sensors[0].powerOnHangs = true; });
    auto const controller = create({0, 1});
    Background first([&] { controller->powerOn({0}); });
    journal().waitFor(Kind::SensorPowerOn);
    Background second([&] { controller->powerOn({0, 1}); });
    journal().waitUntil([](std::vector<Entry> const& told) {
        return ofKinds(told, {Kind::QueueCreate}).size() == 1 &&
               testing::Value(logLines(told),
                              testing::Contains(testing::HasSubstr("failed to get PowerOnLock")));
    });
    EXPECT_EQ(journal().entries(Kind::SensorPowerOn).size(), 1U);
    board().change([](board::Settings& settings) { settings.sensors[0].powerOnHangs = false; });
    second.join();
    first.join();
    EXPECT_THAT(
        logLines(entries()),
        testing::Contains("D [PowerOnOffController::operator()] sensorId(0) state: 1, needs skipped"));
    controller->powerOff({0, 1});
}

TEST_F(StateTest, AQueueThatCannotBeMadeLeavesTheControllerUsable) {
    board().change([](board::Settings& settings) { settings.queue.present = false; });
    auto const controller = create({0});
    EXPECT_TRUE(controller->powerOn({0}));
    controller->powerOff({0});
    EXPECT_FALSE(board().isPowered(0));
}

}  // namespace
}  // namespace zeqcam::tests
