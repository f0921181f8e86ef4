// Inflating where there is zlib.
#include "evidence/Inflate.h"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace zeqcam::tool {

bool canInflate() {
    return true;
}

struct InflatedSource::Stream : z_stream {
    explicit Stream(Bytes& bytes) : z_stream{}, compressed(bytes) {
        constexpr int kGzipOrZlib = 15 + 32;
        if (inflateInit2(this, kGzipOrZlib) != Z_OK) throw std::bad_alloc();
    }
    Stream(Stream const&) = delete;
    Stream& operator=(Stream const&) = delete;
    ~Stream() { inflateEnd(this); }

    // What follows the last member, such as a tape's padding, is none of them.
    bool beginNextMember() {
        auto const next = compressed.atLeast(2);
        return isCompressed(next) && next[0] == '\x1f' && inflateReset(this) == Z_OK;
    }

    Bytes& compressed;
    bool hasEnded = false;
};

InflatedSource::InflatedSource(Bytes& compressed) : mStream(std::make_unique<Stream>(compressed)) {}

InflatedSource::~InflatedSource() = default;

std::size_t InflatedSource::read(char* into, std::size_t most) {
    constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
    Stream& stream = *mStream;
    auto const room = static_cast<uInt>(std::min(most, kMost));
    stream.next_out = reinterpret_cast<Bytef*>(into);
    stream.avail_out = room;
    while (!stream.hasEnded && stream.avail_out == room) {
        auto const input = stream.compressed.atLeast(1);
        auto const given = static_cast<uInt>(std::min(input.size(), kMost));
        stream.next_in = reinterpret_cast<Bytef const*>(input.data());
        stream.avail_in = given;
        int const status = inflate(&stream, Z_NO_FLUSH);
        stream.compressed.drop(given - stream.avail_in);
        if (status == Z_STREAM_END) {
            stream.hasEnded = !stream.beginNextMember();
        } else if (given == 0 && stream.avail_out == room) {
            stream.hasEnded = true;
            mFault = "the compressed data are cut";
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            stream.hasEnded = true;
            mFault = "the compressed data are damaged";
        }
    }
    return room - stream.avail_out;
}

}  // namespace zeqcam::tool
