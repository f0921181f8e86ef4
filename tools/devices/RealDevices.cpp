#include "devices/RealDevices.h"

#include "files/OutputFile.h"
#include "scenario/ScenarioReader.h"

#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

CannotOpen faultOf(DeviceOfSensor const& device, std::string const& message, std::string const& file) {
    return CannotOpen(faultText({device.line, "sensor.device", message, device.file}, file));
}

template <class Step>
void onBehalfOf(DeviceOfSensor const& device, std::string const& file, Step const& step) {
    try {
        step();
    } catch (std::runtime_error const& error) {
        throw faultOf(device, device.path + ": " + error.what(), file);
    }
}

}  // namespace

RealDevices::RealDevices(Sysfs const& sysfs, Scenario& scenario, std::string const& file) {
    if (scenario.devices.empty()) return;
    open(sysfs, scenario, file);
    std::vector<RestoreGuard::Kept> kept;
    for (auto const& device : mDevices)
        kept.push_back({device->name, &device->power, device->power.policy()});
    mGuard.emplace(kept);
    suspendAll(scenario, file);
    for (std::size_t i = 0; i < mDevices.size(); ++i)
        scenario.settings.sensors.at(scenario.devices[i].sensor).powerSwitch = mDevices[i]->behind;
}

RealDevices::~RealDevices() {
    giveBack();
}

void RealDevices::giveBack() {
    for (auto const& device : mDevices) device->behind->retire();
    if (mGuard) mGuard->restore();
}

void RealDevices::open(Sysfs const& sysfs, Scenario const& scenario, std::string const& file) {
    std::map<std::filesystem::path, int> sensors;
    for (DeviceOfSensor const& wanted : scenario.devices) {
        onBehalfOf(wanted, file, [&] {
            auto const place = sysfs.resolve(wanted.path);
            auto const [taken, isNew] = sensors.emplace(place, wanted.sensor);
            if (!isNew) {
                auto const& other = scenario.settings.sensors.at(taken->second).name;
                throw std::runtime_error("stands for the sensor \"" + other + "\" already");
            }
            auto device = std::make_unique<Device>(Device{RuntimePower(place), wanted.path, nullptr});
            device->behind = std::make_shared<LinuxDevice>(device->power, wanted.timeout);
            mDevices.push_back(std::move(device));
        });
    }
}

void RealDevices::suspendAll(Scenario const& scenario, std::string const& file) {
    for (std::size_t i = 0; i < mDevices.size(); ++i) {
        onBehalfOf(scenario.devices[i], file, [&] {
            mDevices[i]->behind->giveBack();
            if (mDevices[i]->power.isForbidden())
                throw std::runtime_error("its runtime power management is forbidden");
        });
    }
    for (std::size_t i = 0; i < mDevices.size(); ++i) {
        onBehalfOf(scenario.devices[i], file, [&] {
            std::string const why = mDevices[i]->behind->awaitSuspended();
            if (!why.empty()) mStillOn.push_back(mDevices[i]->name + ": " + why);
        });
    }
}

void requireSimulated(Scenario const& scenario, std::string const& file) {
    if (scenario.devices.empty()) return;
    DeviceOfSensor const& first = scenario.devices.front();
    throw faultOf(first, "a real device takes real time: such a scenario does not run in virtual time", file);
}

}  // namespace zeqcam::tool
