#include "analysis/PowerOnLock.h"

#include <cstddef>
#include <map>
#include <set>

namespace zeqcam::tool {

using board::Kind;

std::vector<LockHold> lockHoldsOf(Record const& record) {
    std::vector<LockHold> holds;
    auto const isHeld = [&] { return !holds.empty() && !holds.back().until; };
    auto const free = [&](Event const& event) {
        if (!isHeld()) return;
        holds.back().until = event.time;
        holds.back().freedBy = event.request;
    };
    std::map<std::uint32_t, std::set<int>> handles;    // of each controller
    std::map<std::uint32_t, std::size_t> clientsLeft;  // of each controller
    for (Record::Client const& client : record.clients) {
        if (client.controller) ++clientsLeft[*client.controller];
    }
    for (Event const& event : record.events) {
        if (!event.request) continue;
        Request const& request = record.requests[*event.request];
        auto const controller = record.clients[request.client].controller;
        if (!controller) continue;
        bool const namesSensors = request.sensors && !request.sensors->empty();
        if (event.kind == Kind::Request && request.kind == RequestKind::PowerOn && namesSensors && !isHeld())
            holds.push_back({*event.request, event.time});
        if (event.kind == Kind::SensorCreate && event.sensor && event.number.value_or(1) != 0)
            handles[*controller].insert(*event.sensor);
        if (event.kind != Kind::Reply) continue;
        if (request.kind == RequestKind::PowerOff && namesSensors) {
            for (int const sensor : *request.sensors) handles[*controller].erase(sensor);
            if (handles[*controller].empty()) free(event);
        }
        if (request.kind != RequestKind::Destroy || --clientsLeft[*controller] > 0 || !isHeld()) continue;
        auto const holder = record.clients[record.requests[holds.back().request].client].controller;
        if (holder == controller) free(event);
    }
    return holds;
}

std::optional<LockHold> lockHeldAtEnd(Record const& record) {
    auto const holds = lockHoldsOf(record);
    return holds.empty() || holds.back().until ? std::nullopt : std::optional(holds.back());
}

}  // namespace zeqcam::tool
