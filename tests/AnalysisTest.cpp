// What follows from a record: sensors' times, outcomes of requests, and who waits for whom.
#include "analysis/Outcomes.h"
#include "analysis/SensorTimes.h"
#include "run/JournalRecord.h"
#include "views/StandingText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tool;
using testing::ElementsAre;
using zeqcam::board::Kind;

// A journal with one entry each millisecond.
std::vector<zeqcam::board::Entry> journalOf(std::vector<zeqcam::board::Entry> entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].order = i;
        entries[i].time += i * 1ms;
    }
    return entries;
}

TEST(SensorTimes, CountsTheCallsOfARequestAndNotThoseItWaitedFor) {
    // The app's request, on thread 1, finds its controller busy with the same sensors for the lens test, on
    // thread 2.
    // Another controller drives sensor 1 besides, on thread 6.
    auto const times = sensorTimes(
        recordOf(journalOf({{.thread = 2, .kind = Kind::Request, .text = "lens test", .sensors = {0}},
                            {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0, 1, 2}},
                            {.thread = 2, .kind = Kind::SensorPowerOff, .sensor = 0},
                            {.thread = 2, .kind = Kind::SensorPowerOffDone, .sensor = 0},
                            {.thread = 2, .kind = Kind::Reply, .text = "lens test"},
                            {.thread = 1, .kind = Kind::SensorListGet},
                            {.thread = 3, .kind = Kind::SensorPowerOn, .sensor = 0},
                            {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 1},
                            {.thread = 6, .kind = Kind::SensorPowerOn, .sensor = 1},
                            {.thread = 4, .kind = Kind::SensorPowerOnDone, .sensor = 1},
                            {.thread = 3, .kind = Kind::SensorPowerOnDone, .sensor = 0},
                            {.thread = 6, .kind = Kind::SensorPowerOnDone, .sensor = 1},
                            {.thread = 1, .kind = Kind::Reply, .text = "app"},
                            {.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0}},
                            {.thread = 1, .kind = Kind::Reply, .text = "app"}}),
                 {}));
    ASSERT_EQ(times.size(), 3U);
    EXPECT_EQ(times[1].calls, 2);
    EXPECT_EQ(times[1].slowest, 4ms);
    EXPECT_EQ(times[1].oneAfterAnother, 6ms);
    EXPECT_EQ(times[2].calls, 0) << "sensor 0 is on already";
}

TEST(SensorTimes, CountsACallThatHasNotEndedUntilTheEnd) {
    auto const times =
        sensorTimes(recordOf(journalOf({{.thread = 1, .kind = Kind::Request, .text = "app", .sensors = {0}},
                                        {.thread = 1, .kind = Kind::SensorListGet},
                                        {.thread = 3, .kind = Kind::SensorPowerOn, .sensor = 0}}),
                             instantOf(std::chrono::steady_clock::time_point(9ms))));
    EXPECT_EQ(times.at(0).calls, 1);
    EXPECT_EQ(times.at(0).slowest, 7ms);
}

// What two controllers did of the same sensor at the same time: each has the answers of its own calls.
TEST(Outcomes, TellWhoseSensorFailed) {
    Record const record = recordOf(
        journalOf(
            {{.thread = 1, .kind = Kind::Request, .text = "app", .detail = "power on", .sensors = {0, 1}},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 0, .number = 1},
             {.thread = 2, .kind = Kind::Request, .text = "test", .detail = "power on", .sensors = {1}},
             {.thread = 2, .kind = Kind::SensorCreate, .sensor = 1, .number = 1},
             {.thread = 5, .kind = Kind::SensorPowerOn, .sensor = 1},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 1, .number = 1},
             {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 1},
             {.thread = 5, .kind = Kind::SensorPowerOnDone, .sensor = 1},
             {.thread = 5, .kind = Kind::ExceptionReport},
             {.thread = 4, .kind = Kind::SensorPowerOnDone, .sensor = 1, .number = 1},
             {.thread = 1, .kind = Kind::Hal3APowerOn, .sensor = 1, .number = -5},
             {.thread = 1, .kind = Kind::Reply, .text = "app"},
             {.thread = 2, .kind = Kind::Reply, .text = "test"},
             {.thread = 2, .kind = Kind::Request, .text = "test", .detail = "power off", .sensors = {1}},
             {.thread = 2, .kind = Kind::TaskPost},
             {.thread = 5, .kind = Kind::TaskRun},
             {.thread = 5, .kind = Kind::SensorPowerOff, .sensor = 1},
             {.thread = 5, .kind = Kind::SensorPowerOffDone, .sensor = 1}}),
        {});
    auto const outcomes = outcomesOf(record);
    EXPECT_THAT(outcomes.at(0).failedSensors, ElementsAre());
    EXPECT_THAT(outcomes.at(0).services, ElementsAre(10U));
    EXPECT_THAT(outcomes.at(1).failedSensors, ElementsAre(1));
    EXPECT_THAT(outcomes.at(1).failures, ElementsAre(7U));
    EXPECT_THAT(outcomes.at(1).reports, ElementsAre(8U));
    EXPECT_THAT(outcomes.at(2).failedSensors, ElementsAre(1)) << "did not go off";
}

TEST(Standings, TellWhoWaitsForWhom) {
    using std::chrono::steady_clock;
    auto const controllerOf = [](Record& record, std::uint32_t client, std::uint32_t controller) {
        record.clients.push_back({.name = record.texts.add(client == 0   ? "face unlock"
                                                           : client == 1 ? "camera app"
                                                                         : "lens test"),
                                  .controller = controller});
    };
    Record record;
    for (std::uint32_t const client : {0U, 1U, 2U}) controllerOf(record, client, client == 1 ? 1 : 0);
    record.end = instantOf(steady_clock::time_point(520ms));
    addJournal(
        record,
        journalOf(
            {{.thread = 1, .kind = Kind::TraceTags},
             {.thread = 1,
              .kind = Kind::Request,
              .text = "face unlock",
              .detail = "power on",
              .sensors = {2}},
             {.thread = 1, .kind = Kind::SensorCreate, .sensor = 2, .number = 1},
             {.thread = 4, .kind = Kind::SensorPowerOn, .sensor = 2},
             {.thread = 2, .kind = Kind::Request, .text = "camera app", .detail = "power on", .sensors = {0}},
             {.thread = 2, .kind = Kind::SensorCreate, .sensor = 0, .number = 1},
             {.thread = 2, .kind = Kind::Reply, .number = 1, .text = "camera app"},
             {.thread = 2, .kind = Kind::Request, .text = "camera app", .detail = "wait"},
             {.thread = 3,
              .kind = Kind::Request,
              .text = "lens test",
              .detail = "power off",
              .sensors = {2}}}));
    EXPECT_THAT(
        standingLines(record, standingsOf(record)),
        ElementsAre("face unlock is in sensor 2's power-on, for 517 ms",
                    "camera app waits for the power-on lock, held since 1.00 ms by face unlock, which is "
                    "in sensor 2's power-on, for 513 ms",
                    "lens test waits for its controller, kept by the power on of face unlock, which is in "
                    "sensor 2's power-on, for 512 ms"));
}

}  // namespace
