#include "PowerTest.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>

namespace zeqcam::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class PowerOnTest : public PowerTest {
  protected:
    // What a thread's nice value becomes that asks for the highest priority: not each process may have it.
    static int raisedNice() {
        int nice = 0;
        Background([&] {
            setpriority(PRIO_PROCESS, 0, -20);
            nice = getpriority(PRIO_PROCESS, 0);
        }).join();
        return nice;
    }
    // What a call did on this thread.
    std::vector<std::string> storyOf(std::function<void()> const& call) {
        return tell(ofThread(without(entriesOf(call), kNoise), gettid()));
    }
    void failAlways(int sensor) {
        board().change(
            [&](board::Settings& settings) { settings.sensors[sensor].powerOnFails.always = true; });
    }
};

TEST_F(PowerOnTest, RunsAdmissionRecordsWaitAndNotificationInOrderOnTheCallersThread) {
    auto const controller = create({0, 1});
    auto const story = storyOf([&] { EXPECT_TRUE(controller->powerOn({0, 1})); });
    auto const isPointerLine = [](std::string const& line) {
        return line.find("Hal3AListener::Hal3AListener]") != std::string::npos;
    };
    std::vector<std::string> told = story;
    told.erase(std::remove_if(told.begin(), told.end(), isPointerLine), told.end());
    EXPECT_THAT(
        told,
        ElementsAre("D [PowerOnOffController::powerOn] get PowerOnLock, Sensor power on",
                    "D [PowerOnOffController::operator()] sensorId(0) state: PowerOngoing",
                    "D [PowerOnOffController::operator()] sensorId(1) state: PowerOngoing",
                    "I [PowerOnOffController::powerOnOps] powerOn +", "{ LogicalDev powerOn", "CriticalTask",
                    "ProfileBegin powerOnOps", "SensorListGet", "SensorCreate 0",
                    "D [PowerOnOffController::powerOnOps] add new data", "SensorListGet", "SensorCreate 1",
                    "D [PowerOnOffController::powerOnOps] add new data", "PowerBudgetGet", "PowerBudget",
                    "ProfileMark Sensor powerOn -", "I [PowerOnOffController::powerOnOps] 3A notifyPowerOn",
                    "{ 3A notifyPowerOn", "} 3A notifyPowerOn", "{ 3A notifyPowerOn", "} 3A notifyPowerOn",
                    "ProfileMark 3A notifyPowerOn -", "I [PowerOnOffController::powerOnOps] powerOn -",
                    "ProfileEnd powerOnOps", "} LogicalDev powerOn"));
}

TEST_F(PowerOnTest, RunsEachWorkerInOrderOnItsOwnThread) {
    auto const controller = create({0, 1});
    auto const told = without(entriesOf([&] {
                                  controller->powerOn({0, 1});
                              }),
                              {Kind::DebugPrint, Kind::FilenameText, Kind::TraceTags, Kind::QosOpen,
                               Kind::QosWrite, Kind::QosWriteDone, Kind::QosClose});
    auto const threads = threadsOf(told, Kind::SensorPowerOn);
    ASSERT_EQ(threads.size(), 2U);
    // What the QoS hint leaves in the journal: success asks a property, failure is logged.
    auto const hint =
        testing::AnyOf("PropertyGet vendor.debug.camera.log", "AndroidLog zeqcam-PowerOnOffController");
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_THAT(threads, testing::Not(Contains(gettid())));
    for (int const thread : threads) {
        auto const own = ofThread(told, thread);
        std::string const id = std::to_string(ofKinds(own, {Kind::SensorPowerOn}).at(0).sensor);
        EXPECT_THAT(
            tell(own),
            ElementsAre("{ powerOnSensor: " + id, "Affinity", hint, "CriticalTask",
                        "D [initSensor] powerOnSensor: " + id, "SensorPowerOn " + id,
                        "SensorPowerOnDone " + id, "{ init()::IPeripheralController", "PeripheralGet " + id,
                        "{ IPeripheralController::notifyPowerOn", "PeripheralPowerOn " + id,
                        "} IPeripheralController::notifyPowerOn", "} init()::IPeripheralController",
                        "{ init()::hal3a", "Hal3AGet " + id, "{ hal3a::notifyPowerOn", "Hal3APowerOn " + id,
                        "} hal3a::notifyPowerOn", "} init()::hal3a", "ProfileMark Hal3A -",
                        "SensorAfterPowerOn " + id, "} powerOnSensor: " + id));
    }
}

