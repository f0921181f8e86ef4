#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// What a record comes to, for scripts: one JSON object. Times are in milliseconds; those of a begin count
// from the begin of the first request.
void writeResult(Record const& record, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
