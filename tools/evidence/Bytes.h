#pragma once

#include "evidence/Reading.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// Bytes that are in memory already.
class MemorySource final : public ByteSource {
  public:
    explicit MemorySource(std::string_view bytes) : mRest(bytes) {}
    std::size_t read(char* into, std::size_t most) override;

  private:
    std::string_view mRest;
};

// A source's bytes through a buffer that stays as small as what is asked of it.
class Bytes {
  public:
    // Both outlive it. `progress` is told whenever all that was buffered has been used.
    explicit Bytes(ByteSource& source, ReadProgress progress = {});

    // What comes next: at least `wanted` bytes, or all that is left. Stays valid until the next call.
    std::string_view atLeast(std::size_t wanted);
    // Leaves out the next `count` bytes, of those that atLeast gave last.
    void drop(std::size_t count);

  private:
    ByteSource& mSource;
    ReadProgress mProgress;
    std::vector<char> mBuffer;
    std::size_t mBegin = 0;  // of what comes next
    std::size_t mEnd = 0;
    std::uint64_t mRead = 0;
    bool mEnded = false;
};

}  // namespace zeqcam::tool