TEST_F(PowerOnTest, PowersAllSensorsAtOnce) {
    board().change([](board::Settings& settings) {
        for (auto& [id, sensor] : settings.sensors) sensor.powerOnHangs = true;
    });
    auto const controller = create({0, 1, 2});
    Background powerOn([&] { controller->powerOn({0, 1, 2}); });
    journal().waitFor(Kind::SensorPowerOn, 3);
    EXPECT_THAT(controller->getStatus(),
                UnorderedElementsAre(std::pair(0U, true), std::pair(1U, true), std::pair(2U, true)));
    EXPECT_THAT(journal().entries(Kind::SensorPowerOnDone), IsEmpty());
    board().change([](board::Settings& settings) {
        for (auto& [id, sensor] : settings.sensors) sensor.powerOnHangs = false;
    });
}

TEST_F(PowerOnTest, NotifiesNobodyBeforeTheLastWorkerHasFinished) {
    board().change([](board::Settings& settings) { settings.sensors[1].powerOnHangs = true; });
    auto const controller = create({0, 1});
    Background powerOn([&] { controller->powerOn({0, 1}); });
    journal().waitFor(Kind::SensorAfterPowerOn, 1);
    EXPECT_THAT(tell(journal().entries(Kind::TraceBegin)), testing::Not(Contains("{ 3A notifyPowerOn")));
    board().change([](board::Settings& settings) { settings.sensors[1].powerOnHangs = false; });
}

TEST_F(PowerOnTest, HandsTheSensorItsCallerCountIdAndARaisedPriority) {
    board().change([](board::Settings& settings) { settings.sensors[-1]; });
    auto const controller = create({-1});
    auto const told = entriesOf([&] { controller->powerOn({-1}); });
    auto const call = ofKinds(told, {Kind::SensorPowerOn}).at(0);
    EXPECT_EQ(call.sensor, -1);
    EXPECT_EQ(call.text, "zeqcam-PowerOnOffController");
    EXPECT_EQ(call.number, 1);
    EXPECT_THAT(call.sensors, ElementsAre(-1));
    EXPECT_EQ(call.detail, std::to_string(raisedNice()));
    EXPECT_THAT(tell(told), Contains("{ powerOnSensor: 18446744073709551615"));
}

TEST_F(PowerOnTest, GivesThePriorityBackBeforeItsLastLine) {
    std::map<std::string, int> nices;
    LineWatch stream([&](std::string const& line) {
        for (std::string const said : {"powerOn +", "3A notifyPowerOn", "powerOn -"}) {
            if (line.find("powerOnOps] " + said) != std::string::npos)
                nices[said] = getpriority(PRIO_PROCESS, 0);
        }
    });
    board().change([&](board::Settings& settings) { settings.logStream = &stream; });
    int const own = getpriority(PRIO_PROCESS, 0);
    int const raised = raisedNice();
    auto const controller = create({0});
    controller->powerOn({0});
    EXPECT_THAT(nices, ElementsAre(std::pair("3A notifyPowerOn", raised), std::pair("powerOn +", own),
                                   std::pair("powerOn -", own)));
    board().change([](board::Settings& settings) { settings.logStream = nullptr; });
}

TEST_F(PowerOnTest, ReportsAFailedSensorAndGoesOnWithTheOthers) {
    failAlways(2);
    auto const controller = create({0, 2});
    auto const told = without(entriesOf([&] { EXPECT_TRUE(controller->powerOn({0, 2})); }), kNoise);
    auto const failed = ofThread(told, ofKinds(told, {Kind::ExceptionReport}).at(0).thread);
    EXPECT_THAT(
        tell(failed),
        ElementsAre("{ powerOnSensor: 2", "Affinity", "CriticalTask", "D [initSensor] powerOnSensor: 2",
                    "SensorPowerOn 2", "SensorPowerOnDone 2", "E [initSensor] sensorIndex:2 powerOn failed",
                    "ExceptionReport zeqcam-PowerOnOffController", "} powerOnSensor: 2"));
    auto const reports = board().exceptionReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].module, "zeqcam-PowerOnOffController");
    EXPECT_EQ(reports[0].message, "\nCRDISPATCH_KEY:HalSensor PowerOn Failed");
    EXPECT_EQ(ofKinds(told, {Kind::ExceptionReport}).at(0).detail, "(null)");
    auto const notified = tell(ofThread(told, gettid()));
    EXPECT_EQ(std::count(notified.begin(), notified.end(), "{ 3A notifyPowerOn"), 2);
    EXPECT_TRUE(board().isPowered(0));
    EXPECT_THAT(controller->getStatus(), UnorderedElementsAre(std::pair(0U, true), std::pair(2U, true)));
    auto const print = ofKinds(journal().entries(Kind::DebugPrint), {Kind::DebugPrint});
    EXPECT_TRUE(std::any_of(print.begin(), print.end(), [](Entry const& entry) {
        return testing::Matches(testing::EndsWith("operator()() [initSensor] %s (%s){#%d:%s}"))(entry.format);
    }));
}

