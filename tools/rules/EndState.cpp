#include "rules/EndState.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

// The last change of the sensor's power that the record tells of, as a breach's only event; none without one.
std::vector<std::uint32_t> lastChange(Record const& record, int sensor) {
    for (auto index = static_cast<std::uint32_t>(record.events.size()); index-- > 0;) {
        Event const& event = record.events[index];
        bool const isChange = event.kind == Kind::SensorPowerOnDone || event.kind == Kind::SensorPowerOffDone;
        if (isChange && event.sensor == sensor) return {index};
    }
    return {};
}

}  // namespace

// In the middle of a power-on a controller counts sensors as on that are still coming up.
std::vector<Breach> statesThatAreNotTrue(Record const& record) {
    std::vector<Breach> breaches;
    if (record.cutOff) return breaches;
    for (Record::Controller const& controller : record.controllers) {
        for (auto const& [sensor, isOn] : controller.counts) {
            Record::Sensor const* const known = record.findSensor(sensor);
            if (!isOn || known == nullptr || known->powered.value_or(true)) continue;
            breaches.push_back({std::string(record.textOf(controller.name)) + " counts sensor " +
                                    record.nameOfSensor(sensor) + " as on at the end, which has no power",
                                lastChange(record, sensor)});
        }
    }
    return breaches;
}

std::vector<Breach> powerLeftOn(Record const& record) {
    std::vector<Breach> breaches;
    if (record.cutOff) return breaches;
    for (Record::Sensor const& sensor : record.sensors) {
        if (!sensor.powered.value_or(false)) continue;
        breaches.push_back({"sensor " + record.nameOfSensor(sensor.id) + " has power at the end",
                            lastChange(record, sensor.id)});
    }
    return breaches;
}

}  // namespace zeqcam::tool
