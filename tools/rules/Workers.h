#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> sensorsBeforeHints(Record const& record);
std::vector<Breach> workersOfSeveralSensors(Record const& record);
std::vector<Breach> callsAfterNoPowerOn(Record const& record);

}  // namespace zeqcam::tool
