#include "Run.h"

#include <zeqcam/IPowerOnOffController.h>

#include <algorithm>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;
using ControllerPointer = std::shared_ptr<NSCam::IPowerOnOffController>;

std::map<int, bool> statusOf(NSCam::IPowerOnOffController& controller) {
    std::map<int, bool> status;
    for (auto const& [key, on] : controller.getStatus()) status.emplace(static_cast<int>(key), on);
    return status;
}

char const* onOrOff(bool on) {
    return on ? "on" : "off";
}

// One client, playing its steps on the thread that calls `play`.
class Player {
  public:
    // `controller` is the client's own hold on it.
    Player(Scenario const& scenario, Client const& client, board::Board& board, ControllerPointer& controller)
        : mScenario(scenario), mClient(client), mBoard(board), mController(controller) {}

    std::vector<Request> play() {
        for (Step const& step : mClient.steps) {
            mLine = step.line;
            std::visit([this](auto const& action) { play(action); }, step.action);
        }
        return std::move(mRequests);
    }

  private:
    void play(PowerOn const& action) {
        bool result = false;
        Request& request = timed("power on", action.sensors, [&](board::ClientRequest& journaled) {
            result = journaled.replies(mController->powerOn(action.sensors));
        });
        request.result = result ? "true" : "false";
        request.expects = action.expect.has_value();
        if (action.expect.value_or(result) != result) {
            request.unmet =
                "the result is " + request.result + ", expected " + (*action.expect ? "true" : "false");
        }
    }

    void play(PowerOff const& action) {
        timed("power off", action.sensors, [&](auto&) { mController->powerOff(action.sensors); }).result =
            "done";
    }

    void play(Status const& action) {
        std::map<int, bool> status;
        Request& request = timed("status", {}, [&](auto&) { status = statusOf(*mController); });
        for (auto const& [sensor, on] : status) {
            if (on) request.sensors.push_back(sensor);
        }
        request.result = request.sensors.empty() ? "all off" : "on";
        request.expects = !action.expect.empty();
        for (auto const& [sensor, expected] : action.expect) {
            auto const found = status.find(sensor);
            if (found != status.end() && found->second == expected) continue;
            std::string const actual =
                found == status.end() ? "not the controller's" : onOrOff(found->second);
            if (!request.unmet.empty()) request.unmet += "; ";
            request.unmet += mScenario.settings.sensors.at(sensor).name + " is " + actual + ", expected " +
                             onOrOff(expected);
        }
    }

    void play(Sleep const& action) { std::this_thread::sleep_for(action.time); }

    void play(Wait const&) {
        timed("wait", {}, [](auto&) { NSCam::IPowerOnOffController::waitSensorsPowerOff(); }).result = "done";
    }

    void play(Destroy const&) {
        std::vector<int> sensors;
        for (auto const& [sensor, on] : statusOf(*mController)) {
            if (on) sensors.push_back(sensor);
        }
        timed("destroy", sensors, [&](auto&) { mController.reset(); }).result = "let go";
    }

    template <class Call>
    Request& timed(char const* name, std::vector<int> const& sensors, Call const& call) {
        Request& request = mRequests.emplace_back();
        request.line = mLine;
        request.client = mClient.name;
        request.name = name;
        request.sensors = sensors;
        board::ClientRequest journaled(mBoard, mClient.name, name, sensors);
        request.began = Clock::now();
        call(journaled);
        request.wall = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - request.began);
        return request;
    }

    Scenario const& mScenario;
    Client const& mClient;
    board::Board& mBoard;
    ControllerPointer& mController;
    int mLine = 0;
    std::vector<Request> mRequests;
};

// A client's hold on its controller. Those of one controller share it.
struct Hold {
    std::string controller;
    ControllerPointer pointer;
};

std::vector<Hold> createControllers(Scenario const& scenario) {
    std::map<std::string, ControllerPointer> created;
    std::vector<Hold> holds;
    for (Controller const& controller : scenario.controllers) {
        created[controller.name] = NSCam::IPowerOnOffController::create({.sensorIds = controller.sensors});
    }
    for (Client const& client : scenario.clients)
        holds.push_back({client.controller, created.at(client.controller)});
    return holds;
}

// A client's hold stays until the end of the run unless a step lets go of it: what the sensors are left in is
// a result.
std::vector<Request> playAll(Scenario const& scenario, board::Board& board, std::vector<Hold>& holds) {
    std::vector<std::future<std::vector<Request>>> players;
    for (std::size_t index = 0; index < scenario.clients.size(); ++index) {
        players.push_back(std::async(std::launch::async, [&, index] {
            return Player(scenario, scenario.clients[index], board, holds[index].pointer).play();
        }));
    }
    std::vector<Request> requests;
    for (auto& player : players) {
        for (Request& request : player.get()) requests.push_back(std::move(request));
    }
    return requests;
}

void addSensorTimes(std::vector<Request>& requests, Scenario const& scenario, board::Board& board) {
    auto const journal = board.journal().entries();
    for (Client const& client : scenario.clients) {
        auto const times = sensorTimes(journal, client.name);
        auto next = times.begin();
        for (Request& request : requests) {
            if (request.client == client.name && next != times.end()) request.own = *next++;
        }
    }
}

Outcome finalStates(Scenario const& scenario, board::Board& board, std::vector<Hold> const& holds) {
    Outcome outcome;
    for (auto const& [id, sensor] : scenario.settings.sensors) {
        if (board.isPowered(id)) outcome.powered.insert(id);
    }
    for (Hold const& hold : holds) {
        auto& status = outcome.controllers[hold.controller];
        if (hold.pointer && !status) status = statusOf(*hold.pointer);
    }
    return outcome;
}

}  // namespace

Outcome run(Scenario const& scenario, std::ostream& log) {
    board::Settings settings = scenario.settings;
    settings.logStream = &log;
    board::Board board(std::move(settings));
    std::vector<Hold> holds = createControllers(scenario);
    std::vector<Request> requests = playAll(scenario, board, holds);
    Outcome outcome = finalStates(scenario, board, holds);
    addSensorTimes(requests, scenario, board);
    std::stable_sort(requests.begin(), requests.end(),
                     [](Request const& left, Request const& right) { return left.began < right.began; });
    outcome.requests = std::move(requests);
    return outcome;
}

}  // namespace zeqcam::tool
