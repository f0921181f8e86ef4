// How long the board's sensors and services take, and how sensors wait for their supply.
#include "StrictBoard.h"
#include "platform/board/Draw.h"

#include <gtest/gtest.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/platform/Hal3A.h>
#include <zeqcam/platform/IHalSensor.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace zeqcam::board;
using namespace std::chrono_literals;
using zeqcam::tests::StrictBoard;

// A handle of a sensor that is powered off and let go of at the end.
class Handle {
  public:
    explicit Handle(std::uint32_t sensor)
        : mSensor(sensor),
          mHandle(NSCam::IHalSensorList::get()->createSensor("test", static_cast<int>(sensor))) {}
    ~Handle() {
        mHandle->powerOff("test", 1, &mSensor);
        mHandle->release("test");
    }
    Handle(Handle const&) = delete;
    Handle& operator=(Handle const&) = delete;

    std::future<std::int32_t> powersOn() {
        return std::async(std::launch::async, [this] { return mHandle->powerOn("test", 1, &mSensor); });
    }

  private:
    std::uint32_t const mSensor;
    NSCam::IHalSensor* const mHandle;
};

TEST(TimeRange, DrawsEachCallAloneAndNeverBeyondItsEnds) {
    TimeRange const range(10us, 12us);
    std::vector<int> seen(3);
    for (int nth = 1; nth <= 300; ++nth) {
        auto const time = drawn(range, 7, 4, Kind::SensorPowerOn, nth);
        ASSERT_TRUE(time >= 10us && time <= 12us) << time.count();
        ++seen[static_cast<std::size_t>(time.count() - 10)];
        EXPECT_EQ(drawn(range, 7, 4, Kind::SensorPowerOn, nth), time) << "the same call once more";
    }
    EXPECT_GT(*std::min_element(seen.begin(), seen.end()), 50) << "both ends are drawn too";
    EXPECT_EQ(drawn(TimeRange(5ms), 7, 4, Kind::SensorPowerOn, 1), 5ms);
    auto const differs = [&](std::uint64_t seed, int sensor, Kind call) {
        TimeRange const wide(0us, 1h);
        return drawn(wide, seed, sensor, call, 1) != drawn(wide, 7, 4, Kind::SensorPowerOn, 1);
    };
    EXPECT_TRUE(differs(8, 4, Kind::SensorPowerOn) && differs(7, 5, Kind::SensorPowerOn) &&
                differs(7, 4, Kind::SensorPowerOff));
}

TEST(Board, TakesTheTimeOfAServiceInItsCallAndLetsTheSensorBeAskedMeanwhile) {
    Service const slow{.offStatus = 4, .offTime = 1h};
    auto board =
        std::make_unique<StrictBoard>(Settings{.sensors = {{0, {.hal3a = slow, .peripheral = slow}}}});
    auto const hal3a = zeq::hal3a::IHal3AAssist::createInstance(0);
    auto const peripheral = zeq::hal3a::IPeripheralController::GetInstance(0);
    EXPECT_EQ(hal3a->notifyPowerOn() + peripheral->notifyPowerOn(), 0) << "at once";
    auto first = std::async(std::launch::async, [&] { return hal3a->notifyPowerOff(); });
    auto second = std::async(std::launch::async, [&] { return peripheral->notifyPowerOff(); });
    board->journal().waitFor(Kind::Hal3APowerOff);
    board->journal().waitFor(Kind::PeripheralPowerOff);
    EXPECT_FALSE(board->isPowered(0));
    EXPECT_EQ(first.wait_for(0s), std::future_status::timeout);
    EXPECT_EQ(second.wait_for(0s), std::future_status::timeout);
    board.reset();
    EXPECT_EQ(first.get(), 4);
    EXPECT_EQ(second.get(), 4);
}

Settings onOneRail(int atOnce) {
    Settings settings{.supplies = {{"rail", {.atOnce = atOnce}}}};
    for (int const id : {0, 1, 2}) settings.sensors[id] = {.powerOnHangs = true, .supply = "rail"};
    settings.sensors[3];
    return settings;
}

