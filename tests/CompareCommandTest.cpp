// zeqcam-power compare and read --repeat, as a user calls them.
#include "ScenarioTexts.h"
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using testing::HasSubstr;

std::string takes(std::string const& ms) {
    return withSensor("power_on_ms = " + ms, "{ power_on = [0] }, { power_off = [0] }, { sleep_ms = 5 }");
}

TEST(Compare, TakesScenariosResultsTracesAndFolders) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", takes("[40, 50]"));
    std::string const slow = folder.put("slow.toml", takes("[60, 70]"));
    std::string const result = folder.path("slow.json");
    std::string const one = folder.path("one.json");
    std::string const trace = folder.path("trace.json");
    ASSERT_EQ(runTool("run " + slow + " --simulate --repeat 20 --json >" + result, "/dev/null").status, 0);
    ASSERT_EQ(runTool("run " + slow + " --simulate --json >" + one, "/dev/null").status, 0);
    ASSERT_EQ(runTool("run " + slow + " --simulate --trace " + trace).status, 0);
    Folder const set;
    for (char const* const name : {"1.json", "2.json", "3.json"}) set.put(name, folder.text("one.json"));
    struct Case {
        std::string arguments;
        int status;
        std::string told;
    };
    for (auto const& [arguments, status, told] : std::vector<Case>{
             {fast + ' ' + slow + " --repeat 20", 0, "main's power-on +"},
             {fast + ' ' + result + " --repeat 20 --fail-above 5%", 1,
              "slower by more than 5 %: app: power on main"},
             {result + ' ' + fast + " --repeat 20 --fail-above 5%", 0, "WITH 95 %"},
             {fast + ' ' + one, 0, "A single run on a side: no statement on chance."},
             {fast + ' ' + trace, 0, "after:  " + trace + ", 1 run\n"},
             {fast + ' ' + set.path() + " --repeat 8", 0, "after:  " + set.path() + ", 3 runs\n"},
             {one + ' ' + one + " --with " + one, 0, "before: " + one + " and 1 more, 2 runs\n"},
             {fast + ' ' + one + " --fail-above 5", 2, "needs 6 runs on each side"},
             {fast + ' ' + slow + " --svg " + slow, 2, "would replace " + slow},
             {fast, 2, "two files are compared"},
             {fast + ' ' + folder.path("none"), 2, "none"},
             {fast + ' ' + folder.put("broken.json", "{\"form\": 2}"), 2, "is no result of this tool"},
             {fast + ' ' + slow + " --fail-above much", 2, "is no percentage: much"}}) {
        auto const ran = runTool("compare " + arguments);
        EXPECT_EQ(ran.status, status) << arguments << '\n' << ran.output;
        EXPECT_THAT(ran.output, HasSubstr(told)) << arguments;
    }
}

TEST(Compare, ItsFilesAreAsTheirFormsSay) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", takes("[40, 50]"));
    std::string const slow = folder.put("slow.toml", takes("[60, 70]"));
    std::string const picture = folder.path("both.svg");
    runTool("compare " + fast + ' ' + slow + " --repeat 8 --json --svg " + picture + " >" +
            folder.path("c.json"));
    EXPECT_EQ(readByXml(picture, "count(//*[local-name()=\"text\"][text()=\"app: power on main\"])"), "1");
    if (std::system("python3 -c 'import jsonschema' 2>/dev/null") != 0)
        GTEST_SKIP() << "needs python3-jsonschema";
    std::string const other =
        folder.put("other.toml", stepsAre("{ status = { 0 = false } }, { wait = true }, { power_on = [0] }"));
    std::string const moved =
        folder.put("moved.toml", stepsAre("{ wait = true }, { status = { 0 = false } }"));
    for (std::string const& sides :
         {fast + ' ' + slow + " --repeat 8", fast + ' ' + other, other + ' ' + moved}) {
        runTool("compare " + sides + " --json >" + folder.path("c.json"), "/dev/null");
        auto const [status, said] = runCommand("python3 -W ignore -m jsonschema -i " + folder.path("c.json") +
                                               " " ZEQCAM_COMPARISON_SCHEMA " 2>&1");
        EXPECT_EQ(status, 0) << sides << '\n' << said;
    }
}

