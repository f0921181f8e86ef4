#pragma once

#include "record/Record.h"

namespace zeqcam::tool {

// Whether no expectation of the record is unmet. Those that were not reached don't count.
bool allHeld(Record const& record);

}  // namespace zeqcam::tool
