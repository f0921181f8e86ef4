#pragma once

#include <zeqcam/board/Board.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tests {

// A board whose callers make no fault before its end, or those that the test expects.
class StrictBoard : public board::Board {
  public:
    using Board::Board;
    ~StrictBoard() { EXPECT_THAT(faults(), mExpected) << "faults of callers"; }
    StrictBoard(StrictBoard const&) = delete;
    StrictBoard& operator=(StrictBoard const&) = delete;

    [[nodiscard]] std::vector<std::string> faults() const {
        std::vector<std::string> all;
        for (board::CallerFault const& fault : callerFaults()) {
            all.push_back(fault.what + ": " + std::to_string(fault.sensor));
        }
        return all;
    }

    // As faults() answers them.
    void expectFaults(testing::Matcher<std::vector<std::string> const&> expected) {
        mExpected = std::move(expected);
    }

  private:
    testing::Matcher<std::vector<std::string> const&> mExpected = testing::IsEmpty();
};

}  // namespace zeqcam::tests
