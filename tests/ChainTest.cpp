// What requests waited for: chains of records made by hand, and of runs in virtual time.
#include "analysis/Blame.h"
#include "analysis/Chain.h"
#include "run/JournalRecord.h"
#include "run/SimulatedRun.h"
#include "scenario/ScenarioReader.h"
#include "text/TimeText.h"
#include "views/ChainText.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using namespace std::chrono_literals;
using board::Kind;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

// "0.3 performance hints".
std::vector<std::string> linksOf(Record const& record, Chain const& chain) {
    std::vector<std::string> links;
    for (Link const& link : chain.links)
        links.push_back(millisecondsText(link.time()) + ' ' + linkText(record, link));
    return links;
}

void expectToAddUp(std::vector<Chain> const& chains) {
    for (Chain const& chain : chains) {
        Instant at = chain.begin;
        for (Link const& link : chain.links) {
            EXPECT_EQ(link.begin, at) << "request " << chain.request;
            EXPECT_LT(link.begin, link.end) << "request " << chain.request;
            at = link.end;
        }
        EXPECT_EQ(at, chain.end) << "request " << chain.request;
    }
}

// What a thread does: `at` milliseconds after the begin.
board::Entry entryOf(int at, int thread, Kind kind, int sensor = 0, std::string text = {}) {
    board::Entry entry;
    entry.time += milliseconds(at);
    entry.thread = thread;
    entry.kind = kind;
    entry.sensor = sensor;
    entry.number = 1;
    entry.text = std::move(text);
    return entry;
}

board::Entry asks(int at, int thread, std::string client, std::string what, std::vector<int> sensors) {
    board::Entry entry = entryOf(at, thread, Kind::Request, 0, std::move(client));
    entry.detail = std::move(what);
    entry.sensors = std::move(sensors);
    return entry;
}

board::Entry answers(int at, int thread, std::string client, std::string what) {
    board::Entry entry = entryOf(at, thread, Kind::Reply, 0, std::move(client));
    entry.detail = std::move(what);
    return entry;
}

// A power-on of sensors 0 and 3 by workers 8 and 9, told by sections; the first step of it is at 2 ms.
std::vector<board::Entry> powerOn() {
    return {asks(0, 1, "app", "power on", {0, 3}),
            entryOf(2, 1, Kind::CriticalTask),
            entryOf(3, 1, Kind::SensorListGet),
            entryOf(3, 1, Kind::SensorCreate, 0),
            entryOf(4, 1, Kind::SensorCreate, 3),
            entryOf(5, 1, Kind::PowerBudget),
            entryOf(7, 8, Kind::TraceBegin, 0, "powerOnSensor: 0"),
            entryOf(8, 8, Kind::CriticalTask),
            entryOf(8, 8, Kind::SensorPowerOn, 0),
            entryOf(9, 9, Kind::TraceBegin, 0, "powerOnSensor: 3"),
            entryOf(9, 9, Kind::SensorPowerOn, 3),
            entryOf(20, 9, Kind::SensorPowerOnDone, 3),
            entryOf(20, 9, Kind::TraceEnd, 0, "powerOnSensor: 3"),
            entryOf(40, 8, Kind::SensorPowerOnDone, 0),
            entryOf(40, 8, Kind::TraceBegin, 0, "init()::hal3a"),
            entryOf(40, 8, Kind::Hal3APowerOn, 0),
            entryOf(46, 8, Kind::TraceEnd, 0, "init()::hal3a"),
            entryOf(46, 8, Kind::TraceEnd, 0, "powerOnSensor: 0"),
            entryOf(49, 1, Kind::ProfileMark, 0, "Sensor powerOn -"),
            entryOf(49, 1, Kind::TraceBegin, 0, "3A notifyPowerOn"),
            entryOf(50, 1, Kind::TraceEnd, 0, "3A notifyPowerOn"),
            answers(51, 1, "app", "power on")};
}

Record recordUntil(int end, std::vector<board::Entry> const& journal) {
    return recordOf(journal, Instant(milliseconds(end)));
}

TEST(Chain, TellsAPowerOnStepByStep) {
    Record const record = recordUntil(60, powerOn());
    auto const chains = chainsOf(record);
    ASSERT_EQ(chains.size(), 1U);
    expectToAddUp(chains);
    EXPECT_THAT(linksOf(record, chains[0]),
                ElementsAre("2.0 unknown", "2.0 the sensors' handles", "1.0 the power budget",
                            "2.0 0's worker to begin", "1.0 performance hints", "32.0 0's power-on",
                            "6.0 0's 3A control", "3.0 its thread to go on",
                            "1.0 the listeners' notification", "1.0 the library itself"))
        << "whose controller it is nobody tells";
    EXPECT_EQ(chainLine(record, chains[0]),
              "power on 0 3 51.0 ms: 0 32.0, started 8.0 after the request; 0's 3A control 6.0; 25.0 without "
              "0, by 3");
}

