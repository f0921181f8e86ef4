#include "evidence/Lines.h"

#include <algorithm>

namespace zeqcam::tool {

bool Lines::nextAfterAll() {
    if (mStays) {
        mStays = false;
        return true;
    }
    if (mIsInLongLine) dropRestOfLine();
    std::size_t searched = 0;
    for (;;) {
        auto const newline = mRest.find('\n', searched);
        if (newline <= kLongest) {
            take(newline, 1);
            return true;
        }
        if (mRest.size() > kLongest) {
            take(kLongest, 0);
            mIsWhole = false;
            mIsInLongLine = true;
            return true;
        }
        searched = mRest.size();
        mBytes.drop(mBlock - mRest.size());
        mRest = mBytes.atLeast(searched + 1);
        mBlock = mRest.size();
        if (mBlock > searched) continue;
        if (mRest.empty()) return false;
        take(mRest.size(), 0);
        mIsWhole = false;
        return true;
    }
}

void Lines::dropRestOfLine() {
    mIsInLongLine = false;
    for (;;) {
        auto const newline = mRest.find('\n');
        if (newline != std::string_view::npos) {
            mRest.remove_prefix(newline + 1);
            return;
        }
        mBytes.drop(mBlock);
        mRest = mBytes.atLeast(1);
        mBlock = mRest.size();
        if (mRest.empty()) return;
    }
}

Bytes& Lines::leave() {
    mBytes.drop(mBlock - mRest.size());
    mRest = {};
    mBlock = 0;
    return mBytes;
}

std::string_view withoutPadding(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of('\0'), line.size()));
    while (!line.empty() && (line.back() == '\r' || line.back() == '\0')) line.remove_suffix(1);
    return line;
}

}  // namespace zeqcam::tool
