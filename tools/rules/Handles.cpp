#include "rules/Handles.h"

#include "analysis/SensorNames.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

// What a controller, by the name that it gives in its calls, has done with its handles.
struct Caller {
    std::map<std::int32_t, bool> poweredOff;  // of the sensors that it has handles of
    std::optional<std::uint32_t> released;    // index of the first release by its power-off that is under way
};

bool isPowerOffSection(Record const& record, Event const& event) {
    return record.textOf(event.text) == "LogicalDev powerOff";
}

bool beginsOrEndsPowerOff(Record const& record, Event const& event) {
    return event.kind == Kind::Request || event.kind == Kind::Reply ||
           (event.kind == Kind::TraceBegin && isPowerOffSection(record, event));
}

// Whether the release's request is known not to be about the sensor: the power-off is another request's then.
bool isOfAnother(Record const& record, Event const& release, Event const& powerOff) {
    if (!release.request || !powerOff.sensor) return false;
    auto const& asked = record.requests[*release.request].sensors;
    return asked && std::find(asked->begin(), asked->end(), *powerOff.sensor) == asked->end();
}

}  // namespace

std::vector<Breach> sensorsOffAfterARelease(Record const& record) {
    std::vector<Breach> breaches;
    std::map<TextId, Caller> callers;
    // Threads in a power-off. Controllers may give the same name: which of two at once a call belongs to is
    // then known by its request only.
    std::set<std::uint32_t> underWay;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind == Kind::TraceBegin && isPowerOffSection(record, event)) {
            underWay.insert(event.thread);
            for (auto& [name, caller] : callers) {
                if (caller.released && !record.events[*caller.released].request) caller.released.reset();
            }
        }
        if (event.kind == Kind::TraceEnd && isPowerOffSection(record, event)) underWay.erase(event.thread);
        if (beginsOrEndsPowerOff(record, event)) {
            for (auto& [name, caller] : callers) {
                if (caller.released && record.events[*caller.released].thread == event.thread)
                    caller.released.reset();
            }
        }
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorCreate) {
            callers[event.text].released.reset();
            callers[event.text].poweredOff[*event.sensor] = false;
        }
        if (event.kind == Kind::SensorPowerOff) {
            Caller& caller = callers[event.text];
            if (caller.released && !isOfAnother(record, record.events[*caller.released], event)) {
                breaches.push_back(
                    {sensorPhrase(record, event.sensor) + " is powered off after the handle of " +
                         sensorPhrase(record, record.events[*caller.released].sensor) + " was released",
                     {*caller.released, index}});
            }
            caller.poweredOff[*event.sensor] = true;
        }
        if (event.kind == Kind::SensorRelease) {
            Caller& caller = callers[event.text];
            bool const isItsOwn = event.request || underWay.size() <= 1;
            if (caller.poweredOff[*event.sensor] && !caller.released && isItsOwn) caller.released = index;
        }
    }
    return breaches;
}

std::vector<Breach> servicesToldAfterARelease(Record const& record) {
    struct Handles {
        int open = 0;
        std::optional<std::uint32_t> released;  // index of the last release
    };
    std::vector<Breach> breaches;
    std::map<std::int32_t, Handles> sensors;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (!event.sensor) continue;
        Handles& handles = sensors[*event.sensor];
        if (event.kind == Kind::SensorCreate && event.number.value_or(1) != 0) ++handles.open;
        if (event.kind == Kind::SensorRelease) {
            --handles.open;
            handles.released = index;
        }
        bool const isTold = event.kind == Kind::Hal3APowerOff || event.kind == Kind::PeripheralPowerOff;
        if (!isTold || !handles.released || handles.open > 0) continue;
        breaches.push_back({sensorPhrase(record, event.sensor) +
                                "'s services are told of its power-off after its handle "
                                "was released",
                            {*handles.released, index}});
    }
    return breaches;
}

}  // namespace zeqcam::tool
