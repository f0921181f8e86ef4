#pragma once

#include "record/Record.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// What came of a request, in a word or two: "true", "all off", "pending".
std::string resultText(Request const& request);

// The sensors that it is about: those asked for, or those that a status found on.
std::vector<int> const& sensorsOf(Request const& request);

}  // namespace zeqcam::tool
