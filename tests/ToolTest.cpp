#include "analysis/Outcomes.h"
#include "analysis/SensorTimes.h"
#include "run/JournalRecord.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"
#include "views/Report.h"
#include "views/StandingText.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
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

// A client's steps on a sensor with one more key, whose lines are one further down.
std::string withSensor(std::string const& key, std::string const& steps) {
    std::string text = stepsAre(steps);
    return text.insert(text.find("name ="), key + '\n');
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
    // Another controller drives sensor 1 besides, on thread 6.
    auto const times = sensorTimes(
        recordOf(journalOf({{.thread = 2, .kind = Kind::Request, .text = "lens test", .sensors = {0}},
                            {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0, 1, 2}},
                            {.thread = 2, .kind = Kind::SensorPowerOff, .sensor = 0},
                            {.thread = 2, .kind = Kind::SensorPowerOffDone, .sensor = 0},
                            {.thread = 2, .kind = Kind::Reply, .text = "lens test"},
                            {.thread = 1, .kind = Kind::SensorListGet},
                            {.thread = 3, .kind = Kind::SensorPowerOn, .sensor = 0},
                            {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 1},
                            {.thread = 6, .kind = Kind::SensorPowerOn, .sensor = 1},
                            {.thread = 4, .kind = Kind::SensorPowerOnDone, .sensor = 1},
                            {.thread = 3, .kind = Kind::SensorPowerOnDone, .sensor = 0},
                            {.thread = 6, .kind = Kind::SensorPowerOnDone, .sensor = 1},
                            {.thread = 1, .kind = Kind::Reply, .text = "app"},
                            {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0}},
                            {.thread = 1, .kind = Kind::Reply, .text = "app"}}),
                 {}));
    ASSERT_EQ(times.size(), 3U);
    EXPECT_EQ(times[1].calls, 2);
    EXPECT_EQ(times[1].slowest, 4ms);
    EXPECT_EQ(times[1].oneAfterAnother, 6ms);
    EXPECT_EQ(times[2].calls, 0) << "sensor 0 is on already";
}

TEST(SensorTimes, CountsACallThatHasNotEndedUntilTheEnd) {
    auto const times =
        sensorTimes(recordOf(journalOf({{.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0}},
                                        {.thread = 1, .kind = Kind::SensorListGet},
                                        {.thread = 3, .kind = Kind::SensorPowerOn, .sensor = 0}}),
                             instantOf(std::chrono::steady_clock::time_point(9ms))));
    EXPECT_EQ(times.at(0).calls, 1);
    EXPECT_EQ(times.at(0).slowest, 7ms);
}

// What two controllers did of the same sensor at the same time: each has the answers of its own calls.
TEST(Outcomes, TellWhoseSensorFailed) {
    Record const record = recordOf(
        journalOf(
            {{.thread = 1, .kind = Kind::Request, .text = "app", .detail = "power on", .sensors = {0, 1}},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 0, .number = 1},
             {.thread = 2, .kind = Kind::Request, .text = "test", .detail = "power on", .sensors = {1}},
             {.thread = 2, .kind = Kind::SensorCreate, .sensor = 1, .number = 1},
             {.thread = 5, .kind = Kind::SensorPowerOn, .sensor = 1},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 1, .number = 1},
             {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 1},
             {.thread = 5, .kind = Kind::SensorPowerOnDone, .sensor = 1},
             {.thread = 5, .kind = Kind::ExceptionReport},
             {.thread = 4, .kind = Kind::SensorPowerOnDone, .sensor = 1, .number = 1},
             {.thread = 1, .kind = Kind::Hal3APowerOn, .sensor = 1, .number = -5},
             {.thread = 1, .kind = Kind::Reply, .text = "app"},
             {.thread = 2, .kind = Kind::Reply, .text = "test"},
             {.thread = 2, .kind = Kind::Request, .text = "test", .detail = "power off", .sensors = {1}},
             {.thread = 2, .kind = Kind::TaskPost},
             {.thread = 5, .kind = Kind::TaskRun},
             {.thread = 5, .kind = Kind::SensorPowerOff, .sensor = 1},
             {.thread = 5, .kind = Kind::SensorPowerOffDone, .sensor = 1}}),
        {});
    auto const outcomes = outcomesOf(record);
    EXPECT_THAT(outcomes.at(0).failedSensors, ElementsAre());
    EXPECT_THAT(outcomes.at(0).services, ElementsAre(10U));
    EXPECT_THAT(outcomes.at(1).failedSensors, ElementsAre(1));
    EXPECT_THAT(outcomes.at(1).reports, ElementsAre(8U));
    EXPECT_THAT(outcomes.at(2).failedSensors, ElementsAre(1)) << "did not go off";
}

