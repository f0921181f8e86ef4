#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> servicesToldBeforeUp(Record const& record);
std::vector<Breach> servicesToldAfterOff(Record const& record);

}  // namespace zeqcam::tool
