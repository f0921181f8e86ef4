#pragma once

#include <string>

namespace zeqcam::tool {

// A word of a command line, as a shell reads it: in quotes where it needs them.
std::string shellWord(std::string const& word);

}  // namespace zeqcam::tool
