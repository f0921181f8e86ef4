#pragma once

#include "scenario/Fields.h"
#include "scenario/Names.h"
#include "scenario/Scenario.h"

#include <vector>

namespace zeqcam::tool {

// `fields` are those of one table `controller`.
Controller readController(Fields const& fields, Names& names);
// `fields` are those of one table `client`; every controller has been read.
Client readClient(Fields const& fields, Names& names);
// What `fields`, of a client or of steps that are repeated, hold as `steps`.
std::vector<Step> readSteps(Fields const& fields, Names const& names);

}  // namespace zeqcam::tool
