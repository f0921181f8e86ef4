#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Messages of a Perfetto trace, made field by field.
namespace zeqcam::tests {

std::string numberField(std::uint32_t field, std::uint64_t value);
std::string bytesField(std::uint32_t field, std::string_view value);
std::string packedField(std::uint32_t field, std::vector<std::uint64_t> const& values);

// As the trace holds it.
inline std::string packet(std::string_view fields) {
    return bytesField(1, fields);
}
// Events of one processor in a packet.
inline std::string bundle(std::uint32_t cpu, std::string_view fields) {
    return packet(numberField(10, 1) + bytesField(1, numberField(1, cpu) + std::string(fields)));
}
inline std::string event(std::uint64_t time, std::uint32_t thread, std::string_view what) {
    return bytesField(2, numberField(1, time) + numberField(2, thread) + std::string(what));
}
inline std::string print(std::string_view text) {
    return bytesField(3, numberField(1, 0) + bytesField(2, text));
}

}  // namespace zeqcam::tests
