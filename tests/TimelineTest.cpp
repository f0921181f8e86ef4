#include "Happened.h"
#include "analysis/Selection.h"
#include "analysis/SensorLanes.h"
#include "analysis/SensorNames.h"
#include "analysis/Timeline.h"
#include "views/TerminalTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Kind;

// "label@begin-end{inner}", failed with '!' and open with '>' before it.
std::string outline(Timeline const& timeline, std::vector<Section> const& sections) {
    std::ostringstream text;
    for (Section const& section : sections) {
        text << ' ' << (section.failed ? "!" : "") << (section.open ? ">" : "")
             << timeline.textOf(section.label) << '@' << (section.begin - kBegin) / 1ms << '-'
             << (section.end - kBegin) / 1ms;
        if (!section.inner.empty()) text << " {" << outline(timeline, section.inner) << " }";
    }
    return text.str();
}

std::string outline(std::vector<Happened> const& happened) {
    Timeline const timeline = timelineOf(recordOf(happened));
    std::string text;
    for (Row const& row : timeline.rows) text += row.name + ':' + outline(timeline, row.sections) + '\n';
    return text;
}

TEST(Timeline, NestsSectionsInRowsNamedByWhatTheThreadsAre) {
    EXPECT_EQ(outline(aRun()),
              "app: power on 0 3@0-33 { LogicalDev powerOn@1-32 } power off 0 3@40-52 >power on 3@60-100\n"
              "sensor 0 worker: powerOnSensor: 0@2-31 { sensor 0 on@3-30 }\n"
              "sensor 3 worker: powerOnSensor: 3@2-21 { !sensor 3 on@3-20 } >powerOnSensor: 3@61-100 {"
              " >sensor 3 on@62-100 }\n"
              "powerOnOffCtrl: powerOff: 0@41-51 { sensor 0 off@42-50 }\n");
}

TEST(Timeline, KeepsThreadsApartThatWorkAtOnce) {
    struct Case {
        char const* what;
        std::vector<Happened> happened;
        std::string outline;
    };
    std::vector<Case> const cases{
        {"two workers of one sensor at once",
         {{0, 1, Kind::TraceBegin, "powerOnSensor: 2"},
          {1, 2, Kind::TraceBegin, "powerOnSensor: 2"},
          {2, 1, Kind::TraceEnd},
          {3, 2, Kind::TraceEnd}},
         "sensor 2 worker: powerOnSensor: 2@0-2\nsensor 2 worker (2): powerOnSensor: 2@1-3\n"},
        {"two threads of a queue, one after the other",
         {{0, 1, Kind::TaskRun, "queue"},
          {0, 1, Kind::TraceBegin, "a"},
          {1, 1, Kind::TraceEnd},
          {2, 2, Kind::TaskRun, "queue"},
          {2, 2, Kind::TraceBegin, "b"},
          {3, 2, Kind::TraceEnd}},
         "queue: a@0-1\nqueue (2): b@2-3\n"},
        {"a worker's id given to another sensor's, without trace sections; a line before its first section",
         {{0, 1, Kind::SensorPowerOn, "", 5},
          {1, 1, Kind::SensorPowerOnDone, "", 5, 1},
          {1, 2, Kind::UnifiedLog, "early", 0, 5},
          {2, 1, Kind::SensorPowerOn, "", 4},
          {3, 1, Kind::SensorPowerOnDone, "", 4, 1},
          {3, 2, Kind::SensorPowerOn, "", 4},
          {4, 2, Kind::SensorPowerOnDone, "", 4, 1}},
         "sensor 4 worker: sensor 4 on@2-3 sensor 4 on@3-4\nsensor 5 worker: sensor 5 on@0-1\n"},
        {"a worker of a sensor with a negative id, as the library writes it",
         {{0, 1, Kind::TraceBegin, "powerOnSensor: 18446744073709551613"}, {1, 1, Kind::TraceEnd}},
         "sensor -3 worker: powerOnSensor: -3@0-1\n"},
        {"ends without begins, and a begin without its end",
         {{0, 1, Kind::TraceEnd},
          {1, 1, Kind::Request, "app", 0, 0, "power on"},
          {2, 1, Kind::TraceBegin, "lost"},
          {3, 1, Kind::Reply, "app", 0, 0, "power on"},
          {4, 1, Kind::TraceEnd},
          {5, 1, Kind::Request, "app", 0, 0, "status"},
          {6, 1, Kind::Reply, "app", 0, 0, "status"}},
         "app: !power on@1-3 { lost@2-3 } status@5-6\n"},
    };
    for (Case const& it : cases) EXPECT_EQ(outline(it.happened), it.outline) << it.what;
}