TEST_F(PowerOnTest, EndsWhenARecordCannotBeMade) {
    struct Case {
        std::function<void(board::Settings&)> fault;
        std::vector<std::string> story;  // from the profile on
        int handlesLeft;
    };
    std::vector<std::string> const end = {"E [PowerOnOffController::powerOnOps] create data fail",
                                          "ProfileEnd powerOnOps", "} LogicalDev powerOn"};
    auto const ending = [&](std::vector<std::string> story) {
        story.insert(story.end(), end.begin(), end.end());
        return story;
    };
    for (Case const& c : {
             Case{[](board::Settings& settings) { settings.hasSensorList = false; },
                  ending({"SensorListGet", "E [PowerOnOffController::createData] Bad HalSensorList"}), 0},
             Case{[](board::Settings& settings) { settings.sensors[0].hasHandle = false; },
                  ending({"SensorListGet", "SensorCreate 0",
                          "E [PowerOnOffController::createData] Bad HalSensor - sensorId=0"}),
                  0},
             Case{[](board::Settings& settings) { settings.sensors[1].hasHandle = false; },
                  ending({"SensorListGet", "SensorCreate 0",
                          "D [PowerOnOffController::powerOnOps] add new data", "SensorListGet",
                          "SensorCreate 1",
                          "E [PowerOnOffController::createData] Bad HalSensor - sensorId=1"}),
                  1},
         }) {
        board().change(c.fault);
        auto const controller = create({0, 1});
        auto story = storyOf([&] { EXPECT_FALSE(controller->powerOn({0, 1})); });
        story.erase(story.begin(), std::find(story.begin(), story.end(), "ProfileBegin powerOnOps") + 1);
        story.erase(std::remove_if(
                        story.begin(), story.end(),
                        [](auto const& line) { return line.find("::Hal3AListener]") != std::string::npos; }),
                    story.end());
        EXPECT_EQ(story, c.story);
        EXPECT_EQ(board().openHandles(), c.handlesLeft);
        EXPECT_THAT(controller->getStatus(), UnorderedElementsAre(std::pair(0U, true), std::pair(1U, true)));
        board().change([](board::Settings& settings) {
            settings.hasSensorList = true;
            for (int sensor : {0, 1}) settings.sensors[sensor].hasHandle = true;
        });
        controller->powerOff({0, 1});
        EXPECT_TRUE(controller->powerOn({0, 1}));
        controller->powerOff({0, 1});
    }
    board().expectFaults(ElementsAre("power-off of a sensor that is off: 0"));  // it had a record
}

TEST_F(PowerOnTest, AdmitsEachSensorOnceAndKeepsTheOrder) {
    auto const controller = create({1, 2, 3, 0});
    board().change([](board::Settings& settings) { settings.sensors[3]; });
    controller->powerOn({1});
    auto const told = entriesOf([&] { EXPECT_TRUE(controller->powerOn({3, 1, 99, 2, 3, 99})); });
    EXPECT_THAT(
        logLines(ofThread(told, gettid())),
        testing::IsSupersetOf(
            {"D [PowerOnOffController::operator()] sensorId(3) state: PowerOngoing",
             "D [PowerOnOffController::operator()] sensorId(1) state: 1, needs skipped",
             "W [PowerOnOffController::operator()] sensorId(99) is not of this controller, needs skipped",
             "D [PowerOnOffController::operator()] sensorId(2) state: PowerOngoing",
             "D [PowerOnOffController::operator()] sensorId(3) state: 2, needs skipped",
             "W [PowerOnOffController::operator()] sensorId(99) is not of this controller, needs skipped"}));
    EXPECT_THAT(tell(ofKinds(told, {Kind::SensorCreate})), ElementsAre("SensorCreate 3", "SensorCreate 2"));
    EXPECT_EQ(controller->getStatus().count(99), 0U);
}

TEST_F(PowerOnTest, DoesNothingForNoSensorAndLittleForOnesThatAreOn) {
    auto const controller = create({0});
    EXPECT_THAT(entriesOf([&] { EXPECT_TRUE(controller->powerOn({})); }), IsEmpty());
    controller->powerOn({0});
    EXPECT_THAT(
        storyOf([&] { EXPECT_TRUE(controller->powerOn({0})); }),
        ElementsAre("D [PowerOnOffController::powerOn]  failed to get PowerOnLock, exist power on sensor or "
                    "waitSensorsPowerOff() operating",
                    "D [PowerOnOffController::operator()] sensorId(0) state: 1, needs skipped"));
}

TEST_F(PowerOnTest, NeedsNoPowerBudget) {
    board().change([](board::Settings& settings) { settings.hasPowerBudget = false; });
    auto const controller = create({0});
    EXPECT_TRUE(controller->powerOn({0}));
    EXPECT_TRUE(board().isPowered(0));
}

}  // namespace
}  // namespace zeqcam::tests
