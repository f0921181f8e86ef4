#pragma once

#include "record/Record.h"

namespace zeqcam::tool {

// Whether every expectation of the record held. One that was not reached did not.
bool allHeld(Record const& record);

}  // namespace zeqcam::tool
