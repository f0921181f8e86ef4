#include "analysis/ThreadRole.h"

#include "analysis/SensorNames.h"

#include <cstddef>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

Role clientRole(Record const& record, Event const& event) {
    std::size_t const order = event.request ? record.requests[*event.request].client : record.clients.size();
    return {Role::Is::Client, static_cast<std::int64_t>(order), std::string(record.textOf(event.text))};
}

Role workerRole(Record const& record, int sensor) {
    return {Role::Is::Worker, record.placeOfSensor(sensor), sensorTitle(record, sensor) + " worker", sensor};
}

}  // namespace

std::optional<Role> roleShownBy(Record const& record, Event const& event) {
    switch (event.kind) {
        case Kind::Request:
            return clientRole(record, event);
        case Kind::TaskRun:
            return Role{Role::Is::Queue, 0, std::string(record.textOf(event.text))};
        case Kind::SensorPowerOn:
            return event.sensor ? std::optional(workerRole(record, *event.sensor)) : std::nullopt;
        case Kind::TraceBegin:
            if (auto const label = sensorLabel(record, record.textOf(event.text)); label.powersOn)
                return workerRole(record, *label.sensor);
            return {};
        default:
            return {};
    }
}

Role otherRole(Record const& record, Record::Thread const& thread) {
    if (!thread.id) return {Role::Is::Other, 0, "a thread"};
    bool const isMain = record.process == *thread.id;
    return {Role::Is::Other, 0, isMain ? "main thread" : "thread " + std::to_string(*thread.id)};
}

}  // namespace zeqcam::tool
