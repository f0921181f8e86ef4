#include "NestedSlices.h"
#include "ScenarioTexts.h"
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

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