TEST(Timeline, OrdersAndNamesRowsAsTheFileDoes) {
    // In an order in which nothing of it began.
    Timeline const timeline = timelineOf(namedRecord({{0, 9, Kind::TaskRun, "queue"},
                                                      {1, 9, Kind::SensorPowerOff, "", 5},
                                                      {2, 8, Kind::TaskRun, "queue"},
                                                      {3, 8, Kind::SensorPowerOff, "", 0},
                                                      {3, 7, Kind::TaskRun, "queue"},
                                                      {3, 7, Kind::SensorPowerOff, "", 3},
                                                      {4, 6, Kind::SensorPowerOn, "", 3},
                                                      {5, 5, Kind::SensorPowerOn, "", 0},
                                                      {6, 2, Kind::Request, "app", 0, 0, "power off", {3, 5}},
                                                      {7, 1, Kind::Request, "zoom", 0, 0, "status"}}));
    std::vector<std::string> names;
    for (Row const& row : timeline.rows) names.push_back(row.name);
    EXPECT_THAT(names, testing::ElementsAre("zoom", "app", "main worker", "tele worker", "queue (video)",
                                            "queue (photo)", "queue"));
    Section const& request = timeline.rows[1].sections.front();
    EXPECT_EQ(timeline.textOf(request.label), "power off tele 5");
    EXPECT_EQ(timeline.textOf(request.briefLabels[0]), "off tele 5");
    EXPECT_EQ(timeline.textOf(request.briefLabels[1]), "off 3 5");
}

TEST(Timeline, KeepsTheOrderOfTheSensorsThatTheRecordLists) {
    std::vector<Happened> happened;
    for (int const sensor : {-1, 0, 3, 7}) {
        happened.push_back({1, 10 + sensor, Kind::SensorPowerOn, "", sensor});
        happened.push_back({2, 10 + sensor, Kind::SensorPowerOnDone, "", sensor, 1});
    }
    Record record = recordOf(happened);
    for (int const sensor : {7, 0, 3}) record.sensors.push_back({.id = sensor});
    std::string order;
    for (Row const& row : timelineOf(record).rows) order += std::to_string(*row.sensor) + ' ';
    for (SensorLane const& lane : sensorLanesOf(record)) order += std::to_string(lane.sensor) + ' ';
    EXPECT_EQ(order, "7 0 3 -1 7 0 3 -1 ");
}

TEST(SensorLanes, TellStatesAndWhoCountsOnThem) {
    // Both clients count on the first sensor when one of them powers it off.
    Record const record = namedRecord({{0, 1, Kind::Request, "app", 0, 0, "power on", {0, 3}},
                                       {10, 3, Kind::SensorPowerOn, "", 0},
                                       {10, 4, Kind::SensorPowerOn, "", 3},
                                       {20, 3, Kind::SensorPowerOnDone, "", 0, 1},
                                       {25, 4, Kind::SensorPowerOnDone, "", 3, 0},
                                       {30, 1, Kind::Reply, "app", 0, 1, "power on"},
                                       {40, 2, Kind::Request, "zoom", 0, 0, "power on", {0}},
                                       {40, 2, Kind::Reply, "zoom", 0, 1, "power on"},
                                       {50, 2, Kind::Request, "zoom", 0, 0, "power off", {0}},
                                       {55, 5, Kind::SensorPowerOff, "", 0},
                                       {60, 5, Kind::SensorPowerOffDone, "", 0, 1},
                                       {60, 2, Kind::Reply, "zoom", 0, 0, "power off"},
                                       {80, 1, Kind::Request, "app", 0, 0, "destroy"}});
    std::ostringstream text;
    for (SensorLane const& lane : sensorLanesOf(record)) {
        text << sensorTitle(record, lane.sensor) << ':';
        for (SensorPart const& part : lane.parts) {
            text << ' ' << nameOf(part.state) << '@' << (part.begin - kBegin) / 1ms << '('
                 << clientsText(record, part) << ')' << (isConflict(part) ? "!" : "");
        }
        text << '\n';
    }
    EXPECT_EQ(text.str(),
              "main: off@0() powering on@10() on@20() on@30(app) on@40(zoom, app) on@50(app) powering "
              "off@55(app)! off@60(app)! off@80()\n"
              "tele: off@0() powering on@10() failed@25() failed@30(app)! failed@80()\n");
    std::string const drawn = shown(writeTerminalTimeline, record, {.columns = 116});
    EXPECT_THAT(drawn,
                HasSubstr("\nmain            ..........//////////==========app=================app=xapp"));
}

