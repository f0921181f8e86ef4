#pragma once

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>

#include <array>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

namespace zeqcam::tests {

// Clients that power sensors on and off, ask for states and replace controllers, all at once, beside a
// waiter. Which requests they make depends on a seed alone; how they meet is the scheduler's.
class Storm {
  public:
    // Of the board that a storm needs; it logs nothing.
    static board::Settings settings();

    // The board outlives the storm.
    explicit Storm(board::Board& board);

    // In the end every sensor is off, so that the waiter returns. Returns what is wrong, or nothing; the
    // journal of the batch stands until the next one.
    std::string playBatch(unsigned int seed);
    // Of all sensors, so far.
    [[nodiscard]] unsigned long cycles() const { return mCycles; }

  private:
    static constexpr int kGroups = 3;

    // Sensors that one controller at a time may drive, and that controller. Clients share it; it is replaced
    // while none of them is in a call.
    struct Group {
        std::vector<int> sensors;
        std::shared_mutex inCall;
        std::shared_ptr<NSCam::IPowerOnOffController> controller;

        void replaceController();
    };

    void playClient(unsigned int seed);
    std::string wrongInBatch();

    board::Board& mBoard;
    std::array<Group, kGroups> mGroups;
    unsigned long mCycles = 0;
};

}  // namespace zeqcam::tests
