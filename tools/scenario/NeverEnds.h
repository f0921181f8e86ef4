#pragma once

#include "scenario/ScenarioReader.h"

#include <vector>

namespace zeqcam::tool {

// The steps of a scenario without faults that no run gets beyond, whatever its threads do: a client awaits a
// signal that cannot be given as often by then, or waits for a lock that only the client itself would
// release. A step that may end is not among them; a sensor that hangs is taken to be meant.
std::vector<Fault> neverEnding(Scenario const& scenario);

}  // namespace zeqcam::tool
