#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// What a record comes to, as text for a terminal or a file: the table of requests, the states at the end, and
// a line for each expectation that did not hold.
void writeReport(Record const& record, Presentation const& presentation, std::ostream& out);

// A line for each thread that was in something when the record ended, with the time that it had been in it.
void writePending(Record const& record, std::ostream& out);

}  // namespace zeqcam::tool
