#include "run/Run.h"

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/ThreadSafety.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <mutex>
#include <string_view>
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

std::chrono::microseconds between(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration_cast<std::chrono::microseconds>(end - begin);
}

constexpr std::string_view kSleep = "sleep";

// The requests of all clients, from their begin on. Thread-safe.
class Requests {
  public:
    std::size_t begin(Request request) {
        request.ended = false;
        std::lock_guard const hold(mLock);
        mRequests.push_back(std::move(request));
        return mRequests.size() - 1;
    }

    void end(std::size_t place, Request request) {
        std::lock_guard const hold(mLock);
        mRequests[place] = std::move(request);
    }

    [[nodiscard]] std::vector<Request> all() const {
        std::lock_guard const hold(mLock);
        return mRequests;
    }

  private:
    mutable std::mutex mLock;
    std::vector<Request> mRequests ZEQCAM_GUARDED_BY(mLock);
};

// One client, playing its steps on the thread that calls `play`.
class Player {
  public:
    // `controller` is the client's own hold on it.
    Player(Scenario const& scenario, Client const& client, board::Board& board, Requests& requests,
           ControllerPointer& controller)
        : mScenario(scenario), mClient(client), mBoard(board), mRequests(requests), mController(controller) {}

    void play() {
        for (Step const& step : mClient.steps) {
            mLine = step.line;
            std::visit([this](auto const& action) { play(action); }, step.action);
        }
    }

  private:
    void play(PowerOn const& action) {
        ask("power on", action.sensors, action.expect.has_value(),
            [&](Request& request, board::ClientRequest& journaled) {
                bool const result = journaled.replies(mController->powerOn(action.sensors));
                request.result = result ? "true" : "false";
                if (action.expect.value_or(result) != result) {
                    request.unmet = "the result is " + request.result + ", expected " +
                                    (*action.expect ? "true" : "false");
                }
            });
    }

    void play(PowerOff const& action) {
        ask("power off", action.sensors, false, [&](Request& request, auto&) {
            mController->powerOff(action.sensors);
            request.result = "done";
        });
    }

    void play(Status const& action) {
        ask("status", {}, !action.expect.empty(), [&](Request& request, auto&) {
            std::map<int, bool> const status = statusOf(*mController);
            for (auto const& [sensor, on] : status) {
                if (on) request.sensors.push_back(sensor);
            }
            request.result = request.sensors.empty() ? "all off" : "on";
            request.unmet = differences(status, action.expect);
        });
    }

    void play(Sleep const& action) {
        Request request = requestOf(kSleep, {});
        std::size_t const place = mRequests.begin(request);
        std::this_thread::sleep_for(action.time);
        request.wall = between(request.began, Clock::now());
        mRequests.end(place, std::move(request));
    }

    void play(Wait const&) {
        ask("wait", {}, false, [](Request& request, auto&) {
            NSCam::IPowerOnOffController::waitSensorsPowerOff();
            request.result = "done";
        });
    }

    void play(Destroy const&) {
        std::vector<int> sensors;
        for (auto const& [sensor, on] : statusOf(*mController)) {
            if (on) sensors.push_back(sensor);
        }
        ask("destroy", sensors, false, [&](Request& request, auto&) {
            mController.reset();
            request.result = "let go";
        });
    }

    std::string differences(std::map<int, bool> const& status, std::map<int, bool> const& expectations) {
        std::string text;
        for (auto const& [sensor, expected] : expectations) {
            auto const found = status.find(sensor);
            if (found != status.end() && found->second == expected) continue;
            std::string const actual =
                found == status.end() ? "not the controller's" : onOrOff(found->second);
            if (!text.empty()) text += "; ";
            text += mScenario.settings.sensors.at(sensor).name + " is " + actual + ", expected " +
                    onOrOff(expected);
        }
        return text;
    }

    [[nodiscard]] Request requestOf(std::string_view name, std::vector<int> const& sensors) const {
        return {.line = mLine,
                .client = mClient.name,
                .name = std::string(name),
                .sensors = sensors,
                .began = Clock::now()};
    }

    template <class Call>
    void ask(std::string_view name, std::vector<int> const& sensors, bool expects, Call const& call) {
        Request request = requestOf(name, sensors);
        request.expects = expects;
        std::size_t const place = mRequests.begin(request);
        {
            board::ClientRequest journaled(mBoard, mClient.name, request.name, sensors);
            request.began = Clock::now();
            call(request, journaled);
            request.wall = between(request.began, Clock::now());
        }
        mRequests.end(place, std::move(request));
    }

    Scenario const& mScenario;
    Client const& mClient;
    board::Board& mBoard;
    Requests& mRequests;
    ControllerPointer& mController;
    int mLine = 0;
};

