#include "analysis/Attempts.h"

#include "analysis/Attribution.h"

#include <algorithm>
#include <map>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

// Another controller's power-on is no second try of this one's, where it is known to be another's.
bool isOfAnother(Record const& record, Attempt const& first, Attempt const& second) {
    auto const controllerOf = [&](Attempt const& attempt) {
        return record.clients[record.requests[attempt.request].client].controller;
    };
    auto const one = controllerOf(first);
    auto const other = controllerOf(second);
    return one && other && one != other;
}

}  // namespace

std::vector<Attempt> attemptsOf(Record const& record) {
    std::vector<Attempt> attempts;
    auto const requests = attributionOf(record);
    std::map<std::uint32_t, std::size_t> open;  // by thread
    for (std::size_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind == Kind::SensorPowerOn && event.sensor && requests[index]) {
            open[event.thread] = attempts.size();
            attempts.push_back({*requests[index], *event.sensor, event.time, {}, {}});
        }
        auto const found = open.find(event.thread);
        if (event.kind != Kind::SensorPowerOnDone || found == open.end()) continue;
        Attempt& attempt = attempts[found->second];
        attempt.ended = event.time;
        if (event.number) attempt.cameUp = *event.number != 0;
        open.erase(found);
    }
    return attempts;
}

std::vector<std::vector<Retry>> retriesOf(Record const& record) {
    std::vector<std::vector<Retry>> retries(record.requests.size());
    auto const attempts = attemptsOf(record);
    std::map<int, std::vector<std::size_t>> later;  // by sensor, the next one last
    for (std::size_t index = attempts.size(); index-- > 0;) {
        Attempt const& attempt = attempts[index];
        auto& next = later[attempt.sensor];
        if (attempt.ended && attempt.cameUp == false) {
            Retry retry{attempt.sensor, *attempt.ended - attempt.began};
            auto const found = std::find_if(next.rbegin(), next.rend(), [&](std::size_t other) {
                return !isOfAnother(record, attempt, attempts[other]);
            });
            if (found != next.rend()) {
                Attempt const& second = attempts[*found];
                retry.request = second.request;
                if (second.ended) retry.took = *second.ended - second.began;
            }
            retries[attempt.request].push_back(retry);
        }
        next.push_back(index);
    }
    for (auto& each : retries) std::reverse(each.begin(), each.end());
    return retries;
}

}  // namespace zeqcam::tool
