#pragma once

#include "series/Series.h"
#include "views/View.h"

namespace zeqcam::tool {

// Many runs as test cases, in the JUnit form: one for each expectation and rule, which fails where it failed
// in any run, and one for all runs' ends.
void writeSeriesJUnit(Series const& series, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
