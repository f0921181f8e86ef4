// Where there is no zlib, as for a processor that this machine has no packages for.
#include "evidence/Inflate.h"

namespace zeqcam::tool {

bool canInflate() {
    return false;
}

struct InflatedSource::Stream {};

InflatedSource::InflatedSource(Bytes&) : mFault("this build cannot inflate: it was made without zlib") {}

InflatedSource::~InflatedSource() = default;

std::size_t InflatedSource::read(char*, std::size_t) {
    return 0;
}

}  // namespace zeqcam::tool
