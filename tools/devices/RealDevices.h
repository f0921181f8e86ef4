#pragma once

#include "devices/LinuxDevice.h"
#include "devices/RestoreGuard.h"
#include "devices/RuntimePower.h"
#include "devices/Sysfs.h"
#include "scenario/Scenario.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// The real devices of a run: those that stand behind sensors of its scenario. Where there are none it does
// nothing. What it changes of them is put back at the latest when it goes, or with the process.
class RealDevices {
  public:
    // Finds each device, sees that it may be controlled, puts it behind its sensor in the scenario's
    // settings, and lets it be suspended: a run begins with its sensors off. To be made before the process
    // starts a thread or covers /sys. Throws CannotOpen with what is wrong with the first device that is not
    // right, as a fault of `file`, the scenario's own; then nothing has changed.
    RealDevices(Sysfs const& sysfs, Scenario& scenario, std::string const& file);
    ~RealDevices();
    RealDevices(RealDevices const&) = delete;
    RealDevices& operator=(RealDevices const&) = delete;

    // What did not go off before the run, a line for each: such a sensor has power when the run begins.
    [[nodiscard]] std::vector<std::string> const& stillOn() const { return mStillOn; }

    // Puts all back; a power change that is under way fails, as do those after it. From any thread, once more
    // does nothing.
    void giveBack();

  private:
    struct Device {
        RuntimePower power;
        std::string name;
        std::shared_ptr<LinuxDevice> behind;  // a sensor's switch
    };

    void open(Sysfs const& sysfs, Scenario const& scenario, std::string const& file);
    void suspendAll(Scenario const& scenario, std::string const& file);

    std::vector<std::unique_ptr<Device>> mDevices;
    std::vector<std::string> mStillOn;
    std::optional<RestoreGuard> mGuard;
};

// Throws CannotOpen where a sensor is a real device, which takes real time.
void requireSimulated(Scenario const& scenario, std::string const& file);

}  // namespace zeqcam::tool
