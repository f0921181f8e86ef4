#pragma once

#include "commands/ProgressLine.h"

#include <cstddef>

namespace zeqcam::tool {

// How far many runs are, on a terminal.
class RunProgress {
  public:
    explicit RunProgress(std::size_t times) : mTimes(times) {}

    void show(std::size_t runs, std::size_t failed);
    // Until it is shown again.
    void clear() { mLine.clear(); }

  private:
    std::size_t const mTimes;
    ProgressLine mLine;
};

}  // namespace zeqcam::tool
