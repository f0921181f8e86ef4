#include "evidence/Fragments.h"
#include "replay/ScenarioWriter.h"
#include "rules/Rule.h"
#include "scenario/ScenarioReader.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

// What records come of evidence that is not whole. That whole evidence gives back a run, CircleTest says.
namespace zeqcam::tool {
namespace {

using namespace tests;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Read, TellsWhatInfoLinesTellAndNothingMore) {
    auto const all =
        read({line(1, 812, "powerOn +") + line(50, 812, "3A notifyPowerOn") + line(51, 812, "powerOn -") +
              line(60, 813, "powerOff +") + line(70, 813, "powerOff -")});
    ASSERT_EQ(all.size(), 1U);
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true", "813 power off ?"));
    EXPECT_THAT(reachLines(all[0].reach),
                Contains(HasSubstr("sensors of a power-on: unknown; needs debug lines")));
    for (Judgement const& judgement : judge(all[0].record))
        EXPECT_FALSE(judgement.breaches) << judgement.rule->name << " is judged by info lines";
    EXPECT_EQ(all[0].record.requests[0].ended, all[0].record.begin + std::chrono::milliseconds(50));
}

TEST(Read, TellsTheEndThatARequestWithNothingToDoDoesNotShow) {
    std::string const skips = line(5, 812, "get PowerOnLock, Sensor power on") +
                              line(6, 812, "sensorId(2) state: 1, needs skipped");
    EXPECT_THAT(requestsOf(read({skips})[0].record), ElementsAre("812 power on 2: true"));
    std::string const waits = line(5, 812, "get PowerOnLock, Sensor power on");
    auto const waiting = read({waits});
    EXPECT_THAT(requestsOf(waiting[0].record), ElementsAre("812 power on ?, end unknown"));
    EXPECT_TRUE(waiting[0].record.cutOff);
}

TEST(Read, TellsApartProcesses) {
    auto const all = read({line(1, 812, "powerOn +", 800) + line(2, 912, "powerOn +", 900) +
                           line(3, 812, "powerOn -", 800) + line(9, 912, "powerOn -", 900)});
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].record.process, 800);
    EXPECT_THAT(requestsOf(all[1].record), ElementsAre("912 power on ?: true"));
}

TEST(Read, GoesOnWhereTheWallClockWasSetBack) {
    std::string first = line(1, 812, "powerOn +") + line(50, 812, "powerOn -");
    std::string second = line(1, 812, "powerOff +") + line(9, 812, "powerOff -");
    for (std::size_t at = 0; (at = second.find("10:00:00", at)) != std::string::npos;)
        second.replace(at, 8, "09:00:00");
    auto const all = read({first + second});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true", "812 power off ?"));
    EXPECT_EQ(all[0].record.end - all[0].record.begin, std::chrono::milliseconds(57));
    EXPECT_THAT(all[0].record.losses, testing::SizeIs(1));
}

TEST(Read, KeepsNoLineTwiceThatBothLogsHave) {
    std::string const head = "11-23 10:00:00.001  800  812 I zeqcam-PowerOnOffController: ";
    auto const all =
        read({head +
              "I[zeqcam-PowerOnOffController] f.cpp:9 powerOnOps() [PowerOnOffController::powerOnOps] "
              "powerOn +\n" +
              head + "[PowerOnOffController::powerOnOps] powerOn +\n" + line(9, 812, "powerOn -")});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true"));
}

std::string overlapping(bool withStarts) {
    return begin(1, 812, "LogicalDev powerOn") + begin(2, 813, "LogicalDev powerOn") +
           (withStarts ? starts(3, 812, 820) + starts(3, 813, 821) : "") + worker(4, 820, 0) +
           worker(4, 821, 3, false) + begin(40, 812, "3A notifyPowerOn") + end(40, 812) + end(41, 812) +
           begin(42, 813, "3A notifyPowerOn") + end(42, 813) + end(43, 813);
}

TEST(Read, TellsWhoseAWorkerIsByWhoStartedIt) {
    auto const all = read({"# tracer: nop\n" + overlapping(true)});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on 0: true", "813 power on 3: true"));
    EXPECT_THAT(all[0].notes, IsEmpty());
}

TEST(Read, SaysOneOfWhereNothingTellsWhoseAWorkerIs) {
    auto const all = read({"# tracer: nop\n" + overlapping(false)});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true", "813 power on ?: true"));
    ASSERT_THAT(all[0].notes, testing::SizeIs(2));
    EXPECT_THAT(all[0].notes[0], HasSubstr("sensor 0"));
    EXPECT_THAT(all[0].notes[0], HasSubstr("one of the requests of"));
}

TEST(Read, MakesNoEndOfWhatWasLost) {
    std::string const whole = begin(1, 812, "LogicalDev powerOn") + worker(4, 820, 0);
    std::string const later =
        begin(90, 812, "LogicalDev powerOff") + begin(91, 812, "powerOff: 0") + end(95, 812) + end(96, 812);
    auto const all = read({"# tracer: nop\n" + whole + "CPU:0 [LOST 41 EVENTS]\n" + end(41, 812) + later});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on 0, end unknown", "812 power off 0"));
    ASSERT_THAT(all[0].record.losses, testing::SizeIs(1));
    for (Judgement const& judgement : judge(all[0].record))
        EXPECT_FALSE(judgement.breaches) << judgement.rule->name << " is judged though events were lost";
}

