#pragma once

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/simulation/Simulation.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zeqcam::tests {

using Controller = std::shared_ptr<NSCam::IPowerOnOffController>;

inline Controller create(std::vector<int> sensorIds) {
    return NSCam::IPowerOnOffController::create({.sensorIds = std::move(sensorIds)});
}

// A board with sensors 0, 1 and 2 that logs and traces nothing: every line of a log is one more point.
board::Settings quietBoard();

// Calls each on a thread of its own and waits for all.
void together(std::vector<std::function<void()>> const& calls);

// In a body: fails the schedule unless it is so.
void expect(bool isSo, std::string const& what);
// After the last controller has gone: no sensor is powered, nothing is left of what was handed out.
void expectAllGone(board::Board& board);

// Runs every schedule of the body and tells how many there were. The number of preemptions is that of the
// variable ZEQCAM_PREEMPTIONS, or one.
void expectOfEverySchedule(std::function<void()> const& body);

}  // namespace zeqcam::tests
