#include "evidence/Fragments.h"
#include "rules/Rule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

// What comes of logs and traces as real phones give them: all that can be read is used, what was lost is
// told, nothing is invented.
namespace zeqcam::tool {
namespace {

using namespace tests;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string dated(std::string const& lines, std::string const& date) {
    return std::regex_replace(lines, std::regex("11-23 10:00:00"), date);
}

std::string const kOn = line(5, 812, "get PowerOnLock, Sensor power on") +
                        line(5, 812, "sensorId(2) state: PowerOngoing") + line(6, 812, "powerOn +") +
                        line(50, 812, "3A notifyPowerOn") + line(51, 812, "powerOn -");
std::string const kOff = line(60, 812, "powerOff +") + line(70, 812, "powerOff -");

struct Case {
    char const* name;
    std::string text;
    std::vector<std::string> requests;  // of all records
    std::vector<std::string> losses;
};

std::vector<std::string> lossesOf(Record const& record) {
    std::vector<std::string> losses;
    for (Loss const& loss : record.losses)
        losses.push_back(std::to_string(loss.place.number) + ": " + std::string(record.textOf(loss.text)));
    return losses;
}

void expectRead(Case const& it) {
    SCOPED_TRACE(it.name);
    std::vector<std::string> requests;
    std::vector<std::string> losses;
    for (ReadProcess const& each : read({it.text})) {
        for (std::string const& request : requestsOf(each.record)) requests.push_back(request);
        losses = lossesOf(each.record);
        Instant last = each.record.begin;
        for (Event const& event : each.record.events) {
            EXPECT_LE(last, event.time);
            last = event.time;
        }
        for (Judgement const& judgement : judge(each.record))
            EXPECT_THAT(judgement.breaches.value_or(std::vector<Breach>()), IsEmpty())
                << judgement.rule->name;
    }
    EXPECT_EQ(requests, it.requests);
    EXPECT_EQ(losses, it.losses);
}

std::vector<std::string> const kWhole{"812 power on 2: true", "812 power off ?"};

TEST(HardCases, OfLogs) {
    std::string const chatty = "11-23 10:00:00.055   800   812 I chatty  : uid=1047(cameraserver) ";
    std::string const cutOff = kOff.substr(0, kOff.size() - 10);
    for (Case const& it : {
             Case{"identical lines were left out",
                  kOn + chatty + "identical 3 lines\n" + kOff,
                  kWhole,
                  {"6: 3 lines like the one before were left out"}},
             Case{"a process wrote too much",
                  kOn + chatty + "expire 5 lines\n" + kOff,
                  kWhole,
                  {"6: 5 lines were dropped: the process wrote too many"}},
             Case{"logcat was too slow",
                  kOn + "read: unexpected EOF!\n" + kOff,
                  kWhole,
                  {"6: logcat was too slow: lines were dropped"}},
             Case{"lines out of order", kOn + line(49, 900, "an old one") + kOff, kWhole, {}},
             Case{"Windows' ends of lines",
                  std::regex_replace(kOn + kOff, std::regex("\n"), "\r\n"),
                  kWhole,
                  {}},
             Case{"zeros between lines", kOn + std::string(4096, '\0') + kOff, kWhole, {}},
             Case{"bytes that are no text",
                  kOn + "11-23 10:00:00.052   800   812 I zeqcam-PowerOnOffController: \xff\xc3(\n" + kOff,
                  kWhole,
                  {}},
             Case{"a cut in the last line",
                  kOn + cutOff,
                  {kWhole[0], "812 power off ?, end unknown"},
                  {"7: the line is cut"}},
             Case{"the begin was not recorded",
                  kOn.substr(kOn.find("\n", kOn.find("powerOn +")) + 1) + kOff,
                  {"812 power off ?"},
                  {}},
             Case{"two boots, with the same ids in both",
                  "--------- beginning of main\n" + kOn.substr(0, kOn.find("11-23 10:00:00.050")) +
                      "--------- beginning of main\n" + kOn + kOff,
                  {"812 power on 2, end unknown", kWhole[0], kWhole[1]},
                  {}},
             Case{"the provider died in a power-on and came back",
                  kOn.substr(0, kOn.find("11-23 10:00:00.050")) + line(80, 902, "powerOn +", 900) +
                      line(95, 902, "powerOn -", 900),
                  {"812 power on 2, end unknown", "902 power on ?: true"},
                  {}},
         })
        expectRead(it);
}

TEST(HardCases, ARequestOverNewYearTakesItsTime) {
    auto const all = read({dated(line(980, 812, "powerOn +"), "12-31 23:59:59") +
                           dated(line(30, 812, "powerOn -"), "01-01 00:00:00")});
    ASSERT_EQ(all.size(), 1U);
    ASSERT_THAT(requestsOf(all[0].record), ElementsAre("812 power on ?: true"));
    Request const& request = all[0].record.requests[0];
    EXPECT_EQ(*request.ended - request.began, std::chrono::milliseconds(50));
}

std::string on(int ms, int thread, int workers, int sensor) {
    return begin(ms, thread, "LogicalDev powerOn") + starts(ms + 1, thread, workers) +
           worker(ms + 2, workers, sensor) + begin(ms + 40, thread, "3A notifyPowerOn") +
           end(ms + 41, thread) + end(ms + 42, thread);
}

TEST(HardCases, OfTraces) {
    std::string const head = "# tracer: nop\n";
    std::string const whole = on(1, 812, 820, 2);
    for (Case const& it : {
             Case{"a thread's id is given to another sensor's worker",
                  head + whole + on(100, 812, 820, 3),
                  {"812 power on 2: true", "812 power on 3: true"},
                  {}},
             Case{"the worker's begin was lost",
                  head + begin(1, 812, "LogicalDev powerOn") + "CPU:0 [LOST 7 EVENTS]\n" + end(30, 820) +
                      on(100, 812, 821, 3),
                  {"812 power on ?, end unknown", "812 power on 3: true"},
                  {"3: 7 events lost"}},
             Case{"others' sections that do not end",
                  head + begin(0, 812, "binder") + whole,
                  {"812 power on 2: true"},
                  {}},
             Case{"a cut in an event",
                  head + whole + begin(90, 812, "LogicalDev powerOff").substr(0, 45),
                  {"812 power on 2: true"},
                  {"11: the line is cut"}},
             Case{"Windows' ends of lines",
                  std::regex_replace(head + whole, std::regex("\n"), "\r\n"),
                  {"812 power on 2: true"},
                  {}},
         })
        expectRead(it);
}

TEST(HardCases, AThreadWhoseIdIsGivenAnewIsAnother) {
    auto const all = read({"# tracer: nop\n" + on(1, 812, 820, 2) + on(100, 812, 820, 3)});
    ASSERT_EQ(all.size(), 1U);
    int workers = 0;
    for (Record::Thread const& thread : all[0].record.threads) workers += thread.id == 820 ? 1 : 0;
    EXPECT_EQ(workers, 2);
}

// What lost something is not judged by what may be missing.
TEST(HardCases, WhatLostSomethingIsNotJudgedByIt) {
    std::string const late =
        begin(1, 812, "LogicalDev powerOn") + begin(2, 820, "powerOnSensor: 0") + end(9, 812) + end(30, 820);
    auto const broken = [](std::string const& text) {
        std::size_t count = 0;
        auto const all = read({text});
        for (Judgement const& judgement : judge(all.at(0).record))
            count += judgement.breaches.value_or(std::vector<Breach>()).size();
        return count;
    };
    EXPECT_EQ(broken("# tracer: nop\n" + late), 1U);
    EXPECT_EQ(broken("# tracer: nop\nCPU:0 [LOST 7 EVENTS]\n" + late), 0U);
}

// A trace without the scheduler's events says nothing about processors.
TEST(HardCases, NothingIsKnownOfProcessorsWithoutTheirEvents) {
    auto const all = read({"# tracer: nop\n" + on(1, 812, 820, 2)});
    EXPECT_THAT(all.at(0).record.scheduling, IsEmpty());
    EXPECT_THAT(reachLines(all[0].reach), testing::Contains(HasSubstr("time on a processor: unknown")));
}

}  // namespace
}  // namespace zeqcam::tool
