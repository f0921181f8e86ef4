#pragma once

#include "devices/Sysfs.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// A device that could stand for a sensor.
struct FoundDevice {
    std::string path;    // as a scenario names it: "/sys/bus/usb/devices/1-1"
    std::string name;    // as it calls itself; empty: it does not
    std::string driver;  // empty: none
    std::string state;   // its runtime status: "suspended"; "?" where that cannot be read
    bool isVideo = false;
    std::string obstacle;  // why its power cannot be controlled; empty: it can
};

// The video devices, then all others on the busses that cameras stand on, USB and I2C; hubs left out. Each
// device once: the one whose power is controlled, where a video device has that of the device that it is part
// of. By path.
std::vector<FoundDevice> findDevices(Sysfs const& sysfs);

// A scenario that powers those whose power can be controlled on and off, at once and one after another. Empty
// where there is none.
std::string scenarioOf(std::vector<FoundDevice> const& devices);

}  // namespace zeqcam::tool
