// The pages of zeqcam-power compare and sweep, and what compare tells of single runs and of those that a
// signal ends.
#include "ScenarioTexts.h"
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

std::string comesUpIn(std::string const& ms) {
    return withSensor("power_on_ms = " + ms, "{ power_on = [0] }, { power_off = [0] }, { sleep_ms = 5 }");
}

json dataIn(Folder const& folder, std::string const& file) {
    std::string const page = folder.text(file);
    std::string const begin = R"(id="data">)";
    std::size_t const from = page.find(begin) + begin.size();
    return json::parse(page.substr(from, page.find("</script", from) - from));
}

TEST(ComparePage, ShowsSingleRunsWhateverTheyComeFrom) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    std::string const slow = folder.put("slow.toml", comesUpIn("60"));
    std::string const trace = folder.path("trace.json");
    ASSERT_EQ(runTool("run " + slow + " --simulate --trace " + trace).status, 0);
    for (auto const& [after, sources] :
         std::vector<std::pair<std::string, std::size_t>>{{slow, 2}, {trace, 1}}) {
        Ran const ran =
            runTool("compare " + fast + ' ' + after + " --width 80 --html " + folder.path("a.html"));
        EXPECT_EQ(ran.status, 0) << ran.output;
        EXPECT_THAT(ran.output, AllOf(HasSubstr("\nbefore: " + fast + "\nvirtual clock"),
                                      ContainsRegex("\nafter: " + after + "\n[a-z]+ clock"),
                                      HasSubstr("a single run on each side"), HasSubstr("+20.0 (+50 %)")));
        json const page = dataIn(folder, "a.html");
        EXPECT_EQ(page.at("sides").size(), 2U);
        EXPECT_EQ(page.at("scenario").size(), sources);
        EXPECT_EQ(page.at("sides")[1].at("timeline").at("rows")[0].at("name").get<std::string>().empty(),
                  false);
    }
    Ran const asJson = runTool("compare " + fast + ' ' + slow + " --json --html -");
    EXPECT_EQ(asJson.status, 2);
    EXPECT_THAT(asJson.output, HasSubstr("something else goes to the standard output"));
    Ran const many = runTool("compare " + fast + ' ' + slow + " --repeat 6");
    EXPECT_THAT(many.output, Not(HasSubstr("virtual clock")));
}

TEST(ComparePage, ReplacesNothingThatItIsMadeOf) {
    Folder const folder;
    Folder const set;
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    std::string const one = set.put("one.toml", comesUpIn("60"));
    std::string const nowhere = folder.path("nowhere/a.html");
    for (auto const& [arguments, told] : std::vector<std::pair<std::string, std::string>>{
             {"compare " + fast + ' ' + set.path() + " --html " + one, "would replace " + one},
             {"compare " + fast + ' ' + one + " --html " + nowhere, nowhere},
             {"compare " + fast + ' ' + one + " --svg " + nowhere + "x --html " + nowhere + 'x', nowhere},
             {"sweep " + fast + " --set sensor.main.power_on_ms=1,2 --html " + fast, "would replace " + fast},
             {"sweep " + fast + " --set sensor.main.power_on_ms=1,2 --html ''", "a file needs a name"}}) {
        Ran const ran = runTool(arguments);
        EXPECT_EQ(ran.status, 2) << arguments << ran.output;
        EXPECT_THAT(ran.output, HasSubstr(told)) << arguments;
    }
    EXPECT_EQ(folder.text("fast.toml"), comesUpIn("40"));
    EXPECT_EQ(set.text("one.toml"), comesUpIn("60"));
}

TEST(ComparePage, DrawsARunThatNobodyCanGoOnWithBesideOneThatEnds) {
    Folder const folder;
    std::string const hangs =
        folder.put("hangs.toml", withSensor("power_on_hangs = true", "{ power_on = [0] }"));
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    for (auto const& [before, after] : {std::pair(hangs, fast), std::pair(fast, hangs)}) {
        Ran const ran = runTool("compare " + before + ' ' + after + " --html " + folder.path("a.html"));
        EXPECT_EQ(ran.status, 0) << ran.output;
        EXPECT_THAT(ran.output,
                    AllOf(HasSubstr("\nbefore: " + before + '\n'), HasSubstr("\nafter: " + after + '\n'),
                          HasSubstr(hangs + ", 1 run, 1 failed\n")));
        json const page = dataIn(folder, "a.html");
        EXPECT_EQ(page.at("verdict").at("passed"), after == fast);
        EXPECT_EQ(page.at("sides")[after == fast ? 0 : 1].at("result").at("verdict"), "cut off");
    }
    Ran const both = runTool("compare " + hangs + ' ' + hangs);
    EXPECT_EQ(both.status, 0) << "their figures are there";
    EXPECT_THAT(both.output, Not(HasSubstr("virtual clock")));
}

