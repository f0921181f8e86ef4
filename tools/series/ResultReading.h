#pragma once

#include "series/Series.h"

#include <string>

namespace zeqcam::tool {

// Whether a file is one that --json has printed, of one run or of many.
bool isResult(std::string const& path);

// What it tells, of one run as a series of one. Throws std::runtime_error where it is broken: with the file's
// name and what is wrong with it.
Series readResult(std::string const& path);

}  // namespace zeqcam::tool
