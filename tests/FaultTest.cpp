#include "Faults.h"
#include "PowerTest.h"

#include <algorithm>
#include <new>

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
    void expectACycleWorks(Controller const& controller) {
        controller->powerOff(mSensors);
        expectOff(controller);
        EXPECT_TRUE(controller->powerOn(mSensors));
        for (int const sensor : mSensors) EXPECT_TRUE(board().isPowered(sensor));
        controller->powerOff(mSensors);
        expectOff(controller);
    }
};

TEST_F(FaultTest, AWorkerThatCannotBeCreatedFailsThePowerOn) {
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
        expectACycleWorks(controller);
    }
}

TEST_F(FaultTest, APowerOnOutOfMemoryLeavesItsSensorsOnOrUntouched) {
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
        expectACycleWorks(controller);
    }
}

TEST_F(FaultTest, APowerOffOutOfMemoryCanBeMadeAgain) {
    board().change([](board::Settings& settings) {
        settings.sensors[-1];  // its label does not fit a short string
    });
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
