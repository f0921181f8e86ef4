// Many runs: run --repeat as a user calls it, and the processes that play them.
#include "ScenarioTexts.h"
#include "ToolRuns.h"
#include "run/ForkedRuns.h"
#include "run/Repetition.h"
#include "scenario/ScenarioReader.h"
#include "series/FiguresBytes.h"
#include "views/SeriesReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;
using nlohmann::json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;

// What was told of runs of which each does `play`, in order.
std::vector<std::string> toldOf(std::size_t count, std::size_t jobs,
                                std::function<std::string(std::size_t)> const& play,
                                std::function<bool(std::size_t told)> const& isCancelled) {
    std::vector<std::string> told;
    std::size_t const counted = playForked(
        {.count = count,
         .jobs = jobs,
         .play = play,
         .take = [&](std::size_t index,
                     std::string const& came) { told.push_back(std::to_string(index) + ' ' + came); },
         .lost = [&](std::size_t index,
                     std::string const& how) { told.push_back(std::to_string(index) + " lost: " + how); },
         .isCancelled = [&] { return isCancelled(told.size()); }});
    EXPECT_EQ(counted, told.size());
    return told;
}

bool never(std::size_t) {
    return false;
}

TEST(ForkedRuns, AreToldInTheirOrderWhicheverEndsFirst) {
    // The first waits until the last has begun.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    auto const play = [&](std::size_t index) {
        char byte = 0;
        bool const passed = index == 2   ? write(ends[1], "", 1) == 1
                            : index == 0 ? read(ends[0], &byte, 1) == 1
                                         : true;
        if (!passed) throw std::runtime_error("the pipe");
        return "run " + std::to_string(index);
    };
    EXPECT_THAT(toldOf(3, 2, play, never), ElementsAre("0 run 0", "1 run 1", "2 run 2"));
    close(ends[0]);
    close(ends[1]);
}

