#pragma once

#include "evidence/Scanner.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

// What a program writes into the kernel's trace when a section begins or ends: "B|1234|powerOn", "E|1234",
// "E".
struct Marker {
    bool begins = false;
    std::optional<std::int32_t> process;
    std::string_view label;
};

// None: it is neither.
inline std::optional<Marker> markerOf(std::string_view text) {
    Scanner rest(text);
    Marker marker{.begins = rest.take("B|"), .process = {}, .label = {}};
    if (!marker.begins && !rest.take('E')) return {};
    if (!marker.begins && !rest.take('|') && !rest.word().empty()) return {};
    marker.process = rest.number<std::int32_t>();
    if (!marker.begins) return marker;
    if (!marker.process || !rest.take('|')) return {};
    marker.label = rest.rest();
    return marker;
}

}  // namespace zeqcam::tool
