#include "devices/DeviceList.h"
#include "replay/ScenarioText.h"
#include "text/Printable.h"

#include <fmt/format.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr std::size_t kLongestName = 64;

// A name is no number, and no other sensor's.
std::string sensorName(FoundDevice const& device, std::set<std::string>& taken) {
    std::string const folder = printable(device.path.substr(device.path.rfind('/') + 1));
    std::string const own = printable(device.name);
    std::string name = folder + ": " + (own.empty() ? "device" : own);
    if (name.size() > kLongestName) name = "device " + folder;
    if (name.size() > kLongestName || !taken.insert(name).second)
        name = "device " + std::to_string(taken.size()) + " of this machine";
    return name;
}

std::string sensorText(FoundDevice const& device, int id, std::string const& name) {
    return fmt::format("\n[[sensor]]\nid = {}\nname = {}\ndevice = {}\n", id, tool::tomlString(name),
                       tool::tomlString(device.path));
}

std::string onText(std::vector<int> const& sensors) {
    return fmt::format("    {{ power_on = {}, expect = true }},\n", idsText(sensors));
}

std::string offText(std::vector<int> const& sensors) {
    return fmt::format("    {{ power_off = {} }},\n", idsText(sensors));
}

std::string stepsText(std::vector<int> const& sensors) {
    if (sensors.size() == 1) return onText(sensors) + offText(sensors);
    std::string text = "    # All at once.\n" + onText(sensors) + offText(sensors);
    text += "    # One after another.\n";
    for (int const sensor : sensors) text += onText({sensor});
    return text + offText(sensors);
}

}  // namespace

std::string scenarioOf(std::vector<FoundDevice> const& devices) {
    std::string sensors;
    std::vector<int> ids;
    std::set<std::string> names;
    for (FoundDevice const& device : devices) {
        if (!device.obstacle.empty()) continue;
        ids.push_back(static_cast<int>(ids.size()));
        sensors += sensorText(device, ids.back(), sensorName(device, names));
    }
    if (ids.empty()) return {};
    return "# Real devices in the place of sensors. A run puts back how their power was managed before.\n" +
           sensors + fmt::format("\n[[controller]]\nname = \"devices\"\nsensors = {}\n", idsText(ids)) +
           "\n[[client]]\nname = \"camera app\"\ncontroller = \"devices\"\nsteps = [\n" + stepsText(ids) +
           "]\n";
}

}  // namespace zeqcam::tool
