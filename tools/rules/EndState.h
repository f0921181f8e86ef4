#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> statesThatAreNotTrue(Record const& record);
std::vector<Breach> powerLeftOn(Record const& record);

}  // namespace zeqcam::tool
