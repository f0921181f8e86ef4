// `chain` and `blame`, which tell what requests waited for, of whatever holds them.
#include "ScenarioTexts.h"
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::string const kPhone = ZEQCAM_EXAMPLES_DIR "/phone.toml";

// Of sensors 0 and 3, of which 3 fails.
constexpr auto kLog =
    "11-23 10:42:03.001  812  901 D zeqcam-PowerOnOffController: [PowerOnOffController::powerOn] get "
    "PowerOnLock, Sensor power on\n"
    "11-23 10:42:03.001  812  901 I zeqcam-PowerOnOffController: [PowerOnOffController::powerOnOps] powerOn "
    "+\n"
    "11-23 10:42:03.051  812  901 I zeqcam-PowerOnOffController: [PowerOnOffController::powerOnOps] 3A "
    "notifyPowerOn\n"
    "11-23 10:42:03.052  812  901 I zeqcam-PowerOnOffController: [PowerOnOffController::powerOnOps] powerOn "
    "-\n";

TEST(ChainCommand, TellsTheSlowestFirstAndTheSameForASeed) {
    Ran const ran = runTool("chain '" + kPhone + "'");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.find("camera app: power on main wide tele, 48.0 ms, from 0.0 on\n"),
              ran.output.find("camera app:"));
    EXPECT_THAT(ran.output, AllOf(HasSubstr("@0.0     +48.0    main's power-on\n"),
                                  HasSubstr("43.0 without main, by tele\n"),
                                  HasSubstr("tele failed after 43.0, its retry took 43.0\n"),
                                  HasSubstr("tele's power-on, tried again\n"), Not(HasSubstr("\033["))));
    EXPECT_EQ(runTool("chain '" + kPhone + "'").output, ran.output);
}

TEST(ChainCommand, ChoosesRequests) {
    struct {
        char const* options;
        char const* shown;
        char const* hidden;
    } const cases[] = {
        {"--client 'face unlock'", "power on front", "camera app"},
        {"--sensor tele", "power off tele", "front"},
        {"--sensor 1", "power on front", "camera app"},
        {"--request 'app: power on main tele'", "power on main tele, 43.0", "wide"},
        {"--from 130", "power off main wide tele", "power on"},
        {"--to 10", "power on front", "power off"},
    };
    for (auto const& [options, shown, hidden] : cases) {
        Ran const ran = runTool("chain '" + kPhone + "' " + options);
        EXPECT_EQ(ran.status, 0) << options;
        EXPECT_THAT(ran.output, AllOf(HasSubstr(shown), Not(HasSubstr(hidden)))) << options;
    }
}

// A scenario is known by what it says, whatever its name; what is wrong with one is told as `run` does.
TEST(ChainCommand, KnowsFilesByTheirContent) {
    Folder const folder;
    std::string const log = folder.put("log.txt", kLog);
    std::string const wrong = folder.put("wrong.toml", "[[sensor]]\nid = 'x'\n");
    std::string const plain =
        folder.put("plain.txt",
                   "# a phone\n\n[[sensor]]\nid = 0\n[[controller]]\nname = 'c'\nsensors = "
                   "[0]\n[[client]]\nname = 'app'\ncontroller = 'c'\nsteps = [{ power_on = "
                   "[0] }]\n");
    std::string const other = folder.put("other.txt", "nothing of the library\n");
    struct {
        std::string files;
        int status;
        std::string output;
    } const cases[] = {
        {log, 0, "power on"},
        {log + ' ' + kPhone, 0, "phone.toml, seed 1"},
        {"- < " + log, 0, "process 812 of standard input"},
        {plain, 0, "no request took any time"},
        {wrong, 2, wrong + ":1: controller: is missing"},
        {other, 2, other + ": "},
        {"/nowhere.toml", 2, "/nowhere.toml: cannot be read"},
        {log + " --pid 7", 2, "by process 7"},
        {kPhone + " --client nobody", 2, "--client: there is no client nobody"},
        {kPhone + " --request 'power on moon'", 2, "--request: there is no request power on moon"},
    };
    for (auto const& [files, status, output] : cases) {
        Ran const ran = runTool("chain " + files);
        EXPECT_EQ(ran.status, status) << files << '\n' << ran.output;
        EXPECT_THAT(ran.output, HasSubstr(output)) << files;
    }
}

TEST(ChainCommand, GivesProgramsTheSame) {
    auto const json =
        nlohmann::json::parse(runTool("chain '" + kPhone + "' '" + kPhone + "' --seed 2 --json").output);
    EXPECT_EQ(json["records"][1]["seed"], 2);
    auto const& slowest = json["records"][0]["requests"][0];
    EXPECT_EQ(slowest["request"], "power on");
    EXPECT_EQ(slowest["ms"], 48.0);
    EXPECT_EQ(slowest["links"][0]["kind"], "sensor power-on");
    EXPECT_EQ(slowest["without_slowest_ms"], 43.0);
    EXPECT_EQ(slowest["retries"][0]["retry"]["request"], "power on");
}

