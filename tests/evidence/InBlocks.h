#pragma once

#include "evidence/Reading.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zeqcam::tests {

// Bytes in memory as a file that comes in blocks of at most so many.
class InBlocks final : public tool::ByteSource {
  public:
    explicit InBlocks(std::string_view bytes, std::size_t block = std::string_view::npos)
        : mRest(bytes), mBlock(block) {}
    std::size_t read(char* into, std::size_t most) override {
        std::size_t const count = mRest.copy(into, std::min(most, mBlock));
        mRest.remove_prefix(count);
        return count;
    }

  private:
    std::string_view mRest;
    std::size_t mBlock;
};

}  // namespace zeqcam::tests
