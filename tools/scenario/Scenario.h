#pragma once

#include <zeqcam/board/Board.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// What a scenario file says: a board, the controllers made on it, and the clients that use them.
namespace zeqcam::tool {

// Each action has the key by which a file says it.
struct PowerOn {
    static constexpr std::string_view kKey = "power_on";
    std::vector<int> sensors;
    std::optional<bool> expect;
};

struct PowerOff {
    static constexpr std::string_view kKey = "power_off";
    std::vector<int> sensors;
};

// Asks the board, where Status asks the controller.
struct Powered {
    static constexpr std::string_view kKey = "powered";
    std::map<int, bool> expect;  // the sensors that the file names, no others
};

struct Status {
    static constexpr std::string_view kKey = "status";
    std::map<int, bool> expect;  // the sensors that the file names, no others
};

struct Sleep {
    static constexpr std::string_view kKey = "sleep_ms";
    std::chrono::microseconds time{0};
};

struct Wait {
    static constexpr std::string_view kKey = "wait";
};

// The client lets go of its controller; the last of its clients to do so destroys it.
struct Destroy {
    static constexpr std::string_view kKey = "destroy";
};

// Gives a signal to all clients who await it.
struct Signal {
    static constexpr std::string_view kKey = "signal";
    std::string name;
};

// Waits until the signal was given as often as this client has awaited it, this time included.
struct Await {
    static constexpr std::string_view kKey = "await";
    std::string name;
};

struct Change {
    static constexpr std::string_view kKey = "change";
    std::function<void(board::Settings&)> edit;
};

struct Step {
    int line = 0;
    std::variant<PowerOn, PowerOff, Status, Powered, Sleep, Wait, Destroy, Signal, Await, Change> action;
    // What the file expects of the step besides what stands in the action.
    std::optional<std::chrono::microseconds> within;
    std::optional<std::vector<int>> failed;  // the sensors that must fail, no others; none: no sensor
    std::optional<int> reports;              // exceptions reported
};

// The key by which a file says what the step does.
inline std::string_view keyOf(Step const& step) {
    return std::visit([](auto const& action) { return action.kKey; }, step.action);
}

struct Controller {
    std::string name;
    std::vector<int> sensors;
};

constexpr int kMostStepsOfClient = 100000;

struct Client {
    std::string name;
    std::string controller;
    std::vector<Step> steps;  // what is repeated stands here that often
};

// A device of the machine that stands for a sensor. Whether there is one like that is not known before a run.
struct DeviceOfSensor {
    int sensor = 0;
    std::string path;  // as the file says it
    std::chrono::microseconds timeout{0};
    int line = 0;           // of `device`
    std::string file = {};  // empty: the one that was read
};

struct Scenario {
    board::Settings settings;
    std::vector<int> sensors;  // as the file of the board lists them; then those that others add
    std::vector<Controller> controllers;
    std::vector<Client> clients;
    std::vector<DeviceOfSensor> devices;  // each sensor's is one at most
};

}  // namespace zeqcam::tool
