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
    Stream() : z_stream{} {
        constexpr int kGzipOrZlib = 15 + 32;
        if (inflateInit2(this, kGzipOrZlib) != Z_OK) throw std::bad_alloc();
    }
    Stream(Stream const&) = delete;
    Stream& operator=(Stream const&) = delete;
    ~Stream() { inflateEnd(this); }
};

InflatedSource::InflatedSource(Bytes& compressed)
    : mCompressed(compressed), mStream(std::make_unique<Stream>()) {}

InflatedSource::~InflatedSource() = default;

std::size_t InflatedSource::read(char* into, std::size_t most) {
    auto const room = static_cast<uInt>(std::min<std::size_t>(most, std::numeric_limits<uInt>::max()));
    mStream->next_out = reinterpret_cast<Bytef*>(into);
    mStream->avail_out = room;
    while (!mEnded && mStream->avail_out == room) {
        auto const input = mCompressed.atLeast(1);
        mStream->next_in = reinterpret_cast<Bytef const*>(input.data());
        mStream->avail_in =
            static_cast<uInt>(std::min<std::size_t>(input.size(), std::numeric_limits<uInt>::max()));
        auto const given = mStream->avail_in;
        int const status = inflate(mStream.get(), Z_NO_FLUSH);
        mCompressed.drop(given - mStream->avail_in);
        if (status == Z_STREAM_END) {
            mEnded = !beginNextMember();
        } else if (given == 0 && mStream->avail_out == room) {
            mEnded = true;
            mFault = "the compressed data are cut";
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            mEnded = true;
            mFault = "the compressed data are damaged";
        }
    }
    return room - mStream->avail_out;
}

// What follows the last member, such as a tape's padding, is none of them.
bool InflatedSource::beginNextMember() {
    auto const next = mCompressed.atLeast(2);
    return isCompressed(next) && next[0] == '\x1f' && inflateReset(mStream.get()) == Z_OK;
}

}  // namespace zeqcam::tool
