#include "analysis/SectionOpening.h"

#include "analysis/SensorNames.h"

#include <string_view>

namespace zeqcam::tool {
namespace {

using board::Kind;

Opening requestOpening(Record const& record, Event const& event) {
    std::string_view const name = record.textOf(event.detail);
    RequestKind const kind = requestKindOf(name);
    Opening opening{kind == RequestKind::Wait ? SectionKind::Wait : SectionKind::Request, std::string(name)};
    auto const sensors = event.request ? record.requests[*event.request].sensors : std::nullopt;
    if (!sensors || sensors->empty()) return opening;
    std::string names;
    std::string ids;
    for (int const sensor : *sensors) {
        names += ' ' + sensorWord(record, sensor);
        ids += ' ' + std::to_string(sensor);
    }
    std::string const last(name.substr(name.rfind(' ') + 1));  // "on" of "power on"
    opening.label += names;
    opening.briefs = {last + names, last + ids};
    return opening;
}

Opening callOpening(Record const& record, Event const& event, char const* change) {
    std::string const sensor = event.sensor ? sensorTitle(record, *event.sensor) : "sensor ?";
    return {SectionKind::SensorCall, sensor + ' ' + change, {change}, event.sensor};
}

Opening sectionOpening(Record const& record, Event const& event) {
    auto const [label, sensor, powersOn] = sensorLabel(record, record.textOf(event.text));
    Opening opening{SectionKind::Trace, label, {}, sensor};
    if (sensor) opening.briefs = {sensorWord(record, *sensor), std::to_string(*sensor)};
    return opening;
}

}  // namespace

std::optional<Opening> openedBy(Record const& record, Event const& event) {
    switch (event.kind) {
        case Kind::Request:
            return requestOpening(record, event);
        case Kind::TraceBegin:
            return sectionOpening(record, event);
        case Kind::SensorPowerOn:
            return callOpening(record, event, "on");
        case Kind::SensorPowerOff:
            return callOpening(record, event, "off");
        default:
            return {};
    }
}

std::optional<Kind> beginOf(Kind end) {
    switch (end) {
        case Kind::Reply:
            return Kind::Request;
        case Kind::TraceEnd:
            return Kind::TraceBegin;
        case Kind::SensorPowerOnDone:
            return Kind::SensorPowerOn;
        case Kind::SensorPowerOffDone:
            return Kind::SensorPowerOff;
        default:
            return {};
    }
}

bool tellsFailure(Record const& record, Event const& end) {
    bool const hasResult =
        end.kind == Kind::SensorPowerOnDone || end.kind == Kind::SensorPowerOffDone ||
        (end.kind == Kind::Reply && requestKindOf(record.textOf(end.detail)) == RequestKind::PowerOn);
    return hasResult && end.number == std::int64_t{0};
}

std::string_view reasonOf(Record const& record, Event const& end) {
    bool const isOfSensor = end.kind == Kind::SensorPowerOnDone || end.kind == Kind::SensorPowerOffDone;
    return isOfSensor && tellsFailure(record, end) ? record.textOf(end.detail) : "";
}

}  // namespace zeqcam::tool