// Of a scenario in which chance has it which link is the slowest.
std::string const kVaried = "chain '" ZEQCAM_EXAMPLES_DIR "/cold-start.toml' --request 'power on' ";

TEST(ChainCommand, SumsUpTheChainsOfManyRuns) {
    constexpr int kRuns = 6;
    std::map<std::string, std::vector<double>> links;  // of the first power-on, in each run that has it
    double longest = 0;
    int slowest = 0;
    for (int seed = 11; seed < 11 + kRuns; ++seed) {
        auto const one =
            nlohmann::json::parse(runTool(kVaried + "--json --seed " + std::to_string(seed)).output);
        for (auto const& request : one["records"][0]["requests"]) {
            if (request["began_ms"] != 0.0) continue;
            if (request["ms"] > longest) slowest = seed;
            longest = std::max(longest, request["ms"].get<double>());
            for (auto const& link : request["links"]) links[link["what"]].push_back(link["ms"]);
        }
    }
    auto const all = nlohmann::json::parse(runTool(kVaried + "--json --seed 11 --repeat 6").output);
    EXPECT_EQ(all["runs"], kRuns);
    auto const& first = *std::find_if(all["requests"].begin(), all["requests"].end(),
                                      [](auto const& request) { return request["nth"] == 1; });
    EXPECT_EQ(first["request"], "power on main wide tele");
    EXPECT_EQ(first["runs"], kRuns);
    EXPECT_EQ(first["longest_ms"], longest);
    EXPECT_EQ(first["slowest"]["seed"], slowest);
    ASSERT_EQ(first["links"].size(), links.size());
    EXPECT_GT(links.size(), 4U) << "of one link there is nothing to sum up";
    double inSlowest = 0;
    for (auto const& link : first["links"]) {
        auto times = links[link["link"]];
        std::sort(times.begin(), times.end());
        EXPECT_EQ(link["runs"], times.size()) << link;
        double const median = (times[times.size() / 2] + times[(times.size() - 1) / 2]) / 2;
        EXPECT_NEAR(link["median_ms"].get<double>(), median, 1e-6) << link;
        EXPECT_EQ(link["longest_ms"], times.back()) << link;
        inSlowest += link["in_slowest_ms"].get<double>();
    }
    EXPECT_NEAR(inSlowest, longest, 1e-6) << "the links of the slowest add up to it";
}

TEST(ChainCommand, ShowsManyRunsRequestByRequestAndOnAPage) {
    Folder const folder;
    Ran const ran = runTool("chain '" + kPhone + "' --repeat 3 --seed 5 --html " + folder.path("page.html"));
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("phone.toml, 3 runs, times in milliseconds\n\n"
                                      "camera app: power on main wide tele\n"
                                      "  MEDIAN  LONGEST  RUNS  SLOWEST  WAITED FOR\n"
                                      "    48.0     48.0     3     48.0  all of it\n"
                                      "    48.0     48.0     3     48.0  main's power-on\n"
                                      "  the slowest, seed 5: power on main wide tele 48.0 ms: main 48.0; "
                                      "43.0 without main, by tele; tele failed after 43.0"));
    std::string const page = folder.text("page.html");
    EXPECT_THAT(page, HasSubstr("[\"camera app: power on main wide tele\",\"main's "
                                "power-on\",48.0,48.0,3,48.0,\"seed 5\"]"));
    EXPECT_THAT(page, HasSubstr("\"blame\":"));
}

TEST(ChainCommand, ChoosesRequestsOfManyRunsByEachRunsClock) {
    struct {
        char const* options;
        char const* shown;
        char const* hidden;
    } const cases[] = {
        {"--client 'face unlock'", "face unlock: power on front\n", "camera app"},
        {"--sensor tele", "power off tele\n", "front"},
        {"--from 130", "power off main wide tele\n", "power on"},
        {"--to 10", "power on front\n", "power off"},
    };
    for (auto const& [options, shown, hidden] : cases) {
        Ran const ran = runTool("chain '" + kPhone + "' --repeat 3 " + options);
        EXPECT_EQ(ran.status, 0) << options;
        EXPECT_THAT(ran.output, AllOf(HasSubstr(shown), Not(HasSubstr(hidden)))) << options;
    }
    EXPECT_EQ(runTool("chain '" + kPhone + "' --repeat 3 --client nobody").status, 2);
}

