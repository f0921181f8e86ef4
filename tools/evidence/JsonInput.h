#pragma once

#include "evidence/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

// JSON's characters as a parser takes them that would not go on after one byte that is no text: what is not
// UTF-8 comes as a question mark, a control character as a space.
class JsonInput {
  public:
    // No name, number or text of a trace is longer. One that is ends the input.
    static constexpr std::size_t kLongestToken = std::size_t{1024} * 1024;

    explicit JsonInput(Bytes& bytes) : mBytes(bytes) { skip(0); }

    [[nodiscard]] bool hasEnded() const { return mRest.empty() || mInToken > kLongestToken; }
    [[nodiscard]] char peek() const { return mShown; }
    void advance() {
        ++mInToken;
        if (mShown == '\n') ++mLine;
        skip(1);
    }
    [[nodiscard]] std::uint32_t line() const { return mLine; }

    // The parser has come to the end of something.
    void endToken() { mInToken = 0; }
    // To the next object that follows a comma or begins a line; false: there is none.
    bool toNextObject();
    void skipSpaces();

    // For a parser of iterators: reads on wherever the input is.
    class Iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = char;
        using difference_type = std::ptrdiff_t;
        using pointer = char const*;
        using reference = char;

        Iterator() = default;  // the end
        explicit Iterator(JsonInput& input) : mInput(&input) {}
        char operator*() const { return mInput->peek(); }
        Iterator& operator++() {
            mInput->advance();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(Iterator const& other) const { return isEnd() == other.isEnd(); }

      private:
        [[nodiscard]] bool isEnd() const { return mInput == nullptr || mInput->hasEnded(); }

        JsonInput* mInput = nullptr;
    };

  private:
    void skip(std::size_t count);
    void show();

    Bytes& mBytes;
    std::string_view mRest;
    std::size_t mBlock = 0;    // length of what mBytes gave
    std::size_t mLetters = 0;  // bytes of a character that are known to be right
    std::size_t mInToken = 0;
    std::uint32_t mLine = 1;
    char mShown = 0;
};

}  // namespace zeqcam::tool
