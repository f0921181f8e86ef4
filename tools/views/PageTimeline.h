#pragma once

#include "analysis/Selection.h"
#include "record/Record.h"

#include <nlohmann/json_fwd.hpp>

namespace zeqcam::tool {

// What each thread did, when, in the form that docs/page.md tells: each member of the sections, marks and
// parts is a list of its own, since there may be a million of them. Times are nanoseconds from the record's
// begin.
nlohmann::ordered_json pageTimelineOf(Record const& record, Selection const& selection);

}  // namespace zeqcam::tool
