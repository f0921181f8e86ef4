#pragma once

#include "analysis/SensorTimes.h"
#include "scenario/Scenario.h"

#include <zeqcam/board/Journal.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What came of one request.
struct Request {
    int line = 0;
    std::string client;
    std::string name;
    std::vector<int> sensors;  // asked for; of a status, those that are on
    std::string result;
    std::chrono::steady_clock::time_point began;
    std::chrono::microseconds wall{0};  // until the outcome was taken, when it has not ended
    SensorTimes own;
    bool expects = false;
    std::string unmet;  // what was expected and did not come; empty when all came
    bool ended = true;
};

struct Outcome {
    std::vector<Request> requests;  // in the order of their begin, with the sleeps that have not ended
    std::set<int> powered;          // the sensors that have power at the end
    // Which sensors each controller counts as on at the end, by the controller's name. Empty: all of its
    // clients let go of it.
    std::map<std::string, std::optional<std::map<int, bool>>> controllers;
    std::vector<board::Entry> journal;
    std::chrono::steady_clock::time_point end;
};

// A scenario played on a board of its own: each client on a thread, all at once. The scenario's settings say
// where log lines and trace sections go.
class Run {
  public:
    // Starts the clients. `allDone` is called when the last is done, on its thread. Throws what the standard
    // library throws; `scenario` outlives the run.
    Run(Scenario const& scenario, std::function<void()> const& allDone);
    // Waits for the clients, which a scenario may keep for ever; then lets go of the controllers.
    ~Run();
    Run(Run const&) = delete;
    Run& operator=(Run const&) = delete;

    // Waits for the clients. Throws what one of them threw.
    void join();

    // What has come of it so far. A controller that a client lets go of later stays until the run goes.
    [[nodiscard]] Outcome outcome();

  private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace zeqcam::tool
