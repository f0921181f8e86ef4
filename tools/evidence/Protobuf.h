#pragma once

#include <protozero/pbf_reader.hpp>
#include <protozero/varint.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The field that protozero's reader stands at, looked at without going on: a loop over fields ends with
// skip(), whatever its body does. All throw protozero::exception where the message ends early.
namespace zeqcam::tool {

inline protozero::pbf_reader messageOf(std::string_view content) {
    return protozero::pbf_reader(content.data(), content.size());
}

// The field's bytes, or what is there of them in a packet that is cut; skip() throws then.
inline std::string_view partOf(protozero::pbf_reader const& message) {
    auto const rest = message.data();
    char const* at = rest.data();
    char const* const end = rest.data() + rest.size();
    auto const length = protozero::decode_varint(&at, end);
    auto const there = static_cast<std::size_t>(end - at);
    return {at, static_cast<std::size_t>(std::min<std::uint64_t>(length, there))};
}

// The field's bytes, all of them: half an event would say what did not happen.
inline std::string_view allOf(protozero::pbf_reader const& message) {
    protozero::pbf_reader ahead = message;
    ahead.skip();
    return partOf(message);
}

// The field's number. Negative ones are as large as they get.
inline std::uint64_t numberOf(protozero::pbf_reader const& message) {
    auto const rest = message.data();
    char const* at = rest.data();
    return protozero::decode_varint(&at, rest.data() + rest.size());
}

}  // namespace zeqcam::tool
