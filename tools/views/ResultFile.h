#pragma once

#include "views/View.h"

#include <nlohmann/json_fwd.hpp>

namespace zeqcam::tool {

// What a record comes to, for scripts: one JSON object. Times are in milliseconds; those of a begin count
// from the begin of the first request.
void writeResult(Record const& record, Presentation const& presentation, std::ostream& out);

// The same object, for what holds it.
nlohmann::ordered_json resultOf(Record const& record, Strictness const& strictness);

}  // namespace zeqcam::tool
