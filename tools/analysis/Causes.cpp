#include "analysis/Causes.h"

#include "analysis/SensorNames.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>

namespace zeqcam::tool {
namespace {

using board::Kind;

struct BegunWork {
    int sensor;
    bool powersOn;
};

std::optional<BegunWork> workBegunBy(Record const& record, Event const& event) {
    if (event.kind == Kind::TraceBegin) {
        auto const label = sensorLabel(record, record.textOf(event.text));
        return label.sensor ? std::optional(BegunWork{*label.sensor, label.powersOn}) : std::nullopt;
    }
    bool const isCall = event.kind == Kind::SensorPowerOn || event.kind == Kind::SensorPowerOff;
    if (!isCall || !event.sensor) return {};
    return BegunWork{*event.sensor, event.kind == Kind::SensorPowerOn};
}

// A request that has not ended.
struct OpenRequest {
    std::uint32_t request;
    Instant asked;
    std::uint32_t thread;
    std::size_t pastLock = 0;  // the event that shows so; 0: none yet
    std::set<int> done{};      // sensors whose work has begun
};

bool asksFor(Record const& record, OpenRequest const& open, BegunWork const& work) {
    Request const& request = record.requests[open.request];
    bool const suits = work.powersOn
                           ? request.kind == RequestKind::PowerOn
                           : request.kind == RequestKind::PowerOff || request.kind == RequestKind::Destroy;
    return suits && open.pastLock > 0 && !open.done.contains(work.sensor) && request.sensors &&
           std::find(request.sensors->begin(), request.sensors->end(), work.sensor) != request.sensors->end();
}

}  // namespace

std::vector<Cause> causesOf(Record const& record) {
    std::vector<Cause> causes;
    std::vector<OpenRequest> all;
    for (std::size_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        // A source may know whose work another thread does.
        bool const isOwn =
            event.request && std::none_of(all.begin(), all.end(), [&](OpenRequest const& open) {
                return open.request == *event.request && open.thread != event.thread;
            });
        if (isOwn) {
            auto const own = std::find_if(all.begin(), all.end(), [&](OpenRequest const& open) {
                return open.request == *event.request;
            });
            if (event.kind == Kind::Request) all.push_back({*event.request, event.time, event.thread});
            if (own == all.end()) continue;
            if (event.kind == Kind::SensorListGet || event.kind == Kind::TaskPost) own->pastLock = index;
            if (event.kind == Kind::Reply) all.erase(own);
            continue;
        }
        auto const work = workBegunBy(record, event);
        if (!work) continue;
        OpenRequest* found = nullptr;
        for (OpenRequest& open : all) {
            if (event.request && open.request == *event.request && !open.done.contains(work->sensor))
                found = &open;
            if (event.request) continue;
            if (asksFor(record, open, *work) && (found == nullptr || open.pastLock > found->pastLock))
                found = &open;
        }
        if (found == nullptr) continue;
        found->done.insert(work->sensor);
        causes.push_back({found->request, found->asked, found->thread, event.time, event.thread,
                          static_cast<std::uint32_t>(index), work->sensor, work->powersOn});
    }
    return causes;
}

}  // namespace zeqcam::tool
