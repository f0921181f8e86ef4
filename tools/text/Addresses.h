#pragma once

#include <string>
#include <string_view>

namespace zeqcam::tool {

// The text with a word in place of every address that it holds: they differ between runs of one schedule,
// and on every machine.
std::string withoutAddresses(std::string_view text);

}  // namespace zeqcam::tool
