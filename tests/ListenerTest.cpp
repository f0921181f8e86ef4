#include "PowerTest.h"
#include "utils/hw/poweronoffcontroller/Hal3AListener.h"

#include <cinttypes>
#include <cstdio>
#include <sstream>

namespace zeqcam::tests {
namespace {

using board::Service;
using testing::ElementsAre;

std::string const kCaller = "zeqcam-PowerOnOffController";

class ListenerTest : public PowerTest {
  protected:
    void give(std::optional<Service> peripheral, std::optional<Service> hal3a) {
        board().change([&](board::Settings& settings) {
            settings.sensors[1].peripheral = peripheral;
            settings.sensors[1].hal3a = hal3a;
        });
    }
};

TEST_F(ListenerTest, InitAnswersWithTheStatusOfTheLastServiceTold) {
    struct Case {
        std::optional<Service> peripheral;
        std::optional<Service> hal3a;
        bool result;
        std::vector<std::string> errors;
    };
    std::string const noPeripheral = "E 1[Hal3AListener::init] Bad mPeripheralCtrl";
    std::string const noHal3A = "E 1[Hal3AListener::init] Bad mHal3aCtrl";
    for (Case const& c : std::vector<Case>{
             {{}, {}, false, {noPeripheral, noHal3A}},
             {Service{0, 0}, {}, true, {noHal3A}},
             {Service{5, 0}, {}, false, {noHal3A}},
             {{}, Service{0, 0}, true, {noPeripheral}},
             {{}, Service{-1, 0}, false, {noPeripheral}},
             {Service{5, 0}, Service{0, 0}, true, {}},
             {Service{0, 0}, Service{5, 0}, false, {}},
         }) {
        give(c.peripheral, c.hal3a);
        NSCam::Hal3AListener listener(1, kCaller);
        bool result = !c.result;
        auto const told = entriesOf([&] { result = listener.init(); });
        EXPECT_EQ(result, c.result) << testing::PrintToString(c.errors);
        EXPECT_EQ(logLines(told), c.errors);
    }
}

TEST_F(ListenerTest, PowerOffAnswersWithTheStatusOfTheLastServiceTold) {
    struct Case {
        std::optional<Service> peripheral;
        std::optional<Service> hal3a;
        bool result;
    };
    for (Case const& c : std::vector<Case>{
             {{}, {}, true},
             {{}, Service{0, 1}, false},
             {Service{0, 1}, {}, false},
             {Service{0, 0}, Service{0, 1}, true},
             {Service{0, 1}, Service{0, 0}, false},
         }) {
        give(c.peripheral, c.hal3a);
        NSCam::Hal3AListener listener(1, kCaller);
        listener.init();
        EXPECT_EQ(listener.notifyPowerOff(), c.result);
    }
}

TEST_F(ListenerTest, TellsThePeripheralFirstWhenOnAndThe3AFirstWhenOff) {
    auto const told = entriesOf([] {
        NSCam::Hal3AListener listener(1, kCaller);
        listener.init();
        EXPECT_TRUE(listener.notifyPowerOn());
        listener.notifyPowerOff();
    });
    auto const story = tell(without(without(told, kNoise), {Kind::UnifiedLog}));
    EXPECT_THAT(story,
                ElementsAre("{ init()::IPeripheralController", "PeripheralGet 1",
                            "{ IPeripheralController::notifyPowerOn", "PeripheralPowerOn 1",
                            "} IPeripheralController::notifyPowerOn", "} init()::IPeripheralController",
                            "{ init()::hal3a", "Hal3AGet 1", "{ hal3a::notifyPowerOn", "Hal3APowerOn 1",
                            "} hal3a::notifyPowerOn", "} init()::hal3a", "{ 3A notifyPowerOn",
                            "} 3A notifyPowerOn", "{ 3A notifyPowerOff", "Hal3APowerOff 1",
                            "} 3A notifyPowerOff", "{ CamHw notifyPowerOff", "PeripheralPowerOff 1",
                            "} CamHw notifyPowerOff", "PeripheralRelease 1", "Hal3ARelease 1"));
}

TEST_F(ListenerTest, CallsNoServiceBeforeInit) {
    NSCam::Hal3AListener listener(1, kCaller);
    auto const told = entriesOf([&] {
        EXPECT_TRUE(listener.notifyPowerOn());
        EXPECT_TRUE(listener.notifyPowerOff());
    });
    EXPECT_THAT(tell(without(told, kNoise)), ElementsAre("{ 3A notifyPowerOn", "} 3A notifyPowerOn"));
}

TEST_F(ListenerTest, IsNamedHal3AAndLogsItsAddressWhenMade) {
    char expected[64];
    std::vector<Entry> told;
    {
        std::optional<NSCam::Hal3AListener> listener;
        told = entriesOf([&] { listener.emplace(-1, kCaller); });
        std::snprintf(expected, sizeof expected, "D -1[Hal3AListener::Hal3AListener] %p",
                      static_cast<void*>(&*listener));
        EXPECT_EQ(listener->getName(), "Hal3A");
    }
    EXPECT_THAT(logLines(told), ElementsAre(expected));
    EXPECT_EQ(ofKinds(told, {Kind::UnifiedLog}).at(0).text, "ZeqCam/Hal3AListener");
}

}  // namespace
}  // namespace zeqcam::tests
