#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> sensorsOffUnderAClient(Record const& record);
std::vector<Breach> powerOffsOfWhatIsNotOn(Record const& record);
std::vector<Breach> waitsThatNobodyCanEnd(Record const& record);

}  // namespace zeqcam::tool
