#include "views/JUnit.h"

#include "Happened.h"
#include "ScenarioTexts.h"
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;

// What the file's schema says against it; empty: nothing.
std::string misfits(std::string const& file) {
    auto const [status, said] =
        runCommand("xmllint --noout --schema " ZEQCAM_JUNIT_SCHEMA " " + file + " 2>&1");
    return status == 0 ? "" : said;
}

TEST(JUnit, HasACaseForEachExpectationAndRuleAndForTheEnd) {
    std::string const fails = withSensor("power_on_fails = 'always'",
                                         "{ repeat = 2, steps = [ { powered = { main = true } } ] }, "
                                         "{ power_on = [0], failed = [0] }, { status = { main = true } }");
    TemporaryFile const report(".xml");
    struct Case {
        std::string text;
        std::string options;
        int status;
        std::vector<std::pair<std::string, std::string>> found;  // by XPaths
    };
    for (auto const& [text, options, expected, found] : std::vector<Case>{
             {stepsAre("{ power_on = [0], expect = true }, { power_off = [0] }"),
              "",
              0,
              {{"count(//failure | //error | //skipped)", "0"},
               {"count(//testcase[@name=\"line 10: power on\"][@line=10][@time>0])", "1"},
               {"string(/testsuites/testsuite[1]/testcase/@name)", "ends"},
               {"count(//testcase[@name=\"counted-on\"])", "1"}}},
             {fails,
              "--allow hints-first",
              1,
              {{"string(/testsuites/@tests) = count(//testcase)", "true"},
               {"string(/testsuites/@failures)", "2"},
               {"string(//testcase[@name=\"line 11: powered (2)\"]/failure/@message)",
                "main is off, expected on"},
               {"contains(//testcase[@name=\"line 11: powered (2)\"]/failure, \".toml:11: app: powered: "
                "main\")",
                "true"},
               {"contains(//testcase[@name=\"ends\"]/system-out, \"main did not come up\")", "true"},
               {"string(//testcase[@name=\"hints-first\"]/skipped/@message)", "may be broken: --allow"},
               {"starts-with(//testcase[@name=\"status-true\"]/system-out, \"warning: \")", "true"}}},
             {fails,
              "--strict",
              1,
              {{"string(/testsuites/testsuite[3]/@failures)", "1"},
               {"string(//testcase[@name=\"status-true\"]/failure/@type)", "clients"}}},
             {withSensor("power_on_hangs = true",
                         "{ power_on = [0], expect = true }, { status = { 0 = true } }"),
              "--timeout 0.3",
              3,
              {{"string(/testsuites/@errors)", "1"},
               {"string(//error/@message)", "the run has not ended within 300 ms"},
               {"starts-with(//error, \"app is in sensor main\")", "true"},
               {"string(//testcase[@name=\"line 11: status\"]/failure/@type)", "not reached"}}}}) {
        auto const [status, output] = runScenario(text, options + " --junit " + report.path);
        EXPECT_EQ(status, expected) << output;
        EXPECT_EQ(misfits(report.path), "");
        for (auto const& [path, value] : found) EXPECT_EQ(readByXml(report.path, path), value) << path;
    }
}

TEST(JUnit, IsValidWhateverARecordIsCalledAndWhatItLacks) {
    Record record = recordOf(aRun("<app>\033 & \"co\"\xff"));
    record.shows = {zeqcam::board::Kind::Request, zeqcam::board::Kind::Reply};
    TemporaryFile const report(".xml", shown(writeJUnit, record, {.title = "a<b>&\".toml"}));
    EXPECT_EQ(misfits(report.path), "");
    EXPECT_EQ(readByXml(report.path, "string(/*/@name)"), "a<b>&\".toml");
    EXPECT_EQ(readByXml(report.path, "string(//testcase[@name=\"sections-nest\"]/skipped/@message)"),
              "the record lacks events that it needs");
    EXPECT_EQ(readByXml(report.path, "count(//testcase[@name=\"off-what-was-on\"]/skipped)"), "0");
}

}  // namespace
