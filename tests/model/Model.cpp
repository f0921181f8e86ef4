#include "Model.h"

#include <algorithm>
#include <cstdint>

namespace zeqcam::tests {
namespace {

std::string line(char level, std::string const& function, std::string const& message) {
    return std::string(1, level) + " [PowerOnOffController::" + function + "] " + message;
}

std::string widened(int sensor) {
    return std::to_string(static_cast<std::uint64_t>(std::int64_t{sensor}));
}

std::string sensorId(int sensor) {
    return "sensorId(" + std::to_string(sensor) + ")";
}

}  // namespace

bool Outcome::operator==(Outcome const& other) const {
    return result == other.result && callersLines == other.callersLines &&
           workersLines == other.workersLines && unorderedLines == other.unorderedLines &&
           callerFaults == other.callerFaults;
}

void Model::create(int controller, std::vector<int> const& sensorIds, bool hasQueue) {
    Controller& made = mControllers[controller];
    made.hasQueue = hasQueue;
    for (int const sensor : sensorIds) made.states[sensor] = State::Off;
}

Outcome Model::destroy(int controller, StepFaults const& faults) {
    Outcome outcome;
    for (int const sensor : mControllers.at(controller).records) {
        outcome.unorderedLines.insert(
            line('W', "~PowerOnOffController",
                 "release but something(" + std::to_string(sensor) + ") still in list"));
        switchOff(sensor, faults, outcome);
    }
    if (mHolder == controller) mHolder.reset();
    mControllers.erase(controller);
    return outcome;
}

Outcome Model::powerOn(int controller, std::vector<int> const& sensorIds, StepFaults const& faults) {
    Outcome outcome;
    outcome.result = true;
    if (sensorIds.empty()) return outcome;
    outcome.callersLines.push_back(
        line('D', "powerOn",
             mHolder ? " failed to get PowerOnLock, exist power on sensor or waitSensorsPowerOff() operating"
                     : "get PowerOnLock, Sensor power on"));
    if (!mHolder) mHolder = controller;

    Controller& called = mControllers.at(controller);
    std::vector<int> const admitted = admit(called, sensorIds, outcome);
    if (!admitted.empty()) outcome.result = powerOnOps(called, admitted, faults, outcome);
    for (int const sensor : admitted) called.states[sensor] = State::On;
    return outcome;
}

std::vector<int> Model::admit(Controller& controller, std::vector<int> const& sensorIds, Outcome& outcome) {
    std::vector<int> admitted;
    for (int const sensor : sensorIds) {
        auto const known = controller.states.find(sensor);
        if (known == controller.states.end()) {
            outcome.callersLines.push_back(
                line('W', "operator()", sensorId(sensor) + " is not of this controller, needs skipped"));
        } else if (known->second != State::Off) {
            std::string const state = std::to_string(static_cast<int>(known->second));
            outcome.callersLines.push_back(
                line('D', "operator()", sensorId(sensor) + " state: " + state + ", needs skipped"));
        } else {
            known->second = State::Ongoing;
            admitted.push_back(sensor);
            outcome.callersLines.push_back(
                line('D', "operator()", sensorId(sensor) + " state: PowerOngoing"));
        }
    }
    return admitted;
}

bool Model::powerOnOps(Controller& controller, std::vector<int> const& admitted, StepFaults const& faults,
                       Outcome& outcome) {
    auto const tell = [&](char level, std::string const& message) {
        outcome.callersLines.push_back(line(level, "powerOnOps", message));
    };
    tell('I', "powerOn +");
    for (int const sensor : admitted) {
        bool const hasHandle = faults.noHandle.count(sensor) == 0;
        if (faults.noSensorList || !hasHandle) {
            std::string const reason = faults.noSensorList
                                           ? "Bad HalSensorList"
                                           : "Bad HalSensor - sensorId=" + std::to_string(sensor);
            outcome.callersLines.push_back(line('E', "createData", reason));
            tell('E', "create data fail");
            return false;
        }
        bool const added = controller.records.insert(sensor).second;
        tell('D', added ? "add new data" : "replace data");
    }
    for (std::size_t place = 0; place < admitted.size(); ++place) {
        if (faults.workerNotCreated == static_cast<int>(place)) {
            tell('E', "create worker fail");
            return false;
        }
        work(admitted[place], faults, outcome);
    }
    tell('I', "3A notifyPowerOn");
    tell('I', "powerOn -");
    return true;
}

void Model::work(int sensor, StepFaults const& faults, Outcome& outcome) {
    outcome.workersLines.insert("D [initSensor] powerOnSensor: " + widened(sensor));
    if (!mAskedOn.insert(sensor).second && mPowered.count(sensor) != 0) {
        outcome.callerFaults.insert("power-on of a sensor that is on: " + std::to_string(sensor));
    }
    if (faults.failsPowerOn.count(sensor) != 0) {
        outcome.workersLines.insert("E [initSensor] sensorIndex:" + widened(sensor) + " powerOn failed");
        return;
    }
    mPowered.insert(sensor);
    std::string const listener = "E " + std::to_string(sensor) + "[Hal3AListener::init] ";
    if (faults.noPeripheral.count(sensor) != 0) outcome.workersLines.insert(listener + "Bad mPeripheralCtrl");
    if (faults.noHal3A.count(sensor) != 0) outcome.workersLines.insert(listener + "Bad mHal3aCtrl");
}

Outcome Model::powerOff(int controller, std::vector<int> const& sensorIds, StepFaults const& faults) {
    Outcome outcome;
    if (sensorIds.empty()) return outcome;
    auto const tell = [&](char level, std::string const& message) {
        outcome.callersLines.push_back(line(level, "powerOff", message));
    };
    Controller& called = mControllers.at(controller);
    tell('I', "powerOff +");
    bool const posts = sensorIds.size() > 1;
    for (int const sensor : sensorIds) {
        if (posts && (faults.tasksAreLeft || !called.hasQueue)) {
            tell('W', sensorId(sensor) + " power-off not queued, runs on the caller's thread");
        }
        if (called.records.count(sensor) != 0) switchOff(sensor, faults, outcome);
    }
    for (int const sensor : sensorIds) called.records.erase(sensor);
    if (called.records.empty()) {
        tell('D', "gSensorPowerOnLock unlock");
        mHolder.reset();
    }
    tell('I', "powerOff -");
    for (int const sensor : sensorIds) {
        auto const known = called.states.find(sensor);
        if (known != called.states.end()) known->second = State::Off;
    }
    return outcome;
}

void Model::switchOff(int sensor, StepFaults const& faults, Outcome& outcome) {
    if (mAskedOn.erase(sensor) == 0 && mPowered.count(sensor) == 0) {
        outcome.callerFaults.insert("power-off of a sensor that is off: " + std::to_string(sensor));
    }
    if (faults.failsPowerOff.count(sensor) == 0) mPowered.erase(sensor);
}

std::map<unsigned int, bool> Model::status(int controller) const {
    std::map<unsigned int, bool> status;
    for (auto const& [sensor, state] : mControllers.at(controller).states) {
        status[static_cast<unsigned int>(sensor)] = state != State::Off;
    }
    return status;
}

std::size_t Model::records() const {
    std::size_t count = 0;
    for (auto const& [number, controller] : mControllers) count += controller.records.size();
    return count;
}

}  // namespace zeqcam::tests
