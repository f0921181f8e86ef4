#include "PhotoSession.h"
#include "ShowsFailure.h"

#include <zeqcam/board/Board.h>

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace camera {
namespace {

using zeqcam::board::Board;
using zeqcam::board::Kind;
using zeqcam::board::Sensor;
using zeqcam::board::Settings;

constexpr int kMain = 0;
constexpr int kWide = 2;

std::set<int> poweredOf(Board const& board) {
    std::set<int> powered;
    for (int const sensor : {kMain, kWide}) {
        if (board.isPowered(sensor)) powered.insert(sensor);
    }
    return powered;
}

struct Case {
    char const* name;
    Sensor main;
    Sensor wide;
    PhotoSession::State opens;
    std::set<int> powered;
};

TEST(PhotoSession, OpensWithTheSensorsThatItCanHave) {
    Sensor const absent{.hasHandle = false};
    Sensor const broken{.powerOnFails = {.always = true}};
    std::vector<Case> const cases{
        {"all is well", {}, {}, PhotoSession::State::Full, {kMain, kWide}},
        {"no wide camera", {}, absent, PhotoSession::State::MainOnly, {kMain}},
        {"no main camera", absent, {}, PhotoSession::State::Closed, {}},
        // The request succeeds: the platform has a report of the sensor, which shows no picture.
        {"a wide camera without supply", {}, broken, PhotoSession::State::Full, {kMain}},
    };
    for (Case const& each : cases) {
        SCOPED_TRACE(each.name);
        Board board({.sensors = {{kMain, each.main}, {kWide, each.wide}}});
        PhotoSession session(kMain, kWide);
        EXPECT_EQ(session.open(), each.opens);
        EXPECT_EQ(poweredOf(board), each.powered);
        session.close();
        EXPECT_EQ(poweredOf(board), std::set<int>{});
        EXPECT_EQ(board.openHandles(), 0);
    }
}

TEST(PhotoSession, OpensAgainAfterAFaultHasGone) {
    Board board({.sensors = {{kMain, {}}, {kWide, {.hasHandle = false}}}});
    ShowsFailure const shows(board);
    PhotoSession session(kMain, kWide);
    ASSERT_EQ(session.open(), PhotoSession::State::MainOnly);
    board.change([](Settings& settings) { settings.sensors[kWide].hasHandle = true; });
    EXPECT_EQ(session.open(), PhotoSession::State::Full);
    EXPECT_EQ(poweredOf(board), (std::set<int>{kMain, kWide}));
}

TEST(PhotoSession, PowersEachSensorOffOnceWhenItGoes) {
    Board board({.sensors = {{kMain, {}}, {kWide, {}}}});
    ShowsFailure const shows(board);
    {
        PhotoSession session(kMain, kWide);
        session.open();
    }
    EXPECT_EQ(poweredOf(board), std::set<int>{});
    EXPECT_EQ(board.journal().entries(Kind::SensorPowerOff).size(), 2U);
    EXPECT_TRUE(board.callerFaults().empty()) << board.callerFaults().front().what;
}

// Fails, to show what a failed test leaves.
TEST(PhotoSession, DISABLED_TakesAWideCameraWithoutSupplyForOneThatIsOn) {
    Board board({.sensors = {{kMain, {.name = "main"}},
                             {kWide, {.name = "wide", .powerOnFails = {.always = true}}}}});
    ShowsFailure const shows(board);
    PhotoSession session(kMain, kWide);
    session.open();
    EXPECT_TRUE(board.isPowered(kWide));
}

}  // namespace
}  // namespace camera
