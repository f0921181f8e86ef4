// What a scenario can say beyond one request after another: repetition, signals, changes, ranges, supplies.
#include "ToolRuns.h"
#include "scenario/NeverEnds.h"
#include "scenario/ScenarioReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

// One controller for all of two sensors; the steps of the first client stand on line 14.
std::string scenarioOf(std::vector<std::string> const& clients, std::string const& sensorKeys = "",
                       std::string const& top = "") {
    std::string text = "[[sensor]]\nid = 0\nname = 'main'\n" + (sensorKeys.empty() ? "#" : sensorKeys) +
                       "\n[[sensor]]\nid = 1\n[[controller]]\nname = 'photo'\nsensors = [0, 1]\n" +
                       (top.empty() ? "#" : top) + '\n';
    for (std::size_t i = 0; i < clients.size(); ++i) {
        text += "[[client]]\nname = 'client " + std::to_string(i) + "'\ncontroller = 'photo'\nsteps = [" +
                clients[i] + "]\n";
    }
    return text;
}

std::vector<std::string> keysOf(Client const& client) {
    std::vector<std::string> keys;
    for (Step const& step : client.steps) keys.emplace_back(keyOf(step));
    return keys;
}

TEST(ScenarioReader, RepeatsStepsAlsoInOneAnother) {
    auto const [scenario, faults, included] = readScenario(scenarioOf(
        {"{ repeat = 2, steps = [ { power_on = [0] }, { repeat = 2, steps = [ { wait = true } ] } ] }, "
         "{ signal = 'done' }"}));
    ASSERT_THAT(faults, IsEmpty());
    EXPECT_THAT(keysOf(scenario.clients[0]),
                ElementsAre("power_on", "wait", "wait", "power_on", "wait", "wait", "signal"));
}

TEST(ScenarioReader, LetsNoGivenNameBeAnothersDefault) {
    EXPECT_THAT(readScenario(scenarioOf({"{ wait = true }"}, "[[sensor]]\nid = 2\nname = 'sensor 1'")).faults,
                ElementsAre(AllOf(Field(&Fault::line, 8), Field(&Fault::field, "sensor.id"))));
    EXPECT_THAT(
        readScenario(scenarioOf({"{ wait = true }"}, "#", "[[sensor]]\nid = 2\nname = 'sensor 1'")).faults,
        ElementsAre(AllOf(Field(&Fault::line, 12), Field(&Fault::field, "sensor.name"))));
}

struct Wrong {
    std::string steps;
    std::string sensorKeys;
    int line;
    std::string field;
};

