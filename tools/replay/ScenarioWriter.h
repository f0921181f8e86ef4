#pragma once

#include "record/Record.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// A scenario that plays again what a record tells of: its board, its controllers as far as seen, a client for
// each that made requests, their sleeps, the times that were measured (a range where several differ),
// failures at the n-th time, statuses. Comments say what the record does not know, and what stands in its
// place; `notes` stand at the head of them. The file holds no fault.
std::string scenarioOf(Record const& record, std::vector<std::string> const& notes);

}  // namespace zeqcam::tool
