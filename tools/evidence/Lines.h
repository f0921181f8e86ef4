#pragma once

#include "evidence/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zeqcam::tool {

// The lines of a text, one after another.
class Lines {
  public:
    // No line of a log or a trace is longer; of one that is, only so much is seen.
    static constexpr std::size_t kLongest = std::size_t{64} * 1024;

    explicit Lines(Bytes& bytes) : mBytes(bytes) {}

    // To the next line; false: there is none.
    bool next() {
        if (mStays || mIsInLongLine || mRest.empty()) return nextAfterAll();
        auto const* const end = static_cast<char const*>(std::memchr(mRest.data(), '\n', mRest.size()));
        auto const length = static_cast<std::size_t>(end - mRest.data());
        if (end == nullptr || length > kLongest) return nextAfterAll();
        take(length, 1);
        return true;
    }

    // Of the line: valid until the next one.
    [[nodiscard]] std::string_view text() const { return mLine; }
    [[nodiscard]] std::uint32_t number() const { return mNumber; }
    // Whether the line ended where it ends, and not the input or Lines::kLongest.
    [[nodiscard]] bool isWhole() const { return mIsWhole; }

    // Lets next() come to this line again.
    void stay() { mStays = true; }
    // The input after the line. What is left of it then holds the next lines.
    Bytes& leave();

  private:
    void take(std::size_t length, std::size_t ending) {
        mLine = mRest.substr(0, length);
        mRest.remove_prefix(length + ending);
        ++mNumber;
        mIsWhole = true;
    }
    bool nextAfterAll();
    void dropRestOfLine();

    Bytes& mBytes;
    std::string_view mRest;  // of the block
    std::size_t mBlock = 0;  // its length
    std::string_view mLine;
    std::uint32_t mNumber = 0;
    bool mIsWhole = true;
    bool mStays = false;
    bool mIsInLongLine = false;
};

// Without the carriage returns that some shells add, and the zeros that a crash leaves where a block was not
// written.
std::string_view withoutPadding(std::string_view line);

}  // namespace zeqcam::tool