TEST(ScenarioReader, NamesTheFaultsOfWhatAScenarioCanSay) {
    std::vector<Wrong> const cases{
        {"{ repeat = 0, steps = [ { wait = true } ] }", "", 14, "client.steps.repeat"},
        {"{ repeat = 2 }", "", 14, "client.steps"},
        {"{ steps = [ { wait = true } ], wait = true }", "", 14, "client.steps"},
        {"{ repeat = 2, steps = [ {} ] }", "", 14, "client.steps"},
        {"{ repeat = 2, steps = [ { wait = true } ], expect = true }", "", 14, "client.steps.expect"},
        {"{ repeat = 1000, steps = [ { repeat = 101, steps = [ { wait = true } ] } ] }", "", 14,
         "client.steps"},
        {"{ repeat = 3, steps = [ { destroy = true } ] }", "", 14, "client.steps.destroy"},
        {"{ signal = '' }", "", 14, "client.steps.signal"},
        {"{ await = 3 }", "", 14, "client.steps.await"},
        {"{ change = { tele = {} } }", "", 14, "client.steps.change"},
        {"{ change = { main = true } }", "", 14, "client.steps.change"},
        {"{ change = { main = {}, 0 = {} } }", "", 14, "client.steps.change"},
        {"{ change = { main = { name = 'tele' } } }", "", 14, "sensor.name"},
        {"{ change = { main = { power_on_ms = -1 } } }", "", 14, "sensor.power_on_ms"},
        {"{ change = { main = { hal3a = { on_state = 1 } } } }", "", 14, "sensor.hal3a.on_state"},
        {"{ change_board = { queue = 'missing' } }", "", 14, "board.queue"},
        {"{ change_board = { seed = 3 } }", "", 14, "board.seed"},
        {"{ wait = true }", "power_on_ms = [1, 2, 3]", 4, "sensor.power_on_ms"},
        {"{ wait = true }", "power_on_ms = [2, 1]", 4, "sensor.power_on_ms"},
        {"{ wait = true }", "power_on_ms = [1, 60001]", 4, "sensor.power_on_ms"},
        {"{ wait = true }", "power_on_fails = { every = 0 }", 4, "sensor.power_on_fails.every"},
        {"{ wait = true }", "hal3a = { on_ms = 'long' }", 4, "sensor.hal3a.on_ms"},
        {"{ wait = true }", "supply = 'rail'", 4, "sensor.supply"},
        {"{ wait = true }", "device = '1-1'", 4, "sensor.device"},
        {"{ wait = true }", "device = '/sys/1-1'\ndevice_timeout_ms = 0", 5, "sensor.device_timeout_ms"},
        {"{ change = { main = { device = '/sys/1-1' } } }", "", 14, "sensor.device"},
        {"{ wait = true }", "[[supply]]\nname = 'rail'\nat_once = 0", 6, "supply.at_once"},
        {"{ wait = true }", "[[supply]]\nname = 'rail'\n[[supply]]\nname = 'rail'", 7, "supply.name"},
    };
    for (auto const& [steps, sensorKeys, line, field] : cases) {
        EXPECT_THAT(readScenario(scenarioOf({steps}, sensorKeys)).faults,
                    ElementsAre(AllOf(Field(&Fault::line, line), Field(&Fault::field, field))))
            << steps << sensorKeys;
    }
}

TEST(ScenarioReader, TakesRangesServicesAndSupplies) {
    auto const [scenario, faults, included] =
        readScenario(scenarioOf({"{ wait = true }"},
                                "power_on_ms = [44, 52.5]\npower_off_ms = 3\npower_on_fails = { every = 3 }\n"
                                "hal3a = { on_ms = 2, off_ms = [1, 2] }\nsupply = 'rail'\n"
                                "device = '/sys/1-1'\ndevice_timeout_ms = 2.5",
                                "[[supply]]\nname = 'rail'\nat_once = 2"));
    ASSERT_THAT(faults, IsEmpty());
    auto const& sensor = scenario.settings.sensors.at(0);
    EXPECT_EQ(sensor.powerOnTime, zeqcam::board::TimeRange(44ms, 52500us));
    EXPECT_EQ(sensor.powerOffTime, zeqcam::board::TimeRange(3ms));
    EXPECT_EQ(sensor.powerOnFails.every, 3);
    EXPECT_EQ(sensor.hal3a.value().onTime, zeqcam::board::TimeRange(2ms));
    EXPECT_EQ(sensor.hal3a.value().offTime, zeqcam::board::TimeRange(1ms, 2ms));
    EXPECT_EQ(scenario.settings.supplies.at(sensor.supply).atOnce, 2);
    ASSERT_EQ(scenario.devices.size(), 1U);
    EXPECT_EQ(scenario.devices[0].sensor, 0);
    EXPECT_EQ(scenario.devices[0].path, "/sys/1-1");
    EXPECT_EQ(scenario.devices[0].timeout, 2500us);
    EXPECT_EQ(scenario.devices[0].line, 9);
}

TEST(ScenarioReader, ChangesWhatAStepNamesAndNothingElse) {
    auto const [scenario, faults, included] = readScenario(scenarioOf(
        {"{ change = { main = { power_on_ms = 9, hal3a = { on_status = -1 } }, 1 = { peripheral = { present "
         "= false } } } }, { change_board = { queue = 'dropped' } }"},
        "power_off_ms = 3\nhal3a = { off_status = 7 }", "[board]\nqueue_late_ms = 4"));
    ASSERT_THAT(faults, IsEmpty());
    auto settings = scenario.settings;
    for (Step const& step : scenario.clients[0].steps) std::get<Change>(step.action).edit(settings);
    auto const& main = settings.sensors.at(0);
    EXPECT_EQ(main.powerOnTime, zeqcam::board::TimeRange(9ms));
    EXPECT_EQ(main.powerOffTime, zeqcam::board::TimeRange(3ms));
    EXPECT_EQ(main.hal3a.value().onStatus, -1);
    EXPECT_EQ(main.hal3a.value().offStatus, 7);
    EXPECT_TRUE(main.peripheral);
    EXPECT_FALSE(settings.sensors.at(1).peripheral);
    EXPECT_EQ(settings.queue.runs, zeqcam::board::TaskRuns::Dropped);
    EXPECT_EQ(settings.queue.lateBy, 4ms);
    EXPECT_EQ(settings.seed, scenario.settings.seed);
}

