#pragma once

#include <zeqcam/board/Board.h>
#include <zeqcam/views/ShowBoard.h>

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace camera {

// In a test, behind its board: where the test has failed by the end of this object, what the board recorded
// stands in SUITE.TEST.txt, .svg and .json of the working folder.
class ShowsFailure {
  public:
    explicit ShowsFailure(zeqcam::board::Board& board) : mBoard(board) {}
    ~ShowsFailure() {
        if (!testing::Test::HasFailure()) return;
        auto const& test = *testing::UnitTest::GetInstance()->current_test_info();
        try {
            zeqcam::views::showBoard(mBoard, std::string(test.test_suite_name()) + '.' + test.name());
        } catch (std::exception const& error) {
            ADD_FAILURE() << error.what();
        }
    }
    ShowsFailure(ShowsFailure const&) = delete;
    ShowsFailure& operator=(ShowsFailure const&) = delete;

  private:
    zeqcam::board::Board& mBoard;
};

}  // namespace camera
