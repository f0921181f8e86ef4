#pragma once

#include "analysis/Pending.h"
#include "run/Run.h"
#include "scenario/Scenario.h"

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What a run came to, for scripts: one JSON object. Times are in milliseconds; those of a begin count from
// the begin of the first request.
std::string resultFile(Scenario const& scenario, Outcome const& outcome, std::vector<Pending> const& pending,
                       std::string_view file);

}  // namespace zeqcam::tool
