#include "FakeSysfs.h"
#include "devices/DeviceList.h"
#include "scenario/NeverEnds.h"
#include "scenario/ScenarioReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

using namespace zeqcam::tool;
using testing::ElementsAre;
using testing::IsEmpty;

std::string lineOf(FoundDevice const& device) {
    return device.path + " | " + device.name + " | " + device.driver + " | " + device.state + " | " +
           (device.isVideo ? "video" : "-") + " | " + device.obstacle;
}

TEST(DeviceList, HasVideoDevicesFirstAndNoHub) {
    FakeSysfs tree;
    tree.put(tree.addUsb("1-1") + "/bDeviceClass", "09\n");
    tree.put(tree.addUsb("1-2") + "/product", "Tablet\n");
    tree.put("devices/usb1/1-2/manufacturer", "Maker\n");
    // A camera: its video device is part of an interface, whose power goes with the camera's.
    std::string const camera = tree.addUsb("1-3");
    tree.put(camera + "/product", "Maker Camera\n");
    tree.put(camera + "/manufacturer", "Maker\n");
    tree.put("bus/usb/drivers/uvcvideo/module", "");
    tree.link(camera + "/1-3:1.0/driver", "bus/usb/drivers/uvcvideo");
    tree.link("bus/usb/devices/1-3:1.0", camera + "/1-3:1.0");
    tree.link("class/video4linux/video0/device", camera + "/1-3:1.0");
    tree.link("class/video4linux/video1/device", camera + "/1-3:1.0");
    // A sensor on an I2C bus that nobody drives, and that bus.
    tree.put("devices/i2c-10/10-0010/name", "imx219\n");
    tree.put("devices/i2c-10/10-0010/power/control", "auto\n");
    tree.put("devices/i2c-10/10-0010/power/runtime_status", "unsupported\n");
    tree.link("bus/i2c/devices/10-0010", "devices/i2c-10/10-0010");
    tree.link("bus/i2c/devices/i2c-10", "devices/i2c-10");

    auto const devices = findDevices(tree.sysfs());
    std::vector<std::string> lines;
    for (FoundDevice const& device : devices) lines.push_back(lineOf(device));
    EXPECT_THAT(lines, ElementsAre("/sys/bus/usb/devices/1-3 | Maker Camera | uvcvideo | active | video | ",
                                   "/sys/bus/i2c/devices/10-0010 | imx219 |  | unsupported | - | it has no "
                                   "runtime power management: power/runtime_status is unsupported",
                                   "/sys/bus/usb/devices/1-2 | Maker Tablet |  | active | - | "));

    auto const [scenario, faults, included] = readScenario(scenarioOf(devices));
    EXPECT_THAT(faults, IsEmpty());
    EXPECT_THAT(neverEnding(scenario), IsEmpty());
    ASSERT_EQ(scenario.devices.size(), 2U);
    EXPECT_EQ(scenario.devices[0].path, "/sys/bus/usb/devices/1-3");
    EXPECT_EQ(scenario.settings.sensors.at(1).name, "1-2: Maker Tablet");
    EXPECT_EQ(scenario.clients.at(0).steps.size(), 5U);
}

TEST(DeviceList, MakesAScenarioOfNamesThatNoReaderRefuses) {
    std::string const odd = "\"quoted\"\\ \x01";
    auto const device = [](std::string const& path, std::string const& name) {
        return FoundDevice{.path = path, .name = name};
    };
    auto const [scenario, faults, included] = readScenario(
        scenarioOf({device("/sys/devices/a/1", ""), device("/sys/devices/b/1", ""),
                    device("/sys/devices/c", odd), device("/sys/devices/d", std::string(80, 'd')),
                    device("/sys/devices/" + std::string(80, 'e'), "")}));
    EXPECT_THAT(faults, IsEmpty());
    EXPECT_EQ(scenario.devices.size(), 5U);
    FoundDevice none = device("/sys/devices/a/1", "");
    none.obstacle = "power/control: Permission denied";
    EXPECT_EQ(scenarioOf({none}), "");
}

}  // namespace
}  // namespace zeqcam::tests