// Threads of a run that hangs stay in its process.
TEST(CauseCommands, GoOnAfterARunInWhichNobodyCan) {
    Folder const folder;
    std::string const hangs =
        folder.put("hangs.toml", withSensor("power_on_hangs = true", "{ sleep_ms = 5 }, { power_on = [0] }"));
    Ran const both = runTool("chain " + hangs + " '" + kPhone + "'");
    EXPECT_EQ(both.status, 0) << both.output;
    EXPECT_THAT(both.output, AllOf(HasSubstr("the run cannot end: no thread can go on\n"),
                                   HasSubstr("camera app: power on main wide tele, 48.0 ms, from 0.0 on")));
    Ran const many =
        runTool("blame " + hangs + " '" + kPhone + "' --repeat 3 --html " + folder.path("x.html"));
    EXPECT_EQ(many.status, 0) << many.output;
    EXPECT_THAT(many.output, HasSubstr(" of 6 runs, "));
}

// Twice on and off, of which what lies between belongs to neither.
TEST(CauseCommands, TakeThePowerCyclesOfATraceAsRuns) {
    Folder const folder;
    std::string const trace = folder.path("trace.json");
    std::string const cycle = "{ power_on = [0] }, { power_off = [0] }, { sleep_ms = 5 }";
    auto const scenario =
        folder.put("twice.toml", withSensor("power_on_ms = [40, 50]", cycle + ", " + cycle));
    ASSERT_EQ(runTool("run " + scenario + " --simulate --trace " + trace).status, 0);
    auto const chains = nlohmann::json::parse(runTool("chain --cycles --json " + trace).output);
    EXPECT_EQ(chains["runs"], 2);
    EXPECT_EQ(chains["requests"][0]["runs"], 2);
    EXPECT_EQ(chains["requests"][0]["nth"], 1);
    int const slowest = chains["requests"][0]["slowest"]["cycle"];
    auto const one = nlohmann::json::parse(runTool("chain --json " + trace).output)["records"][0]["requests"];
    EXPECT_EQ(one[0]["began_ms"] == 0.0, slowest == 1) << "the slowest comes first";
    EXPECT_EQ(chains["requests"][0]["longest_ms"], one[0]["ms"]);
    EXPECT_THAT(runTool("blame --cycles " + trace + " --to 1").output, HasSubstr(": 2 requests of 2 runs, "))
        << "the power-on of each, by its own clock";
    std::string const log = folder.put("log.txt", kLog);
    Ran const none = runTool("chain --cycles " + log);
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.output, HasSubstr("no power cycle has ended"));
}

TEST(BlameCommand, TellsWhereTheTimeWentAndWhatTookMostFirst) {
    Ran const ran = runTool("blame '" + kPhone + "' --client 'camera app'");
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("phone.toml: 8 requests, 141.0 ms\n"));
    std::size_t at = 0;
    for (auto const* const line : {"  48.0  34.0 %     48.0         1  main's power-on\n",
                                   "  43.0  30.5 %     43.0         1  tele's power-on\n",
                                   "  25.0  17.7 %     12.5         2  tele's power-off\n",
                                   "  14.0   9.9 %     14.0         1  main's power-off\n"}) {
        std::size_t const found = ran.output.find(line);
        EXPECT_NE(found, std::string::npos) << line << ran.output;
        EXPECT_GE(found, at) << line;
        at = found;
    }
    EXPECT_THAT(ran.output, Not(HasSubstr("front")));
}

TEST(BlameCommand, SumsUpRunsAndGivesTheirMedians) {
    std::string const arguments = "blame '" ZEQCAM_EXAMPLES_DIR "/camera-switch.toml' ";
    auto const waits = [&](std::string const& options) {
        auto const json = nlohmann::json::parse(runTool(arguments + options + " --json").output);
        double sum = 0;
        for (auto const& row : json["blame"]) sum += row["ms"].get<double>();
        EXPECT_NEAR(sum, json["ms"].get<double>(), 1e-6);
        EXPECT_EQ(json["blame"][0]["where"], "waiting for the power-on lock");
        return json["blame"][0];
    };
    double sum = 0;
    std::vector<double> times;
    for (int seed = 3; seed < 6; ++seed) {
        times.push_back(waits("--seed " + std::to_string(seed))["ms"]);
        sum += times.back();
    }
    std::sort(times.begin(), times.end());
    auto const all = waits("--seed 3 --repeat 3");
    EXPECT_NEAR(all["ms"].get<double>(), sum, 1e-6);
    EXPECT_EQ(all["median_ms"], times[1]);
    EXPECT_EQ(all["longest_ms"], times[2]);
    EXPECT_EQ(all["requests"], 3);
}

// As at a terminal: `script` gives the tool one.
Ran runAtTerminal(std::string const& arguments) {
    return runCommand("NO_COLOR=1 script -qec \"'" ZEQCAM_POWER_PATH "' " + arguments + "\" /dev/null");
}

