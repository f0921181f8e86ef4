#pragma once

#include "analysis/Chain.h"
#include "record/Record.h"
#include "views/View.h"

#include <nlohmann/json_fwd.hpp>

#include <ostream>
#include <vector>

namespace zeqcam::tool {

// One chain, told link by link: when after the record's begin ("@"), how long ("+"), what. What has kept a
// link stands below it. `chains` are those of all requests of the record.
void writeChain(Record const& record, std::vector<Chain> const& chains, Chain const& chain,
                Presentation const& presentation, std::ostream& out);

// The same for programs.
nlohmann::ordered_json chainJson(Record const& record, Chain const& chain);

}  // namespace zeqcam::tool