TEST(Board, LetsSensorsOfASupplyComeUpOneAfterAnother) {
    StrictBoard board(onOneRail(1));
    Handle first(0), second(1), third(2), other(3);
    auto up = first.powersOn();
    board.journal().waitFor(Kind::SupplyGiven);
    auto next = second.powersOn();
    board.journal().waitFor(Kind::SensorPowerOn, 2);
    EXPECT_EQ(other.powersOn().get(), 1) << "its supply is its own";
    EXPECT_FALSE(board.isPowered(1)) << "and to ask does not wait";
    auto last = third.powersOn();
    EXPECT_EQ(board.journal().entries(Kind::SupplyGiven).size(), 1U);
    board.change([](Settings& settings) { settings.sensors[0].powerOnHangs = false; });
    board.journal().waitFor(Kind::SupplyGiven, 2);
    EXPECT_TRUE(board.isPowered(0)) << "before another one comes up";
    EXPECT_EQ(board.journal().entries(Kind::SupplyGiven).size(), 2U) << "which hangs now";
    board.change([](Settings& settings) {
        for (auto& [id, sensor] : settings.sensors) sensor.powerOnHangs = false;
    });
    EXPECT_EQ(up.get() + next.get() + last.get(), 3);
}

TEST(Board, LetsMoreComeUpWhenASupplyIsChangedAndAllWhenTheBoardGoes) {
    for (bool const boardGoes : {false, true}) {
        auto board = std::make_unique<StrictBoard>(onOneRail(1));
        Handle first(0), second(1);
        auto up = first.powersOn();
        board->journal().waitFor(Kind::SupplyGiven);
        auto next = second.powersOn();
        board->journal().waitFor(Kind::SensorPowerOn, 2);
        EXPECT_EQ(board->journal().entries(Kind::SupplyGiven).size(), 1U);
        if (boardGoes) {
            board.reset();
        } else {
            board->change([](Settings& settings) { settings.supplies["rail"].atOnce = 2; });
            board->journal().waitFor(Kind::SupplyGiven, 2);
            board->change([](Settings& settings) {
                settings.sensors[0].powerOnHangs = settings.sensors[1].powerOnHangs = false;
            });
        }
        EXPECT_EQ(up.get() + next.get(), 2);
    }
}

// Answers what it is told to, once it is let.
class Switch final : public PowerSwitch {
  public:
    std::string powerOn() override {
        ++asked;
        mayAnswer.get_future().wait();
        return whyNotOn;
    }
    std::string powerOff() override {
        ++asked;
        return whyNotOff;
    }

    std::promise<void> mayAnswer;
    std::string whyNotOn;
    std::string whyNotOff;
    std::atomic<int> asked = 0;
};

TEST(Board, LetsASwitchTakeItsTimeAndTellWhyItFailed) {
    struct {
        char const* whyNotOn;
        char const* whyNotOff;
        bool powered;  // at the end
    } const cases[] = {{"", "", false}, {"no current", "", false}, {"", "in use", true}};
    for (auto const& [whyNotOn, whyNotOff, powered] : cases) {
        auto const power = std::make_shared<Switch>();
        power->whyNotOn = whyNotOn;
        power->whyNotOff = whyNotOff;
        StrictBoard board(
            Settings{.sensors = {{0, {.powerOnTime = 1h, .powerOffTime = 1h, .powerSwitch = power}}}});
        {
            Handle handle(0);
            auto on = handle.powersOn();
            while (power->asked == 0) std::this_thread::yield();
            EXPECT_FALSE(board.isPowered(0)) << "a switch that takes its time keeps nobody who looks";
            power->mayAnswer.set_value();
            EXPECT_EQ(on.get(), *whyNotOn == '\0');
        }
        EXPECT_EQ(board.isPowered(0), powered);
        EXPECT_EQ(board.journal().entries(Kind::SensorPowerOnDone).at(0).detail, whyNotOn);
        EXPECT_EQ(board.journal().entries(Kind::SensorPowerOffDone).at(0).detail, whyNotOff);
    }
}

TEST(Board, AsksNoSwitchWhereASettingMakesTheChangeFail) {
    auto const power = std::make_shared<Switch>();
    StrictBoard board(Settings{
        .sensors = {{0, {.powerOnFails = {.always = true}, .powerOffFails = true, .powerSwitch = power}}}});
    {
        Handle handle(0);
        EXPECT_EQ(handle.powersOn().get(), 0);
    }
    EXPECT_EQ(power->asked, 0);
    EXPECT_EQ(board.journal().entries(Kind::SensorPowerOnDone).at(0).detail, "");
}

}  // namespace
