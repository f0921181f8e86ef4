#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// What a record comes to as a CI server's test report: whether it came to its end, its expectations and the
// rules are three suites of test cases. Times are in seconds.
void writeJUnit(Record const& record, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
