#include "views/ResultFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

ordered_json textOrNull(std::string const& text) {
    return text.empty() ? ordered_json() : ordered_json(text);
}

ordered_json requestsOf(Outcome const& outcome) {
    ordered_json requests = ordered_json::array();
    for (Request const& request : outcome.requests) {
        bool const called = request.own.calls > 0;
        requests.push_back(
            {{"line", request.line},
             {"client", request.client},
             {"request", request.name},
             {"sensors", request.sensors},
             {"ended", request.ended},
             {"result", request.result},
             {"began_ms", milliseconds(request.began - outcome.requests.front().began)},
             {"wall_ms", milliseconds(request.wall)},
             {"slowest_ms", called ? ordered_json(milliseconds(request.own.slowest)) : ordered_json()},
             {"in_turn_ms",
              called ? ordered_json(milliseconds(request.own.oneAfterAnother)) : ordered_json()},
             {"expects", request.expects},
             {"unmet", textOrNull(request.unmet)}});
    }
    return requests;
}

// What each controller that may drive the sensor counts it as; null: destroyed.
ordered_json countedBy(Scenario const& scenario, Outcome const& outcome, int sensor) {
    ordered_json counted = ordered_json::object();
    for (Controller const& controller : scenario.controllers) {
        auto const& drives = controller.sensors;
        if (std::find(drives.begin(), drives.end(), sensor) == drives.end()) continue;
        auto const& status = outcome.controllers.at(controller.name);
        counted[controller.name] = status ? ordered_json(status->at(sensor)) : ordered_json();
    }
    return counted;
}

ordered_json sensorsOf(Scenario const& scenario, Outcome const& outcome) {
    ordered_json sensors = ordered_json::array();
    for (auto const& [id, sensor] : scenario.settings.sensors) {
        sensors.push_back({{"id", id},
                           {"name", sensor.name},
                           {"powered", outcome.powered.contains(id)},
                           {"controllers", countedBy(scenario, outcome, id)}});
    }
    return sensors;
}

ordered_json pendingOf(std::vector<Pending> const& pending, Outcome const& outcome) {
    ordered_json threads = ordered_json::array();
    for (Pending const& thread : pending) {
        ordered_json in = ordered_json::array();
        for (auto const& [label, since] : thread.in) {
            in.push_back({{"label", label}, {"for_ms", milliseconds(outcome.end - since)}});
        }
        threads.push_back({{"thread", thread.thread}, {"in", std::move(in)}});
    }
    return threads;
}

}  // namespace

std::string resultFile(Scenario const& scenario, Outcome const& outcome, std::vector<Pending> const& pending,
                       std::string_view file) {
    ordered_json const result{{"file", file},
                              {"requests", requestsOf(outcome)},
                              {"sensors", sensorsOf(scenario, outcome)},
                              {"pending", pendingOf(pending, outcome)}};
    return result.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace zeqcam::tool
