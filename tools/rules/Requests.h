#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> workThatOutlivesItsRequest(Record const& record);
std::vector<Breach> sensorsWithoutACall(Record const& record);
std::vector<Breach> handlesThatOutliveAPowerOff(Record const& record);
std::vector<Breach> waitsThatEndUnderTheLock(Record const& record);

}  // namespace zeqcam::tool
