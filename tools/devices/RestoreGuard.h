#pragma once

#include "devices/RuntimePower.h"
#include "files/Descriptor.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// Puts the policies of devices back, on every way out: when it is told to, or when the process has ended,
// whatever has ended it. A small process of its own does that, which signals to the run's do not reach.
class RestoreGuard {
  public:
    struct Kept {
        std::string name;  // of the device, for messages
        RuntimePower const* device;
        RuntimePower::Policy policy;
    };

    // To be made before the process starts a thread. Throws std::system_error.
    explicit RestoreGuard(std::vector<Kept> const& devices);
    ~RestoreGuard();
    RestoreGuard(RestoreGuard const&) = delete;
    RestoreGuard& operator=(RestoreGuard const&) = delete;

    // Returns when all that can be put back is; what cannot is told to standard error. Nobody changes the
    // devices from then on. A second call does nothing.
    void restore();

  private:
    std::optional<Descriptor> mHeld;  // the process waits for its end
    pid_t mProcess = -1;
};

}  // namespace zeqcam::tool
