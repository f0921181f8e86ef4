#pragma once

#include "series/Series.h"

#include <nlohmann/json_fwd.hpp>

#include <ostream>

namespace zeqcam::tool {

// What many runs came to, as JSON, for programs; schemas/series.schema.json is its form.
void writeSeriesFile(Series const& series, std::ostream& out);

// The same object, for what holds it.
nlohmann::ordered_json resultOf(Series const& series);

}  // namespace zeqcam::tool
