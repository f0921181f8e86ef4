// What is wrong with a scenario, and where; what a right one says.
#include "ScenarioTexts.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;

auto isFault(int line, std::string const& field) {
    return AllOf(Field(&Fault::line, line), Field(&Fault::field, field));
}

struct WrongLine {
    std::size_t number;
    std::string text;
    int line;
    std::string field;
};

TEST(ScenarioReader, NamesLineAndFieldOfEachFaultAndNothingElse) {
    std::vector<WrongLine> const cases{
        {2, "id = 0\nhandel = true", 3, "sensor.handel"},
        {2, "id = 'main'", 2, "sensor.id"},
        {2, "id = 2147483648", 2, "sensor.id"},
        {2, "", 1, "sensor.id"},
        {2, "id = 0\n[[sensor]]\nid = 0", 4, "sensor.id"},
        {2, "id = 0\npower_on_ms = -1", 3, "sensor.power_on_ms"},
        {2, "id = 0\npower_on_ms = nan", 3, "sensor.power_on_ms"},
        {2, "id = 0\npower_off_ms = 60000.1", 3, "sensor.power_off_ms"},
        {2, "id = 0\npower_on_fails = 'seldom'", 3, "sensor.power_on_fails"},
        {2, "id = 0\npower_on_fails = {}", 3, "sensor.power_on_fails"},
        {2, "id = 0\npower_on_fails = { chance = 1.01 }", 3, "sensor.power_on_fails.chance"},
        {2, "id = 0\npower_on_fails = { times = [2, 0] }", 3, "sensor.power_on_fails.times"},
        {2, "id = 0\nhal3a = { on_status = 0.5 }", 3, "sensor.hal3a.on_status"},
        {2, "id = 0\nperipheral = false", 3, "sensor.peripheral"},
        {3, "name = '7'", 3, "sensor.name"},
        {3, "name = 'main'\n[[sensor]]\nid = 1\nname = 'main'", 6, "sensor.name"},
        {4, "[board]\nqueue = 'fast'\n[[controller]]", 5, "board.queue"},
        {4, "[board]\nqueue_threads = 0\n[[controller]]", 5, "board.queue_threads"},
        {4, "[bord]\n[[controller]]", 4, "bord"},
        {5, "name = ''", 5, "controller.name"},
        {6, "sensors = [\n0,\n1]", 8, "controller.sensors"},
        {6, "sensors = [4294967296]", 6, "controller.sensors"},
        {6, "sensors = 0", 6, "controller.sensors"},
        {8, "name = 'app'\ncontroller = 'photo'\nsteps = [{ wait = true }]\n[[client]]\nname = 'app'", 12,
         "client.name"},
        {9, "controller = 'video'", 9, "client.controller"},
        {10, "steps = []", 10, "client.steps"},
        {10, "steps = [ {}, ]", 10, "client.steps"},
        {10, "steps = [ { wait = true, destroy = true } ]", 10, "client.steps"},
        {10, "steps = [ { wait = false } ]", 10, "client.steps.wait"},
        {10, "steps = [ { power_on = ['tele'] } ]", 10, "client.steps.power_on"},
        {10, "steps = [ { power_off = [0], expect = true } ]", 10, "client.steps.expect"},
        {10, "steps = [ { wait = true, failed = ['main'] } ]", 10, "client.steps.failed"},
        {10, "steps = [ { power_on = [0], failed = ['tele'] } ]", 10, "client.steps.failed"},
        {10, "steps = [ { power_off = [0], reports = 1 } ]", 10, "client.steps.reports"},
        {10, "steps = [ { power_on = [0], reports = -1 } ]", 10, "client.steps.reports"},
        {10, "steps = [ { sleep_ms = 1, within_ms = 2 } ]", 10, "client.steps.within_ms"},
        {10, "steps = [ { powered = { tele = true } } ]", 10, "client.steps.powered"},
        {10, "steps = [ { status = { main = 1 } } ]", 10, "client.steps.status"},
        {10, "steps = [ { status = { main = true, 0 = true } } ]", 10, "client.steps.status"},
        {10, "steps = [\n{ destroy = true },\n{ wait = true },\n{ status = {} } ]", 13,
         "client.steps.status"},
        {10, "steps = [", 10, "syntax"},
        {10, "steps = [ } ]", 10, "syntax"},
        {8, "\u00e9 = 'app'", 8, "syntax"},
    };
    for (auto const& [number, text, line, field] : cases) {
        EXPECT_THAT(readScenario(scenarioWith(number, text)).faults, ElementsAre(isFault(line, field)))
            << text;
    }
    EXPECT_THAT(readScenario("").faults,
                ElementsAre(isFault(1, "sensor"), isFault(1, "controller"), isFault(1, "client")));
}

TEST(ScenarioReader, ReportsAllFaultsInTheOrderOfTheirLines) {
    EXPECT_THAT(
        readScenario("client = 1\n[[sensor]]\nid = 0\nname = 1\nlens = 2\n[board]\nlog = 'all'\n").faults,
        ElementsAre(isFault(1, "controller"), isFault(1, "client"), isFault(4, "sensor.name"),
                    isFault(5, "sensor.lens"), isFault(7, "board.log")));
}

TEST(ScenarioReader, AcceptsEveryDefaultThatItStates) {
    for (Key const& key : scenarioKeys()) {
        std::string const table(key.table);
        if (table.empty() || key.fallback.empty() || key.fallback == "none" || key.type == Type::Text)
            continue;
        std::string const quote = key.type == Type::Choice ? "'" : "";
        std::string const header = table == "sensor"   ? ""
                                   : table == "supply" ? "[[supply]]\nname = 'rail'\n"
                                                       : '[' + table + "]\n";
        std::string const line = std::string(key.name) + " = " + quote + std::string(key.fallback) + quote;
        EXPECT_THAT(readScenario(scenarioWith(4, header + line + "\n[[controller]]")).faults, ElementsAre())
            << line;
    }
}

TEST(ScenarioReader, GivesTheBoardWhatTheFileSays) {
    auto const [scenario, faults, included] = readScenario(scenarioWith(
        4,
        "power_on_ms = 1.5\npower_on_fails = { times = [2], chance = 0.25 }\nhal3a = { off_status = -3 }\n"
        "peripheral.present = false\n[board]\nqueue = 'late'\nqueue_late_ms = 2\nlog = "
        "'debug'\n[[controller]]"));
    ASSERT_TRUE(faults.empty()) << faults.front().message;
    auto const& sensor = scenario.settings.sensors.at(0);
    EXPECT_EQ(sensor.powerOnTime, 1500us);
    EXPECT_EQ(sensor.powerOnFails.times, std::vector{2});
    EXPECT_EQ(sensor.powerOnFails.probability, 0.25);
    EXPECT_EQ(sensor.hal3a.value().offStatus, -3);
    EXPECT_FALSE(sensor.peripheral.has_value());
    EXPECT_EQ(scenario.settings.queue.runs, zeqcam::board::TaskRuns::Late);
    EXPECT_EQ(scenario.settings.queue.lateBy, 2ms);
    EXPECT_EQ(scenario.settings.log.detailsLevel, 5U);
}

}  // namespace