TEST(ForkedRuns, TellHowAProcessEndedThatCameToNothing) {
    int changed = 0;
    auto const play = [&](std::size_t index) -> std::string {
        changed = 1;
        if (index == 1) throw std::runtime_error("no memory for a board");
        if (index == 2) std::raise(SIGKILL);
        if (index == 3) _exit(4);
        return std::string(300'000, 'x').substr(0, index == 4 ? 300'000 : 4);
    };
    auto const told = toldOf(5, 1, play, never);
    ASSERT_EQ(told.size(), 5U);
    EXPECT_EQ(told[0], "0 xxxx");
    EXPECT_EQ(told[1], "1 lost: no memory for a board");
    EXPECT_EQ(told[2], "2 lost: the process ended by signal 9 (Killed)");
    EXPECT_EQ(told[3], "3 lost: the process exited with status 4");
    EXPECT_EQ(told[4].size(), 300'002U);
    EXPECT_EQ(changed, 0);
}

TEST(ForkedRuns, EndWhereTheyAreCancelledAndLeaveNoProcess) {
    auto const play = [](std::size_t index) {
        if (index == 1) pause();
        return std::string("done");
    };
    EXPECT_THAT(toldOf(9, 2, play, [](std::size_t told) { return told == 1; }), ElementsAre("0 done"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
}

TEST(FiguresBytes, CarryAllThatFiguresSay) {
    RunFigures figures{.run = 0xffffffff, .verdict = Verdict::CutOff, .why = "the run \xff", .figures = {}};
    figures.figures.push_back({.subject = {Subject::Of::Service, "hal3a of tele", "power on", 2},
                               .line = 12,
                               .beganMs = 0.125,
                               .ms = 1e-3,
                               .failed = true});
    figures.figures.push_back({.subject = {Subject::Of::Rule, "", "handles", 1}, .line = {}, .ms = {}});
    RunFigures const came = figuresFrom(bytesOf(figures));
    EXPECT_EQ(std::tie(came.run, came.verdict, came.why),
              std::tie(figures.run, figures.verdict, figures.why));
    ASSERT_EQ(came.figures.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        Figure const& left = came.figures[i];
        Figure const& right = figures.figures[i];
        EXPECT_EQ(std::tie(left.subject, left.line, left.beganMs, left.ms, left.failed),
                  std::tie(right.subject, right.line, right.beganMs, right.ms, right.failed));
    }
}

// Its power-on takes as chance has it, and fails now and then, which nobody expects.
std::string const kByChance = withSensor("power_on_ms = [40, 60]\npower_on_fails = { chance = 0.2 }",
                                         "{ power_on = [0] }, { power_off = [0] }");

json resultOf(std::string const& text, std::string const& options) {
    return json::parse(runScenario(text, "--json " + options, "/dev/null").output);
}

TEST(Repeat, GivesEachSeedWhatItsOwnRunGives) {
    json const all = resultOf(kByChance, "--simulate --seed 5 --repeat 12");
    json const& powerOn = all.at("requests").at(0);
    EXPECT_EQ(powerOn.at("request"), "power on main");
    std::vector<std::size_t> failed;
    for (std::size_t i = 0; i < 12; ++i) {
        json const one = resultOf(kByChance, "--simulate --seed " + std::to_string(5 + i));
        EXPECT_EQ(all.at("seeds").at(i), 5 + i);
        EXPECT_EQ(powerOn.at("samples_ms").at(i), one.at("requests").at(0).at("wall_ms")) << i;
        if (one.at("verdict") != "passed") failed.push_back(5 + i);
    }
    EXPECT_FALSE(failed.empty());
    EXPECT_LT(failed.size(), 12U);
    EXPECT_EQ(powerOn.at("failed_seeds").get<std::vector<std::size_t>>(), failed);
    EXPECT_EQ(all, resultOf(kByChance, "--simulate --seed 5 --repeat 12 --jobs 5"))
        << "whatever the processes";
}

TEST(Repeat, ResultsAreAsTheirSchemaSays) {
    if (std::system("python3 -c 'import jsonschema' 2>/dev/null") != 0)
        GTEST_SKIP() << "needs python3-jsonschema";
    for (auto const& [text, options] : std::vector<std::pair<std::string, std::string>>{
             {kByChance, "--simulate --repeat 20"},
             {kByChance, "--repeat 2"},
             {withSensor("power_on_hangs = true", "{ power_on = [0] }, { status = { 0 = true } }"),
              "--simulate --repeat 2"}}) {
        TemporaryFile const result(".result.json",
                                   runScenario(text, "--json " + options, "/dev/null").output);
        auto const [status, said] = runCommand("python3 -W ignore -m jsonschema -i " + result.path +
                                               " " ZEQCAM_SERIES_SCHEMA " 2>&1");
        EXPECT_EQ(status, 0) << said;
    }
}

TEST(Repeat, TellsWhatFailedAndTheCommandThatRepeatsIt) {
    std::string const hangs =
        withSensor("power_on_hangs = true", "{ power_on = [0] }, { status = { 0 = true } }");
    struct Case {
        std::string text;
        std::string options;
        int status;
        std::string told;
    };
    for (auto const& [text, options, status, told] : std::vector<Case>{
             {kByChance, "--simulate --repeat 1 --seed 2", 0, "1 run: all passed"},
             {kByChance, "--simulate --repeat 40 -q --strict", 1,
              "of 40 runs failed: seeds (.|\\n)*first by: line 12: app: power on: (.|\\n)*repeated by\n"
              "  zeqcam-power run .*toml --simulate --strict -q --seed [0-9]+\n"},
             {hangs, "--simulate --repeat 2", 1,
              "2 of 2 runs failed: seeds 1, 2\nthe first by: the run cannot end"},
             {hangs, "--timeout 0.2 --repeat 1", 1,
              "has not ended within 200 ms(.|\n)*--timeout 0.2 --seed 1\n"},
             {kByChance, "--simulate --repeat 2 --seed 4294967295", 2,
              "--repeat: 2 seeds from 4294967295 on"},
             {kByChance, "--repeat 2 --trace /dev/null", 2, "--trace: is of one run"},
             {kByChance, "--repeat 2 --client nobody", 2, "the scenario has no client nobody"},
             {kByChance, "--repeat 2 --from 9 --to 3", 2, "--to: must be later than --from"},
             {kByChance, "--repeat 0", 2, "--repeat"},
             {kByChance, "--jobs 2", 2, "--jobs requires --repeat"}}) {
        auto const ran = runScenario(text, options);
        EXPECT_EQ(ran.status, status) << options << '\n' << ran.output;
        EXPECT_THAT(ran.output, ContainsRegex(told)) << options;
    }
}

// What the runs tell of requests, sensors and expectations.
std::string toldIn(json const& all) {
    std::string told;
    for (auto const& [key, what] : {std::pair{"requests", "request"},
                                    {"sensors", "sensor"},
                                    {"links", "link"},
                                    {"expectations", "client"}}) {
        for (json const& each : all.at(key)) told += each.at(what).get<std::string>() + ", ";
        told += "; ";
    }
    return told;
}

TEST(Repeat, TellsOfWhatIsChosenAndFailsForAll) {
    std::string const text = R"(
        sensor = [{ id = 0, name = "main", power_on_ms = 40, power_off_ms = 4 }, { id = 1, name = "front", power_on_ms = 20, power_off_ms = 4 }]
        controller = [{ name = "c", sensors = [0, 1] }]
        [[client]]
        name = "app"
        controller = "c"
        steps = [{ power_on = [0], expect = false }, { power_off = [0] }]
        [[client]]
        name = "face"
        controller = "c"
        steps = [{ sleep_ms = 90 }, { power_on = [1], expect = true }, { power_off = [1] }]
    )";
    for (auto const& [options, told] : std::vector<std::pair<std::string, std::string>>{
             {"--client app",
              "power on main, power off main, ; main, main, ; main's power-on, main's power-off, ; app, ; "},
             {"--sensor front",
              "power on front, power off front, ; front, front, ; front's power-on, front's power-off, ; "
              "face, ; "},
             {"--sensor front --client app", "; front, front, ; ; ; "},
             {"--to 5", "power on main, ; main, ; main's power-on, ; app, ; "},
             {"--from 100 --to 105", "power on front, ; front, ; front's power-on, ; face, ; "}}) {
        json const all = resultOf(text, "--simulate --repeat 2 " + options);
        EXPECT_EQ(toldIn(all), told) << options;
        EXPECT_EQ(all.at("verdict"), "failed") << options;
    }
}

// What follows a text, up to the end of its line.
std::string behind(std::string const& text, std::string const& in) {
    std::size_t const found = in.find(text);
    if (found == std::string::npos) return "no " + text;
    std::size_t const begin = found + text.size();
    return in.substr(begin, in.find('\n', begin) - begin);
}

TEST(Repeat, PrintsTheCommandThatFailsLikewise) {
    Folder const folder;
    std::string const file = folder.put("it's by chance.toml", kByChance);
    Ran const all =
        runTool("run \"" + file + "\" --simulate --repeat 40 -q --set sensor.main.power_on_ms=33");
    ASSERT_EQ(all.status, 1);
    std::string const command = behind("repeated by\n  zeqcam-power ", all.output);
    std::string const seeds = behind("of 40 runs failed: seeds ", all.output);
    EXPECT_EQ(behind("--seed ", command), seeds.substr(0, seeds.find(',')));
    Ran const one = runTool(command + " --json", "/dev/null");
    EXPECT_EQ(one.status, 1) << command;
    json const result = json::parse(one.output);
    std::string const why = behind("the first by: line 12: app: power on: ", all.output);
    EXPECT_EQ(result.at("unmet").at(0).at("line"), 12);
    EXPECT_THAT(result.dump(), HasSubstr(why));
    EXPECT_EQ(result.at("requests").at(0).at("wall_ms"), 33.0);
}

TEST(Repeat, TellsWhatItHasWhereItIsInterrupted) {
    Scenario const scenario = readScenario(stepsAre("{ power_on = [0] }, { power_off = [0] }")).scenario;
    std::size_t told = 0;
    Series const series =
        repeat(scenario, {.times = 9,
                          .jobs = 1,
                          .progress = [&](Series const& soFar) { told = soFar.runs().size(); },
                          .isCancelled = [&] { return told == 2; }});
    std::ostringstream text;
    writeSeriesReport(series, {}, text);
    EXPECT_THAT(text.str(), HasSubstr("2 runs: all passed, and 7 were not run\n"));
}

TEST(Repeat, WritesAPictureAndTestCases) {
    TemporaryFile const picture(".svg");
    TemporaryFile const cases(".xml");
    runScenario(kByChance, "--simulate --repeat 30 --svg " + picture.path + " --junit " + cases.path);
    EXPECT_EQ(readByXml(picture.path, "count(//*[local-name()=\"text\"][text()=\"app: power on main\"])"),
              "1");
    EXPECT_EQ(readByXml(cases.path, "string(//property[@name=\"runs\"]/@value)"), "30");
    EXPECT_THAT(readByXml(cases.path, "string(//testcase[@name=\"line 12: power on\"]/failure/@message)"),
                ContainsRegex("^[0-9]+ of 30 runs: seeds [0-9, ]+"));
    EXPECT_EQ(runCommand("xmllint --noout --schema " ZEQCAM_JUNIT_SCHEMA " " + cases.path + " 2>&1").status,
              0);
}

}  // namespace
