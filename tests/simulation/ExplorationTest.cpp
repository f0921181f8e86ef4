// The library and the board, whole, in every order in which their threads can meet. What a schedule does
// before and after the part that is to be varied takes one course.
#include "Explore.h"
#include "FailsThread.h"
#include "utils/hw/poweronoffcontroller/PowerOnOffController.h"

#include <zeqcam/IPowerOnOffListener.h>
#include <zeqcam/board/QosFile.h>

#include <fcntl.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zeqcam::tests {
namespace {

using board::Kind;
using board::QosFile;
using board::Settings;
using board::TaskHandles;
using board::TaskRuns;

void waitSensorsPowerOff() {
    NSCam::IPowerOnOffController::waitSensorsPowerOff();
}

bool isOn(Controller const& controller, unsigned int sensor) {
    return controller->getStatus().at(sensor);
}

TEST(Explorations, TwoClientsPowerTheSameSensorOnAndOff) {
    expectOfEverySchedule([] {
        Phone phone(withoutQueue());
        Controller const controller = phone.create({0});
        auto const client = [&] {
            expect(controller->powerOn({0}), "a power-on is refused");
            controller->powerOff({0});
        };
        phone.together({client, client});
        expect(!isOn(controller, 0), "the controller counts the sensor as on");
        waitSensorsPowerOff();
    });
}

TEST(Explorations, ALastPowerOffBesideAnothersPowerOnAndAWaiter) {
    expectOfEverySchedule([] {
        Phone phone(withoutQueue());
        Controller const first = phone.create({0});
        Controller const second = phone.create({1});
        first->powerOn({0});
        auto const other = [&] {
            second->powerOn({1});
            expect(phone.board.isPowered(1), "the other's sensor is off");
            second->powerOff({1});
        };
        phone.together({[&] { first->powerOff({0}); }, other, waitSensorsPowerOff});
        waitSensorsPowerOff();
    });
}

TEST(Explorations, AWaiterReturnsWithTheLastSensorOfTheHolder) {
    expectOfEverySchedule([] {
        Phone phone(withoutQueue());
        Controller const controller = phone.create({0, 1});
        controller->powerOn({0, 1});
        bool returned = false;
        auto const waits = [&] {
            waitSensorsPowerOff();
            simulation::touch(&returned);
            returned = true;
        };
        auto const off = [&] {
            controller->powerOff({0});
            simulation::touch(&returned);
            expect(!returned, "a waiter returns before the last sensor is off");
            controller->powerOff({1});
        };
        phone.together({waits, off});
    });
}

// The next power-on may have taken the lock before the waiter wakes: a waiter that misses the release waits
// for ever.
TEST(Explorations, ABusyProcessStarvesNoWaiter) {
    expectOfEverySchedule([] {
        Phone phone(withoutQueue());
        Controller const controller = phone.create({0});
        controller->powerOn({0});
        std::thread waiter(waitSensorsPowerOff);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));  // of virtual time: it waits from here on
        phone.varied([&] {
            controller->powerOff({0});
            controller->powerOn({0});
            waiter.join();
        });
        controller->powerOff({0});
    });
}

// A request changes the states of all its sensors at once. The debug lines are points in between.
TEST(Explorations, AStatusBesideAPowerOnAndAPowerOff) {
    for (bool const on : {true, false}) {
        SCOPED_TRACE(on ? "power-on" : "power-off");
        expectOfEverySchedule([on] {
            Settings settings = withoutQueue();
            settings.log = {.mode = 2};
            Phone phone(settings);
            Controller const controller = phone.create({0, 1});
            if (!on) controller->powerOn({0, 1});
            auto const asks = [&] {
                phone.meetsOthers();
                auto const status = controller->getStatus();
                expect(status.at(0) == status.at(1), "a status shows one of two sensors on");
            };
            auto const request = [&] {
                on ? void(controller->powerOn({0, 1})) : controller->powerOff({0, 1});
            };
            phone.together({request, asks});
            controller->powerOff({0, 1});
        });
    }
}

TEST(Explorations, ADestructionBesideWaitersAndALateQueue) {
    expectOfEverySchedule([] {
        Settings settings = quietBoard();
        settings.queue = {.runs = TaskRuns::Late, .handles = TaskHandles::NoFuture};
        Phone phone(settings);
        Controller controller = phone.create({0, 1, 2});
        controller->powerOn({0, 1, 2});
        controller->powerOff({0, 1});  // on this thread: the queue may come to the tasks later
        phone.together({[&] { controller.reset(); }, waitSensorsPowerOff, waitSensorsPowerOff});
    });
}

int openDescriptors() {
    int count = 0;
    for (int descriptor = 0; descriptor < 64; ++descriptor) count += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
    return count;
}

// Whoever comes first opens the file for all.
TEST(Explorations, TwoControllersWhoseHintsOpenTheFile) {
    if (!QosFile::provided()) GTEST_SKIP() << "no QoS file for this process";
    expectOfEverySchedule([] {
        int const before = openDescriptors();
        std::ostringstream lines;
        Settings settings = withoutQueue();
        settings.logStream = &lines;
        Phone phone(settings);
        Controller const first = phone.create({0});
        Controller const second = phone.create({1});
        phone.together({[&] { first->powerOn({0}); }, [&] { second->powerOn({1}); }});
        first->powerOff({0});
        second->powerOff({1});
        expect(openDescriptors() == before + 1, "the file is not open once");
        expect(lines.str().empty(), lines.str());
    });
}

