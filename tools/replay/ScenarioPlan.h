#pragma once

#include "record/Record.h"
#include "replay/Measured.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zeqcam::tool {

// A client of the scenario: a thread until it destroys its controller.
struct ClientPlan {
    std::string name;
    std::uint32_t controller = 0;
    std::vector<std::string> steps;
    Instant free;  // from when it can go on
    bool isOver = false;
};

// A controller, as far as its clients show it.
struct ControllerPlan {
    std::set<int> sensors;  // that it was asked for
    std::set<int> notDriven;
    std::set<int> on;  // as the requests so far leave them
};

// What a scenario that plays a record again says.
struct ScenarioPlan {
    std::map<int, MeasuredSensor> sensors;
    std::map<int, std::vector<int>> failures;  // of a sensor: which of its power-ons
    std::vector<ControllerPlan> controllers;
    std::vector<ClientPlan> clients;
};

// The file; comments say what the record does not know.
std::string textOf(ScenarioPlan const& plan, Record const& record, std::vector<std::string> const& notes);

}  // namespace zeqcam::tool
