#pragma once

#include "record/Record.h"
#include "scenario/Scenario.h"

#include <chrono>
#include <functional>
#include <memory>

namespace zeqcam::tool {

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

    // What had come of it by a time, now or earlier. A controller that a client lets go of later stays until
    // the run goes.
    [[nodiscard]] Record record(std::chrono::steady_clock::time_point end = std::chrono::steady_clock::now());

  private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace zeqcam::tool
