#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> faultsOfTheCaller(Record const& record);
std::vector<Breach> faultsBetweenControllers(Record const& record);

}  // namespace zeqcam::tool
