#include "rules/Services.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;
using EventOfSensor = std::map<std::int32_t, std::uint32_t>;  // index of an event, by sensor

constexpr KindSet kToldOfPowerOn{Kind::Hal3APowerOn, Kind::PeripheralPowerOn};
constexpr KindSet kToldOfPowerOff{Kind::Hal3APowerOff, Kind::PeripheralPowerOff};
constexpr KindSet kRequests{Kind::Request, Kind::Reply};
// Between two of these a thread does one power-off of a sensor at most.
constexpr KindSet kApart{Kind::Request,   Kind::Reply,      Kind::TaskRun, Kind::TaskRunDone,
                         Kind::TraceTags, Kind::TraceBegin, Kind::TraceEnd};

std::string servicesOf(Record const& record, Event const& event) {
    return "sensor " + record.nameOfSensor(*event.sensor) + "'s services are told of its power-";
}

}  // namespace

std::vector<Breach> servicesToldBeforeUp(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<EventOfSensor> comingUp(record.threads.size());  // by the handles that each thread has made
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        EventOfSensor& own = comingUp[event.thread];
        if (kRequests.contains(event.kind)) own.clear();
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorCreate && event.number.value_or(1) != 0) own[*event.sensor] = index;
        if (event.kind == Kind::SensorPowerOnDone || event.kind == Kind::SensorRelease) {
            for (EventOfSensor& each : comingUp) each.erase(*event.sensor);
        }
        auto const made = own.find(*event.sensor);
        if (kToldOfPowerOn.contains(event.kind) && made != own.end())
            breaches.push_back(
                {servicesOf(record, event) + "on before that has ended", {made->second, index}});
    }
    return breaches;
}

std::vector<Breach> servicesToldAfterOff(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<EventOfSensor> off(record.threads.size());  // by each thread's power-offs
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        EventOfSensor& own = off[event.thread];
        if (kApart.contains(event.kind)) own.clear();
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorPowerOff) own[*event.sensor] = index;
        if (event.kind == Kind::SensorCreate || event.kind == Kind::SensorRelease) {
            for (EventOfSensor& each : off) each.erase(*event.sensor);
        }
        auto const went = own.find(*event.sensor);
        if (kToldOfPowerOff.contains(event.kind) && went != own.end())
            breaches.push_back({servicesOf(record, event) + "off after it went off", {went->second, index}});
    }
    return breaches;
}

}  // namespace zeqcam::tool