TEST(Chain, EndsWhereARequestThatHasNotEndedIs) {
    struct {
        char const* what;
        std::size_t events;  // of the power-on
        std::vector<std::string> last;
    } const cases[] = {
        {"before its controller is its own", 1, {"60.0 unknown"}},
        {"in a sensor", 12, {"52.0 0's power-on"}},
        {"in a sensor's service", 16, {"32.0 0's power-on", "20.0 0's 3A control"}},
        {"after its workers", 18, {"6.0 0's 3A control", "14.0 its thread to go on"}},
        {"in its listeners", 20, {"3.0 its thread to go on", "11.0 the listeners' notification"}},
    };
    for (auto const& [what, events, last] : cases) {
        auto journal = powerOn();
        journal.resize(events);
        Record const record = recordUntil(60, journal);
        auto const chains = chainsOf(record);
        expectToAddUp(chains);
        auto links = linksOf(record, chains.at(0));
        ASSERT_GE(links.size(), last.size()) << what;
        links.erase(links.begin(), links.end() - std::ssize(last));
        EXPECT_EQ(links, last) << what;
        EXPECT_TRUE(chains[0].isOpen);
        EXPECT_THAT(chainLine(record, chains[0]), HasSubstr("60.0 ms and not ended: "));
    }
}

TEST(Chain, TellsWhatAThreadHadNoProcessorFor) {
    Record record = recordUntil(60, powerOn());
    using State = Scheduling::State;
    auto const at = [](int ms) { return Instant(milliseconds(ms)); };
    std::uint32_t const worker = 1;  // of sensor 0
    record.scheduling = {{at(5), worker, State::Runnable},
                         {at(6), worker, State::Running},
                         {at(9), worker, State::Asleep},
                         {at(38), worker, State::Runnable},
                         {at(41), worker, State::Running}};
    auto const chains = chainsOf(record);
    std::vector<std::string> waits;
    for (Link const& link : chains.at(0).links) {
        if (link.withoutProcessor && *link.withoutProcessor > 0ms)
            waits.push_back(millisecondsText(*link.withoutProcessor) + ' ' + linkText(record, link));
    }
    EXPECT_THAT(waits, ElementsAre("1.0 0's worker to begin", "2.0 0's power-on", "1.0 0's 3A control"));
    EXPECT_FALSE(chains[0].links.front().withoutProcessor) << "of the request's thread nothing is known";
    Blame blame;
    blame.add(record, {&chains[0]});
    std::vector<std::string> rows;
    for (Blame::Row const& row : blame.rows()) rows.push_back(millisecondsText(row.time) + ' ' + row.where);
    EXPECT_THAT(rows, testing::IsSupersetOf({"30.0 0's power-on", "5.0 0's 3A control",
                                             "4.0 waiting for a processor", "1.0 workers to begin"}));
}

TEST(Chain, DoesNotGuessWhatLogLinesDoNotShow) {
    Record record =
        recordUntil(60, {asks(0, 1, "app", "power on", {0}), entryOf(1, 1, Kind::SensorListGet),
                         entryOf(1, 1, Kind::SensorCreate, 0), answers(51, 1, "app", "power on")});
    record.shows = {Kind::Request, Kind::Reply, Kind::UnifiedLog, Kind::SensorCreate};
    EXPECT_THAT(linksOf(record, chainsOf(record).at(0)), ElementsAre("51.0 unknown"));
}

Scenario scenarioOf(std::string const& text) {
    Reading reading = readScenario(text);
    EXPECT_TRUE(reading.faults.empty()) << reading.faults.front().message;
    return std::move(reading.scenario);
}

constexpr auto kBoard =
    "[[sensor]]\nid = 0\nname = 'main'\npower_on_ms = 48\npower_off_ms = 14\n"
    "[[sensor]]\nid = 2\nname = 'wide'\npower_on_ms = 36.5\npower_off_ms = 11\n"
    "[[sensor]]\nid = 3\nname = 'tele'\npower_on_ms = 43\npower_off_ms = 12\n";

std::string clientOf(std::string const& name, std::string const& steps) {
    return "[[client]]\nname = '" + name + "'\ncontroller = 'photo'\nsteps = [" + steps + "]\n";
}

constexpr auto kController = "[[controller]]\nname = 'photo'\nsensors = [0, 2, 3]\n";

