#include "evidence/Packet.h"

#include <protozero/pbf_writer.hpp>

namespace zeqcam::tests {

std::string numberField(std::uint32_t field, std::uint64_t value) {
    std::string out;
    protozero::pbf_writer(out).add_uint64(field, value);
    return out;
}

std::string bytesField(std::uint32_t field, std::string_view value) {
    std::string out;
    protozero::pbf_writer(out).add_bytes(field, value.data(), value.size());
    return out;
}

std::string packedField(std::uint32_t field, std::vector<std::uint64_t> const& values) {
    std::string out;
    protozero::pbf_writer(out).add_packed_uint64(field, values.begin(), values.end());
    return out;
}

}  // namespace zeqcam::tests
