// What is kept of many runs: what a run's figures are, and how they come together.
#include "Happened.h"
#include "analysis/Chain.h"
#include "series/Series.h"
#include "series/SeriesBlame.h"
#include "text/TimeText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using zeqcam::board::Kind;
using Of = Subject::Of;

// "power on main tele 33 failed": all that the figures of one kind of subject say.
std::vector<std::string> linesOf(RunFigures const& run, Of of) {
    std::vector<std::string> lines;
    for (Figure const& each : run.figures) {
        if (each.subject.of != of) continue;
        std::string line = textOf(each.subject);
        line += each.ms ? ' ' + std::to_string(static_cast<int>(*each.ms)) : " -";
        lines.push_back(line + (each.failed ? " failed" : ""));
    }
    return lines;
}

TEST(RunFigures, TellWhatEachTookAndWhetherItFailed) {
    auto happened = aRun();
    happened.insert(happened.begin() + 11, {{30, 2, Kind::Hal3APowerOn, "", 0, -5},
                                            {30, 2, Kind::TraceEnd},
                                            {31, 2, Kind::PeripheralPowerOn, "", 0}});
    happened.insert(happened.begin() + 1,
                    {{0, 1, Kind::SensorCreate, "", 0, 1}, {0, 1, Kind::SensorCreate, "", 3, 1}});
    RunFigures const run = figuresOf(namedRecord(happened), {}, 7);
    EXPECT_THAT(linesOf(run, Of::Request),
                ElementsAre("app: power on main tele 33 failed", "app: power off main tele 12",
                            "app: power on tele - failed"));
    EXPECT_THAT(linesOf(run, Of::Sensor), ElementsAre("main: power on 27", "tele: power on 17 failed",
                                                      "main: power off 8", "tele: power on (2) - failed"));
    EXPECT_THAT(linesOf(run, Of::Service),
                ElementsAre("hal3a of main: power on 0 failed", "peripheral of main: power on 0"))
        << "a service's time ends where its thread goes on";
    EXPECT_EQ(run.figures[1].beganMs, 40);
}

TEST(RunFigures, NameAClientAsAnotherRunWould) {
    struct Case {
        std::string name;
        std::string subject;
    };
    for (auto const& [name, subject] : std::vector<Case>{{"camera app", "camera app: power on 0"},
                                                         {"thread 1", "power on 0"},
                                                         {"CamLtDrv (1)", "CamLtDrv: power on 0"},
                                                         {"CamLtDrv (2)", "CamLtDrv (2): power on 0"}}) {
        RunFigures const run = figuresOf(
            recordOf({{0, 1, Kind::Request, name, 0, 0, "power on", {0}}, {9, 1, Kind::Reply, name, 0, 1}}),
            {}, 1);
        EXPECT_EQ(textOf(run.figures.at(0).subject), subject);
    }
}

TEST(RunFigures, GoByExpectationsWhereThereAreSome) {
    Record record = namedRecord(aRun());
    using State = Expectation::State;
    record.expectations = {
        {.line = 12, .client = 1, .request = 0, .step = RequestKind::PowerOn, .state = State::Held},
        {.line = 13,
         .client = 1,
         .request = 1,
         .step = RequestKind::PowerOff,
         .state = State::Unmet,
         .unmet = record.texts.add("took 12.0 ms")},
        {.line = 14, .client = 1, .step = RequestKind::PowerOn}};
    RunFigures const run = figuresOf(record, {}, 7);
    EXPECT_THAT(linesOf(run, Of::Request),
                ElementsAre("app: power on main tele 33", "app: power off main tele 12 failed",
                            "app: power on tele - failed"));
    EXPECT_THAT(linesOf(run, Of::Expectation),
                ElementsAre("app: power on 33", "app: power off 12 failed", "app: power on (2) - failed"));
    EXPECT_EQ(run.verdict, Verdict::Failed);
    EXPECT_EQ(run.why, "line 13: app: power off: took 12.0 ms");
    record.cutOff = "was interrupted";
    EXPECT_EQ(figuresOf(record, {}, 7).verdict, Verdict::CutOff);
    EXPECT_EQ(figuresOf(record, {}, 7).why, "the run was interrupted");
}

TEST(RunFigures, HoldTheRulesThatTheRunFailsFor) {
    // The sensor goes off while nobody has asked for that.
    Record const record = recordOf({{0, 1, Kind::Request, "app", 0, 0, "power on", {0}},
                                    {1, 1, Kind::TraceBegin, "LogicalDev powerOn"},
                                    {9, 1, Kind::Reply, "app", 0, 1, "power on"}});
    auto const broken = brokenRulesOf(record, {});
    ASSERT_FALSE(broken.empty());
    EXPECT_THAT(linesOf(figuresOf(record, {}, 1), Of::Rule),
                testing::Contains(std::string(broken.front().rule->name) + " - failed"));
    Strictness allowed;
    for (BrokenRule const& each : broken) allowed.allowed.emplace_back(each.rule->name);
    EXPECT_THAT(linesOf(figuresOf(record, allowed, 1), Of::Rule), IsEmpty());
}