TEST(Timeline, CountsPoweredSensorsAndMarksALineOnceThatReachedTwoLogs) {
    Record record = recordOf(aRun());
    auto const countsOf = [](Timeline const& timeline) {
        std::string counts;
        for (PoweredCount const& count : timeline.powered) {
            counts += std::to_string((count.time - kBegin) / 1ms) + ':' +
                      (count.sensors ? std::to_string(*count.sensors) : "?") + ' ';
        }
        return counts;
    };
    Timeline const timeline = timelineOf(record);
    EXPECT_EQ(countsOf(timeline), "0:0 30:1 50:0 ");
    for (Request& request : record.requests) {
        if (request.kind == RequestKind::PowerOff) request.sensors.reset();
    }
    EXPECT_EQ(countsOf(timelineOf(record)), "0:0 30:1 40:? ");
    ASSERT_EQ(timeline.marks.size(), 1U);
    EXPECT_EQ(timeline.marks[0].level, Level::Error);
    EXPECT_EQ(timeline.textOf(timeline.marks[0].text), "sensor 3 failed");
    EXPECT_EQ(timeline.rows[timeline.marks[0].row].name, "sensor 3 worker");
}

TEST(Selection, KeepsWhatIsChosenAndWhatRequestsBringTogetherWithIt) {
    std::vector<Happened> happened = aRun();
    for (auto const& [ms, kind] : {std::pair{0, Kind::Request}, {99, Kind::Reply}})
        happened.push_back({ms, 9, kind, "other", 0, 1, "power on", {7}});
    std::stable_sort(happened.begin(), happened.end(),
                     [](Happened const& a, Happened const& b) { return a.ms < b.ms; });
    Record const record = recordOf(happened);
    struct Case {
        Selection selection;
        std::string shown;
    };
    for (auto const& [selection, expected] : std::vector<Case>{
             {{.clients = {"other"}}, "other@0 "},
             {{.sensors = {0}}, "app@0 app@40 app@60 sensor 0 worker@2 powerOnOffCtrl@41 +0"},
             {{.clients = {"app"}, .sensors = {3}},
              "app@0 app@40 app@60 sensor 3 worker@2 sensor 3 worker@61 +3"},
             {{.from = 35ms, .to = 55ms, .clients = {"app"}}, "app@40 powerOnOffCtrl@41 +0 +3"},
         }) {
        Timeline const timeline = timelineOf(record, selection);
        std::string text;
        for (Row const& row : timeline.rows) {
            for (Section const& section : row.sections)
                text += row.name + '@' + std::to_string((section.begin - kBegin) / 1ms) + ' ';
        }
        for (SensorLane const& lane : sensorLanesOf(record, selection))
            text += '+' + std::to_string(lane.sensor) + ' ';
        EXPECT_EQ(text.substr(0, expected.size()), expected);
        EXPECT_LE(text.size(), expected.size() + 1) << text;
    }
    EXPECT_THAT(
        shown(writeTerminalTimeline, record, {.columns = 70, .selection = {.from = 35ms, .to = 55ms}}),
        testing::AllOf(HasSubstr(" 40 ms"), Not(HasSubstr(" 0 ms")), Not(HasSubstr("60 ms"))));
}

}  // namespace
