#pragma once

#include "model/SideBySide.h"

#include <cstdint>
#include <span>
#include <string>

namespace zeqcam::tests {

// Requests and faults of the fuzzer's choosing, on the library and the model side by side: each byte is a
// choice. Returns what disagrees first; empty when nothing does.
inline std::string playRequests(std::span<std::uint8_t const> bytes) {
    std::size_t next = 0;
    SideBySide run([&](unsigned int most) { return next < bytes.size() ? bytes[next++] % (most + 1) : 0U; });
    std::string wrong;
    while (next < bytes.size() && wrong.empty()) wrong = run.step();
    return wrong;
}

}  // namespace zeqcam::tests
