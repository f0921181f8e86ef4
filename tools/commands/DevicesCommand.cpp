#include "commands/DevicesCommand.h"

#include "commands/Terminal.h"
#include "devices/DeviceList.h"
#include "files/OutputFile.h"
#include "text/JsonText.h"
#include "text/Printable.h"
#include "views/Table.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kDevicesFooter =
    "A scenario's sensor stands for a device by its path: device = \"/sys/bus/usb/devices/1-1\". Video "
    "devices\n"
    "stand first. Nothing is changed by this command.\n";

struct DevicesOptions {
    bool json = false;
    bool onlyVideo = false;
    std::string scenario;
};

// What a device does not say is null.
std::string jsonOf(std::vector<FoundDevice> const& devices) {
    using nlohmann::ordered_json;
    auto all = ordered_json::array();
    for (FoundDevice const& device : devices) {
        auto const orNull = [](std::string const& text) {
            return text.empty() ? ordered_json() : ordered_json(text);
        };
        all.push_back({{"path", device.path},
                       {"name", orNull(device.name)},
                       {"driver", orNull(device.driver)},
                       {"state", device.state == "?" ? ordered_json() : ordered_json(device.state)},
                       {"video", device.isVideo},
                       {"controllable", device.obstacle.empty()},
                       {"obstacle", orNull(device.obstacle)}});
    }
    ordered_json const result{{"devices", all}};
    return jsonText(result, 2) + '\n';
}

std::string tableOf(std::vector<FoundDevice> const& devices) {
    if (devices.empty()) return "No device of this machine could be a sensor.\n";
    Table table({{"DEVICE"}, {"NAME"}, {"DRIVER"}, {"STATE"}, {"VIDEO"}, {"MAY BE CONTROLLED"}});
    for (FoundDevice const& device : devices) {
        auto const orDash = [](std::string const& text) { return text.empty() ? "-" : printable(text); };
        table.add({printable(device.path), orDash(device.name), orDash(device.driver),
                   printable(device.state), device.isVideo ? "yes" : "-",
                   device.obstacle.empty() ? "yes" : "no: " + printable(device.obstacle)});
    }
    Presentation const presentation = presentationOn(STDOUT_FILENO, {});
    return table.text({presentation.colours}, presentation.columns);
}

int list(DevicesOptions const& options) {
    std::optional<OutputFile> file;
    if (!options.scenario.empty()) file.emplace(options.scenario);
    auto devices = findDevices(Sysfs());
    if (options.onlyVideo) std::erase_if(devices, [](FoundDevice const& each) { return !each.isVideo; });
    std::cout << (options.json ? jsonOf(devices) : tableOf(devices)) << std::flush;
    if (!std::cout) {
        complain("the output cannot be written");
        return kFailed;
    }
    if (!file) return kAllHeld;
    std::string const scenario = scenarioOf(devices);
    if (scenario.empty()) {
        complain(options.scenario + ": not written, since no device may be controlled");
        return kFailed;
    }
    file->write([&](std::ostream& out) { out << scenario; });
    return kAllHeld;
}

}  // namespace

std::function<int()> addDevices(CLI::App& app) {
    auto const options = std::make_shared<DevicesOptions>();
    app.add_flag("--video", options->onlyVideo, "Video devices only.");
    app.add_option(
           "--scenario", options->scenario,
           "Write a scenario that powers those that may be controlled, at once and one after another.")
        ->type_name("FILE")
        ->check([](std::string const& path) { return path.empty() ? "a file needs a name" : ""; });
    app.add_flag("--json", options->json, "Print the devices as JSON.");
    app.footer(kDevicesFooter + ('\n' + std::string(kExitCodes)));
    return [options] { return list(*options); };
}

}  // namespace zeqcam::tool
