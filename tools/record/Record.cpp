#include "record/Record.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace zeqcam::tool {

std::string_view nameOf(ClockKind clock) {
    switch (clock) {
        case ClockKind::Monotonic:
            return "monotonic";
        case ClockKind::Virtual:
            return "virtual";
        case ClockKind::Wall:
            return "wall";
        case ClockKind::Boot:
            return "boot";
        case ClockKind::Trace:
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
        case RequestKind::Powered:
            return "powered";
        case RequestKind::Wait:
            return "wait";
        case RequestKind::Destroy:
            return "destroy";
        case RequestKind::Sleep:
            return "sleep";
        case RequestKind::Other:
            return "request";
    }
    return "?";
}

RequestKind requestKindOf(std::string_view name) {
    for (auto const kind :
         {RequestKind::PowerOn, RequestKind::PowerOff, RequestKind::Status, RequestKind::Powered,
          RequestKind::Wait, RequestKind::Destroy, RequestKind::Sleep}) {
        if (nameOf(kind) == name) return kind;
    }
    return RequestKind::Other;
}

Record::Sensor const* Record::findSensor(int id) const {
    auto const found =
        std::find_if(sensors.begin(), sensors.end(), [id](Sensor const& sensor) { return sensor.id == id; });
    return found != sensors.end() ? &*found : nullptr;
}

std::int64_t Record::placeOfSensor(int id) const {
    if (Sensor const* const sensor = findSensor(id)) return sensor - sensors.data();
    return std::ssize(sensors) + (std::int64_t{id} - std::numeric_limits<int>::min());
}

std::string Record::nameOfSensor(int id) const {
    Sensor const* const sensor = findSensor(id);
    return sensor != nullptr && sensor->name != TextId::Empty ? std::string(textOf(sensor->name))
                                                              : std::to_string(id);
}

}  // namespace zeqcam::tool
