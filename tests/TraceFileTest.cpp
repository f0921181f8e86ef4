#include "NestedSlices.h"
#include "analysis/Causes.h"
#include "run/JournalRecord.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tool;
using nlohmann::json;
using zeqcam::board::Entry;
using zeqcam::board::Kind;

std::chrono::steady_clock::time_point const kStart{1h};

// An entry each microsecond.
Record recordOf(std::vector<Entry> entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].order = i;
        entries[i].time = kStart + i * 1us;
    }
    Record record = zeqcam::tool::recordOf(entries, instantOf(kStart + 100us));
    record.sensors = {{.id = 3, .name = record.texts.add("tele")}};
    record.toWallClock = std::chrono::milliseconds(1'763'874'998'315) - kStart.time_since_epoch();
    return record;
}

Entry asked(int thread, std::string const& client, std::string const& request) {
    return {.thread = thread, .kind = Kind::Request, .text = client, .detail = request, .sensors = {3}};
}

Entry replied(int thread, std::string const& client, std::string const& request) {
    return {.thread = thread, .kind = Kind::Reply, .number = 1, .text = client, .detail = request};
}

// Two clients ask for one sensor at once: the second gets past the lock first. A worker for each; then a
// task.
std::vector<Entry> twoClients() {
    return {asked(1, "app", "power on"),
            asked(2, "unlock", "power on"),
            {.thread = 2, .kind = Kind::SensorListGet},
            {.thread = 7, .kind = Kind::TraceBegin, .text = "powerOnSensor: 3"},
            {.thread = 7, .kind = Kind::SensorPowerOn, .sensor = 3},
            {.thread = 7, .kind = Kind::SensorPowerOnDone, .sensor = 3, .number = 1},
            {.thread = 7, .kind = Kind::TraceEnd},
            replied(2, "unlock", "power on"),
            {.thread = 1, .kind = Kind::SensorListGet},
            {.thread = 8, .kind = Kind::TraceBegin, .text = "powerOnSensor: 3"},
            {.thread = 8, .kind = Kind::TraceEnd},
            replied(1, "app", "power on"),
            asked(1, "app", "power off"),
            {.thread = 1, .kind = Kind::TaskPost, .text = "queue"},
            {.thread = 9, .kind = Kind::TaskRun, .text = "queue"},
            {.thread = 9, .kind = Kind::TraceBegin, .text = "powerOff: 3"},
            {.thread = 9, .kind = Kind::TraceEnd},
            replied(1, "app", "power off")};
}

TEST(TraceFile, HoldsSlicesMarksAndCountsInMicroseconds) {
    std::chrono::steady_clock::time_point const begin{5s};
    Record const record = zeqcam::tool::recordOf(
        {{.time = begin, .thread = 1, .kind = Kind::Request, .text = "app", .detail = "power on"},
         {.time = begin + 1us, .thread = 7, .kind = Kind::TraceBegin, .text = "powerOnSensor: 2"},
         {.time = begin + 1500ns, .thread = 7, .kind = Kind::SensorPowerOn, .sensor = 2},
         {.time = begin + 2us, .thread = 7, .kind = Kind::UnifiedLog, .number = 1, .shown = "no\n\xff"},
         {.time = begin + 3us, .thread = 7, .kind = Kind::SensorPowerOnDone, .sensor = 2},
         {.time = begin + 4us, .thread = 8, .kind = Kind::SensorPowerOnDone, .sensor = 1, .number = 1}},
        instantOf(begin + 5us));
    std::ostringstream out;
    writeTrace(record, {.title = "phone"}, out);
    auto const trace = json::parse(out.str());
    zeqcam::tests::expectNestedSlices(trace);
    std::map<std::string, json> last;
    for (auto const& event : trace.at("traceEvents"))
        last[event.at("ph").get<std::string>() + ' ' + event.at("name").get<std::string>()] = event;
    EXPECT_EQ(last.at("M process_name").at("args").at("name"), "phone");
    int const thread = last.at("M thread_name").at("tid");
    EXPECT_EQ(last.at("M thread_name").at("args").at("name"), "sensor 2 worker");
    EXPECT_EQ(last.at("B sensor 2 on").at("ts"), 1.5);
    EXPECT_EQ(last.at("B sensor 2 on").at("tid"), thread);
    EXPECT_EQ(last.at("E sensor 2 on").at("args").at("failed"), true);
    EXPECT_EQ(last.at("E powerOnSensor: 2").at("args").at("open"), true);
    EXPECT_EQ(last.at("i no\n\ufffd").at("args").at("level"), "error");
    EXPECT_EQ(last.at("C sensors powered").at("args").at("sensors"), 1);
}

TEST(Causes, AreTheRequestsThatGotPastTheLock) {
    Record const record = recordOf(twoClients());
    std::ostringstream text;
    for (Cause const& cause : causesOf(record)) {
        Request const& request = record.requests[cause.request];
        text << record.textOf(record.clients[request.client].name) << ' ' << nameOf(request.kind) << '@'
             << (cause.asked - record.begin) / 1us << '>' << *record.threads[cause.working].id << '@'
             << (cause.began - record.begin) / 1us << ' ';
    }
    EXPECT_EQ(text.str(), "unlock power on@1>7@3 app power on@0>8@9 app power off@12>9@15 ");
}

TEST(TraceFile, LeadsFromRequestsToTheirWorkersAndTellsSensorsByName) {
    std::ostringstream out;
    writeTrace(recordOf(twoClients()), {.title = "phone"}, out);
    auto const trace = json::parse(out.str());
    std::map<int, std::string> names;
    std::string arrows;
    std::string counts;
    std::string labels;
    std::map<std::string, json> begun;
    for (json const& event : trace.at("traceEvents")) {
        std::string const phase = event.at("ph");
        int const thread = event.at("tid");
        if (event.at("name") == "thread_name") names[thread] = event.at("args").at("name");
        if (event.at("name") == "process_labels") labels = event.at("args").at("labels");
        if (phase == "s") arrows += names.at(thread) + " > ";
        if (phase == "f") arrows += names.at(thread) + ", ";
        if (phase == "B") begun[event.at("name")] = event.at("args");
        if (phase == "C" && event.at("name") == "tele") counts += event.at("args").dump();
    }
    EXPECT_EQ(arrows, "unlock > tele worker, app > tele worker #2, app > queue, ");
    EXPECT_EQ(begun.at("power off tele").dump(),
              R"({"client":"app","result":"done","sensor_ids":[3],"sensors":["tele"]})");
    EXPECT_EQ(begun.at("tele on").dump(), R"({"sensor":"tele","sensor_id":3})");
    EXPECT_EQ(labels, "monotonic clock, began 2025-11-23T05:16:38.315Z");
    EXPECT_THAT(counts, testing::HasSubstr(R"({"clients":2,"on":1})"));
}

}  // namespace