TEST(Report, LetsNoControlCharacterOfTheFileThrough) {
    Record record;
    Texts& texts = record.texts;
    record.files = {"a\tb.toml"};
    record.sensors = {{.id = 0, .name = texts.add("m\033[2Jain\u009b\n"), .powered = false}};
    record.controllers = {
        {.name = texts.add("\u0085"), .sensors = {0}, .end = Record::Controller::End::Destroyed}};
    record.clients = {{.name = texts.add("a\rb")}};
    record.requests = {{.kind = RequestKind::Status, .name = texts.add("status"), .countedOn = {{0}}}};
    record.expectations = {
        {.line = 3, .request = 0, .state = Expectation::State::Unmet, .unmet = texts.add("\a")}};
    std::ostringstream out;
    writeReport(record, {}, out);
    std::string const text = out.str();
    EXPECT_THAT(text, AllOf(HasSubstr("m\\x1b[2Jain\\x9b\\x0a"), HasSubstr("a\\x09b.toml:3: a\\x0db"),
                            HasSubstr("\\x85 destroyed")));
    EXPECT_EQ(text.find_first_of("\033\r\a\t\xc2"), text.npos);
}

struct Ran {
    int status;
    std::string output;
};

constexpr int kNoSignal = 0;

// A log line begins with the date, the time, and the ids of process and thread.
int loggedProcess(std::string const& line) {
    int process = 0;
    std::sscanf(line.c_str(), "%*s %*s %d", &process);
    return process;
}

// The signal is sent to the tool when it has logged that a power-on has begun.
Ran runCommand(std::string const& command, int signal = kNoSignal) {
    Ran ran{-1, {}};
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return ran;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe)) {
        ran.output += line.data();
        bool const hasBegun = std::string_view(line.data()).ends_with("powerOn +\n");
        if (hasBegun && signal != kNoSignal) kill(loggedProcess(line.data()), signal);
    }
    int const status = pclose(pipe);
    if (WIFEXITED(status)) ran.status = WEXITSTATUS(status);
    return ran;
}

Ran runTool(std::string const& arguments, std::string const& errorsTo = "&1", int signal = kNoSignal) {
    return runCommand("\"" ZEQCAM_POWER_PATH "\" " + arguments + " 2>" + errorsTo, signal);
}

// A file of this process that goes with the test.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string const& ending, std::string const& text = {})
        : path(testing::TempDir() + "zeqcam-" + std::to_string(getpid()) + ending) {
        std::ofstream(path) << text;
    }
    ~TemporaryFile() { std::remove(path.c_str()); }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    [[nodiscard]] std::string text() const {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    std::string const path;
};

Ran runScenario(std::string const& text, std::string const& options = {}, std::string const& errorsTo = "&1",
                int signal = kNoSignal) {
    TemporaryFile const file(".toml", text);
    return runTool("run \"" + file.path + "\" " + options, errorsTo, signal);
}

TEST(Tool, RunsTheExample) {
    auto const [status, output] = runTool("run " ZEQCAM_EXAMPLES_DIR "/phone.toml");
    EXPECT_EQ(status, 0) << output;
    EXPECT_THAT(output, AllOf(HasSubstr("powerOn +"), HasSubstr("unlock destroyed"),
                              HasSubstr("8 of 8 expectations"), HasSubstr("true, tele failed")));
}