TEST(Read, CriesNoWolfWhereEvidenceBeginsOrEndsInTheMiddle) {
    auto const all = read({"# tracer: nop\n" + end(0, 812) + end(1, 812) +
                           begin(2, 812, "LogicalDev powerOn") + begin(3, 820, "powerOnSensor: 0")});
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on 0, end unknown"));
    EXPECT_TRUE(all[0].record.cutOff);
    for (Judgement const& judgement : judge(all[0].record)) {
        EXPECT_THAT(judgement.breaches.value_or(std::vector<Breach>()), IsEmpty()) << judgement.rule->name;
    }
}

TEST(Read, FindsWorkThatOutlivesItsRequest) {
    auto const all = read({"# tracer: nop\n" + begin(1, 812, "LogicalDev powerOn") +
                           begin(2, 820, "powerOnSensor: 0") + end(9, 812) + end(30, 820)});
    int breaches = 0;
    for (Judgement const& judgement : judge(all[0].record)) {
        if (judgement.rule->name == "work-inside" && judgement.breaches)
            breaches += static_cast<int>(judgement.breaches->size());
    }
    EXPECT_EQ(breaches, 1);
}

TEST(Read, LeavesOutSectionsOfOthers) {
    auto const all = read({"# tracer: nop\n" + begin(0, 812, "binder") +
                           begin(1, 812, "LogicalDev powerOff") + begin(2, 812, "alloc") + end(3, 812) +
                           end(9, 812) + end(10, 812) + begin(20, 812, "another") + end(30, 812)});
    ASSERT_EQ(all[0].record.requests.size(), 1U);
    EXPECT_EQ(*all[0].record.requests[0].ended - all[0].record.requests[0].began,
              std::chrono::milliseconds(8));
    EXPECT_EQ(all[0].record.events.size(), 4U);  // a request, its section's begin and end, a reply
}

TEST(Read, ShowsWhatTheSchedulerDidToThreadsOfOurs) {
    std::string const asleep =
        "sched_switch: prev_comm=camera prev_pid=812 prev_prio=120 prev_state=S ==> "
        "next_comm=other next_pid=77 next_prio=120";
    std::string const back =
        "sched_switch: prev_comm=other prev_pid=77 prev_prio=120 prev_state=S ==> "
        "next_comm=camera next_pid=812 next_prio=120";
    auto const all = read({"# tracer: nop\n" + event(0, 812, asleep) + begin(1, 812, "LogicalDev powerOff") +
                           event(2, 812, asleep) +
                           event(4, 77, "sched_waking: comm=camera pid=812 prio=120 target_cpu=000") +
                           event(5, 77, back) + end(9, 812) + event(12, 812, asleep)});
    std::vector<Scheduling::State> states;
    for (Scheduling const& each : all[0].record.scheduling) states.push_back(each.state);
    using enum Scheduling::State;
    EXPECT_THAT(states, ElementsAre(Running, Asleep, Runnable, Running, Unknown));
    std::ostringstream trace;
    writeTrace(all[0].record, {}, trace);
    EXPECT_THAT(trace.str(), HasSubstr(R"("dur":1000.0,"name":"waiting for a processor")"));
    EXPECT_THAT(trace.str(), HasSubstr("camera on a processor"));
}

TEST(Read, LaysNothingOverAnythingWhereNoClockFits) {
    std::string const log = line(1, 812, "powerOn +") + line(51, 812, "powerOn -");
    auto const all = read({log, "# tracer: nop\n" + begin(1, 812, "LogicalDev powerOn") + end(9, 812)});
    ASSERT_EQ(all.size(), 2U);
    for (ReadProcess const& each : all) {
        EXPECT_EQ(each.record.requests.size(), 1U);
        EXPECT_THAT(each.notes, Contains(HasSubstr("nothing says how the clocks of the files fit")));
    }
}

TEST(Read, FindsTheOffsetOfTwoLogsByTheLinesOfBoth) {
    std::string const lines = line(1, 812, "powerOn +") + line(51, 812, "powerOn -");
    std::regex const time(R"(11-23 10:(\d\d:\d\d\.\d\d\d))");
    std::string const later = std::regex_replace(lines, time, "2026-11-23 04:$1 +0000");
    auto const all = read({lines, later});
    ASSERT_EQ(all.size(), 1U);
    EXPECT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true"));
    EXPECT_TRUE(all[0].record.toWallClock);
}

TEST(Read, WritesAScenarioWithoutFaultsWhateverIsUnknown) {
    for (std::string const& text :
         {line(1, 812, "powerOn +") + line(51, 812, "powerOn -") + line(60, 813, "powerOff +"),
          "# tracer: nop\n" + overlapping(false), "# tracer: nop\n" + begin(1, 812, "LogicalDev powerOn"),
          line(5, 812, "get PowerOnLock, Sensor power on"),
          line(5, 812, "release but something(3) still in list") + line(9, 812, "powerOn +"),
          "# tracer: nop\n" + begin(1, 812, "LogicalDev powerOn") + begin(2, 820, "powerOnSensor: 0")}) {
        auto const all = read({text});
        ASSERT_EQ(all.size(), 1U) << text;
        std::string const scenario = scenarioOf(all[0].record, all[0].notes);
        auto const again = readScenario(scenario);
        EXPECT_THAT(again.faults, IsEmpty()) << faultText(again.faults.front(), "made") << '\n' << scenario;
    }
}

}  // namespace
}  // namespace zeqcam::tool