// Calls back when the last client is done, whichever way.
class Countdown {
  public:
    Countdown(std::size_t clients, std::function<void()> atZero)
        : mLeft(clients), mAtZero(std::move(atZero)) {}

    class One {
      public:
        explicit One(Countdown& countdown) : mCountdown(countdown) {}
        ~One() {
            if (mCountdown.mLeft.fetch_sub(1) == 1) mCountdown.mAtZero();
        }
        One(One const&) = delete;
        One& operator=(One const&) = delete;

      private:
        Countdown& mCountdown;
    };

  private:
    std::atomic<std::size_t> mLeft;
    std::function<void()> const mAtZero;
};

void addSensorTimes(std::vector<Request>& requests, Scenario const& scenario,
                    std::vector<board::Entry> const& journal) {
    for (Client const& client : scenario.clients) {
        auto const times = sensorTimes(journal, client.name);
        auto next = times.begin();
        for (Request& request : requests) {
            if (request.client == client.name && request.name != kSleep && next != times.end())
                request.own = *next++;
        }
    }
}

// As they stood at a time, while clients went on.
void cutAt(Clock::time_point end, std::vector<Request>& requests) {
    std::erase_if(requests, [end](Request const& request) { return request.began > end; });
    for (Request& request : requests) {
        if (request.ended && request.began + request.wall <= end) continue;
        request.ended = false;
        request.result = "pending";
        request.wall = between(request.began, end);
        request.unmet = request.expects ? "has not ended" : "";
    }
}

}  // namespace

struct Run::State {
    State(Scenario const& played, std::function<void()> allDone)
        : scenario(played), board(played.settings), countdown(played.clients.size(), std::move(allDone)) {}

    void createControllers() {
        std::map<std::string, ControllerPointer> created;
        for (Controller const& each : scenario.controllers) {
            ControllerPointer const pointer =
                NSCam::IPowerOnOffController::create({.sensorIds = each.sensors});
            controllers[each.name] = created[each.name] = pointer;
        }
        for (Client const& client : scenario.clients) holds.push_back(created.at(client.controller));
    }

    // Nobody begins before everybody can: where a thread cannot be created, those before it end at once.
    void startClients() {
        std::promise<void> start;
        std::shared_future<void> const started = start.get_future().share();
        for (std::size_t index = 0; index < scenario.clients.size(); ++index) {
            players.push_back(std::async(std::launch::async, [this, index, started] {
                started.get();
                Countdown::One const one(countdown);
                Player(scenario, scenario.clients[index], board, requests, holds[index]).play();
            }));
        }
        start.set_value();
    }

    Scenario const& scenario;
    board::Board board;
    std::map<std::string, std::weak_ptr<NSCam::IPowerOnOffController>> controllers;  // by name
    // A client's hold stays until the end of the run unless a step lets go of it: what the sensors are left
    // in is a result. Each belongs to its client's thread.
    std::vector<ControllerPointer> holds;
    // Controllers whose states were asked for. Whoever lets go of one last powers its sensors off, which may
    // take for ever.
    std::vector<ControllerPointer> asked;
    Requests requests;
    Countdown countdown;
    std::vector<std::future<void>> players;
};

Run::Run(Scenario const& scenario, std::function<void()> const& allDone)
    : mState(std::make_unique<State>(scenario, allDone)) {
    mState->createControllers();
    mState->startClients();
}

// The controllers power off what their clients have left on: a sensor that hangs must not keep them.
Run::~Run() {
    for (auto const& player : mState->players) {
        if (player.valid()) player.wait();
    }
    mState->board.change([](board::Settings& settings) {
        for (auto& [id, sensor] : settings.sensors) sensor.powerOnHangs = sensor.powerOffHangs = false;
    });
}

void Run::join() {
    for (auto& player : mState->players) player.get();
}

Outcome Run::outcome() {
    Outcome outcome;
    outcome.end = Clock::now();
    outcome.requests = mState->requests.all();
    cutAt(outcome.end, outcome.requests);
    outcome.journal = mState->board.journal().entries();
    std::erase_if(outcome.journal, [&](board::Entry const& entry) { return entry.time > outcome.end; });
    for (auto const& [id, sensor] : mState->scenario.settings.sensors) {
        if (mState->board.isPowered(id)) outcome.powered.insert(id);
    }
    for (auto const& [name, weak] : mState->controllers) {
        auto const& controller = mState->asked.emplace_back(weak.lock());
        outcome.controllers[name] = controller ? std::optional(statusOf(*controller)) : std::nullopt;
    }
    std::erase_if(outcome.requests,
                  [](Request const& request) { return request.name == kSleep && request.ended; });
    addSensorTimes(outcome.requests, mState->scenario, outcome.journal);
    std::stable_sort(outcome.requests.begin(), outcome.requests.end(),
                     [](Request const& left, Request const& right) { return left.began < right.began; });
    return outcome;
}

}  // namespace zeqcam::tool