TEST(Tool, EndsWithTwoAndOneLineWhereNothingCanRun) {
    for (std::string const arguments :
         {"", "walk", "run", "run a b", "run --fast a", "run /nowhere.toml", "run .", "check /nowhere.toml",
          "run -v -q " ZEQCAM_EXAMPLES_DIR "/phone.toml", "run --timeout nan a", "run --seed -1 a",
          "run --trace /nowhere/trace.json " ZEQCAM_EXAMPLES_DIR "/phone.toml"}) {
        auto const [status, output] = runTool(arguments);
        EXPECT_EQ(status, 2) << arguments;
        EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
    }
    auto const [status, output] = runScenario(scenarioWith(2, "id = 0\nlens = 1"));
    EXPECT_EQ(status, 2);
    EXPECT_THAT(output, testing::MatchesRegex("zeqcam-power: .*\\.toml:3: sensor.lens: [^\n]*\n"));
    EXPECT_EQ(runTool("run --help").status, 0);
    EXPECT_THAT(runTool("--version").output, StartsWith("zeqcam-power "));
}

TEST(Tool, ChecksAFileWithoutRunningIt) {
    TemporaryFile const wrong(".toml", scenarioWith(2, "id = 0\nlens = 1\npower_on_ms = -1"));
    auto const [status, output] = runTool("check " + wrong.path);
    EXPECT_EQ(status, 2);
    EXPECT_THAT(output, testing::MatchesRegex("zeqcam-power: .*:3: sensor.lens: [^\n]*\n"
                                              "zeqcam-power: .*:4: sensor.power_on_ms: [^\n]*\n"));
    auto const right = runTool("check " ZEQCAM_EXAMPLES_DIR "/phone.toml");
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.output, "");
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
        {withSensor("power_on_fails = 'always'",
                    "{ power_on = [0], failed = [0], reports = 1 }, { powered = { main = false } }"),
         0, "0  main    off    photo on"},
        {withSensor("power_on_fails = 'always'", "{ power_on = [0] }, { powered = { main = true } }"), 1,
         ".toml:11: app: power on: the failed sensors are main, expected none\n"},
        {withSensor("power_on_fails = 'always'",
                    "{ power_on = [0], failed = [0] }, { powered = { main = true } }"),
         1, ".toml:11: app: powered: main is off, expected on"},
        {withSensor("power_on_fails = 'always'", "{ power_on = [0], failed = [0], reports = 2 }"), 1,
         "the exception reports are 1, expected 2"},
        {stepsAre("{ power_on = [0], failed = [0] }"), 1, "the failed sensors are none, expected main"},
        {withSensor("power_on_ms = 3", "{ power_on = [0], within_ms = 1 }"), 1,
         ", expected within 1.00 ms\n"},
        {withSensor("power_on_ms = 3", "{ power_on = [0], within_ms = 60000 }"), 0, "1 of 1 expectations"},
        {withSensor("power_off_fails = true",
                    "{ power_on = [0] }, { power_off = [0] }, { powered = { 0 = true } }"),
         1, ".toml:11: app: power off: the failed sensors are main, expected none\n"},
        {scenarioWith(3, "name = 'main'\nhal3a = { on_status = -5 }"), 0,
         ": the 3A control of main answered -5 to its power-on\n"},
        {stepsAre("{ power_on = [0] }") + second, 0, "0  main    on     photo on"},
        {scenarioWith(3, "name = 'main'\npower_off_hangs = true"), 0, "0  main    on     photo on"},
        {stepsAre("{ power_on = [0] }, { destroy = true }") + second, 0, "0  main    off    photo destroyed"},
    };
    for (auto const& [text, expected, told] : cases) {
        auto const [status, output] = runScenario(text);
        EXPECT_EQ(status, expected) << output;
        EXPECT_THAT(output, HasSubstr(told));
    }
}

