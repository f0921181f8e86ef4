#pragma once

#include "views/View.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// The texts of a scenario's file and of those that it includes, in this order. A pipe or a device is left
// out: it cannot be read twice.
std::vector<Source> sourceTexts(std::string const& file, std::vector<std::string> const& included);

}  // namespace zeqcam::tool
