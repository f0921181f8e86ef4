#pragma once

#include <string>
#include <string_view>

namespace zeqcam::tool {

// The text with its control characters spelt out, so that none reaches a terminal.
std::string printable(std::string_view text);

}  // namespace zeqcam::tool