struct Played {
    char const* what;
    std::string clients;
    std::string board;               // keys of sensor tele
    std::string chain;               // the line of the last request of client app
    std::vector<std::string> links;  // of the same
};

void expectChain(Played const& played) {
    SCOPED_TRACE(played.what);
    Scenario const scenario =
        scenarioOf(std::string(kBoard) + played.board + '\n' + kController + played.clients);
    auto const run = simulate(scenario, std::uint64_t{1}, 500ms);
    auto const chains = chainsOf(run.record);
    expectToAddUp(chains);
    auto const ofApp = [&](Chain const& chain) {
        auto const client = run.record.requests[chain.request].client;
        return run.record.textOf(run.record.clients[client].name) == "app";
    };
    auto const last = std::find_if(chains.rbegin(), chains.rend(), ofApp);
    ASSERT_NE(last, chains.rend());
    EXPECT_EQ(chainLine(run.record, *last), played.chain);
    EXPECT_EQ(linksOf(run.record, *last), played.links);
}

TEST(Chain, TellsWhatARunWaitedFor) {
    Played const cases[] = {
        {"the slowest sensor, and the one behind it",
         clientOf("app", "{ power_on = [0, 2, 3] }"),
         "",
         "power on main wide tele 48.0 ms: main 48.0; 43.0 without main, by tele",
         {"48.0 main's power-on"}},
        {"services after it",
         clientOf("app", "{ power_on = [0, 3] }"),
         "hal3a = { on_ms = 4 }\nperipheral = { on_ms = 3 }",
         "power on main tele 50.0 ms: tele 43.0; 48.0 without tele, by main",
         {"43.0 tele's power-on", "3.0 tele's peripheral controller", "4.0 tele's 3A control"}},
        {"its controller, which another client keeps",
         clientOf("first", "{ power_on = [0] }") + clientOf("app", "{ sleep_ms = 8 }, { power_on = [3] }"),
         "",
         "power on tele 83.0 ms: tele 43.0, started 40.0 after the request; its controller, kept by power "
         "on main of first 40.0",
         {"40.0 its controller, kept by power on main of first", "43.0 tele's power-on"}},
        {"the power-on lock",
         clientOf("first", "{ power_on = [0] }, { sleep_ms = 2 }, { power_off = [0] }") +
             clientOf("app", "{ sleep_ms = 1 }, { wait = true }"),
         "",
         "wait 63.0 ms: the power-on lock, held by power on main of first 63.0",
         {"63.0 the power-on lock, held by power on main of first"}},
        {"a queue that takes one task after another",
         clientOf("app", "{ power_on = [0, 3] }, { power_off = [0, 3] }"),
         "",
         "power off main tele 26.0 ms: main 14.0; tele 12.0",
         {"14.0 main's power-off", "12.0 tele's power-off"}},
        {"a sensor that is tried again",
         clientOf("app", "{ power_on = [3] }, { power_off = [3] }, { power_on = [3] }"),
         "power_on_fails = { times = [1] }",
         "power on tele 43.0 ms: tele 43.0",
         {"43.0 tele's power-on, tried again"}},
        {"a sensor that fails and is not tried again",
         clientOf("app", "{ power_on = [3] }"),
         "power_on_fails = 'always'",
         "power on tele 43.0 ms: tele 43.0; tele failed after 43.0 and was not tried again",
         {"43.0 tele's power-on"}},
    };
    for (Played const& played : cases) expectChain(played);
}

TEST(Chain, TellsAQueueThatComesLate) {
    Scenario const scenario =
        scenarioOf(std::string("[board]\nqueue = 'late'\nqueue_late_ms = 5\n") + kBoard + kController +
                   clientOf("app", "{ power_on = [0, 3] }, { power_off = [0, 3] }"));
    auto const run = simulate(scenario, std::uint64_t{1}, {});
    auto const chains = chainsOf(run.record);
    expectToAddUp(chains);
    EXPECT_THAT(
        linksOf(run.record, chains.at(1)),
        ElementsAre(HasSubstr("main's task in the queue"), "14.0 main's power-off", "12.0 tele's power-off"));
}

TEST(Chain, AddsUpInEveryExample) {
    for (std::string const name : {"phone", "camera-switch", "cold-start", "dropped-tasks", "face-unlock",
                                   "hanging-sensor", "late-supply"}) {
        SCOPED_TRACE(name);
        auto const scenario = readScenarioFile(ZEQCAM_EXAMPLES_DIR "/" + name + ".toml").scenario;
        for (std::uint64_t seed = 1; seed <= 5; ++seed)
            expectToAddUp(chainsOf(simulate(scenario, seed, 2s).record));
    }
}

}  // namespace
}  // namespace zeqcam::tool
