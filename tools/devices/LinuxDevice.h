#pragma once

#include "devices/RuntimePower.h"

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/PowerSwitch.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>

namespace zeqcam::tool {

// A real device in the place of a sensor: on, the kernel keeps it awake; off, it may suspend it, at once.
// Thread-safe; power changes of one device come one after another.
class LinuxDevice final : public board::PowerSwitch {
  public:
    using Time = std::chrono::microseconds;

    // `timeout` is what a power change may take. `device` stays until this is retired.
    LinuxDevice(RuntimePower const& device, Time timeout) : mDevice(device), mTimeout(timeout) {}

    // What the board asks. A device that did not become active is given back.
    std::string powerOn() override;
    std::string powerOff() override;

    // Lets the kernel suspend the device, and does not wait for that. Throws std::system_error.
    void giveBack();
    // Whether it has suspended it, or why not.
    std::string awaitSuspended();

    // No call touches the device from its return on; one that waits for the device ends.
    void retire();

  private:
    template <class Change>
    std::string changed(Change const& change);
    std::string await(char const* status, char const* otherwise);

    RuntimePower const& mDevice;
    Time const mTimeout;
    std::atomic<bool> mRetired = false;
    std::mutex mLock;  // held while the device changes
};

}  // namespace zeqcam::tool
