#include "rules/Verdict.h"
#include "run/SimulatedRun.h"
#include "scenario/ScenarioReader.h"
#include "text/Addresses.h"
#include "views/ResultFile.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

namespace zeqcam::tool {
namespace {

using namespace std::chrono_literals;
using simulation::Ending;
using testing::HasSubstr;

// Two clients of one controller of sensor "main", with these steps.
Scenario clientsWith(std::string const& first, std::string const& second) {
    std::string const client = "[[client]]\ncontroller = 'photo'\n";
    auto read = readScenario(
        "[[sensor]]\nid = 0\nname = 'main'\n[[controller]]\nname = 'photo'\nsensors = "
        "['main']\n" +
        client + "name = 'first'\nsteps = [" + first + "]\n" + client + "name = 'second'\nsteps = [" +
        second + "]\n");
    EXPECT_TRUE(read.faults.empty()) << read.faults.front().message;
    return std::move(read.scenario);
}

std::string traceOf(Record const& record) {
    std::ostringstream text;
    writeTrace(record, {}, text);
    return text.str();
}

void expectOfEach(Record const& record) {
    if (!allHeld(record)) simulation::fail("an expectation does not hold");
}

constexpr auto kOnOff = "{ power_on = ['main'] }, { power_off = ['main'] }";

TEST(SimulatedRun, GivesTheSameBytesForASeedAndOtherOrdersForOthers) {
    Scenario const scenario = clientsWith(kOnOff, kOnOff);
    simulate(scenario, std::uint64_t{1}, {});  // a process's first run sets up what the later ones find
    std::set<std::string> traces;
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        std::string const trace = traceOf(simulate(scenario, seed, {}).record);
        EXPECT_EQ(traceOf(simulate(scenario, seed, {}).record), trace) << seed;
        traces.insert(trace);
    }
    EXPECT_GT(traces.size(), 1U);
}

TEST(SimulatedRun, TakesItsTimesFromTheVirtualClock) {
    Scenario const scenario = clientsWith("{ sleep_ms = 60000 }", kOnOff);
    Record const record = simulate(scenario, std::uint64_t{1}, {}).record;
    EXPECT_EQ(record.clock, ClockKind::Virtual);
    EXPECT_FALSE(record.cutOff);
    EXPECT_EQ(record.end - record.begin, 1min);
}

TEST(SimulatedRun, IsToldWithItsClockInEveryView) {
    Record record = simulate(clientsWith(kOnOff, kOnOff), std::uint64_t{1}, {}).record;
    record.files = {"phone.toml"};
    for (ClockKind const clock : {ClockKind::Virtual, ClockKind::Monotonic}) {
        record.clock = clock;
        for (auto* const view : {writeTerminalTimeline, writeSvg, writeTrace, writeResult}) {
            std::ostringstream text;
            view(record, {}, text);
            EXPECT_THAT(text.str(), HasSubstr(nameOf(clock)));
        }
    }
}

TEST(SimulatedRun, IsCutOffAtALimitAndLeavesNothing) {
    Scenario const scenario = clientsWith("{ sleep_ms = 60000 }", kOnOff);
    SimulatedRun const run = simulate(scenario, std::uint64_t{1}, 40s);
    EXPECT_THAT(run.record.cutOff.value_or(""), HasSubstr("40.0 s"));
    EXPECT_EQ(run.record.end - run.record.begin, 40s);
    EXPECT_FALSE(run.leavesThreads());
}

TEST(SimulatedRun, FindsTheOrderThatBreaksAnExpectationAndRepeatsIt) {
    Scenario const scenario = clientsWith(kOnOff, "{ power_on = ['main'] }, { status = { main = true } }");
    auto const found =
        simulation::explore([&] { playSimulated(scenario, expectOfEach); }, {.preemptions = 1});
    ASSERT_TRUE(found.failure);
    EXPECT_EQ(found.failure->ending, Ending::Failed) << found.failure->report;
    EXPECT_FALSE(allHeld(simulate(scenario, found.failure->schedule, {}).record));
    EXPECT_TRUE(allHeld(simulate(scenario, std::string("seed 1"), {}).record));
}

TEST(SimulatedRun, FindsAnOrderInWhichAClientWaitsForEver) {
    Scenario const scenario = clientsWith(kOnOff, "{ power_on = ['main'] }, { wait = true }");
    auto const found =
        simulation::explore([&] { playSimulated(scenario, expectOfEach); }, {.preemptions = 1});
    ASSERT_TRUE(found.failure);
    // A standard library whose waits look again and again never lets all threads rest.
    EXPECT_THAT(found.failure->ending, testing::AnyOf(Ending::Deadlock, Ending::Livelock));
    EXPECT_THAT(found.failure->report, HasSubstr("waitSensorsPowerOff"));
}

TEST(SimulatedRun, HoldsInEveryOrder) {
    auto const found = simulation::explore(
        [scenario = clientsWith(kOnOff, kOnOff)] { playSimulated(scenario, expectOfEach); },
        {.preemptions = 0});
    EXPECT_TRUE(found.holds());
    EXPECT_GT(found.schedules, 1U);
}

TEST(SimulatedRun, ShowsNoAddress) {
    struct Case {
        std::string text;
        std::string without;
    };
    for (auto const& [text, without] : std::vector<Case>{{"", ""},
                                                         {"at 0x7ffd00a0", "at (address)"},
                                                         {"0x7ffd00a0, 0x55aa00bb.", "(address), (address)."},
                                                         {"status 0x12, 0x", "status 0x12, 0x"}}) {
        EXPECT_EQ(withoutAddresses(text), without);
    }
}

}  // namespace
}  // namespace zeqcam::tool
