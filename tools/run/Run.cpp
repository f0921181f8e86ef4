#include "run/Run.h"

#include "run/JournalRecord.h"

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/ThreadSafety.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;
using ControllerPointer = std::shared_ptr<NSCam::IPowerOnOffController>;

std::map<int, bool> statusOf(NSCam::IPowerOnOffController& controller) {
    std::map<int, bool> status;
    for (auto const& [key, on] : controller.getStatus()) status.emplace(static_cast<int>(key), on);
    return status;
}

std::vector<int> countedOn(std::map<int, bool> const& status) {
    std::vector<int> sensors;
    for (auto const& [sensor, on] : status) {
        if (on) sensors.push_back(sensor);
    }
    return sensors;
}

char const* trueOrFalse(bool value) {
    return value ? "true" : "false";
}

char const* onOrOff(bool on) {
    return on ? "on" : "off";
}

// A step of a client that has begun.
struct Played {
    RequestKind kind = RequestKind::Other;
    std::uint32_t client = 0;  // of the scenario
    int line = 0;
    std::vector<int> sensors;
    Clock::time_point began = Clock::now();
    std::optional<Clock::time_point> ended;
    std::optional<bool> result;
    std::optional<std::vector<int>> countedOn;
    std::string unmet;  // what was expected and did not come; empty when all came
};

// The steps of all clients, from their begin on. Thread-safe.
class PlayedSteps {
  public:
    std::size_t begin(Played step) {
        std::lock_guard const hold(mLock);
        mSteps.push_back(std::move(step));
        return mSteps.size() - 1;
    }

    void end(std::size_t place, Played step) {
        std::lock_guard const hold(mLock);
        mSteps[place] = std::move(step);
    }

    [[nodiscard]] std::vector<Played> all() const {
        std::lock_guard const hold(mLock);
        return mSteps;
    }

  private:
    mutable std::mutex mLock;
    std::vector<Played> mSteps ZEQCAM_GUARDED_BY(mLock);
};

// One client, playing its steps on the thread that calls `play`.
class Player {
  public:
    // `controller` is the client's own hold on it.
    Player(Scenario const& scenario, std::uint32_t client, board::Board& board, PlayedSteps& steps,
           ControllerPointer& controller)
        : mScenario(scenario), mClient(client), mBoard(board), mSteps(steps), mController(controller) {}

    void play() {
        for (Step const& step : mScenario.clients[mClient].steps) {
            mLine = step.line;
            std::visit([this](auto const& action) { play(action); }, step.action);
        }
    }

  private:
    void play(PowerOn const& action) {
        ask(RequestKind::PowerOn, action.sensors, [&](Played& step, board::ClientRequest& journaled) {
            bool const result = journaled.replies(mController->powerOn(action.sensors));
            step.result = result;
            if (action.expect.value_or(result) != result) {
                step.unmet = std::string("the result is ") + trueOrFalse(result) + ", expected " +
                             trueOrFalse(!result);
            }
        });
    }

    void play(PowerOff const& action) {
        ask(RequestKind::PowerOff, action.sensors,
            [&](Played&, auto&) { mController->powerOff(action.sensors); });
    }

    void play(Status const& action) {
        ask(RequestKind::Status, {}, [&](Played& step, auto&) {
            std::map<int, bool> const status = statusOf(*mController);
            step.countedOn = countedOn(status);
            step.unmet = differences(status, action.expect);
        });
    }

    void play(Sleep const& action) {
        Played step{.kind = RequestKind::Sleep, .client = mClient, .line = mLine};
        std::size_t const place = mSteps.begin(step);
        std::this_thread::sleep_for(action.time);
        step.ended = Clock::now();
        mSteps.end(place, std::move(step));
    }

    void play(Wait const&) {
        ask(RequestKind::Wait, {},
            [](Played&, auto&) { NSCam::IPowerOnOffController::waitSensorsPowerOff(); });
    }

