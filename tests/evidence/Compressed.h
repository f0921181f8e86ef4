#pragma once

#include <string>
#include <string_view>

namespace zeqcam::tests {

// Bytes as zlib and as gzip have them.
std::string gzipOf(std::string_view bytes);
std::string zlibOf(std::string_view bytes);

}  // namespace zeqcam::tests
