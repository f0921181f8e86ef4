#pragma once

#include "record/Record.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// An answer of a service, in a sentence without its stop: "the 3A control of tele answered -5 to its
// power-on".
std::string refusalText(Record const& record, Event const& event);

// All that the board saw go wrong, by time: sensors that failed, services that refused, exceptions that were
// reported, and the caller's faults, each with its time since the record's begin.
std::vector<std::string> failureLines(Record const& record);

}  // namespace zeqcam::tool