    void play(Destroy const&) {
        ask(RequestKind::Destroy, countedOn(statusOf(*mController)),
            [&](Played&, auto&) { mController.reset(); });
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

    template <class Call>
    void ask(RequestKind kind, std::vector<int> const& sensors, Call const& call) {
        Played step{.kind = kind, .client = mClient, .line = mLine, .sensors = sensors};
        std::size_t const place = mSteps.begin(step);
        {
            board::ClientRequest journaled(mBoard, mScenario.clients[mClient].name, std::string(nameOf(kind)),
                                           sensors);
            step.began = Clock::now();
            call(step, journaled);
            step.ended = Clock::now();
        }
        mSteps.end(place, std::move(step));
    }

    Scenario const& mScenario;
    std::uint32_t const mClient;
    board::Board& mBoard;
    PlayedSteps& mSteps;
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

// As they stood at a time, while clients went on, in the order of their begin.
void cutAt(Clock::time_point end, std::vector<Played>& steps) {
    std::erase_if(steps, [end](Played const& step) { return step.began > end; });
    for (Played& step : steps) {
        if (step.ended.value_or(Clock::time_point::max()) > end) {
            step.ended.reset();
            step.result.reset();
            step.countedOn.reset();
            step.unmet = "has not ended";
        }
    }
    std::stable_sort(steps.begin(), steps.end(),
                     [](Played const& left, Played const& right) { return left.began < right.began; });
}

bool expects(Step const& step) {
    auto const* const powerOn = std::get_if<PowerOn>(&step.action);
    auto const* const status = std::get_if<Status>(&step.action);
    return (powerOn && powerOn->expect) || (status && !status->expect.empty());
}

void addClients(Record& record, Scenario const& scenario) {
    for (Client const& client : scenario.clients) {
        auto const controller =
            std::find_if(scenario.controllers.begin(), scenario.controllers.end(),
                         [&](Controller const& each) { return each.name == client.controller; });
        record.clients.push_back(
            {.name = record.texts.add(client.name),
             .controller = static_cast<std::uint32_t>(controller - scenario.controllers.begin())});
    }
}

// Adds the steps that came to the library, or have not ended, and what the scenario expected of them.
void addSteps(Record& record, Scenario const& scenario, std::vector<Played> const& steps) {
    std::vector<std::size_t> reached(scenario.clients.size());  // the steps of each client
    for (Played const& step : steps) {
        bool const expected = expects(scenario.clients[step.client].steps[reached[step.client]++]);
        if (step.kind == RequestKind::Sleep && step.ended) continue;
        if (expected) {
            record.expectations.push_back(
                {.line = step.line,
                 .client = step.client,
                 .request = static_cast<std::uint32_t>(record.requests.size()),
                 .state = step.unmet.empty() ? Expectation::State::Held : Expectation::State::Unmet,
                 .unmet = record.texts.add(step.unmet)});
        }
        record.requests.push_back({.kind = step.kind,
                                   .name = record.texts.add(nameOf(step.kind)),
                                   .client = step.client,
                                   .line = step.line,
                                   .sensors = step.sensors,
                                   .began = instantOf(step.began),
                                   .ended = step.ended ? std::optional(instantOf(*step.ended)) : std::nullopt,
                                   .result = step.result,
                                   .countedOn = step.countedOn});
    }
    for (std::uint32_t client = 0; client < reached.size(); ++client) {
        auto const& all = scenario.clients[client].steps;
        for (auto step = all.begin() + static_cast<std::ptrdiff_t>(reached[client]); step != all.end();
             ++step) {
            if (expects(*step)) record.expectations.push_back({.line = step->line, .client = client});
        }
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
        for (std::uint32_t index = 0; index < scenario.clients.size(); ++index) {
            players.push_back(std::async(std::launch::async, [this, index, started] {
                started.get();
                Countdown::One const one(countdown);
                Player(scenario, index, board, steps, holds[index]).play();
            }));
        }
        start.set_value();
    }

    // The states in which sensors and controllers are now.
    void addStates(Record& record) {
        for (auto const& [id, sensor] : scenario.settings.sensors) {
            record.sensors.push_back(
                {.id = id, .name = record.texts.add(sensor.name), .powered = board.isPowered(id)});
        }
        for (Controller const& each : scenario.controllers) {
            auto const& controller = asked.emplace_back(controllers.at(each.name).lock());
            using End = Record::Controller::End;
            record.controllers.push_back(
                {.name = record.texts.add(each.name),
                 .sensors = each.sensors,
                 .end = controller ? End::Held : End::Destroyed,
                 .counts = controller ? statusOf(*controller) : std::map<int, bool>()});
        }
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
    PlayedSteps steps;
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

Record Run::record(Clock::time_point end) {
    Record record;
    record.end = instantOf(end);
    record.process = getpid();
    record.seed = mState->scenario.settings.seed;
    std::vector<Played> steps = mState->steps.all();
    cutAt(end, steps);
    addClients(record, mState->scenario);
    addSteps(record, mState->scenario, steps);
    std::vector<board::Entry> journal = mState->board.journal().entries();
    std::erase_if(journal, [&](board::Entry const& entry) { return entry.time > end; });
    addJournal(record, journal);
    mState->addStates(record);
    return record;
}

}  // namespace zeqcam::tool
