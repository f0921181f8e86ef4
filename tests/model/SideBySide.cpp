#include "SideBySide.h"

#include "FailsThread.h"
#include "PowerTest.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace zeqcam::tests {
namespace {

using board::Kind;

std::vector<int> const kSensors = {0, 1, 2, -1};
constexpr int kUnknownSensor = 77;
constexpr int kControllers = 3;

board::Settings settings() {
    board::Settings settings;
    for (int const sensor : kSensors) settings.sensors[sensor];
    settings.log.mode = 0x2;
    return settings;
}

// The addresses that a listener's constructor logs are nobody's to predict.
bool isAddress(std::string const& line) {
    return line.find("[Hal3AListener::Hal3AListener]") != std::string::npos;
}

Outcome outcomeOf(std::vector<Entry> const& told, std::optional<bool> result, bool isDestruction) {
    Outcome outcome;
    outcome.result = result;
    for (Entry const& entry : ofKinds(told, {Kind::UnifiedLog})) {
        std::string const line = tell(entry);
        if (isAddress(line)) continue;
        if (entry.thread != gettid()) {
            outcome.workersLines.insert(line);
        } else if (isDestruction) {
            outcome.unorderedLines.insert(line);
        } else {
            outcome.callersLines.push_back(line);
        }
    }
    for (Entry const& entry : ofKinds(told, {Kind::CallerFault})) {
        outcome.callerFaults.insert(entry.text + ": " + std::to_string(entry.sensor));
    }
    return outcome;
}

std::string shown(Outcome const& outcome) {
    std::ostringstream text;
    text << "result " << (outcome.result ? std::to_string(*outcome.result) : "none") << '\n';
    for (auto const& line : outcome.callersLines) text << "  " << line << '\n';
    for (auto const& line : outcome.workersLines) text << "  (worker) " << line << '\n';
    for (auto const& line : outcome.unorderedLines) text << "  (any order) " << line << '\n';
    for (auto const& fault : outcome.callerFaults) text << "  (fault) " << fault << '\n';
    return text.str();
}

}  // namespace

SideBySide::SideBySide(Choose choose)
    : mChoose(std::move(choose)), mNice(getpriority(PRIO_PROCESS, 0)), mBoard(settings()) {
    for (int controller = 0; controller < kControllers; ++controller) create(controller);
}

SideBySide::~SideBySide() = default;

void SideBySide::create(int controller) {
    std::vector<int> sensors;
    for (int const sensor : kSensors) {
        if (mChoose(3) != 0) sensors.push_back(sensor);
    }
    bool const hasQueue = mChoose(9) != 0;
    mBoard.change([&](board::Settings& settings) { settings.queue.present = hasQueue; });
    mModel.create(controller, sensors, hasQueue);
    mControllers[controller] = NSCam::IPowerOnOffController::create({.sensorIds = std::move(sensors)});
}

std::vector<int> SideBySide::chooseSensors() {
    std::vector<int> sensors(mChoose(4));
    for (int& sensor : sensors) {
        auto const choice = mChoose(static_cast<unsigned int>(kSensors.size()) * 4);
        sensor = choice == kSensors.size() * 4 ? kUnknownSensor : kSensors[choice % kSensors.size()];
    }
    return sensors;
}

StepFaults SideBySide::chooseFaults() {
    StepFaults faults;
    if (mChoose(3) != 0) return faults;  // most steps go well
    faults.noSensorList = mChoose(7) == 0;
    faults.tasksAreLeft = mChoose(3) == 0;
    if (mChoose(3) == 0) faults.workerNotCreated = static_cast<int>(mChoose(3));
    for (auto* const sensors : {&faults.noHandle, &faults.failsPowerOn, &faults.failsPowerOff,
                                &faults.noPeripheral, &faults.noHal3A}) {
        for (int const sensor : kSensors) {
            if (mChoose(5) == 0) sensors->insert(sensor);
        }
    }
    return faults;
}

void SideBySide::apply(StepFaults const& faults) {
    // The ways in which tasks are left to the caller, and the ways in which they are not.
    static std::vector<board::Queue> const left = {
        {.runs = board::TaskRuns::Dropped},
        {.runs = board::TaskRuns::Dropped, .handles = board::TaskHandles::NoHandle},
        {.runs = board::TaskRuns::Held, .handles = board::TaskHandles::NoFuture},
    };
    static std::vector<board::Queue> const run = {
        {},
        {.runs = board::TaskRuns::AtOnce},
        {.runs = board::TaskRuns::AtOnce, .handles = board::TaskHandles::NoHandle}};
    auto const& queue = (faults.tasksAreLeft ? left : run)[mChoose(2)];
    mBoard.change([&](board::Settings& settings) {
        settings.hasSensorList = !faults.noSensorList;
        settings.queue = queue;
        for (int const id : kSensors) {
            board::Sensor& sensor = settings.sensors[id];
            sensor.hasHandle = faults.noHandle.count(id) == 0;
            sensor.powerOnFails.always = faults.failsPowerOn.count(id) != 0;
            sensor.powerOffFails = faults.failsPowerOff.count(id) != 0;
            sensor.peripheral =
                faults.noPeripheral.count(id) != 0 ? std::nullopt : std::optional(board::Service{});
            sensor.hal3a = faults.noHal3A.count(id) != 0 ? std::nullopt : std::optional(board::Service{});
        }
    });
}

std::string SideBySide::step() {
    auto const controller = static_cast<int>(mChoose(kControllers - 1));
    auto const action = mChoose(9);
    StepFaults const faults = chooseFaults();
    std::vector<int> const sensors = chooseSensors();
    apply(faults);
    mBoard.journal().clear();

    Outcome expected;
    std::optional<bool> result;
    bool const isDestruction = action == 0;
    if (isDestruction) {
        expected = mModel.destroy(controller, faults);
        mControllers[controller].reset();
    } else if (action <= 5) {
        expected = mModel.powerOn(controller, sensors, faults);
        FailsThread const fault(faults.workerNotCreated.value_or(-1) + 1);
        result = mControllers[controller]->powerOn(sensors);
    } else {
        expected = mModel.powerOff(controller, sensors, faults);
        mControllers[controller]->powerOff(sensors);
    }
    auto const told = mBoard.journal().entries();
    if (isDestruction) create(controller);
    mBoard.runHeldTasks();
    return compare(expected, outcomeOf(told, result, isDestruction), told);
}

std::string SideBySide::compare(Outcome const& expected, Outcome const& actual,
                                std::vector<board::Entry> const& told) {
    std::ostringstream wrong;
    if (!(expected == actual)) wrong << "expected " << shown(expected) << "but was " << shown(actual);
    for (auto const& [number, controller] : mControllers) {
        auto const status = controller->getStatus();
        if (std::map<unsigned int, bool>(status.begin(), status.end()) != mModel.status(number)) {
            wrong << "controller " << number << " has another status\n";
        }
    }
    if (static_cast<std::size_t>(mBoard.openHandles()) != mModel.records()) {
        wrong << mBoard.openHandles() << " handles for " << mModel.records() << " records\n";
    }
    for (int const sensor : kSensors) {
        if (mBoard.isPowered(sensor) != mModel.isPowered(sensor))
            wrong << "sensor " << sensor << " is as it must not\n";
    }
    if (mModel.isLockFree())
        NSCam::IPowerOnOffController::waitSensorsPowerOff();  // for ever, were it not free
    if (getpriority(PRIO_PROCESS, 0) != mNice) wrong << "the priority is not back\n";
    for (std::string const& broken : brokenRules(told)) wrong << broken << '\n';
    return wrong.str();
}

}  // namespace zeqcam::tests
