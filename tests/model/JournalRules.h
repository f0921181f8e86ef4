#pragma once

#include <zeqcam/board/Journal.h>

#include <string>
#include <vector>

namespace zeqcam::tests {

// The order rules that the calls of whole requests keep, whatever fails in them. Returns those that are
// broken.
std::vector<std::string> brokenRules(std::vector<board::Entry> const& entries);

}  // namespace zeqcam::tests
