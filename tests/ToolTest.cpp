#include "Report.h"
#include "ScenarioKeys.h"
#include "ScenarioReader.h"
#include "SensorTimes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using zeqcam::board::Kind;

std::vector<std::string> const kLines{"[[sensor]]",           "id = 0",
                                      "name = 'main'",        "[[controller]]",
                                      "name = 'photo'",       "sensors = [0]",
                                      "[[client]]",           "name = 'app'",
                                      "controller = 'photo'", "steps = [ { power_on = ['main'] } ]"};

// The lines above with line `number` replaced.
std::string scenarioWith(std::size_t number = 0, std::string const& replacement = {}) {
    std::string text;
    for (std::size_t i = 0; i < kLines.size(); ++i)
        text += (i + 1 == number ? replacement : kLines[i]) + '\n';
    return text;
}

std::string stepsAre(std::string const& steps) {
    return scenarioWith(10, "steps = [" + steps + "]");
}

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
        std::string const header = table == "sensor" ? "" : '[' + table + "]\n";
        std::string const line = std::string(key.name) + " = " + quote + std::string(key.fallback) + quote;
        EXPECT_THAT(readScenario(scenarioWith(4, header + line + "\n[[controller]]")).faults, ElementsAre())
            << line;
    }
}

TEST(ScenarioReader, GivesTheBoardWhatTheFileSays) {
    auto const [scenario, faults] = readScenario(scenarioWith(
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

// A journal with one entry each millisecond.
std::vector<zeqcam::board::Entry> journalOf(std::vector<zeqcam::board::Entry> entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].order = i;
        entries[i].time += i * 1ms;
    }
    return entries;
}

TEST(SensorTimes, CountsTheCallsOfARequestAndNotThoseItWaitedFor) {
    // The app's request, on thread 1, finds its controller busy with the same sensors for the lens test, on
    // thread 2.
    auto const times =
        sensorTimes(journalOf({{.thread = 2, .kind = Kind::Request, .text = "lens test", .sensors = {0}},
                               {.thread = 2, .kind = Kind::SensorPowerOff, .sensor = 0},
                               {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0, 1, 2}},
                               {.thread = 2, .kind = Kind::SensorPowerOffDone, .sensor = 0},
                               {.thread = 2, .kind = Kind::Reply, .text = "lens test"},
                               {.thread = 1, .kind = Kind::SensorListGet},
                               {.thread = 3, .kind = Kind::SensorPowerOn, .sensor = 0},
                               {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 1},
                               {.thread = 5, .kind = Kind::SensorPowerOn, .sensor = 7},
                               {.thread = 4, .kind = Kind::SensorPowerOnDone, .sensor = 1},
                               {.thread = 3, .kind = Kind::SensorPowerOnDone, .sensor = 0},
                               {.thread = 1, .kind = Kind::Reply, .text = "app"},
                               {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0}},
                               {.thread = 1, .kind = Kind::Reply, .text = "app"}}),
                    "app");
    ASSERT_EQ(times.size(), 2U);
    EXPECT_EQ(times[0].calls, 2);
    EXPECT_EQ(times[0].slowest, 4ms);
    EXPECT_EQ(times[0].oneAfterAnother, 6ms);
    EXPECT_EQ(times[1].calls, 0) << "sensor 0 is on already";
}

TEST(Report, LetsNoControlCharacterOfTheFileThrough) {
    auto scenario = readScenario(scenarioWith(3, R"(name = "m\u001b[2Jain\u009b\n")")).scenario;
    Request const request{
        .line = 3, .client = "a\rb", .name = "status", .sensors = {0}, .expects = true, .unmet = "\a"};
    Outcome const outcome{.requests = {request}, .powered = {}, .controllers = {{"\u0085", std::nullopt}}};
    std::string const text = report(scenario, outcome, "a\tb.toml", false);
    EXPECT_THAT(text, AllOf(HasSubstr("m\\x1b[2Jain\\x9b\\x0a"), HasSubstr("a\\x09b.toml:3: a\\x0db")));
    EXPECT_EQ(text.find_first_of("\033\r\a\t\xc2"), text.npos);
}

struct Ran {
    int status;
    std::string output;
};

Ran runTool(std::string const& arguments) {
    Ran ran{-1, {}};
    std::FILE* const pipe = popen(("\"" ZEQCAM_POWER_PATH "\" " + arguments + " 2>&1").c_str(), "r");
    if (!pipe) return ran;
    std::array<char, 4096> part{};
    for (std::size_t size; (size = std::fread(part.data(), 1, part.size(), pipe)) > 0;)
        ran.output.append(part.data(), size);
    int const status = pclose(pipe);
    if (WIFEXITED(status)) ran.status = WEXITSTATUS(status);
    return ran;
}

Ran runScenario(std::string const& text) {
    std::string const path = testing::TempDir() + "scenario-" + std::to_string(getpid()) + ".toml";
    std::ofstream(path) << text;
    Ran ran = runTool("run \"" + path + '"');
    std::remove(path.c_str());
    return ran;
}

TEST(Tool, RunsTheExample) {
    auto const [status, output] = runTool("run " ZEQCAM_EXAMPLES_DIR "/phone.toml");
    EXPECT_EQ(status, 0) << output;
    EXPECT_THAT(output, AllOf(HasSubstr("powerOn +"), HasSubstr("unlock destroyed"),
                              HasSubstr("7 of 7 expectations")));
}

TEST(Tool, EndsWithTwoAndOneLineWhereNothingCanRun) {
    for (std::string const arguments :
         {"", "walk", "run", "run a b", "run --fast a", "run /nowhere.toml", "run ."}) {
        auto const [status, output] = runTool(arguments);
        EXPECT_EQ(status, 2) << arguments;
        EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
    }
    auto const [status, output] = runScenario(scenarioWith(2, "id = 0\nlens = 1"));
    EXPECT_EQ(status, 2);
    EXPECT_THAT(output, testing::MatchesRegex("zeqcam-power: .*\\.toml:3: sensor.lens: [^\n]*\n"));
    EXPECT_EQ(runTool("run --help").status, 0);
}

TEST(Tool, TellsWhatCameOfEachExpectationAndController) {
    struct Case {
        std::string text;
        int status;
        std::string told;
    };
    std::string const second =
        "\n[[client]]\nname = 'second'\ncontroller = 'photo'\nsteps = [ { destroy = true } ]";
    std::vector<Case> const cases{
        {stepsAre("{ power_on = [0], expect = false }"), 1,
         ".toml:10: app: power on: the result is true, expected false"},
        {stepsAre("{ status = { 0 = true } }"), 1, ".toml:10: app: status: main is off, expected on"},
        {scenarioWith(2, "id = 0\nhandle = false"), 0, "false"},
        {scenarioWith(3, "name = 'main'\npower_on_fails = 'always'"), 0, "0  main    off    photo on"},
        {stepsAre("{ power_on = [0] }") + second, 0, "0  main    on     photo on"},
        {stepsAre("{ power_on = [0] }, { destroy = true }") + second, 0, "0  main    off    photo destroyed"},
    };
    for (auto const& [text, expected, told] : cases) {
        auto const [status, output] = runScenario(text);
        EXPECT_EQ(status, expected) << output;
        EXPECT_THAT(output, HasSubstr(told));
    }
}

}  // namespace
