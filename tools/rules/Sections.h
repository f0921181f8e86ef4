#pragma once

#include "rules/Rule.h"

#include <vector>

namespace zeqcam::tool {

std::vector<Breach> sectionsThatDoNotNest(Record const& record);
std::vector<Breach> sectionsWithoutALook(Record const& record);

}  // namespace zeqcam::tool
