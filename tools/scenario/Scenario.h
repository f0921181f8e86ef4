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
    std::variant<PowerOn, PowerOff, Status, Sleep, Wait, Destroy> action;
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
