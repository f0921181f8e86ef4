#include "views/ResultFile.h"

#include "analysis/Pending.h"
#include "analysis/SensorTimes.h"
#include "views/RequestText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using std::chrono::microseconds;

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

ordered_json requestsOf(Record const& record) {
    std::vector<Expectation const*> expectations(record.requests.size());
    for (Expectation const& each : record.expectations) {
        if (each.request) expectations[*each.request] = &each;
    }
    auto const times = sensorTimes(record);
    ordered_json requests = ordered_json::array();
    for (std::size_t i = 0; i < record.requests.size(); ++i) {
        Request const& request = record.requests[i];
        bool const called = times[i].calls > 0;
        bool const unmet = expectations[i] && expectations[i]->state == Expectation::State::Unmet;
        auto const wall = request.ended.value_or(record.end) - request.began;
        requests.push_back(
            {{"line", request.line ? ordered_json(*request.line) : ordered_json()},
             {"client", record.textOf(record.clients[request.client].name)},
             {"request", record.textOf(request.name)},
             {"sensors", sensorsOf(request)},
             {"ended", request.ended.has_value()},
             {"result", resultText(request)},
             {"began_ms", milliseconds(request.began - record.requests.front().began)},
             {"wall_ms", milliseconds(floor<microseconds>(wall))},
             {"slowest_ms", called ? ordered_json(milliseconds(times[i].slowest)) : ordered_json()},
             {"in_turn_ms", called ? ordered_json(milliseconds(times[i].oneAfterAnother)) : ordered_json()},
             {"expects", expectations[i] != nullptr},
             {"unmet", unmet ? ordered_json(record.textOf(expectations[i]->unmet)) : ordered_json()}});
    }
    return requests;
}

// What each controller that may drive the sensor counts it as; null: destroyed.
ordered_json countedBy(Record const& record, int sensor) {
    using End = Record::Controller::End;
    ordered_json counted = ordered_json::object();
    for (Record::Controller const& controller : record.controllers) {
        auto const& drives = controller.sensors;
        if (std::find(drives.begin(), drives.end(), sensor) == drives.end()) continue;
        bool const isHeld = controller.end == End::Held;
        counted[std::string(record.textOf(controller.name))] =
            isHeld ? ordered_json(controller.counts.at(sensor)) : ordered_json();
    }
    return counted;
}

ordered_json sensorsOf(Record const& record) {
    ordered_json sensors = ordered_json::array();
    for (auto const& [id, name, powered] : record.sensors) {
        sensors.push_back({{"id", id},
                           {"name", record.textOf(name)},
                           {"powered", powered ? ordered_json(*powered) : ordered_json()},
                           {"controllers", countedBy(record, id)}});
    }
    return sensors;
}

// What the threads of a run that was cut off were in.
ordered_json pendingOf(Record const& record) {
    ordered_json threads = ordered_json::array();
    if (!record.cutOff) return threads;
    for (auto const& [thread, all] : pendingIn(record, timelineOf(record))) {
        ordered_json in = ordered_json::array();
        for (auto const& [label, since] : all) {
            in.push_back({{"label", label}, {"for_ms", milliseconds(record.end - since)}});
        }
        threads.push_back({{"thread", thread}, {"in", std::move(in)}});
    }
    return threads;
}

}  // namespace

void writeResult(Record const& record, Presentation const&, std::ostream& out) {
    ordered_json const result{{"file", record.files.front()},
                              {"requests", requestsOf(record)},
                              {"sensors", sensorsOf(record)},
                              {"pending", pendingOf(record)}};
    out << result.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

}  // namespace zeqcam::tool
