#include "views/StandingText.h"

#include "text/TimeText.h"

#include <fmt/format.h>

#include <algorithm>

namespace zeqcam::tool {
namespace {

std::string_view whose(Record const& record, std::uint32_t request) {
    return record.nameOfClient(record.requests[request].client);
}

std::string sensorCall(Record const& record, Standing const& standing) {
    return fmt::format("is in sensor {}'s power-{}", record.nameOfSensor(standing.sensor),
                       standing.isPowerOn ? "on" : "off");
}

// What a client that others wait for is doing itself: empty where nothing of it is under way.
std::string holderDoes(Record const& record, std::vector<Standing> const& standings, std::uint32_t client) {
    auto const found = std::find_if(standings.begin(), standings.end(), [&](Standing const& each) {
        return record.requests[each.request].client == client;
    });
    if (found == standings.end()) return {};
    switch (found->in) {
        case Standing::In::SensorCall:
            return ", which " + sensorCall(record, *found);
        case Standing::In::LockWait:
            return ", which waits for the lock too";
        case Standing::In::ControllerWait:
            return ", which waits for its controller";
        case Standing::In::Sleep:
            return ", which sleeps";
        case Standing::In::Other:
            return fmt::format(", which is in its {}", record.textOf(record.requests[found->request].name));
    }
    return {};
}

std::string doing(Record const& record, std::vector<Standing> const& standings, Standing const& standing) {
    Request const& request = record.requests[standing.request];
    switch (standing.in) {
        case Standing::In::SensorCall:
            return sensorCall(record, standing);
        case Standing::In::LockWait: {
            if (!standing.lock) return "waits for the power-on lock";
            std::uint32_t const holder = record.requests[standing.lock->request].client;
            bool const isItself = holder == request.client;
            return fmt::format("waits for the power-on lock, held since {} by {}{}",
                               timeText(standing.lock->since - record.begin),
                               isItself ? "itself" : whose(record, standing.lock->request),
                               isItself ? "" : holderDoes(record, standings, holder));
        }
        case Standing::In::ControllerWait: {
            std::uint32_t const holder = *standing.busyWith;
            return fmt::format("waits for its controller, kept by the {} of {}{}",
                               record.textOf(record.requests[holder].name), whose(record, holder),
                               holderDoes(record, standings, record.requests[holder].client));
        }
        case Standing::In::Sleep:
            return "sleeps";
        case Standing::In::Other:
            return fmt::format("is in its {}", record.textOf(request.name));
    }
    return {};
}

}  // namespace

std::vector<std::string> standingLines(Record const& record, std::vector<Standing> const& standings) {
    std::vector<std::string> lines;
    lines.reserve(standings.size());
    for (Standing const& standing : standings) {
        lines.push_back(fmt::format("{} {}, for {}", whose(record, standing.request),
                                    doing(record, standings, standing),
                                    timeText(record.end - standing.since)));
    }
    return lines;
}

}  // namespace zeqcam::tool