TEST(Tool, LetsClientsWaitForOneAnotherAndChangeTheBoard) {
    Folder const folder;
    // Without the signals the second client would find the sensor off, and without the change the run would
    // hang.
    auto const file = folder.put(
        "turns.toml",
        scenarioOf({"{ change = { 1 = { power_on_hangs = true } } }, "
                    "{ repeat = 3, steps = [ { power_on = [0], expect = true }, { signal = 'up' }, "
                    "{ await = 'seen' }, { power_off = [0] }, { signal = 'down' } ] }, "
                    "{ power_on = [1], expect = true }",
                    "{ repeat = 3, steps = [ { await = 'up' }, { status = { main = true } }, { signal = "
                    "'seen' }, { await = 'down' } ] }, { change = { 1 = { power_on_hangs = false } } }"}));
    auto const [status, output] = runTool("run -q --timeout 20 " + file);
    EXPECT_EQ(status, 0) << output;
    EXPECT_THAT(output, HasSubstr("7 of 7 expectations"));
}

TEST(Tool, SaysWhichSignalAClientWaitsForWhenItIsCutOff) {
    Folder const folder;
    auto const file =
        folder.put("waits.toml", scenarioOf({"{ await = 'previewing' }, { status = { 0 = true } }"}));
    auto const [status, output] = runTool("run --timeout 0.05 " + file);
    EXPECT_EQ(status, 3);
    EXPECT_THAT(output, AllOf(HasSubstr("client 0: in \"await previewing\" for"), HasSubstr("0 of 1")));
}

constexpr char kPhone[] =
    "[board]\nseed = 3\nlog = 'error'\n[[sensor]]\nid = 0\nname = 'main'\npower_on_ms = 5\n"
    "[[controller]]\nname = 'photo'\nsensors = [0]\n";
constexpr char kApp[] =
    "[[client]]\nname = 'app'\ncontroller = 'photo'\nsteps = [ { power_on = ['main'] } ]\n";

TEST(ScenarioReader, IncludesTheBoardOfAnotherFileAndSaysTheRestItself) {
    Folder const folder;
    std::filesystem::create_directory(folder.path("boards"));
    folder.put("boards/phone.toml", "include = ['../rail.toml']\n" + std::string(kPhone));
    folder.put("rail.toml", "[[supply]]\nname = 'rail'\n[board]\nseed = 9\nqueue_threads = 2\n");
    auto const file = folder.put("late.toml",
                                 "include = 'boards/phone.toml'\n[board]\nlog = 'debug'\n[[sensor]]\nid = 0\n"
                                 "supply = 'rail'\npower_on_fails = 'always'\n" +
                                     std::string(kApp));
    auto const [scenario, faults, included] = readScenarioFile(file);
    for (Fault const& fault : faults) ADD_FAILURE() << faultText(fault, file);
    auto const& settings = scenario.settings;
    EXPECT_EQ(settings.seed, 3U) << "the file that includes goes before";
    EXPECT_EQ(settings.log.detailsLevel, 5U);
    EXPECT_EQ(settings.queue.threads, 2);
    auto const& sensor = settings.sensors.at(0);
    EXPECT_EQ(sensor.name, "main");
    EXPECT_EQ(sensor.powerOnTime, zeqcam::board::TimeRange(5ms));
    EXPECT_TRUE(sensor.powerOnFails.always);
    EXPECT_EQ(included.size(), 2U);
    EXPECT_EQ(runTool("run " + file + " --svg " + folder.path("rail.toml")).status, 2) << "would replace it";
}

