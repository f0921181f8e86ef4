#include "FailsAllocation.h"
#include "FailsThread.h"
#include "PowerTest.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>

namespace zeqcam::tests {
namespace {

using testing::Contains;
using testing::Each;
using testing::Not;

class FaultTest : public PowerTest {
  protected:
    std::vector<int> const mSensors = {0, 1, 2};

    static bool countsAsOn(Controller const& controller, int sensor) {
        return controller->getStatus().at(static_cast<unsigned int>(sensor));
    }
    void expectOff(Controller const& controller) {
        for (int const sensor : mSensors) {
            EXPECT_FALSE(countsAsOn(controller, sensor));
            EXPECT_FALSE(board().isPowered(sensor));
        }
        EXPECT_EQ(board().openHandles(), 0);
    }
    void expectOffAfterPowerOff(Controller const& controller) {
        controller->powerOff(mSensors);
        expectOff(controller);
    }
    // What a power-off of a sensor that has a record, and was never tried, is for the board.
    static std::string powerOffOfOneThatIsOff(int sensor) {
        return "power-off of a sensor that is off: " + std::to_string(sensor);
    }
    void expectFaultsOfUntriedSensorsOnly() {
        board().expectFaults(Each(testing::StartsWith("power-off of a sensor that is off: ")));
    }
    void expectACycleWorks(Controller const& controller) {
        EXPECT_TRUE(controller->powerOn(mSensors));
        for (int const sensor : mSensors) EXPECT_TRUE(board().isPowered(sensor));
        expectOffAfterPowerOff(controller);
    }
};

TEST_F(FaultTest, AWorkerThatCannotBeCreatedFailsThePowerOn) {
    std::vector<std::string> untried;
    for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        auto const controller = create(mSensors);
        auto const told = entriesOf([&] {
            FailsThread const fault(nth);
            EXPECT_FALSE(controller->powerOn(mSensors));
        });
        auto const lines = logLines(told);
        EXPECT_EQ(
            std::count(lines.begin(), lines.end(), "E [PowerOnOffController::powerOnOps] create worker fail"),
            1);
        EXPECT_EQ(ofKinds(told, {Kind::SensorAfterPowerOn}).size(), static_cast<std::size_t>(nth) - 1)
            << "the workers already started have finished";
        EXPECT_THAT(tell(told), Not(Contains("{ 3A notifyPowerOn")));
        EXPECT_EQ(tell(told).back(), "} LogicalDev powerOn");
        for (int const sensor : mSensors) EXPECT_TRUE(countsAsOn(controller, sensor));
        expectOffAfterPowerOff(controller);
        expectACycleWorks(controller);
        for (int sensor = nth - 1; sensor < 3; ++sensor) untried.push_back(powerOffOfOneThatIsOff(sensor));
    }
    board().expectFaults(untried);
}

struct NamedFault {
    char const* name;
    std::function<void(board::Settings&)> set;
    bool refusesToGoOff = false;
};

std::vector<NamedFault> const kFaults = {
    {"no sensor list", [](board::Settings& settings) { settings.hasSensorList = false; }},
    {"no first handle", [](board::Settings& settings) { settings.sensors[0].hasHandle = false; }},
    {"no last handle", [](board::Settings& settings) { settings.sensors[2].hasHandle = false; }},
    {"power-on fails", [](board::Settings& settings) { settings.sensors[1].powerOnFails.always = true; }},
    {"power-off fails", [](board::Settings& settings) { settings.sensors[1].powerOffFails = true; }, true},
    {"no peripheral", [](board::Settings& settings) { settings.sensors[1].peripheral.reset(); }},
    {"no 3A", [](board::Settings& settings) { settings.sensors[1].hal3a.reset(); }},
    {"3A refuses",
     [](board::Settings& settings) {
         settings.sensors[0].hal3a = board::Service{1, 1};
     }},
    {"no power budget", [](board::Settings& settings) { settings.hasPowerBudget = false; }},
    {"no queue", [](board::Settings& settings) { settings.queue.present = false; }},
    {"queue drops", [](board::Settings& settings) { settings.queue.runs = board::TaskRuns::Dropped; }},
    {"queue at once", [](board::Settings& settings) { settings.queue.runs = board::TaskRuns::AtOnce; }},
    {"no task handle",
     [](board::Settings& settings) { settings.queue.handles = board::TaskHandles::NoHandle; }},
    {"no future", [](board::Settings& settings) { settings.queue.handles = board::TaskHandles::NoFuture; }},
    {"posts throw", [](board::Settings& settings) { settings.queue.handles = board::TaskHandles::Throws; }},
    {"tasks run twice", [](board::Settings& settings) { settings.queue.runs = board::TaskRuns::Twice; }},
    {"tasks run twice at once",
     [](board::Settings& settings) { settings.queue.runs = board::TaskRuns::TwiceAtOnce; }},
    {"a queue of all", [](board::Settings& settings) { settings.queue.shared = true; }},
    {"no logger", [](board::Settings& settings) { settings.log.hasUnifiedLogger = false; }},
    {"no tracing", [](board::Settings& settings) { settings.traceTags = 0; }},
};

// ZEQCAM_FAULT_PAIRS, where it is set, is how many others each fault is paired with, in the order of the
// table.
TEST_F(FaultTest, EachFaultOfThePlatformAloneAndInPairsLeavesACleanController) {
    expectFaultsOfUntriedSensorsOnly();
    char const* const asked = std::getenv("ZEQCAM_FAULT_PAIRS");
    auto const isLeftOut = [&](std::ptrdiff_t apart) {
        return asked != nullptr && (apart < 0 || apart > std::atoi(asked));
    };
    for (NamedFault const& first : kFaults) {
        for (NamedFault const& second : kFaults) {
            if (isLeftOut(&second - &first)) continue;
            SCOPED_TRACE(std::string(first.name) + " and " + second.name);
            for (int const workerNotCreated : {0, 2}) {
                board().change([&](board::Settings& settings) {
                    first.set(settings);
                    second.set(settings);
                });
                {
                    auto const controller = create(mSensors);
                    auto const told = entriesOf([&] {
                        FailsThread const noThread(workerNotCreated);
                        controller->powerOn(mSensors);
                    });
                    EXPECT_THAT(brokenRules(told), testing::IsEmpty());
                    controller->powerOff(mSensors);
                    for (int const sensor : mSensors) {
                        EXPECT_FALSE(countsAsOn(controller, sensor));
                        EXPECT_TRUE(!board().isPowered(sensor) || first.refusesToGoOff ||
                                    second.refusesToGoOff);
                    }
                    EXPECT_EQ(board().openHandles(), 0);
                    board().change([&](board::Settings& settings) { settings = mSettings; });
                    expectACycleWorks(controller);
                }
                journal().clear();
            }
        }
    }
}

TEST_F(FaultTest, ASensorListThatComesAndGoesDuringAPowerOnLeavesACleanController) {
    expectFaultsOfUntriedSensorsOnly();
    int lists = 0;  // asked for so far
    for (int nth = 1; nth <= 3; ++nth) {
        board().change([&](board::Settings& settings) { settings.sensorListAbsent = {lists + nth}; });
        auto const controller = create(mSensors);
        auto const told = entriesOf([&] { EXPECT_FALSE(controller->powerOn(mSensors)); });
        lists += nth;
        EXPECT_EQ(ofKinds(told, {Kind::SensorCreate}).size(), static_cast<std::size_t>(nth) - 1);
        expectOffAfterPowerOff(controller);
        expectACycleWorks(controller);
        lists += static_cast<int>(mSensors.size());
    }
}

// A platform that throws where the library does not expect it.
TEST_F(FaultTest, ACallThatThrowsLeavesAControllerThatCanPowerOff) {
    expectFaultsOfUntriedSensorsOnly();
    struct Case {
        Kind call;
        bool inPowerOn;
    };
    for (Case const& c : std::vector<Case>{
             {Kind::SensorCreate, true},
             {Kind::SensorPowerOn, true},
             {Kind::SensorAfterPowerOn, true},
             {Kind::PeripheralGet, true},
             {Kind::PeripheralPowerOn, true},
             {Kind::Hal3AGet, true},
             {Kind::Hal3APowerOn, true},
             {Kind::Hal3APowerOff, false},
             {Kind::PeripheralPowerOff, false},
             {Kind::SensorPowerOff, false},
         }) {
        for (std::vector<int> const& sensors : {std::vector<int>{1}, mSensors}) {
            SCOPED_TRACE(std::string(nameOf(c.call)) + (sensors.size() == 1 ? " alone" : " among others"));
            board().change([&](board::Settings& settings) { settings.sensors[1].throws = {c.call}; });
            auto const controller = create(mSensors);
            if (c.inPowerOn) {
                EXPECT_THROW(controller->powerOn(sensors), std::runtime_error);
            } else {
                EXPECT_TRUE(controller->powerOn(sensors));
                EXPECT_THROW(controller->powerOff(sensors), std::runtime_error);
            }
            board().change([&](board::Settings& settings) { settings.sensors[1].throws.clear(); });
            expectOffAfterPowerOff(controller);
            expectACycleWorks(controller);
        }
    }
}

TEST_F(FaultTest, APowerOnOutOfMemoryLeavesItsSensorsOnOrUntouched) {
    expectFaultsOfUntriedSensorsOnly();
    for (int nth = 1, struck = 1; struck != 0; ++nth) {
        SCOPED_TRACE(nth);
        auto const controller = create(mSensors);
        {
            std::vector<int> request = mSensors;
            FailsAllocation const fault(nth);
            try {
                controller->powerOn(std::move(request));
            } catch (std::bad_alloc const&) {
            }
            struck = fault.struck() ? 1 : 0;
        }
        for (int const sensor : mSensors) {
            EXPECT_EQ(countsAsOn(controller, sensor), countsAsOn(controller, 0));
            EXPECT_TRUE(countsAsOn(controller, sensor) || !board().isPowered(sensor));
        }
        expectOffAfterPowerOff(controller);
        expectACycleWorks(controller);
    }
}

TEST_F(FaultTest, APowerOffOutOfMemoryCanBeMadeAgain) {
    board().change([](board::Settings& settings) {
        settings.sensors[-1];  // its label does not fit a short string
    });
    board().expectFaults(Each(powerOffOfOneThatIsOff(-1)));  // named twice in one request
    struct Case {
        std::vector<int> sensors;
        board::TaskRuns runs;
    };
    for (Case const& c : std::vector<Case>{{{-1}, board::TaskRuns::Queued},
                                           {{0, 1, -1}, board::TaskRuns::Queued},
                                           {{0, 1, -1}, board::TaskRuns::Dropped},
                                           {{0, -1, -1}, board::TaskRuns::AtOnce}}) {
        board().change([&](board::Settings& settings) { settings.queue.runs = c.runs; });
        for (int nth = 1, struck = 1; struck != 0; ++nth) {
            SCOPED_TRACE(nth);
            auto const controller = create(c.sensors);
            controller->powerOn(c.sensors);
            {
                std::vector<int> request = c.sensors;
                FailsAllocation const fault(nth);
                try {
                    controller->powerOff(std::move(request));
                } catch (std::bad_alloc const&) {
                }
                struck = fault.struck() ? 1 : 0;
            }
            for (int const sensor : c.sensors) {
                EXPECT_EQ(board().isPowered(sensor), countsAsOn(controller, sensor)) << sensor;
            }
            controller->powerOff(c.sensors);
            for (int const sensor : c.sensors) EXPECT_FALSE(board().isPowered(sensor));
            EXPECT_EQ(board().openHandles(), 0);
        }
    }
}

TEST_F(FaultTest, ADestructionOutOfMemoryStillTellsAndPowersOff) {
    for (int nth = 1, struck = 1; struck != 0; ++nth) {
        SCOPED_TRACE(nth);
        auto controller = create(mSensors);
        controller->powerOn(mSensors);
        auto const told = entriesOf([&] {
            FailsAllocation const fault(nth);
            controller.reset();
            struck = fault.struck() ? 1 : 0;
        });
        EXPECT_EQ(ofKinds(told, {Kind::Hal3APowerOff}).size(), 3U);
        for (int const sensor : mSensors) EXPECT_FALSE(board().isPowered(sensor));
        EXPECT_EQ(board().openHandles(), 0);
    }
}

}  // namespace
}  // namespace zeqcam::tests
