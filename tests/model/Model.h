#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// What the controllers of a process and their lock do, without threads, sensors or time: small enough to
// check by eye. The library is run beside it.
namespace zeqcam::tests {

enum class State { Off = 0, On = 1, Ongoing = 2 };

// What can go wrong in one step.
struct StepFaults {
    bool noSensorList = false;
    bool tasksAreLeft = false;            // the queue runs none: they are left to the caller
    std::optional<int> workerNotCreated;  // its place among those of the request, from 0
    std::set<int> noHandle;
    std::set<int> failsPowerOn;
    std::set<int> failsPowerOff;
    std::set<int> noPeripheral;
    std::set<int> noHal3A;
};

// What one step must show.
struct Outcome {
    std::optional<bool> result;
    std::vector<std::string> callersLines;      // in order
    std::multiset<std::string> workersLines;    // of several threads at once
    std::multiset<std::string> unorderedLines;  // of the caller, in the order of a hash map
    std::multiset<std::string> callerFaults;    // that the board sees, with the sensor
    bool operator==(Outcome const& other) const;
};

class Model {
  public:
    // Controllers go by a number of the caller's choice.
    void create(int controller, std::vector<int> const& sensorIds, bool hasQueue);
    Outcome destroy(int controller, StepFaults const& faults);
    Outcome powerOn(int controller, std::vector<int> const& sensorIds, StepFaults const& faults);
    Outcome powerOff(int controller, std::vector<int> const& sensorIds, StepFaults const& faults);

    [[nodiscard]] std::map<unsigned int, bool> status(int controller) const;
    [[nodiscard]] std::size_t records() const;  // of all controllers
    [[nodiscard]] bool isLockFree() const { return !mHolder; }
    [[nodiscard]] bool isPowered(int sensor) const { return mPowered.count(sensor) != 0; }

  private:
    struct Controller {
        bool hasQueue = true;
        std::map<int, State> states;
        std::set<int> records;
    };

    static std::vector<int> admit(Controller& controller, std::vector<int> const& sensorIds,
                                  Outcome& outcome);
    bool powerOnOps(Controller& controller, std::vector<int> const& admitted, StepFaults const& faults,
                    Outcome& outcome);
    void work(int sensor, StepFaults const& faults, Outcome& outcome);
    void switchOff(int sensor, StepFaults const& faults, Outcome& outcome);

    std::map<int, Controller> mControllers;
    std::optional<int> mHolder;  // the controller whose power-on has taken the lock
    std::set<int> mPowered;
    std::set<int> mAskedOn;  // by the last power change, whatever became of it
};

}  // namespace zeqcam::tests
