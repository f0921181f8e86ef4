#include "Happened.h"
#include "analysis/Timeline.h"
#include "evidence/Fragments.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

// A trace file that the tool has written is evidence like any other: it gives back what it was written from.
namespace zeqcam::tool {
namespace {

using namespace tests;
using board::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

ReadProcess readOf(Record const& record) {
    auto all = read({shown(writeTrace, record, {.title = "run"})});
    EXPECT_EQ(all.size(), 1U);
    return std::move(all.at(0));
}

TEST(OwnTrace, GivesBackThreadsSensorsAndClientsByIdAndName) {
    Record record = namedRecord(aRun());
    record.process = 77;
    Record const again = readOf(record).record;
    EXPECT_EQ(again.process, 77);
    EXPECT_EQ(again.nameOfSensor(0), "main");
    EXPECT_EQ(again.nameOfSensor(3), "tele");
    EXPECT_THAT(requestsOf(again),
                ElementsAre("1 power on 0 3: true", "1 power off 0 3", "1 power on 3, end unknown"));
    std::set<int> ids;
    for (Record::Thread const& thread : again.threads) ids.insert(*thread.id);
    EXPECT_EQ(ids, (std::set{1, 2, 3, 4, 5}));
    Timeline const timeline = timelineOf(again);
    std::vector<std::string> rows;
    for (Row const& row : timeline.rows) rows.push_back(row.name);
    EXPECT_THAT(rows, ElementsAre("app", "main worker", "tele worker", "powerOnOffCtrl"));
    Section const& work = timeline.rows[2].sections.front();
    EXPECT_EQ(timeline.textOf(work.label), "powerOnSensor: tele");
    EXPECT_EQ(timeline.textOf(work.briefLabels[1]), "3");
}

TEST(OwnTrace, TellsASensorByItsIdWhateverItsName) {
    Record record;
    record.sensors = {{.id = 5, .name = record.texts.add("7")},
                      {.id = -3, .name = record.texts.add("sensor 5")}};
    record.clients = {{.name = record.texts.add("app")}};
    record.end = kBegin + std::chrono::milliseconds(9);
    addJournal(record, entriesOf({{0, 1, Kind::Request, "app", 0, 0, "power on", {5, -3}},
                                  {1, 2, Kind::TraceBegin, "powerOnSensor: 5"},
                                  {2, 2, Kind::SensorPowerOn, "", 5},
                                  {3, 2, Kind::SensorPowerOnDone, "", 5, 1},
                                  {4, 2, Kind::TraceEnd, "powerOnSensor: 5"},
                                  {5, 1, Kind::Reply, "app", 0, 1, "power on"}}));
    Record const again = readOf(record).record;
    EXPECT_THAT(requestsOf(again), ElementsAre("1 power on 5 -3: true"));
    EXPECT_EQ(again.nameOfSensor(5), "7");
    EXPECT_EQ(again.nameOfSensor(-3), "sensor 5");
}

// Two clients at once, whose workers nothing but the arrows tells apart; the first one's begins at the same
// instant, the second one's has the id of a
// thread that was a client before.
std::vector<Happened> overlapping() {
    return {{0, 3, Kind::Request, "early", 0, 0, "status"},
            {0, 3, Kind::Reply, "early", 0, 0, "status"},
            {1, 1, Kind::Request, "app", 0, 0, "power on", {0}},
            {1, 1, Kind::SensorListGet},
            {1, 2, Kind::Request, "unlock", 0, 0, "power on", {3}},
            {1, 2, Kind::SensorListGet},
            {1, 7, Kind::TraceBegin, "powerOnSensor: 0"},
            {1, 7, Kind::SensorPowerOn, "", 0},
            {3, 3, Kind::TraceBegin, "powerOnSensor: 3"},
            {3, 3, Kind::SensorPowerOn, "", 3},
            {8, 3, Kind::SensorPowerOnDone, "", 3, 1},
            {8, 3, Kind::TraceEnd, "powerOnSensor: 3"},
            {9, 7, Kind::SensorPowerOnDone, "", 0, 1},
            {9, 7, Kind::TraceEnd, "powerOnSensor: 0"},
            {10, 1, Kind::ProfileMark, "Sensor powerOn -"},
            {11, 1, Kind::Reply, "app", 0, 1, "power on"},
            {12, 2, Kind::Reply, "unlock", 0, 1, "power on"}};
}

TEST(OwnTrace, LeadsFromRequestsToTheirWorkersByItsArrows) {
    ReadProcess const seen = readOf(recordOf(overlapping()));
    EXPECT_THAT(seen.notes, IsEmpty());
    std::vector<std::string> clients;
    for (Record::Client const& client : seen.record.clients)
        clients.emplace_back(seen.record.textOf(client.name));
    EXPECT_THAT(clients, ElementsAre("early", "app", "unlock"));
    std::vector<std::string> calls;
    int marks = 0;
    for (Event const& event : seen.record.events) {
        if (event.kind == Kind::ProfileMark) ++marks;
        if (event.kind != Kind::SensorPowerOn) continue;
        ASSERT_TRUE(event.request);
        auto const client = seen.record.requests[*event.request].client;
        calls.push_back(std::to_string(*event.sensor) + " for " +
                        std::string(seen.record.nameOfClient(client)));
    }
    EXPECT_THAT(calls, ElementsAre("0 for app", "3 for unlock"));
    EXPECT_EQ(marks, 1);
}

TEST(OwnTrace, TellsWhenItBegan) {
    Record record = recordOf(overlapping());
    record.toWallClock = std::chrono::hours(1000) - kBegin.time_since_epoch();
    Record const again = readOf(record).record;
    ASSERT_TRUE(again.toWallClock);
    EXPECT_EQ(again.begin.time_since_epoch() + *again.toWallClock, std::chrono::hours(1000));
}

}  // namespace
}  // namespace zeqcam::tool