// The scenario has a second client of a controller of its own, which may drive the same sensor.
std::string besides(std::string const& steps, std::string const& others) {
    return stepsAre(steps) + "[[controller]]\nname = 'test'\nsensors = [0]\n[[client]]\nname = 'other'\n" +
           "controller = 'test'\nsteps = [" + others + "]\n";
}

TEST(Tool, WarnsOfBrokenRulesOfTheClientsUnlessTheyAreAllowedOrItIsStrict) {
    struct Case {
        std::string text;
        std::string rule;
        std::string told;
    };
    std::vector<Case> const cases{
        {stepsAre("{ power_on = [0] }"), "all-off", "sensor main has power at the end"},
        {withSensor("power_on_fails = 'always'", "{ power_on = [0], failed = [0] }"), "status-true",
         "photo counts sensor main as on at the end, which has no power"},
        {stepsAre("{ power_off = [0] }"), "off-what-was-on",
         "app: app powers sensor main off, which its controller has not powered on"},
        {besides("{ power_on = [0] }, { sleep_ms = 200 }, { power_off = [0] }",
                 "{ sleep_ms = 100 }, { power_on = [0] }, { sleep_ms = 200 }, { power_off = [0] }"),
         "sensor-to-itself", "other: sensor main: power-on of a sensor that is on"},
    };
    for (auto const& [text, rule, told] : cases) {
        std::string const other = rule == "sensor-to-itself" ? " --allow counted-on" : "";
        auto const warned = runScenario(text, other);
        EXPECT_EQ(warned.status, 0) << warned.output;
        EXPECT_THAT(warned.output, AllOf(HasSubstr("\nwarning: " + rule + ": "), HasSubstr(told + '\n')));
        EXPECT_EQ(runScenario(text, "--strict" + other).status, 1) << rule;
        auto const allowed = runScenario(text, "--strict --allow " + rule + other);
        EXPECT_EQ(allowed.status, 0) << allowed.output;
        EXPECT_THAT(allowed.output, Not(HasSubstr(rule)));
        EXPECT_THAT(runTool("rules").output, HasSubstr("\n  " + rule + "\n      "));
    }
    auto const [status, output] =
        runScenario(stepsAre("{ power_on = [0] }, { wait = true }"), "--timeout 0.5");
    EXPECT_EQ(status, 3);
    EXPECT_THAT(output, HasSubstr("app waits for the power-on lock, which only itself could free\n"));
    EXPECT_EQ(runScenario(scenarioWith(), "--allow all-of").status, 2);
}

// Fails where a slice ends that is not the innermost of its thread, by its name and values.
void expectNestedSlices(nlohmann::json const& trace) {
    std::map<int, std::vector<std::string>> open;
    for (auto const& event : trace.at("traceEvents")) {
        auto& slices = open[event.at("tid")];
        std::string const name =
            event.at("name").get<std::string>() + event.value("args", nlohmann::json()).dump();
        if (event.at("ph") == "B") slices.push_back(name);
        if (event.at("ph") != "E") continue;
        ASSERT_FALSE(slices.empty()) << event;
        EXPECT_EQ(slices.back(), name);
        slices.pop_back();
    }
    for (auto const& [thread, slices] : open) EXPECT_THAT(slices, ElementsAre()) << thread;
}