TEST(RunCommand, EndsOnATerminalWithTheSlowestRequestAndWhatToTypeNext) {
    std::string const unmet = "--set client.1.steps.1.expect=false";
    struct {
        std::string options;
        std::vector<std::string> told;
    } const cases[] = {
        {"--simulate",
         {"Slowest  camera app: power on main wide tele 48.0 ms: main 48.0; 43.0 without main, by tele; tele "
          "failed after 43.0, its retry took 43.0\r\n",
          "Next     zeqcam-power chain " + kPhone + " --seed 1", "zeqcam-power explore " + kPhone + "  "}},
        {"--simulate --seed 4 " + unmet,
         {"Next     zeqcam-power run " + kPhone + " " + unmet + " --simulate --seed 4  "}},
    };
    for (auto const& [options, told] : cases) {
        Ran const ran = runAtTerminal("run " + kPhone + " " + options);
        for (std::string const& each : told) EXPECT_THAT(ran.output, HasSubstr(each)) << options;
    }
    Ran const piped = runTool("run " + kPhone + " --simulate");
    EXPECT_THAT(piped.output, AllOf(Not(HasSubstr("Slowest")), Not(HasSubstr("Next"))));
    EXPECT_THAT(runAtTerminal("run " + kPhone + " --simulate --json").output, Not(HasSubstr("Slowest")));
}

TEST(SweepCommand, TellsWhatRequestsTookWithEachValue) {
    Folder const folder;
    std::string const picture = folder.path("sweep.svg");
    Ran const ran =
        runTool("sweep '" + kPhone + "' --set sensor.tele.power_on_ms=30..90:30 --svg " + picture);
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_THAT(ran.output,
                AllOf(HasSubstr("camera app: power on main wide tele, from 48.0 to 90.0 ms\n"),
                      HasSubstr("camera app: power on main tele, from 30.0 to 90.0 ms\n"),
                      HasSubstr("face unlock: power on front 31.0"), HasSubstr("3 runs, 0 failed\n")));
    auto const at = [&](char const* row) { return ran.output.find(row); };
    EXPECT_LT(at("30  30.0"), at("60  60.0")) << ran.output;
    EXPECT_LT(at("60  60.0"), at("90  90.0")) << ran.output;
    EXPECT_EQ(readByXml(picture, "count(//*[local-name()=\"polyline\"])"), "6");
    EXPECT_EQ(readByXml(picture, "string(//*[local-name()=\"text\"][1])"), "phone.toml");
}

TEST(SweepCommand, RunsEveryChoiceOfValuesAsOftenAsAsked) {
    Ran const ran =
        runTool("sweep '" + kPhone +
                "' --set sensor.tele.power_on_ms=30,70 --set 'sensor.main.power_on_ms=[40, 50],60' "
                "--repeat 3 --json");
    auto const json = nlohmann::json::parse(ran.output);
    ASSERT_EQ(json["points"].size(), 4U);
    EXPECT_EQ(json["points"][1]["values"], (std::vector<std::string>{"30", "60"}));
    // Two requests begin at one instant, in whichever order the seed chooses.
    auto const all = [&](std::size_t point, char const* figure) {
        for (auto const& request : json["points"][point]["requests"]) {
            if (request["request"] == "power on main wide tele") return request[figure].get<double>();
        }
        return 0.0;
    };
    EXPECT_EQ(all(1, "median_ms"), 60.0);
    EXPECT_EQ(all(2, "longest_ms"), 70.0);
    double const drawn = all(0, "median_ms");
    EXPECT_TRUE(drawn >= 40 && drawn <= 50) << drawn;
}

TEST(SweepCommand, TellsWhatIsWrongBeforeItRuns) {
    struct {
        char const* set;
        int status;
        char const* told;
    } const cases[] = {
        {"sensor.tele.power_on_ms=30,-1", 2, "power_on_ms=-1: sensor.power_on_ms: must be from 0"},
        {"sensor.tele.power_on=1", 2, "nearest are sensor.tele.power_on_ms"},
        {"sensor.tele.power_on_ms=90..30:10", 2, "ends before it begins"},
        {"sensor.tele.power_on_ms=30..90:0", 2, "the step must be a number above 0"},
        {"sensor.tele.power_on_ms=0..90000:0.5", 2, "is too many values"},
        {"sensor.tele.power_on_ms", 2, "must be PATH=VALUES"},
        {"client.1.steps.1.expect=true,false", 1, "2 runs, 1 failed"},
    };
    for (auto const& [set, status, told] : cases) {
        Ran const ran = runTool("sweep '" + kPhone + "' --set '" + set + "'");
        EXPECT_EQ(ran.status, status) << set << ran.output;
        EXPECT_THAT(ran.output, HasSubstr(told)) << set;
    }
}

}  // namespace
}  // namespace zeqcam::tests
