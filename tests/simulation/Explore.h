#pragma once

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/simulation/Simulation.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tests {

using Controller = std::shared_ptr<NSCam::IPowerOnOffController>;

// A board with sensors 0, 1 and 2 that logs and traces nothing: every line of a log is one more point.
board::Settings quietBoard();
// The same, whose controllers have no thread for their queue.
board::Settings withoutQueue();

// In a body: a board whose journal is off, and on which threads meet in one order only but where they are
// told to. When it goes, no sensor is powered and nothing is left of what it has handed out. Controllers go
// before.
class Phone {
  public:
    explicit Phone(board::Settings const& settings);
    ~Phone();
    Phone(Phone const&) = delete;
    Phone& operator=(Phone const&) = delete;

    static Controller create(std::vector<int> sensorIds);
    // Varies what happens in the call.
    void varied(std::function<void()> const& call);
    // Varies calls on threads of their own, until all have returned.
    void together(std::vector<std::function<void()>> const& calls);
    // A point at which others' lines of the log can come before or after.
    void meetsOthers();

    board::Board board;

  private:
    std::optional<simulation::Unvaried> mUnvaried;
};

// In a body: fails the schedule unless it is so.
void expect(bool isSo, std::string const& what);

// Runs every schedule of the body and tells how many there were. The number of preemptions is that of the
// variable ZEQCAM_PREEMPTIONS, or one, and no more than `most`.
void expectOfEverySchedule(std::function<void()> const& body, int most = std::numeric_limits<int>::max());

}  // namespace zeqcam::tests