TEST(TraceFile, HoldsSlicesMarksAndCountsInMicroseconds) {
    std::chrono::steady_clock::time_point const begin{5s};
    Record const record = recordOf(
        {{.time = begin, .thread = 1, .kind = Kind::Request, .text = "app", .detail = "power on"},
         {.time = begin + 1us, .thread = 7, .kind = Kind::TraceBegin, .text = "powerOnSensor: 2"},
         {.time = begin + 1500ns, .thread = 7, .kind = Kind::SensorPowerOn, .sensor = 2},
         {.time = begin + 2us, .thread = 7, .kind = Kind::UnifiedLog, .number = 1, .shown = "no\n\xff"},
         {.time = begin + 3us, .thread = 7, .kind = Kind::SensorPowerOnDone, .sensor = 2},
         {.time = begin + 4us, .thread = 8, .kind = Kind::SensorPowerOnDone, .sensor = 1, .number = 1}},
        instantOf(begin + 5us));
    std::ostringstream out;
    writeTrace(record, {.title = "phone"}, out);
    auto const trace = nlohmann::json::parse(out.str());
    expectNestedSlices(trace);
    std::map<std::string, nlohmann::json> last;
    for (auto const& event : trace.at("traceEvents"))
        last[event.at("ph").get<std::string>() + ' ' + event.at("name").get<std::string>()] = event;
    EXPECT_EQ(last.at("M process_name").at("args").at("name"), "phone");
    int const thread = last.at("M thread_name").at("tid");
    EXPECT_EQ(last.at("M thread_name").at("args").at("name"), "sensor 2 worker");
    EXPECT_EQ(last.at("B sensor 2 on").at("ts"), 1.5);
    EXPECT_EQ(last.at("B sensor 2 on").at("tid"), thread);
    EXPECT_EQ(last.at("E sensor 2 on").at("args").at("failed"), true);
    EXPECT_EQ(last.at("E powerOnSensor: 2").at("args").at("open"), true);
    EXPECT_EQ(last.at("i no\n\ufffd").at("args").at("level"), "error");
    EXPECT_EQ(last.at("C sensors powered").at("args").at("sensors"), 1);
}

TEST(Tool, TellsAndKeepsWhatARunThatIsCutOffWasIn) {
    struct Case {
        std::string options;
        int signal;
        int status;
    };
    std::string const hangs =
        withSensor("power_on_hangs = true", "{ power_on = [0], expect = true }, { status = { 0 = true } }");
    for (auto const& [options, signal, expected] :
         std::vector<Case>{{"--timeout 0.2 ", kNoSignal, 3}, {"", SIGINT, 130}, {"", SIGTERM, 143}}) {
        TemporaryFile const trace(".json");
        TemporaryFile const picture(".svg");
        auto const [status, output] =
            runScenario(hangs, options + "--trace " + trace.path + " --svg " + picture.path, "&1", signal);
        EXPECT_EQ(status, expected) << output;
        EXPECT_THAT(output,
                    AllOf(HasSubstr("app: in \"power on main\" for "), HasSubstr("! app     power on"),
                          HasSubstr(".toml:11: app: power on: has not ended, expected the result true\n"),
                          HasSubstr(".toml:11: app: status: was never reached, expected main on\n"),
                          HasSubstr("0 of 2 expectations held")))
            << output;
        expectNestedSlices(nlohmann::json::parse(trace.text()));
        EXPECT_THAT(picture.text(), HasSubstr("</svg>"));
    }
}

TEST(Standings, TellWhoWaitsForWhom) {
    using std::chrono::steady_clock;
    auto const controllerOf = [](Record& record, std::uint32_t client, std::uint32_t controller) {
        record.clients.push_back({.name = record.texts.add(client == 0   ? "face unlock"
                                                           : client == 1 ? "camera app"
                                                                         : "lens test"),
                                  .controller = controller});
    };
    Record record;
    for (std::uint32_t const client : {0U, 1U, 2U}) controllerOf(record, client, client == 1 ? 1 : 0);
    record.end = instantOf(steady_clock::time_point(520ms));
    addJournal(
        record,
        journalOf(
            {{.thread = 1, .kind = Kind::TraceTags},
             {.thread = 1,
              .kind = Kind::Request,
              .text = "face unlock",
              .detail = "power on",
              .sensors = {2}},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 2, .number = 1},
             {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 2},
             {.thread = 2, .kind = Kind::Request, .text = "camera app", .detail = "power on", .sensors = {0}},
             {.thread = 2, .kind = Kind::SensorCreate, .sensor = 0, .number = 1},
             {.thread = 2, .kind = Kind::Reply, .number = 1, .text = "camera app"},
             {.thread = 2, .kind = Kind::Request, .text = "camera app", .detail = "wait"},
             {.thread = 3,
              .kind = Kind::Request,
              .text = "lens test",
              .detail = "power off",
              .sensors = {2}}}));
    EXPECT_THAT(
        standingLines(record, standingsOf(record)),
        ElementsAre("face unlock is in sensor 2's power-on, for 517 ms",
                    "camera app waits for the power-on lock, held since 1.00 ms by face unlock, which is "
                    "in sensor 2's power-on, for 513 ms",
                    "lens test waits for its controller, kept by the power on of face unlock, which is in "
                    "sensor 2's power-on, for 512 ms"));
}

