#include "Happened.h"
#include "ToolRuns.h"
#include "analysis/Selection.h"
#include "analysis/Timeline.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

// What threads did for the processor, as the drawn views show it.
namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Kind;
using enum Scheduling::State;

struct Did {
    int ms;
    std::uint32_t thread;  // by the order in which they first did something
    Scheduling::State state;
};

Record recordOf(std::vector<Happened> const& happened, std::vector<Did> const& did) {
    Record record = zeqcam::tests::recordOf(happened);
    for (Did const& each : did)
        record.scheduling.push_back({kBegin + std::chrono::milliseconds(each.ms), each.thread, each.state});
    return record;
}

std::string outline(Timeline const& timeline) {
    std::ostringstream text;
    for (Row const& row : timeline.rows) {
        text << row.name << ':';
        for (ProcessorPart const& part : row.processor)
            text << ' ' << nameOf(part.state) << '@' << (part.begin - kBegin) / 1ms << '-'
                 << (part.end - kBegin) / 1ms;
        text << '\n';
    }
    return text.str();
}

// A worker of sensor 5 whose thread's id is given to one of sensor 4.
std::vector<Happened> const kWorkers{{0, 1, Kind::SensorPowerOn, "", 5},
                                     {10, 1, Kind::SensorPowerOnDone, "", 5, 1},
                                     {20, 1, Kind::SensorPowerOn, "", 4},
                                     {30, 1, Kind::SensorPowerOnDone, "", 4, 1}};

TEST(ProcessorTime, IsOfTheRowsWhoseThreadsTookIt) {
    struct Case {
        char const* what;
        std::vector<Did> did;
        std::string outline;
    };
    for (Case const& it : {
             Case{"an id that was given to another worker",
                  {{0, 0, Running}, {4, 0, Asleep}, {10, 0, Ended}, {20, 0, Runnable}, {21, 0, Running}},
                  "sensor 4 worker: waiting for a processor@20-21 running@21-100\n"
                  "sensor 5 worker: running@0-4 asleep@4-10\n"},
             Case{"what is not known, what is told twice, and what takes no time",
                  {{0, 0, Running}, {2, 0, Running}, {4, 0, Asleep}, {4, 0, Running}, {9, 0, Unknown}},
                  "sensor 4 worker:\nsensor 5 worker: running@0-9\n"},
             Case{"a worker that waits before it does anything",
                  {{-3, 0, Runnable}, {-1, 0, Running}, {9, 0, Unknown}},
                  "sensor 4 worker:\nsensor 5 worker: waiting for a processor@-3--1 running@-1-9\n"},
         })
        EXPECT_EQ(outline(timelineOf(recordOf(kWorkers, it.did))), it.outline) << it.what;
}

TEST(ProcessorTime, IsLeftOutWithTheRowsAndTimesThatAre) {
    Record const record = recordOf(kWorkers, {{0, 0, Running}, {8, 0, Asleep}, {20, 0, Running}});
    EXPECT_EQ(outline(timelineOf(record, {.from = 9ms, .to = {}, .clients = {}, .sensors = {5}})),
              "sensor 4 worker:\nsensor 5 worker: asleep@8-20\n");
}

std::vector<Did> const kDid{{0, 0, Running},  {4, 0, Asleep},   {30, 0, Runnable}, {32, 0, Running},
                            {34, 0, Unknown}, {40, 0, Running}, {41, 0, Asleep},   {52, 0, Running}};

TEST(ProcessorTime, HasALineInATerminal) {
    std::string const text =
        shown(writeTerminalTimeline, recordOf(aRun(), kDid), {.columns = 68, .glyphs = Glyphs::Ascii});
    EXPECT_THAT(text, HasSubstr(R"(
app             [power on 0 3---]   [off~]    [power on 3-------->
                 [-------------] LogicalDev powerOn
                ##_____________:#   #_____########################
sensor 0 worker )"))
        << text;
    EXPECT_THAT(text, testing::EndsWith("                # running  : waiting for a processor  _ asleep\n"));
    EXPECT_THAT(shown(writeTerminalTimeline, zeqcam::tests::recordOf(aRun()), {.columns = 68}),
                Not(HasSubstr("asleep")));
}

TEST(ProcessorTime, HasABandInAPictureWhoseHeightsDiffer) {
    TemporaryFile const picture(".svg", shown(writeSvg, recordOf(aRun(), kDid), {.title = "run"}));
    auto const heightOf = [&](std::string const& look) {
        return readByXml(picture.path,
                         "string((//*[local-name()=\"g\"]/*[@class=\"" + look + "\"]/@height)[1])");
    };
    EXPECT_EQ(heightOf("running"), "6.0");
    EXPECT_EQ(heightOf("runnable"), "3.0");
    EXPECT_EQ(heightOf("asleep"), "1.0");
    EXPECT_THAT(picture.text(), HasSubstr("waiting for a processor</text>"));
    EXPECT_THAT(shown(writeSvg, recordOf(aRun(), {{0, 0, Running}}), {}),
                Not(HasSubstr("waiting for a processor")));
}

TEST(ProcessorTime, IsGatheredWhereItChangesOftenerThanAPictureShows) {
    std::vector<Did> often;
    for (int ms = 0; ms < 100'000; ms += 4) {
        often.push_back({ms, 0, Asleep});
        often.push_back({ms + 3, 0, Running});
    }
    Record record = recordOf(aRun(), often);
    record.end = kBegin + 100s;
    std::string const text = shown(writeSvg, record, {});
    EXPECT_LE(text.size(), 200'000U);
    EXPECT_THAT(text, HasSubstr("class=\"asleep\""));
    EXPECT_THAT(text, Not(HasSubstr("class=\"running\""))) << "it takes a quarter of each part";
}

}  // namespace
