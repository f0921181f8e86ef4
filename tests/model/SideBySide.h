#pragma once

#include "Model.h"

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zeqcam::tests {

// A number from 0 to `most`, from a random engine or from a fuzzer's bytes.
using Choose = std::function<unsigned int(unsigned int most)>;

// The library on a board and the model, taking the same steps. After each step their results, states,
// records, sensors, lock, log lines and faults against the board must agree, and the journal must keep its
// order rules.
class SideBySide {
  public:
    explicit SideBySide(Choose choose);
    ~SideBySide();
    SideBySide(SideBySide const&) = delete;
    SideBySide& operator=(SideBySide const&) = delete;

    // Takes one step of the choice's making. Returns what disagrees; empty when nothing does.
    std::string step();
    // Of the last step.
    [[nodiscard]] std::vector<board::Entry> journal() { return mBoard.journal().entries(); }

  private:
    struct Step;

    [[nodiscard]] StepFaults chooseFaults();
    [[nodiscard]] std::vector<int> chooseSensors();
    void apply(StepFaults const& faults);
    void create(int controller);
    std::string compare(Outcome const& expected, Outcome const& actual,
                        std::vector<board::Entry> const& told);

    Choose mChoose;
    int const mNice;
    board::Board mBoard;
    Model mModel;
    std::map<int, std::shared_ptr<NSCam::IPowerOnOffController>> mControllers;
};

}  // namespace zeqcam::tests