// In whatever order they fail, open the file anew and close it: none writes to what another has closed, and
// nothing stays open.
void powerOnWithoutHints(std::vector<int> const& sensors) {
    int const before = openDescriptors();
    Phone phone(withoutQueue());
    phone.board.journal().setOn(true);
    Controller const controller = phone.create(sensors);
    phone.varied([&] { controller->powerOn(sensors); });
    for (int const sensor : sensors) controller->powerOff({sensor});
    auto const lines = phone.board.journal().entries(Kind::AndroidLog);
    expect(lines.size() == sensors.size() + 1, "a failed hint has no line");
    for (auto const& line : lines) {
        expect(line.shown.find("No space left on device") != std::string::npos, line.shown);
    }
    expect(openDescriptors() == before, "a descriptor is left open");
}

// The power-on's own thread writes a hint before its workers do.
TEST(Explorations, WorkersWhoseHintsFail) {
    if (!QosFile::provided()) GTEST_SKIP() << "no QoS file for this process";
    QosFile::set(QosFile::Is::Full);
    expectOfEverySchedule([] { powerOnWithoutHints({0, 1}); });
    // Three meet in more orders with a second preemption than there is time for.
    expectOfEverySchedule([] { powerOnWithoutHints({0, 1, 2}); }, 1);
    QosFile::set(QosFile::Is::Writable);
}

struct QueueFault {
    char const* name;
    board::Queue queue;
};

TEST(Explorations, AQueueThatDropsDelaysOrRepeatsTasks) {
    std::vector<QueueFault> const faults{
        {"drops", {.runs = TaskRuns::Dropped}},
        {"delays", {.runs = TaskRuns::Late, .lateBy = std::chrono::microseconds(5)}},
        {"delays and repeats", {.runs = TaskRuns::Late, .handles = TaskHandles::NoHandle}},
        {"holds and repeats", {.runs = TaskRuns::Held, .handles = TaskHandles::NoFuture}},
    };
    for (QueueFault const& fault : faults) {
        SCOPED_TRACE(fault.name);
        expectOfEverySchedule([&] {
            Settings settings = quietBoard();
            settings.queue = fault.queue;
            // The queue may be at a task while the caller waits for it.
            for (auto& [id, sensor] : settings.sensors) sensor.powerOffTime = std::chrono::microseconds(1);
            Phone phone(settings);
            Controller const controller = phone.create({0, 1});
            controller->powerOn({0, 1});
            phone.together({[&] { controller->powerOff({0, 1}); }, [&] { phone.board.runHeldTasks(); }});
            expect(!isOn(controller, 0) && !isOn(controller, 1), "a sensor counts as on");
        });
    }
}

TEST(Explorations, AFailingThreadCreationBesideAPowerOff) {
    expectOfEverySchedule([] {
        Phone phone(withoutQueue());
        Controller const controller = phone.create({0, 1});
        auto const fails = [&] {
            FailsThread const second(2);
            expect(!controller->powerOn({0, 1}), "a power-on succeeds without a worker");
        };
        phone.together({fails, [&] { controller->powerOff({0}); }});
        controller->powerOff({0, 1});
        waitSensorsPowerOff();
    });
}

class Throws final : public NSCam::IPowerOnOffListener {
  public:
    std::string getName() override { return "throws"; }
    bool init() override { return true; }
    bool notifyPowerOn() override { return true; }
    bool notifyPowerOff() override { throw std::runtime_error("the listener's own"); }
};

class ProductController final : public NSCam::PowerOnOffController {
  public:
    using PowerOnOffController::PowerOnOffController;
    // No call is under way.
    void addThrowing(unsigned int sensor) ZEQCAM_THREAD_ANNOTATION(no_thread_safety_analysis) {
        auto& listeners = mDataMap.at(sensor)->mListeners;
        listeners.insert(listeners.begin(), std::make_shared<Throws>());
    }
};

TEST(Explorations, AListenerThatThrowsBesideAPowerOn) {
    expectOfEverySchedule([] {
        Phone phone(quietBoard());
        auto const controller = std::make_shared<ProductController>(
            NSCam::IPowerOnOffController::CreationInfo{.sensorIds = {0, 1, 2}});
        controller->powerOn({0, 1});
        controller->addThrowing(0);
        auto const off = [&] {
            try {
                controller->powerOff({0, 1});
                simulation::fail("an exception is lost");
            } catch (std::runtime_error const&) {
                expect(!phone.board.isPowered(0) && !phone.board.isPowered(1),
                       "an exception keeps a sensor on");
            }
        };
        phone.together({off, [&] { controller->powerOn({2}); }});
        controller->powerOff({2});
        waitSensorsPowerOff();
    });
}

}  // namespace
}  // namespace zeqcam::tests
