#pragma once

#include "analysis/Standings.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// Who waits for whom, one sentence without its stop for each request that had not ended: "camera app waits
// for the power-on lock, held since 12.4 ms by face unlock, which is in sensor front's power-on, for 500 ms".
std::vector<std::string> standingLines(Record const& record, std::vector<Standing> const& standings);

}  // namespace zeqcam::tool
