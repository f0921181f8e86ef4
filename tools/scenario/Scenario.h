#pragma once

#include <zeqcam/board/Board.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What a scenario file says: a board, the controllers made on it, and the clients that use them.
namespace zeqcam::tool {

struct PowerOn {
    std::vector<int> sensors;
    std::optional<bool> expect;
};

struct PowerOff {
    std::vector<int> sensors;
};

// Asks the board, where Status asks the controller.
struct Powered {
    std::map<int, bool> expect;  // the sensors that the file names, no others
};

struct Status {
    std::map<int, bool> expect;  // the sensors that the file names, no others
};

struct Sleep {
    std::chrono::microseconds time{0};
};

struct Wait {};

// The client lets go of its controller; the last of its clients to do so destroys it.
struct Destroy {};

struct Step {
    int line = 0;
    std::variant<PowerOn, PowerOff, Status, Powered, Sleep, Wait, Destroy> action;
    // What the file expects of the step besides what stands in the action.
    std::optional<std::chrono::microseconds> within;
    std::optional<std::vector<int>> failed;  // the sensors that must fail, no others; none: no sensor
    std::optional<int> reports;              // exceptions reported
};

struct Controller {
    std::string name;
    std::vector<int> sensors;
};

struct Client {
    std::string name;
    std::string controller;
    std::vector<Step> steps;
};

struct Scenario {
    board::Settings settings;
    std::vector<Controller> controllers;
    std::vector<Client> clients;
};

}  // namespace zeqcam::tool
