#pragma once

#include "analysis/Timeline.h"

#include <string>

namespace zeqcam::tool {

// The timeline in the Trace Event Format (JSON). `process` is the name that viewers show above the threads.
std::string traceFile(Timeline const& timeline, std::string const& process);

}  // namespace zeqcam::tool