Figure took(std::string const& what, std::optional<double> ms, double began, bool failed = false) {
    return {.subject = {.of = Of::Request, .who = "app", .what = what},
            .line = {},
            .beganMs = began,
            .ms = ms,
            .failed = failed};
}

Series twoRuns() {
    Series series;
    series.add({.run = 7, .why = {}, .figures = {took("off", 12, 40), took("on", 48, 0)}});
    series.add({.run = 8,
                .verdict = Verdict::CutOff,
                .why = "the run was interrupted",
                .figures = {took("on", 50, 0), took("off", {}, 50, true), took("status", 0, 49)}});
    return series;
}

// "on 2: 7=48 8=50": of each, the runs that have it, its samples, and where it failed.
std::vector<std::string> linesOf(Series const& series) {
    std::vector<std::string> lines;
    for (Series::Measured const* each : measuredOf(series, Of::Request)) {
        std::string line = each->subject.what + ' ' + std::to_string(each->seen) + ':';
        for (auto const& sample : each->samples)
            line += ' ' + std::to_string(series.runs()[sample.run]) + '=' +
                    std::to_string(static_cast<int>(sample.ms));
        for (auto const run : each->failed) line += " !" + std::to_string(series.runs()[run]);
        lines.push_back(line);
    }
    return lines;
}

TEST(Series, KeepsTheSamplesOfEachSubjectByRun) {
    Series const series = twoRuns();
    EXPECT_THAT(linesOf(series), ElementsAre("on 2: 7=48 8=50", "off 2: 7=12 !8", "status 1: 8=0"));
    ASSERT_EQ(series.failedRuns().size(), 1U);
    EXPECT_EQ(series.failedRuns()[0].run, 1U);
    EXPECT_TRUE(series.failedRuns()[0].isCutOff);
    EXPECT_EQ(series.find({.who = "app", .what = "on", .nth = 2}), nullptr);
}

TEST(Series, OfSeveralIsAsIfTheirRunsHadBeenOne) {
    Series both = twoRuns();
    both.add({.run = 9, .why = {}, .figures = {took("status", 3, 30)}});
    both.add(twoRuns());
    EXPECT_THAT(linesOf(both),
                ElementsAre("on 4: 7=48 8=50 7=48 8=50", "off 4: 7=12 7=12 !8 !8", "status 3: 8=0 9=3 8=0"));
    EXPECT_THAT(both.runs(), ElementsAre(7, 8, 9, 7, 8));
    EXPECT_EQ(both.failedRuns().back().run, 4U);
}

Figure waited(std::string const& request, std::string const& link, double ms) {
    return {.subject = {.of = Of::Link, .who = request, .what = link}, .line = {}, .ms = ms};
}

// "main 48.0, of a run 24.0, longest 30.0, of 2": each row of the table.
std::vector<std::string> linesOf(Blame const& blame) {
    std::vector<std::string> lines;
    for (Blame::Row const& row : blame.rows())
        lines.push_back(row.where + ' ' + millisecondsText(row.time) + ", of a run " +
                        millisecondsText(row.median) + ", longest " + millisecondsText(row.longest) +
                        ", of " + std::to_string(row.requests));
    return lines;
}

TEST(SeriesBlame, SumsUpWhatRequestsWaitedForRunByRun) {
    Series series;
    series.add({.run = 1, .why = {}, .figures = {waited("on", "main", 30), waited("off", "main", 10)}});
    series.add({.run = 2, .why = {}, .figures = {waited("off", "queue", 4), waited("on", "main", 31)}});
    series.add({.run = 3, .why = {}, .figures = {took("on", {}, 0, true)}});
    series.add({.run = 4, .why = {}, .figures = {waited("on", "main", 20.5), waited("on", "queue", 8)}});
    Blame const blame = blameOf(series);
    EXPECT_THAT(linesOf(blame), ElementsAre("main 91.5, of a run 25.8, longest 31.0, of 4",
                                            "queue 12.0, of a run 2.0, longest 8.0, of 2"));
    EXPECT_EQ(blame.records(), 4U);
    EXPECT_EQ(blame.requests(), 5U);
    EXPECT_EQ(millisecondsText(blame.time()), "103.5");
}

// A record's links, by way of figures, come to what its chains do.
TEST(SeriesBlame, OfOneRunHasAllTheTimeOfItsRequests) {
    Record const record = namedRecord(aRun());
    Series series;
    series.add(figuresOf(record, {}, 7));
    std::chrono::nanoseconds all{};
    for (Chain const& chain : chainsOf(record)) all += chain.time();
    EXPECT_EQ(blameOf(series).time(), all);
}

}  // namespace
