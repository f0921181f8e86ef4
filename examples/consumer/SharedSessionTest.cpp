#include "SharedSession.h"

#include <zeqcam/board/Board.h>
#include <zeqcam/simulation/Simulation.h>

#include <gtest/gtest.h>

#include <thread>

namespace camera {
namespace {

namespace simulation = zeqcam::simulation;

constexpr int kMain = 0;
constexpr int kWide = 2;

TEST(SharedSession, IsOpenForEachOfTwoUsers) {
    auto const body = [] {
        zeqcam::board::Board board({.sensors = {{kMain, {}}}, .queue = {.present = false}});
        board.journal().setOn(false);  // nobody asks which call came first
        SharedSession session(kMain, kWide);
        auto const use = [&] {
            session.enter();
            if (!board.isPowered(kMain)) simulation::fail("a user finds the main camera off");
            session.leave();
        };
        std::thread other(use);
        use();
        other.join();
    };
    simulation::Exploration const found = simulation::explore(body, {.preemptions = 2});
    EXPECT_TRUE(found.holds()) << simulation::summary(found) << '\n'
                               << (found.failure ? found.failure->report : "");
}

}  // namespace
}  // namespace camera