TEST(ScenarioReader, KeepsTheOrderOfSensorsThatTheBoardHas) {
    Folder const folder;
    folder.put("board.toml", "[[sensor]]\nid = 7\n[[sensor]]\nid = 0\n[[sensor]]\nid = 3\n");
    auto const file = folder.put(
        "app.toml", "include = 'board.toml'\n[[sensor]]\nid = 9\n[[sensor]]\nid = 3\n" + std::string(kApp));
    EXPECT_THAT(readScenarioFile(file).scenario.sensors, ElementsAre(7, 0, 3, 9));
}

TEST(ScenarioReader, NamesTheFileAndLineOfAFaultInAnIncludedFile) {
    struct Case {
        std::string phone;
        std::string fault;
    };
    std::vector<Case> const cases{
        {kPhone + std::string("[[sensor]]\nid = 4\nlens = 2\n"), "phone.toml:13: sensor.lens: unknown field"},
        {"[[sensor]\n", "phone.toml:1: syntax: "},
        {kPhone + std::string(kApp), "phone.toml:11: client: "},
        {"board = 1\ninclude = 'app.toml'\n", "phone.toml:2: include: "},
        {"\ninclude = [ 'app.toml', ]\n", "phone.toml:2: include: "},
        {"include = [ 3 ]\n", "phone.toml:1: include: "},
        {"include = 'nowhere.toml'\n", "phone.toml:1: include: "},
    };
    for (auto const& [phone, expected] : cases) {
        Folder const folder;
        folder.put("phone.toml", phone);
        auto const file = folder.put("app.toml", "include = ['phone.toml']\n" + std::string(kApp));
        auto const faults = readScenarioFile(file).faults;
        ASSERT_EQ(faults.size(), 1U) << phone;
        EXPECT_THAT(faultText(faults.front(), file), testing::StartsWith(folder.path(expected)));
    }
    EXPECT_THAT(readScenario("include = 'phone.toml'").faults,
                ElementsAre(AllOf(Field(&Fault::line, 1), Field(&Fault::field, "include"))));
}

TEST(Tool, ChecksForWhatNeverEnds) {
    struct Case {
        std::vector<std::string> clients;
        std::vector<int> lines;
    };
    std::string const others = "{ power_off = [0] }";
    std::vector<Case> const cases{
        {{"{ await = 'x' }"}, {14}},
        {{"{ await = 'x' }", "{ signal = 'x' }"}, {}},
        {{"{ repeat = 3, steps = [ { await = 'x' } ] }", "{ repeat = 2, steps = [ { signal = 'x' } ] }"},
         {14}},
        {{"{ await = 'x' }, { signal = 'y' }", "{ await = 'y' }, { signal = 'x' }"}, {14, 18}},
        {{"{ signal = 'y' }, { await = 'x' }", "{ await = 'y' }, { signal = 'x' }"}, {}},
        {{"{ power_on = [0] }, { wait = true }"}, {14}},
        {{"{ power_on = [0] }, { wait = true }", others}, {}},
        {{"{ power_on = [0, 1] }, { power_off = [0] },\n{ wait = true }"}, {15}},
        {{"{ power_on = [0, 1] }, { power_off = [0, 1] }, { wait = true }"}, {}},
        {{"{ power_on = [0] }, { destroy = true }, { wait = true }"}, {}},
    };
    for (auto const& [clients, lines] : cases) {
        auto const [scenario, faults, included] = readScenario(scenarioOf(clients));
        ASSERT_THAT(faults, IsEmpty()) << clients[0];
        std::vector<int> found;
        for (Fault const& fault : neverEnding(scenario)) found.push_back(fault.line);
        EXPECT_EQ(found, lines) << clients[0];
    }
    Folder const folder;
    auto const [status, output] = runTool("check " + folder.put("a.toml", scenarioOf({"{ await = 'x' }"})));
    EXPECT_EQ(status, 2);
    EXPECT_THAT(output, HasSubstr("a.toml:14: client.steps.await: nobody gives the signal \"x\""));
}

}  // namespace
