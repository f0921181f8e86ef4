#pragma once

#include "record/Record.h"
#include "scenario/Scenario.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace zeqcam::tool {

// A scenario played on a board of its own: each client on a thread, all at once. The scenario's settings say
// where log lines and trace sections go.
class Run {
  public:
    // When the journal becomes the record: meanwhile, on a thread that looks again and again, so that a long
    // run stays small; or when the record is taken, so that no such thread counts into the run.
    enum class Drains : std::uint8_t { Meanwhile, AtTheEnd };

    // Starts the clients. `allDone` is called when the last is done, on its thread. Throws what the standard
    // library throws; `scenario` outlives the run.
    Run(Scenario const& scenario, Drains drains, std::function<void()> const& allDone);
    // Waits for the clients, which a scenario may keep for ever; then lets go of the controllers.
    ~Run();
    Run(Run const&) = delete;
    Run& operator=(Run const&) = delete;

    // Waits for the clients. Throws what one of them threw.
    void join();

    // What had come of it by a time, now or earlier; once. A controller that a client lets go of later stays
    // until the run goes.
    [[nodiscard]] Record record(std::chrono::steady_clock::time_point end = std::chrono::steady_clock::now());

  private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace zeqcam::tool
