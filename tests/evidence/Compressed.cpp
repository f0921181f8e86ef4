#include "evidence/Compressed.h"

#include <gtest/gtest.h>

#include <zlib.h>

namespace zeqcam::tests {
namespace {

std::string deflated(std::string_view bytes, int window) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&stream, bytes.size()) + 64, '\0');
    std::string input(bytes);
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

}  // namespace

std::string gzipOf(std::string_view bytes) {
    return deflated(bytes, 15 + 16);
}

std::string zlibOf(std::string_view bytes) {
    return deflated(bytes, 15);
}

}  // namespace zeqcam::tests
