#include "analysis/PowerOnLock.h"

#include <cstddef>
#include <map>
#include <set>

namespace zeqcam::tool {

using board::Kind;

std::optional<LockHold> lockHeldAtEnd(Record const& record) {
    std::optional<LockHold> hold;
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
        if (event.kind == Kind::Request && request.kind == RequestKind::PowerOn && namesSensors && !hold)
            hold = LockHold{*event.request, event.time};
        if (event.kind == Kind::SensorCreate && event.sensor && event.number.value_or(1) != 0)
            handles[*controller].insert(*event.sensor);
        if (event.kind != Kind::Reply) continue;
        if (request.kind == RequestKind::PowerOff && namesSensors) {
            for (int const sensor : *request.sensors) handles[*controller].erase(sensor);
            if (handles[*controller].empty()) hold.reset();
        }
        if (request.kind != RequestKind::Destroy || --clientsLeft[*controller] > 0 || !hold) continue;
        auto const holder = record.clients[record.requests[hold->request].client].controller;
        if (holder == controller) hold.reset();
    }
    return hold;
}

}  // namespace zeqcam::tool
