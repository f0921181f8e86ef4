#include "rules/Services.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

// An event of each thread and sensor. A long record has many threads, of which few hold one at a time.
class EventsOfSensors {
  public:
    void put(std::uint32_t thread, std::int32_t sensor, std::uint32_t event) {
        mThreads[thread][sensor] = event;
    }
    void forgetThread(std::uint32_t thread) { mThreads.erase(thread); }
    void forgetSensor(std::int32_t sensor) {
        for (auto& [thread, events] : mThreads) events.erase(sensor);
    }
    [[nodiscard]] OptionalNumber<std::uint32_t> find(std::uint32_t thread, std::int32_t sensor) const {
        auto const events = mThreads.find(thread);
        if (events == mThreads.end()) return {};
        auto const found = events->second.find(sensor);
        return found != events->second.end() ? OptionalNumber(found->second)
                                             : OptionalNumber<std::uint32_t>();
    }

  private:
    std::map<std::uint32_t, std::map<std::int32_t, std::uint32_t>> mThreads;
};

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
    EventsOfSensors comingUp;  // by the handles that each thread has made
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (kRequests.contains(event.kind)) comingUp.forgetThread(event.thread);
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorCreate && event.number.value_or(1) != 0)
            comingUp.put(event.thread, *event.sensor, index);
        if (event.kind == Kind::SensorPowerOnDone || event.kind == Kind::SensorRelease)
            comingUp.forgetSensor(*event.sensor);
        if (!kToldOfPowerOn.contains(event.kind)) continue;
        if (auto const made = comingUp.find(event.thread, *event.sensor))
            breaches.push_back({servicesOf(record, event) + "on before that has ended", {*made, index}});
    }
    return breaches;
}

std::vector<Breach> servicesToldAfterOff(Record const& record) {
    std::vector<Breach> breaches;
    EventsOfSensors off;  // by each thread's power-offs
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (kApart.contains(event.kind)) off.forgetThread(event.thread);
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorPowerOff) off.put(event.thread, *event.sensor, index);
        if (event.kind == Kind::SensorCreate || event.kind == Kind::SensorRelease)
            off.forgetSensor(*event.sensor);
        if (!kToldOfPowerOff.contains(event.kind)) continue;
        if (auto const went = off.find(event.thread, *event.sensor))
            breaches.push_back({servicesOf(record, event) + "off after it went off", {*went, index}});
    }
    return breaches;
}

}  // namespace zeqcam::tool
