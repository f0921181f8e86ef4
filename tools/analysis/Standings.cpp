#include "analysis/Standings.h"

#include "analysis/Attribution.h"
#include "analysis/ControllerUse.h"

#include <algorithm>
#include <map>
#include <set>

namespace zeqcam::tool {
namespace {

using board::Kind;

struct Seen {
    std::set<std::uint32_t> working;              // requests that have their controller
    std::map<std::uint32_t, Event const*> calls;  // of threads that are in a call on a sensor
    std::map<std::uint32_t, std::uint32_t> of;    // the request of each such call
};

Seen seenIn(Record const& record) {
    Seen seen;
    auto const requests = attributionOf(record);
    for (std::size_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.request && kControllersWork.contains(event.kind)) seen.working.insert(*event.request);
        bool const begins = event.kind == Kind::SensorPowerOn || event.kind == Kind::SensorPowerOff;
        bool const ends = event.kind == Kind::SensorPowerOnDone || event.kind == Kind::SensorPowerOffDone;
        if (ends) seen.calls.erase(event.thread);
        if (!begins || !requests[index] || !event.sensor) continue;
        seen.calls[event.thread] = &event;
        seen.of[event.thread] = *requests[index];
    }
    return seen;
}

OptionalNumber<std::uint32_t> holderOf(Record const& record, Seen const& seen, Request const& waiting) {
    auto const controller = record.clients[waiting.client].controller;
    for (std::uint32_t const index : seen.working) {
        Request const& other = record.requests[index];
        bool const isOfIt = controller && record.clients[other.client].controller == controller;
        if (isOfIt && !other.ended && &other != &waiting && needsController(other.kind)) return index;
    }
    return {};
}

}  // namespace

std::vector<Standing> standingsOf(Record const& record) {
    std::vector<Standing> standings;
    Seen const seen = seenIn(record);
    for (std::uint32_t index = 0; index < record.requests.size(); ++index) {
        Request const& request = record.requests[index];
        if (request.ended) continue;
        Standing& standing = standings.emplace_back();
        standing.request = index;
        standing.since = request.began;
        if (request.kind == RequestKind::Sleep) standing.in = Standing::In::Sleep;
        if (request.kind == RequestKind::Wait) {
            standing.in = Standing::In::LockWait;
            standing.lock = lockHeldAtEnd(record);
        }
        if (needsController(request.kind) && !seen.working.contains(index)) {
            standing.busyWith = holderOf(record, seen, request);
            if (standing.busyWith) standing.in = Standing::In::ControllerWait;
        }
        Event const* first = nullptr;
        for (auto const& [thread, call] : seen.calls) {
            if (seen.of.at(thread) == index && (!first || call->time < first->time)) first = call;
        }
        if (!first) continue;
        standing.in = Standing::In::SensorCall;
        standing.since = first->time;
        standing.sensor = *first->sensor;
        standing.isPowerOn = first->kind == Kind::SensorPowerOn;
    }
    return standings;
}

}  // namespace zeqcam::tool
