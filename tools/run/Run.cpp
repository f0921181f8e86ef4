#include "run/Run.h"

#include "run/Expectations.h"
#include "run/JournalDrain.h"
#include "run/Signals.h"

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

// A step of a client that has begun.
struct Played {
    RequestKind kind = RequestKind::Other;
    std::string name = std::string(nameOf(kind));
    std::uint32_t client = 0;  // of the scenario
    Step const* step = nullptr;
    std::vector<int> sensors;
    Clock::time_point began = Clock::now();
    std::optional<Clock::time_point> ended;
    std::optional<bool> result;
    std::optional<std::vector<int>> countedOn;
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
    Player(Scenario const& scenario, std::uint32_t client, board::Board& board, Signals& signals,
           PlayedSteps& steps, ControllerPointer& controller)
        : mScenario(scenario),
          mClient(client),
          mBoard(board),
          mSignals(signals),
          mSteps(steps),
          mController(controller) {}

    void play() {
        for (Step const& step : mScenario.clients[mClient].steps) {
            mStep = &step;
            std::visit([this](auto const& action) { play(action); }, step.action);
        }
    }

  private:
    void play(PowerOn const& action) {
        ask(RequestKind::PowerOn, action.sensors, [&](Played& step, board::ClientRequest& journaled) {
            step.result = journaled.replies(mController->powerOn(action.sensors));
        });
    }

    void play(PowerOff const& action) {
        ask(RequestKind::PowerOff, action.sensors,
            [&](Played&, auto&) { mController->powerOff(action.sensors); });
    }

    void play(Status const&) {
        ask(RequestKind::Status, {},
            [&](Played& step, auto&) { step.countedOn = countedOn(statusOf(*mController)); });
    }

    void play(Powered const&) {
        ask(RequestKind::Powered, {}, [&](Played& step, auto&) {
            auto& powered = step.countedOn.emplace();
            for (auto const& [id, sensor] : mScenario.settings.sensors) {
                if (mBoard.isPowered(id)) powered.push_back(id);
            }
        });
    }

    void play(Sleep const& action) {
        apart(RequestKind::Sleep, "sleep", [&] { std::this_thread::sleep_for(action.time); });
    }

    void play(Signal const& action) {
        apart(RequestKind::Other, "signal " + action.name, [&] { mSignals.give(action.name); });
    }

    void play(Await const& action) {
        int const times = ++mAwaited[action.name];
        apart(RequestKind::Other, "await " + action.name, [&] { mSignals.await(action.name, times); });
    }

    void play(Change const& action) {
        apart(RequestKind::Other, "change", [&] { mBoard.change(action.edit); });
    }

    void play(Wait const&) {
        ask(RequestKind::Wait, {},
            [](Played&, auto&) { NSCam::IPowerOnOffController::waitSensorsPowerOff(); });
    }

    void play(Destroy const&) {
        ask(RequestKind::Destroy, countedOn(statusOf(*mController)),
            [&](Played&, auto&) { mController.reset(); });
    }

    // What does not come to the library.
    template <class Call>
    void apart(RequestKind kind, std::string name, Call const& call) {
        Played step{.kind = kind, .name = std::move(name), .client = mClient, .step = mStep};
        std::size_t const place = mSteps.begin(step);
        call();
        step.ended = Clock::now();
        mSteps.end(place, std::move(step));
    }

    template <class Call>
    void ask(RequestKind kind, std::vector<int> const& sensors, Call const& call) {
        Played step{.kind = kind, .client = mClient, .step = mStep, .sensors = sensors};
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
    Signals& mSignals;
    PlayedSteps& mSteps;
    ControllerPointer& mController;
    Step const* mStep = nullptr;
    std::map<std::string, int> mAwaited;  // how often, by signal
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
        }
    }
    std::stable_sort(steps.begin(), steps.end(),
                     [](Played const& left, Played const& right) { return left.began < right.began; });
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

// Adds the steps that came to the library, or have not ended. Returns those that it has added.
std::vector<Step const*> addSteps(Record& record, std::vector<Played> const& steps) {
    std::vector<Step const*> added;
    for (Played const& step : steps) {
        bool const cameToTheLibrary = step.kind != RequestKind::Sleep && step.kind != RequestKind::Other;
        if (!cameToTheLibrary && step.ended) continue;
        added.push_back(step.step);
        record.requests.push_back({.kind = step.kind,
                                   .name = record.texts.add(step.name),
                                   .client = step.client,
                                   .line = step.step->line,
                                   .sensors = step.sensors,
                                   .began = instantOf(step.began),
                                   .ended = step.ended ? std::optional(instantOf(*step.ended)) : std::nullopt,
                                   .result = step.result,
                                   .countedOn = step.countedOn});
    }
    return added;
}

void addStepsNotReached(Record& record, Scenario const& scenario, std::vector<Played> const& steps) {
    std::vector<std::size_t> reached(scenario.clients.size());  // the steps of each client
    std::vector<bool> isIdle(scenario.clients.size(), true);
    for (Played const& step : steps) {
        ++reached[step.client];
        isIdle[step.client] = step.ended.has_value();
    }
    for (std::uint32_t client = 0; client < reached.size(); ++client) {
        auto const& all = scenario.clients[client].steps;
        record.clients[client].isDone = isIdle[client] && reached[client] == all.size();
        for (std::size_t step = reached[client]; step < all.size(); ++step)
            addNotReached(record, client, all[step]);
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
                Player(scenario, index, board, signals, steps, holds[index]).play();
            }));
        }
        start.set_value();
    }

    // The states in which sensors and controllers are now.
    void addStates(Record& record) {
        for (int const id : scenario.sensors) {
            record.sensors.push_back({.id = id,
                                      .name = record.texts.add(scenario.settings.sensors.at(id).name),
                                      .powered = board.isPowered(id)});
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
    Record taken;
    JournalReader reader{taken};
    std::optional<JournalDrain> drain;
    std::map<std::string, std::weak_ptr<NSCam::IPowerOnOffController>> controllers;  // by name
    // A client's hold stays until the end of the run unless a step lets go of it: what the sensors are left
    // in is a result. Each belongs to its client's thread.
    std::vector<ControllerPointer> holds;
    // Controllers whose states were asked for. Whoever lets go of one last powers its sensors off, which may
    // take for ever.
    std::vector<ControllerPointer> asked;
    Signals signals;
    PlayedSteps steps;
    Countdown countdown;
    std::vector<std::future<void>> players;
};

Run::Run(Scenario const& scenario, Drains drains, std::function<void()> const& allDone)
    : mState(std::make_unique<State>(scenario, allDone)) {
    if (drains == Drains::Meanwhile) mState->drain.emplace(mState->board.journal(), mState->reader);
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
    Record& record = mState->taken;
    if (mState->drain) {
        mState->drain->stop();
    } else {
        mState->reader.read(mState->board.journal().take());
    }
    record.end = instantOf(end);
    record.process = getpid();
    record.toWallClock =
        std::chrono::system_clock::now().time_since_epoch() - Clock::now().time_since_epoch();
    record.seed = mState->scenario.settings.seed;
    std::vector<Played> steps = mState->steps.all();
    cutAt(end, steps);
    addClients(record, mState->scenario);
    auto const begun = addSteps(record, steps);
    mState->reader.finish(record.end);
    mState->addStates(record);
    addCallerFaults(record, mState->board.callerFaults());
    addExpectations(record, begun);
    addStepsNotReached(record, mState->scenario, steps);
    return std::move(record);
}

}  // namespace zeqcam::tool
