#pragma once

#include "record/Record.h"
#include "scenario/Scenario.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// Holds what was played against what the scenario expects, and adds what came of it to the record.
// `begun` are the steps of the record's requests, one for each; the record holds its events and states
// already. A sensor that fails where its step does not say so is an expectation that is not met.
void addExpectations(Record& record, std::vector<Step const*> const& begun);

// One that the run ended before; adds nothing where the step expects nothing.
void addNotReached(Record& record, std::uint32_t client, Step const& step);

}  // namespace zeqcam::tool
