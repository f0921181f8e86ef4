#include "evidence/Bytes.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

// Large enough for few system calls, small enough to stay in the processor's second cache; less for small
// inputs.
constexpr std::size_t kFirstBlock = std::size_t{16} * 1024;
constexpr std::size_t kBlock = std::size_t{256} * 1024;

}  // namespace

std::size_t DescriptorSource::read(char* into, std::size_t most) {
    for (;;) {
        auto const count = ::read(mDescriptor, into, most);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) throw std::system_error(errno, std::generic_category());
    }
}

std::size_t MemorySource::read(char* into, std::size_t most) {
    std::size_t const count = mRest.copy(into, most);
    mRest.remove_prefix(count);
    return count;
}

Bytes::Bytes(ByteSource& source, ReadProgress progress)
    : mSource(source), mProgress(std::move(progress)), mBuffer(kFirstBlock) {}

std::string_view Bytes::atLeast(std::size_t wanted) {
    if (mEnd - mBegin < wanted && !mEnded) {
        if (mProgress) mProgress(mRead);
        if (mBegin > 0) std::memmove(mBuffer.data(), mBuffer.data() + mBegin, mEnd - mBegin);
        mEnd -= std::exchange(mBegin, 0);
        if (mRead >= kBlock && mBuffer.size() < kBlock) mBuffer.resize(kBlock);
        if (mBuffer.size() < wanted) mBuffer.resize(wanted);
    }
    while (mEnd - mBegin < wanted && !mEnded) {
        std::size_t const count = mSource.read(mBuffer.data() + mEnd, mBuffer.size() - mEnd);
        mEnded = count == 0;
        mEnd += count;
        mRead += count;
    }
    return {mBuffer.data() + mBegin, mEnd - mBegin};
}

void Bytes::drop(std::size_t count) {
    mBegin += count;
}

}  // namespace zeqcam::tool
