#pragma once

#include "record/Record.h"
#include "scenario/Scenario.h"

#include <zeqcam/simulation/Simulation.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace zeqcam::tool {

// What chooses which thread goes on: a seed, or a schedule as simulation::Result gives it.
using Order = std::variant<std::uint64_t, std::string>;

// A scenario played in virtual time, one thread at a time: the same scenario and order give the same record.
struct SimulatedRun {
    Record record;
    simulation::Result result;  // of the run; that it was cut off is no failure of it

    // Whether threads are left that will never go on: nothing that they use may go.
    [[nodiscard]] bool leavesThreads() const;
};

// Cuts the run off when it has not ended at `limit` of virtual time, and where nobody can go on; the record
// says why. `scenario` outlives the process where threads are left. Throws as simulation::replay.
SimulatedRun simulate(Scenario const& scenario, Order const& order,
                      std::optional<std::chrono::nanoseconds> limit);

// Plays it on the calling thread, which is simulated, and hands the record over: what an exploration does.
void playSimulated(Scenario const& scenario, std::function<void(Record const& record)> const& judge);

}  // namespace zeqcam::tool
