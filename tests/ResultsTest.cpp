// What a record comes to, for people and for programs: the report and the results.
#include "Happened.h"
#include "ScenarioTexts.h"
#include "ToolRuns.h"
#include "text/TextWidth.h"
#include "views/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::HasSubstr;

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

TEST(Report, FoldsTablesIntoItsColumnsAndLosesNoNumber) {
    Record record = recordOf(aRun());
    record.files = {"phone.toml"};
    for (int columns : {30, 45, 60, 80}) {
        std::string const text = shown(writeReport, record, {.columns = columns});
        std::istringstream lines(text.substr(0, text.find("went wrong")));
        for (std::string line; std::getline(lines, line);) {
            bool const ofATable = line.starts_with(' ') || line.starts_with('!');
            if (ofATable) {
                ASSERT_LE(columnsOf(line), columns) << line;
            }
        }
        EXPECT_THAT(text, testing::AllOf(HasSubstr(" 33.0"), HasSubstr(" 12.0"), HasSubstr("WALL")));
    }
}

TEST(Report, BringsColumnsCloserBeforeItFoldsThem) {
    Record record = recordOf(aRun());
    record.files = {"phone.toml"};
    record.cutOff = "was interrupted";
    for (auto const& [columns, end] : std::vector<std::pair<int, std::string>>{
             {61, "SLOWEST  IN TURN\n"}, {60, "SLOWEST IN TURN\n"}, {55, "SLOWEST IN TURN\n"}})
        EXPECT_THAT(shown(writeReport, record, {.columns = columns}), HasSubstr(end)) << columns;
    EXPECT_THAT(shown(writeReport, record, {.columns = 54}), HasSubstr("  SLOWEST\n"));
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
              "--timeout 0.3", "cut off"},
             {stepsAre("{ power_on = [0] }, { wait = true }"), "--timeout 0.3", "cut off"}}) {
        TemporaryFile const result(".result.json",
                                   runScenario(text, "--json " + options, "/dev/null").output);
        EXPECT_EQ(nlohmann::json::parse(result.text()).at("verdict"), verdict);
        auto const [status, said] = runCommand("python3 -W ignore -m jsonschema -i " + result.path +
                                               " " ZEQCAM_RESULTS_SCHEMA " 2>&1");
        EXPECT_EQ(status, 0) << said;
    }
}

TEST(Results, TellWhoWaitsForWhomWhereTheRunIsCutOff) {
    std::string const others =
        "[[controller]]\nname = 'unlock'\nsensors = [0]\n[[client]]\nname = 'face'\n"
        "controller = 'unlock'\nsteps = [ { await = 'on' }, { wait = true } ]\n";
    auto const output =
        runScenario(stepsAre("{ power_on = [0] }, { signal = 'on' }, { sleep_ms = 60000 }") + others,
                    "--json --timeout 0.5", "/dev/null")
            .output;
    std::map<std::string, nlohmann::json> waits;
    auto const result = nlohmann::json::parse(output);
    for (auto const& each : result.at("pending")) waits[each.at("thread")] = each.at("waits");
    EXPECT_EQ(waits.at("face").at("for"), "lock");
    EXPECT_EQ(waits.at("face").at("holder"), "app");
    EXPECT_THAT(waits.at("face").at("text").get<std::string>(),
                testing::MatchesRegex(
                    "face waits for the power-on lock, held since .* by app, which sleeps, for .*"));
    EXPECT_EQ(waits.at("app").at("for"), "sleep");
    EXPECT_EQ(waits.at("app").at("holder"), nullptr);
}

}  // namespace
