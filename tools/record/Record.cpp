#include "record/Record.h"

#include <algorithm>

namespace zeqcam::tool {

std::string_view nameOf(Clock clock) {
    switch (clock) {
        case Clock::Monotonic:
            return "monotonic";
        case Clock::Virtual:
            return "virtual";
        case Clock::Wall:
            return "wall";
        case Clock::Boot:
            return "boot";
        case Clock::Trace:
            return "trace";
    }
    return "?";
}

std::string_view nameOf(RequestKind kind) {
    switch (kind) {
        case RequestKind::PowerOn:
            return "power on";
        case RequestKind::PowerOff:
            return "power off";
        case RequestKind::Status:
            return "status";
        case RequestKind::Wait:
            return "wait";
        case RequestKind::Destroy:
            return "destroy";
        case RequestKind::Sleep:
            return "sleep";
    }
    return "?";
}

Sensor const* Record::findSensor(int id) const {
    auto const found = std::lower_bound(sensors.begin(), sensors.end(), id,
                                        [](Sensor const& sensor, int wanted) { return sensor.id < wanted; });
    return found != sensors.end() && found->id == id ? &*found : nullptr;
}

std::string Record::nameOfSensor(int id) const {
    Sensor const* const sensor = findSensor(id);
    return sensor != nullptr && sensor->name != TextId::Empty ? std::string(textOf(sensor->name))
                                                              : std::to_string(id);
}

}  // namespace zeqcam::tool
