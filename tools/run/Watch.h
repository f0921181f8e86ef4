#pragma once

#include "files/Descriptor.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>

namespace zeqcam::tool {

enum class End : std::uint8_t { AllDone, TimedOut, HungUp, Interrupted, Quit, Terminated };

// Waits for whatever ends a run, or what is followed. Made before the run starts a thread: from then on
// SIGHUP, SIGINT, SIGQUIT and SIGTERM are kept from every thread, and end the wait instead of the process;
// one that was ignored, as nohup does, stays so. Throws std::system_error.
class Watch {
  public:
    using Limit = std::optional<std::chrono::duration<double>>;

    Watch();
    ~Watch();
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;

    // Ends the wait, from any thread.
    void allDone();

    // What has ended it so far, without a wait; TimedOut: nothing. A signal counts once.
    [[nodiscard]] End look() const { return waitForEnd(Limit(0)); }

    // Once. After it a second Ctrl-C ends the process at once.
    End wait(Limit limit);

    // Waits until the file has something to be read, its end included. False: a signal came instead, after
    // which the next one ends the process.
    bool waitForInput(int file);

  private:
    [[nodiscard]] End waitForEnd(Limit limit) const;
    [[nodiscard]] End takeSignal() const;
    void letSignalsThrough() const;

    sigset_t mOuterMask{};
    Descriptor mSignals;
    Descriptor mDone;
};

}  // namespace zeqcam::tool
