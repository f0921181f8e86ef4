#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace zeqcam::tool {

// How far long work has come: one line on the standard error, if that is a terminal, which this object's end
// takes away. Nothing is shown of work that is over soon. For one thread.
class ProgressLine {
  public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    // May be called as often as one likes: asks for the text some times a second only.
    void show(std::function<std::string()> const& text);

    // Until it is shown again.
    void clear();

    // Since the work began.
    [[nodiscard]] double seconds() const;

  private:
    using Clock = std::chrono::steady_clock;

    bool const mIsOnTerminal;
    bool mIsShown = false;
    Clock::time_point const mBegan = Clock::now();
    Clock::time_point mNext;
};

}  // namespace zeqcam::tool
