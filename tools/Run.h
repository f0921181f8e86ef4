#pragma once

#include "Scenario.h"
#include "SensorTimes.h"

#include <chrono>
#include <iosfwd>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What came of one request.
struct Request {
    int line = 0;
    std::string client;
    std::string name;
    std::vector<int> sensors;  // asked for; of a status, those that are on
    std::string result;
    std::chrono::steady_clock::time_point began;
    std::chrono::microseconds wall{0};
    SensorTimes own;
    bool expects = false;
    std::string unmet;  // what was expected and did not come; empty when all came
};

struct Outcome {
    std::vector<Request> requests;  // in the order of their begin
    std::set<int> powered;          // the sensors that have power at the end
    // Which sensors each controller counts as on at the end, by the controller's name. Empty: all of its
    // clients let go of it.
    std::map<std::string, std::optional<std::map<int, bool>>> controllers;
};

// Plays the scenario on a board of its own: each client on a thread, all at once. The log lines go to `log`
// as they come. Returns when all clients are done and the controllers are destroyed; a scenario may wait for
// ever. Throws what the standard library throws.
Outcome run(Scenario const& scenario, std::ostream& log);

}  // namespace zeqcam::tool
