#include "rules/Clients.h"

#include "analysis/Attribution.h"
#include "analysis/SensorNames.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

std::vector<int> const& sensorsOf(Request const& request) {
    static std::vector<int> const none;
    return request.sensors ? *request.sensors : none;
}

std::optional<std::uint32_t> eventThatBegan(Record const& record, std::uint32_t request) {
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind == Kind::Request && event.request == OptionalNumber(request)) return index;
    }
    return {};
}

}  // namespace

// A client counts on a sensor from the reply to its power-on until it asks for a power-off itself.
std::vector<Breach> sensorsOffUnderAClient(Record const& record) {
    std::vector<Breach> breaches;
    auto const requests = attributionOf(record);
    std::map<std::pair<std::int32_t, std::uint32_t>, std::uint32_t> counts;  // sensor, client: the reply
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        if (!requests[index]) continue;
        Event const& event = record.events[index];
        Request const& request = record.requests[*requests[index]];
        if (event.kind == Kind::Reply && request.kind == RequestKind::PowerOn &&
            event.number.value_or(0) != 0) {
            for (int const sensor : sensorsOf(request)) counts[{sensor, request.client}] = index;
        }
        if (event.kind == Kind::Request && request.kind == RequestKind::PowerOff) {
            for (int const sensor : sensorsOf(request)) counts.erase({sensor, request.client});
        }
        if (event.kind == Kind::Request && request.kind == RequestKind::Destroy)
            std::erase_if(counts, [&](auto const& each) { return each.first.second == request.client; });
        if (event.kind != Kind::SensorPowerOff || !event.sensor) continue;
        for (auto each = counts.lower_bound({*event.sensor, 0});
             each != counts.end() && each->first.first == *event.sensor;) {
            std::uint32_t const other = each->first.second;
            if (other == request.client) {
                ++each;
                continue;
            }
            breaches.push_back({std::string(record.nameOfClient(request.client)) + " powers " +
                                    sensorPhrase(record, *event.sensor) + " off, which " +
                                    std::string(record.nameOfClient(other)) + " still counts on",
                                {each->second, index}});
            each = counts.erase(each);  // told once
        }
    }
    return breaches;
}

std::vector<Breach> powerOffsOfWhatIsNotOn(Record const& record) {
    std::vector<Breach> breaches;
    // By controller and sensor: the last request that may have powered it on, until a power-off after that.
    std::map<std::pair<std::uint32_t, int>, std::uint32_t> asked;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (!event.request) continue;
        Request const& request = record.requests[*event.request];
        auto const& controller = record.clients[request.client].controller;
        if (!controller) continue;
        bool const begins = event.kind == Kind::Request;
        for (int const sensor : sensorsOf(request)) {
            std::pair const key(*controller, sensor);
            auto const known = asked.find(key);
            if (begins && request.kind == RequestKind::PowerOn) asked[key] = *event.request;
            if (request.kind != RequestKind::PowerOff) continue;
            if (begins && known == asked.end()) {
                breaches.push_back({std::string(record.nameOfClient(request.client)) + " powers " +
                                        sensorPhrase(record, sensor) +
                                        " off, which its controller has not powered on",
                                    {index}});
            }
            // A power-on that began meanwhile may have come after it.
            if (event.kind == Kind::Reply && known != asked.end() && known->second < *event.request)
                asked.erase(known);
        }
    }
    return breaches;
}

std::vector<Breach> waitsThatNobodyCanEnd(Record const& record) {
    std::vector<Breach> breaches;
    auto const isWait = [](Request const& each) { return each.kind == RequestKind::Wait && !each.ended; };
    std::vector<bool> waits(record.clients.size());
    for (Request const& request : record.requests) {
        if (isWait(request)) waits[request.client] = true;
    }
    for (std::uint32_t index = 0; index < record.requests.size(); ++index) {
        Request const& request = record.requests[index];
        if (!isWait(request)) continue;
        bool othersAreOver = true;
        bool othersWait = false;
        for (std::uint32_t other = 0; other < record.clients.size(); ++other) {
            if (other == request.client) continue;
            if (!waits[other] && !record.clients[other].isDone.value_or(false)) othersAreOver = false;
            if (waits[other]) othersWait = true;
        }
        auto const began = eventThatBegan(record, index);
        if (!othersAreOver || !began) continue;
        breaches.push_back(
            {std::string(record.nameOfClient(request.client)) + " waits for the power-on lock, which " +
                 (othersWait ? "only clients that wait for it too could free" : "only itself could free"),
             {*began}});
    }
    return breaches;
}

}  // namespace zeqcam::tool
