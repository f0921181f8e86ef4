#pragma once

#include <zeqcam/board/Board.h>

#include <utility>

namespace zeqcam::benchmarks {

// A board that costs as little as a board can: its journal is off, its log lines and sections go nowhere.
class QuietBoard {
  public:
    explicit QuietBoard(board::Settings settings) : mBoard(std::move(settings)) {
        mBoard.journal().setOn(false);
    }

    [[nodiscard]] board::Board& get() { return mBoard; }

  private:
    board::Board mBoard;
};

// A device in a user's hands: errors are logged, nothing is traced.
inline board::Settings deviceSettings() {
    board::Settings settings;
    settings.log.detailsLevel = 1;
    settings.traceTags = 0;
    return settings;
}

}  // namespace zeqcam::benchmarks