// Of runs that all take the same the interval is their difference.
TEST(Compare, FailsOnlyAboveTheShareThatItIsGiven) {
    Folder const folder;
    std::string const before = folder.put("before.toml", takes("100"));
    std::string const after = folder.put("after.toml", takes("105"));
    for (auto const& [share, status] :
         std::vector<std::pair<std::string, int>>{{"5%", 0}, {"5", 0}, {"4.9%", 1}, {"0", 1}, {"300%", 0}}) {
        EXPECT_EQ(runTool("compare " + before + ' ' + after + " --repeat 6 --fail-above " + share).status,
                  status)
            << share;
        EXPECT_EQ(runTool("compare " + after + ' ' + before + " --repeat 6 --fail-above " + share).status, 0)
            << "faster, " << share;
    }
    for (char const* const share : {"-1", "5%%", "nan", ""})
        EXPECT_EQ(
            runTool("compare " + before + ' ' + after + " --repeat 6 --fail-above '" + share + "'").status, 2)
            << share;
}

// Results of different sizes come together run by run.
TEST(Compare, TakesAllRunsOfASet) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", takes("40"));
    std::string const slow = folder.put("slow.toml", takes("60"));
    std::string const many = folder.path("many.json");
    std::string const one = folder.path("one.json");
    ASSERT_EQ(runTool("run " + fast + " --simulate --repeat 9 --json >" + many, "/dev/null").status, 0);
    ASSERT_EQ(runTool("run " + slow + " --simulate --json >" + one, "/dev/null").status, 0);
    auto const all = nlohmann::json::parse(runTool("compare " + many + ' ' + one + " --with " + one + ' ' +
                                                   many + ' ' + slow + " --repeat 9 --json")
                                               .output);
    EXPECT_EQ(all.at("before").at("runs"), 10);
    EXPECT_EQ(all.at("after").at("runs"), 19);
    auto const& powerOn = all.at("requests").at(0);
    EXPECT_EQ(powerOn.at("before").at("median_ms"), 40.0) << powerOn;
    EXPECT_EQ(powerOn.at("after").at("median_ms"), 60.0) << "of 9 fast and 10 slow ones";
}

TEST(ReadRepeat, TakesEachPowerCycleAsARun) {
    Folder const folder;
    std::string const trace = folder.path("trace.json");
    std::string const cycle = "{ power_on = [0] }, { power_off = [0] }, { sleep_ms = 5 }";
    auto const scenario =
        folder.put("twice.toml", withSensor("power_on_ms = [40, 50]", cycle + ", " + cycle));
    ASSERT_EQ(runTool("run " + scenario + " --simulate --trace " + trace).status, 0);
    auto const read = runTool("read --repeat " + trace);
    EXPECT_EQ(read.status, 0) << read.output;
    EXPECT_THAT(read.output, HasSubstr("2 runs: all passed\n"));
    EXPECT_THAT(read.output, testing::Not(HasSubstr("power on main (2)")));
    EXPECT_EQ(runTool("read --repeat --trace x.json " + trace).status, 2);
}

TEST(ReadRepeat, LeavesOutWhatALogDoesNotShowWhole) {
    Folder const folder;
    std::string const cycle = "{ power_on = [0] }, { power_off = [0] }, { sleep_ms = 5 }";
    auto const scenario = folder.put("thrice.toml", withSensor("power_on_ms = [40, 50]\npower_off_ms = 8",
                                                               cycle + ", " + cycle + ", " + cycle));
    std::string const log = runTool("run " + scenario + " --simulate -v").output;
    auto const cycles = [&](std::string const& text) {
        return runTool("read --repeat " + folder.put("log.txt", text));
    };
    std::string const first = log.substr(0, log.find("\n\n") + 1);  // above the timeline
    std::size_t const offs = first.rfind("powerOff] powerOff -");
    EXPECT_THAT(cycles(first).output, HasSubstr("3 runs: all passed\n"));
    EXPECT_THAT(cycles(first.substr(0, first.rfind('\n', offs) + 1)).output, HasSubstr("2 runs"))
        << "the last power-off has not ended";
    std::size_t const on = first.find("powerOnOps] powerOn -");
    EXPECT_THAT(cycles(first.substr(first.find('\n', on) + 1)).output, HasSubstr("2 runs"))
        << "the first power-on was not seen";
}

}  // namespace