TEST(Tool, EndsWithOneWhereAFileCannotBeWritten) {
    auto const [status, output] = runScenario(scenarioWith(), "--trace /dev/full");
    EXPECT_EQ(status, 1);
    EXPECT_THAT(output, HasSubstr("\nzeqcam-power: /dev/full: cannot be written: "));
}

TEST(Tool, NeverReplacesTheScenario) {
    TemporaryFile const file(".toml", scenarioWith());
    for (std::string const option : {" --trace ", " --svg "}) {
        EXPECT_EQ(runTool("run " + file.path + option + file.path).status, 2);
        EXPECT_EQ(file.text(), scenarioWith());
    }
}

TEST(Tool, PrintsNothingBesidesTheJson) {
    auto const [status, output] =
        runScenario(stepsAre("{ power_on = [0] }, { status = { 0 = false } }"), "--json", "/dev/null");
    EXPECT_EQ(status, 1);
    auto const result = nlohmann::json::parse(output);
    EXPECT_EQ(result.at("form"), 2);
    EXPECT_EQ(result.at("verdict"), "failed");
    EXPECT_EQ(result.at("requests").at(0).at("result"), true);
    EXPECT_EQ(result.at("unmet").at(0).at("line"), 10);
    EXPECT_EQ(result.at("unmet").at(0).at("reason"), "main is on, expected off");
    EXPECT_EQ(result.at("broken_rules").at(0).at("rule"), "all-off");
    EXPECT_EQ(result.at("broken_rules").at(0).at("warning"), true);
    EXPECT_EQ(result.at("sensors").at(0).at("powered"), true);
    EXPECT_EQ(result.at("sensors").at(0).at("controllers").at("photo"), true);
}

TEST(Results, AreAsTheirSchemaSays) {
    if (std::system("python3 -c 'import jsonschema' 2>/dev/null") != 0)
        GTEST_SKIP() << "needs python3-jsonschema";
    std::string const fails =
        withSensor("power_on_fails = 'always'\nhal3a = { on_status = -5 }",
                   "{ power_on = [0] }, { status = { 0 = false } }, { power_off = [0] }");
    struct Case {
        std::string text;
        std::string options;
        std::string verdict;
    };
    for (auto const& [text, options, verdict] : std::vector<Case>{
             {stepsAre("{ power_on = [0], expect = true }, { power_off = [0] }"), "", "passed"},
             {fails, "--strict", "failed"},
             {withSensor("power_on_hangs = true", "{ power_on = [0] }, { status = { 0 = true } }"),
              "--timeout 0.3", "cut off"}}) {
        TemporaryFile const result(".result.json",
                                   runScenario(text, "--json " + options, "/dev/null").output);
        EXPECT_EQ(nlohmann::json::parse(result.text()).at("verdict"), verdict);
        auto const [status, said] = runCommand("python3 -W ignore -m jsonschema -i " + result.path +
                                               " " ZEQCAM_RESULTS_SCHEMA " 2>&1");
        EXPECT_EQ(status, 0) << said;
    }
}