// Ends a command once as many runs as this have surely ended: none of the processes that played at one time
// is left.
Ran endedAfter(int times, std::string const& arguments) {
    return runCommand("'" ZEQCAM_POWER_PATH "' " + arguments + " 2>&1 & times=" + std::to_string(times) +
                      R"SH(
        tool=$!
        lives() { [ "$(cut -d ' ' -f 3 /proc/$tool/stat)" != Z ]; }
        for each in $(seq $times); do
            first=
            while [ -z "$first" ] && lives; do first=$(cat /proc/$tool/task/$tool/children); done
            for one in $first; do while [ -d /proc/$one ]; do :; done; done
        done
        kill -TERM $tool
        wait $tool)SH");
}

TEST(CompareEnded, TellsWhatItHas) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    std::string const result = folder.path("one.json");
    ASSERT_EQ(runTool("run " + fast + " --simulate --json >" + result, "/dev/null").status, 0);
    Ran const before = endedAfter(2, "compare " + fast + ' ' + fast + " --repeat 9000000");
    EXPECT_EQ(before.status, 143);
    EXPECT_THAT(before.output,
                ContainsRegex("was ended before any run of .*fast.toml: [0-9]+ of 9000000 of .*\n$"));
    Ran const after = endedAfter(2, "compare " + result + ' ' + fast + " --repeat 9000000 --fail-above 5");
    EXPECT_EQ(after.status, 143);
    EXPECT_THAT(after.output, AllOf(ContainsRegex("after:  .* runs?, [89][0-9,]* were not run\n"),
                                    HasSubstr("app: power on main")));
}

TEST(Page, TakesThePlaceOfNoFileThatAScenarioIncludes) {
    Folder const folder;
    std::string const content = "[[sensor]]\nid = 7\nname = \"other\"\n";
    std::string const board = folder.put("board.toml", content);
    std::string const fast = folder.put("fast.toml", "include = \"board.toml\"\n" + comesUpIn("40"));
    for (std::string const& command : {"blame " + fast, "chain " + fast, "compare " + fast + ' ' + fast,
                                       "sweep " + fast + " --set sensor.main.power_on_ms=1,2",
                                       "run --simulate " + fast + " --repeat 2", "run --simulate " + fast}) {
        Ran const ran = runTool(command + " --html " + board);
        EXPECT_EQ(ran.status, 2) << command << ran.output;
        EXPECT_THAT(ran.output, HasSubstr("would replace")) << command;
        EXPECT_EQ(folder.text("board.toml"), content) << command;
    }
}

TEST(CausesEnded, TellWhatTheyHave) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    for (std::string const command : {"chain ", "blame "}) {
        Ran const ran = endedAfter(2, command + fast + " --repeat 900000 --request 'power on'");
        EXPECT_EQ(ran.status, 143) << command;
        EXPECT_THAT(ran.output, AllOf(ContainsRegex("was ended after [1-9][0-9]* of 900000 runs\n"),
                                      HasSubstr("main's power-on\n")));
    }
}

TEST(SweepPage, HoldsWhatWasRunUntilASignalCame) {
    Folder const folder;
    std::string const fast = folder.put("fast.toml", comesUpIn("40"));
    Ran const all =
        runTool("sweep " + fast + " --set sensor.main.power_on_ms=30..60:10 --html " + folder.path("a.html"));
    EXPECT_EQ(all.status, 0) << all.output;
    json const page = dataIn(folder, "a.html");
    EXPECT_EQ(page.at("plots")[0].at("x").at("values"), json({30, 40, 50, 60}));
    EXPECT_EQ(page.at("plots")[0].at("series")[0].at("y"), json({30.0, 40.0, 50.0, 60.0}));
    EXPECT_EQ(page.at("scenario")[0].at("text"), comesUpIn("40"));
    Ran const ended =
        endedAfter(2, "sweep " + fast + " --set sensor.main.power_on_ms=30,60 --repeat 900000 --html " +
                          folder.path("b.html"));
    EXPECT_EQ(ended.status, 143);
    EXPECT_THAT(ended.output, ContainsRegex("[0-9]+ runs?, 0 failed, and 1[0-9]* were not run\n"));
    EXPECT_EQ(dataIn(folder, "b.html").at("plots")[0].at("x").at("values"), json({30}));
}

}  // namespace
