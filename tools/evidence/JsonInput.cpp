#include "evidence/JsonInput.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

constexpr std::size_t kLongestCharacter = 4;

unsigned valueOf(char byte) {
    return static_cast<unsigned char>(byte);
}

// How many bytes of a character that is not ASCII stand at the begin; 0: it is none.
std::size_t lengthOfCharacter(std::string_view bytes) {
    auto const first = valueOf(bytes.front());
    std::size_t const length = first >= 0xf0 && first <= 0xf4   ? 4
                               : first >= 0xe0                  ? 3
                               : first >= 0xc2 && first <= 0xdf ? 2
                                                                : 0;
    if (length == 0 || first > 0xf4 || bytes.size() < length) return 0;
    auto const isNext = [](char byte) { return (valueOf(byte) & 0xc0U) == 0x80U; };
    if (!std::all_of(bytes.begin() + 1, bytes.begin() + static_cast<std::ptrdiff_t>(length), isNext))
        return 0;
    // Longer than need be, a half of a pair, or beyond the last.
    auto const second = valueOf(bytes[1]);
    bool const isNone = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                        (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return isNone ? 0 : length;
}

}  // namespace

void JsonInput::skip(std::size_t count) {
    mRest.remove_prefix(count);
    if (mRest.size() < kLongestCharacter) {
        mBytes.drop(mBlock - mRest.size());
        mRest = mBytes.atLeast(kLongestCharacter);
        mBlock = mRest.size();
    }
    if (!mRest.empty()) show();
}

void JsonInput::show() {
    char const byte = mRest.front();
    mShown = byte;
    if (mLetters > 0) {
        --mLetters;
    } else if (valueOf(byte) >= 0x80) {
        auto const length = lengthOfCharacter(mRest);
        if (length == 0) mShown = '?';
        mLetters = std::max<std::size_t>(length, 1) - 1;
    } else if (valueOf(byte) < 0x20 && byte != '\n' && byte != '\r' && byte != '\t') {
        mShown = ' ';
    }
}

bool JsonInput::toNextObject() {
    bool mayBegin = false;
    for (endToken(); !mRest.empty(); advance()) {
        endToken();
        if (mShown == '{' && mayBegin) return true;
        if (mShown == ',' || mShown == '\n')
            mayBegin = true;
        else if (mShown != ' ' && mShown != '\r' && mShown != '\t')
            mayBegin = false;
    }
    return false;
}

void JsonInput::skipSpaces() {
    for (; !mRest.empty() && (mShown == ' ' || mShown == '\n' || mShown == '\r' || mShown == '\t'); advance())
        endToken();
}

}  // namespace zeqcam::tool
