#pragma once

#include <string>
#include <string_view>

namespace zeqcam::tool {

// The text as it stands in XML, between tags or in an attribute's quotes: what has a meaning there is
// escaped. XML cannot hold every character: control characters are spelt out, what is none is U+FFFD.
std::string escaped(std::string_view text);

}  // namespace zeqcam::tool
