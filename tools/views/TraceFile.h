#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// The timeline in the Trace Event Format (JSON). The title is the name that viewers show above the threads.
void writeTrace(Record const& record, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
