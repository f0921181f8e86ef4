#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> sensorsOffAfterARelease(Record const& record);
std::vector<Breach> servicesToldAfterARelease(Record const& record);

}  // namespace zeqcam::tool