// The letters of the levels, or the messages, of the log lines.
std::vector<std::string> logged(std::string const& output, bool levels) {
    std::vector<std::string> found;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        std::array<char, 2> level{};
        if (std::sscanf(line.c_str(), "%*d-%*d %*d:%*d:%*f %*d %*d %1s", level.data()) != 1) continue;
        found.push_back(levels ? level.data() : line.substr(line.find(": ")));
    }
    return found;
}

TEST(Tool, LogsTheLevelsAskedFor) {
    // The controller may not drive sensor 1: a warning.
    std::string const scenario =
        "[[sensor]]\nid = 1\n" + scenarioWith(2, "id = 0\npower_on_fails = 'always'");
    std::string const warns = scenario.substr(0, scenario.rfind("['main']")) + "[0, 1] } ]\n";
    std::vector<std::pair<std::string, std::set<std::string>>> const cases{
        {"", {"E", "W", "I"}}, {"-v", {"E", "W", "I", "D"}}, {"-q", {"E", "W"}}, {"-qq", {"E"}}};
    for (auto const& [option, expected] : cases) {
        auto const levels = logged(runScenario(warns, option).output, true);
        EXPECT_EQ(std::set(levels.begin(), levels.end()), expected) << option;
    }
}

TEST(Tool, RepeatsTheFaultsOfASeed) {
    std::string steps;
    for (int i = 0; i < 20; ++i) steps += "{ power_on = [0] }, { power_off = [0] }, ";
    std::string const scenario = "[board]\nseed = 7\n" + stepsAre(steps);
    std::string const chance =
        std::string(scenario).insert(scenario.find("name ="), "power_on_fails = { chance = 0.5 }\n");
    auto const asInTheFile = logged(runScenario(chance).output, false);
    EXPECT_EQ(logged(runScenario(chance, "--seed 7").output, false), asInTheFile);
    EXPECT_NE(logged(runScenario(chance, "--seed 8").output, false), asInTheFile);
}

int countOf(std::string const& part, std::string const& text) {
    int count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(Tool, WritesSectionsToTheKernelsTracer) {
    std::string const folder = "/sys/kernel/tracing";
    std::string const mounted = "(mountpoint -q " + folder + " || mount -t tracefs nodev " + folder +
                                ") && grep -q 1 " + folder + "/tracing_on";
    if (std::system(("unshare -m sh -c '" + mounted + "' 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "this process may not mount and use the kernel's tracer";

    TemporaryFile const file(".toml", scenarioWith());
    TemporaryFile const script(".sh", mounted + " && \"" ZEQCAM_POWER_PATH "\" run " + file.path +
                                          " --ftrace && grep tracing_mark_write " + folder + "/trace");
    auto const [status, output] = runCommand("unshare -m sh " + script.path);
    EXPECT_EQ(status, 0) << output;
    std::string const process = std::to_string(loggedProcess(output));
    EXPECT_THAT(output, HasSubstr("B|" + process + "|powerOnSensor: 0\n"));
    EXPECT_EQ(countOf("B|" + process + '|', output), countOf("E|" + process + '\n', output));
}

TEST(Tool, EndsWithTwoWhereTheKernelsTracerIsOutOfReach) {
    if (std::system("unshare -m true 2>/dev/null") != 0)
        GTEST_SKIP() << "this process may not hide the tracer";
    TemporaryFile const file(".toml", scenarioWith());
    TemporaryFile const script(
        ".sh",
        "for folder in tracing debug; do mount -t tmpfs none /sys/kernel/$folder; done\n"
        "awk '$3 == \"tracefs\" { print $2 }' /proc/mounts | while read -r folder; do\n"
        "  mount -t tmpfs none \"$folder\"\n"
        "done\n"
        "\"" ZEQCAM_POWER_PATH "\" run --ftrace " +
            file.path + " 2>&1");
    auto const [status, output] = runCommand("unshare -m sh " + script.path);
    EXPECT_EQ(status, 2);
    EXPECT_THAT(output, testing::MatchesRegex("zeqcam-power: the kernel's tracer [^\n]*\n"));
}

}  // namespace
