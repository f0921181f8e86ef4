#pragma once

#include "run/Run.h"
#include "scenario/Scenario.h"

#include <string>
#include <string_view>

namespace zeqcam::tool {

// What a run came to, as text for a terminal or a file: the table of requests, the final states, and a line
// for each expectation that did not hold. `file` is the scenario's name in those lines.
std::string report(Scenario const& scenario, Outcome const& outcome, std::string_view file, bool colours);

bool allHeld(Outcome const& outcome);

}  // namespace zeqcam::tool
