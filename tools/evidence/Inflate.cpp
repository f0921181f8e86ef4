#include "evidence/Inflate.h"

namespace zeqcam::tool {

bool isCompressed(std::string_view begin) {
    if (begin.size() < 2) return false;
    auto const first = static_cast<unsigned char>(begin[0]);
    auto const second = static_cast<unsigned char>(begin[1]);
    bool const gzip = first == 0x1f && second == 0x8b;
    // zlib with a window of 32 KiB, which all writers use; the two bytes are a check of themselves.
    bool const zlib = first == 0x78 && (first * 256 + second) % 31 == 0;
    return gzip || zlib;
}

}  // namespace zeqcam::tool
