#include "analysis/SensorTimes.h"

#include <algorithm>
#include <cstdint>

namespace zeqcam::tool {
namespace {

using board::Kind;
using Iterator = std::vector<Event>::const_iterator;

template <class Matches>
Iterator findOnThread(Iterator from, Iterator end, std::uint32_t thread, Matches matches) {
    return std::find_if(from, end,
                        [&](Event const& event) { return event.thread == thread && matches(event.kind); });
}

// A request that finds its controller busy waits before it does any of these. The sensors that are called
// until then are those of the request it waits for.
bool beginsWork(Kind kind) {
    return kind == Kind::SensorListGet || kind == Kind::TaskPost || kind == Kind::SensorPowerOff ||
           kind == Kind::TraceBegin || kind == Kind::ProfileBegin;
}

bool beginsCall(Kind kind) {
    return kind == Kind::SensorPowerOn || kind == Kind::SensorPowerOff;
}
bool endsCall(Kind kind) {
    return kind == Kind::SensorPowerOnDone || kind == Kind::SensorPowerOffDone;
}

SensorTimes timesOf(Record const& record, Request const& asked, Iterator request) {
    Iterator const end = record.events.end();
    Iterator const reply =
        findOnThread(request, end, request->thread, [](Kind kind) { return kind == Kind::Reply; });
    SensorTimes times;
    // Each id of the request stands for one call: another controller may drive the same sensor meanwhile.
    std::vector<int> uncalled = asked.sensors.value_or(std::vector<int>());
    for (auto call = findOnThread(request, reply, request->thread, beginsWork); call != reply; ++call) {
        if (!beginsCall(call->kind) || !call->sensor) continue;
        bool const isOfAnother = call->request && request->request && call->request != request->request;
        if (isOfAnother) continue;
        auto const sensor = std::find(uncalled.begin(), uncalled.end(), *call->sensor);
        if (sensor == uncalled.end()) continue;
        auto const done = findOnThread(call, end, call->thread, endsCall);
        uncalled.erase(sensor);
        Instant const until = done == end ? record.end : done->time;
        auto const time = std::chrono::duration_cast<std::chrono::microseconds>(until - call->time);
        ++times.calls;
        times.slowest = std::max(times.slowest, time);
        times.oneAfterAnother += time;
    }
    return times;
}

}  // namespace

std::vector<SensorTimes> sensorTimes(Record const& record) {
    std::vector<SensorTimes> times(record.requests.size());
    for (auto event = record.events.begin(); event != record.events.end(); ++event) {
        if (event->kind != Kind::Request || !event->request) continue;
        times[*event->request] = timesOf(record, record.requests[*event->request], event);
    }
    return times;
}

}  // namespace zeqcam::tool
