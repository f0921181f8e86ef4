// Power cycles of records that begin late, end early or share sensors.
#include "Happened.h"
#include "series/Cycles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::ElementsAre;
using zeqcam::board::Kind;
using Of = Subject::Of;

// A request of a client that is called as its thread is.
std::vector<Happened> asks(int begin, int end, int thread, std::string const& what,
                           std::vector<int> const& sensors) {
    std::string const name = "client " + std::to_string(thread);
    std::vector<Happened> all{{begin, thread, Kind::Request, name, 0, 0, what, sensors}};
    if (end > begin) all.push_back({end, thread, Kind::Reply, name, 0, 1, what});
    return all;
}

Record recordOfAll(std::vector<std::vector<Happened>> const& parts) {
    std::vector<Happened> all;
    for (auto const& part : parts) all.insert(all.end(), part.begin(), part.end());
    std::stable_sort(all.begin(), all.end(),
                     [](Happened const& left, Happened const& right) { return left.ms < right.ms; });
    return recordOf(all);
}

// "10 to 30".
std::vector<std::string> textsOf(std::vector<Cycle> const& cycles) {
    std::vector<std::string> texts;
    auto const ms = [](Instant time) { return std::to_string((time - kBegin) / 1ms); };
    for (Cycle const& each : cycles) texts.push_back(ms(each.begin) + " to " + ms(each.end));
    return texts;
}

TEST(Cycles, OfACutRecordAreThoseThatItShowsWhole) {
    auto const on = [](int begin, int end) { return asks(begin, end, 1, "power on", {0}); };
    auto const off = [](int begin, int end) { return asks(begin, end, 1, "power off", {0}); };
    struct Case {
        std::vector<std::vector<Happened>> parts;
        std::vector<std::string> cycles;
    };
    for (auto const& [parts, cycles] : std::vector<Case>{
             {{}, {}},
             {{off(0, 5), on(10, 20), off(25, 30)}, {"10 to 30"}},
             {{on(10, 20), off(25, 30), on(40, 50)}, {"10 to 30"}},
             {{on(10, 20), off(25, 0)}, {}},
             {{on(10, 0)}, {}},
             {{on(10, 20), on(21, 22), off(25, 30)}, {"10 to 30"}},
             {{on(10, 20), off(25, 30), off(31, 32), on(40, 50), off(51, 52)}, {"10 to 30", "40 to 52"}}})
        EXPECT_EQ(textsOf(cyclesOf(recordOfAll(parts))), cycles);
}

// Each controller counts a sensor that they share as its own.
TEST(Cycles, LastUntilNoControllerCountsOnASensor) {
    Record record = recordOfAll({asks(0, 9, 1, "power on", {5}), asks(10, 19, 2, "power on", {5}),
                                 asks(20, 29, 1, "power off", {5}), asks(40, 49, 2, "power off", {5})});
    EXPECT_THAT(textsOf(cyclesOf(record)), ElementsAre("0 to 29")) << "of one controller, as far as is known";
    record.controllers = {{.name = record.texts.add("photo"), .sensors = {5}},
                          {.name = record.texts.add("video"), .sensors = {5}}};
    record.clients[0].controller = 0;
    record.clients[1].controller = 1;
    EXPECT_THAT(textsOf(cyclesOf(record)), ElementsAre("0 to 49"));
}

TEST(Cycles, FailByTheRulesThatTheyBreakThemselves) {
    // In the second a section stays open.
    Record const record = recordOfAll({asks(0, 9, 1, "power on", {0}),
                                       asks(10, 19, 1, "power off", {0}),
                                       asks(20, 29, 1, "power on", {0}),
                                       {{21, 1, Kind::TraceBegin, "LogicalDev powerOn"}},
                                       asks(30, 39, 1, "power off", {0})});
    auto const runs = figuresOfCycles(record, {}, 1);
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].verdict, Verdict::Passed) << runs[0].why;
    EXPECT_EQ(runs[1].verdict, Verdict::Failed);
    EXPECT_THAT(runs[1].why, testing::StartsWith("broken rule "));
}

TEST(Cycles, AreChosenFromByTheirOwnClocks) {
    Record const record = recordOfAll({asks(0, 9, 1, "power on", {0}), asks(10, 19, 1, "power off", {0}),
                                       asks(50, 59, 1, "power on", {0}), asks(60, 79, 1, "power off", {0}),
                                       asks(62, 64, 2, "status", {})});
    auto const told = [&](Selection const& selection) {
        std::vector<std::string> lines;
        for (RunFigures const& run : figuresOfCycles(record, {}, 1, selection)) {
            std::string line = std::to_string(run.run) + ':';
            for (Figure const& each : run.figures) {
                if (each.subject.of == Of::Request) line += ' ' + textOf(each.subject) + ',';
                if (each.subject.of == Of::Link) line += " (" + each.subject.who + ')';
            }
            lines.push_back(line);
        }
        return lines;
    };
    EXPECT_THAT(told({.to = 9ms}), ElementsAre("1: client 1: power on 0, (client 1: power on 0)",
                                               "2: client 1: power on 0, (client 1: power on 0)"));
    EXPECT_THAT(told({.from = 20ms, .clients = {"client 1"}}),
                ElementsAre("1:", "2: client 1: power off 0, (client 1: power off 0)"));
    EXPECT_THAT(told({.clients = {"client 2"}}),
                ElementsAre("1:", "2: client 2: status, (client 2: status)"));
}

}  // namespace
