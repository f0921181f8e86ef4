#include "analysis/Selection.h"
#include "analysis/SensorLanes.h"
#include "analysis/SensorNames.h"
#include "analysis/Timeline.h"
#include "commands/Terminal.h"
#include "run/JournalRecord.h"
#include "text/TextWidth.h"
#include "views/Report.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tool;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Entry;
using zeqcam::board::Kind;

std::chrono::steady_clock::time_point const kStart{1h};
Instant const kBegin = instantOf(kStart);

// A journal written by hand: what happened at a millisecond on a thread.
struct Happened {
    int ms;
    int thread;
    Kind kind;
    std::string text = {};
    int sensor = 0;
    std::int64_t number = 0;
    std::string detail = {};
    std::vector<int> sensors = {};
};

std::vector<Entry> entriesOf(std::vector<Happened> const& happened) {
    std::vector<Entry> entries;
    entries.reserve(happened.size());
    for (Happened const& it : happened) {
        entries.push_back({.time = kStart + std::chrono::milliseconds(it.ms),
                           .thread = it.thread,
                           .kind = it.kind,
                           .sensor = it.sensor,
                           .number = it.number,
                           .text = it.text,
                           .detail = it.detail,
                           .shown = it.text,
                           .sensors = it.sensors});
    }
    return entries;
}

Record recordOf(std::vector<Happened> const& happened, std::chrono::milliseconds now = 100ms) {
    return recordOf(entriesOf(happened), kBegin + now);
}

using View = void(Record const&, Presentation const&, std::ostream&);

std::string shown(View& view, Record const& record, Presentation const& presentation) {
    std::ostringstream text;
    view(record, presentation, text);
    return text.str();
}

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

// Two sensors are powered on, the second in vain, and off; its second power-on does not end.
std::vector<Happened> aRun(std::string const& client = "app") {
    return {{0, 1, Kind::Request, client, 0, 0, "power on", {0, 3}},
            {1, 1, Kind::TraceBegin, "LogicalDev powerOn"},
            {2, 2, Kind::TraceBegin, "powerOnSensor: 0"},
            {2, 3, Kind::TraceBegin, "powerOnSensor: 3"},
            {3, 2, Kind::SensorPowerOn, "caller", 0},
            {3, 3, Kind::SensorPowerOn, "caller", 3},
            {20, 3, Kind::SensorPowerOnDone, "caller", 3, 0},
            {20, 3, Kind::UnifiedLog, "sensor 3 failed", 0, 1},
            {20, 3, Kind::DebugPrint, "E[tag] Controller.cpp:7 f() sensor 3 failed", 0, 1},
            {21, 3, Kind::TraceEnd},
            {30, 2, Kind::SensorPowerOnDone, "caller", 0, 1},
            {31, 2, Kind::TraceEnd},
            {32, 1, Kind::TraceEnd},
            {33, 1, Kind::Reply, client, 0, 1, "power on"},
            {40, 1, Kind::Request, client, 0, 0, "power off", {0, 3}},
            {41, 4, Kind::TaskRun, "powerOnOffCtrl"},
            {41, 4, Kind::TraceBegin, "powerOff: 0"},
            {42, 4, Kind::SensorPowerOff, "caller", 0},
            {50, 4, Kind::SensorPowerOffDone, "caller", 0, 1},
            {51, 4, Kind::TraceEnd},
            {51, 4, Kind::TaskRunDone, "powerOnOffCtrl"},
            {52, 1, Kind::Reply, client, 0, 0, "power off"},
            {60, 1, Kind::Request, client, 0, 0, "power on", {3}},
            {61, 5, Kind::TraceBegin, "powerOnSensor: 3"},
            {62, 5, Kind::SensorPowerOn, "caller", 3}};
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

// The sensor that fails has a name, the controllers share sensor 5.
Record namedRecord(std::vector<Happened> const& happened) {
    Record record;
    Texts& texts = record.texts;
    record.sensors = {{.id = 0, .name = texts.add("main")}, {.id = 3, .name = texts.add("tele")}};
    record.controllers = {{.name = texts.add("video"), .sensors = {3, 5}},
                          {.name = texts.add("photo"), .sensors = {0, 5}}};
    record.clients = {{.name = texts.add("zoom")}, {.name = texts.add("app")}};
    record.end = kBegin + 100ms;
    addJournal(record, entriesOf(happened));
    return record;
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
    Timeline const timeline = timelineOf(recordOf(aRun()));
    std::string counts;
    for (PoweredCount const& count : timeline.powered) {
        counts += std::to_string((count.time - kBegin) / 1ms) + ':' + std::to_string(count.sensors) + ' ';
    }
    EXPECT_EQ(counts, "0:0 30:1 50:0 ");
    ASSERT_EQ(timeline.marks.size(), 1U);
    EXPECT_EQ(timeline.marks[0].level, Level::Error);
    EXPECT_EQ(timeline.textOf(timeline.marks[0].text), "sensor 3 failed");
    EXPECT_EQ(timeline.rows[timeline.marks[0].row].name, "sensor 3 worker");
}

TEST(TextWidth, CutsAtTheColumnsThatATerminalGives) {
    struct Case {
        char const* text;
        int columns;
        char const* shortened;  // to four
    };
    for (Case const& it : {Case{"wide", 4, "wide"}, Case{"wider", 5, "wid~"}, Case{"カメ", 4, "カメ"},
                           Case{"カメラ", 6, "カ~"}, Case{"e\u0301te\u0301", 3, "e\u0301te\u0301"},
                           Case{"\xff\xfe", 2, "\xff\xfe"}}) {
        EXPECT_EQ(columnsOf(it.text), it.columns) << it.text;
        EXPECT_EQ(shortened(it.text, 4, "~"), it.shortened) << it.text;
    }
}

TEST(TerminalTimeline, DrawsBarsToScale) {
    EXPECT_EQ('\n' + shown(writeTerminalTimeline, recordOf(aRun()), {.columns = 68}), R"(
monotonic clock 0 ms                     50 ms
                +------------------------+------------------------+-
app             [power on 0 3---]   [off~]    [power on 3-------->
                 [-------------] LogicalDev powerOn
sensor 0 worker  [-------------] powerOnSensor: 0
                  [sensor 0 on]
sensor 3 worker  [--------] powerOnSensor: 3   [powerOnSensor: 3->
                  [!-----] sensor 3 on         [sensor 3 on------>
powerOnOffCtrl                       [--] powerOff: 0
                                     [--] sensor 0 off
sensor 0        ../////////////======////.........................
sensor 3        ..////////!!!!!!!xxx!!!!!!!!!!!///////////////////
sensors powered 0              1---------0
                . off  / powering  = on  ! failed
)");
}

std::string withoutColours(std::string text) {
    for (std::size_t code = 0; (code = text.find('\033')) != std::string::npos;) {
        text.erase(code, text.find('m', code) + 1 - code);
    }
    return text;
}

TEST(TerminalTimeline, IsNeverWiderThanItsColumnsAndMarksAFailureWithoutColours) {
    Record const record = recordOf(aRun("カメラ\033[31m app"));
    for (Glyphs const glyphs : {Glyphs::Ascii, Glyphs::Utf8}) {
        for (int columns = 0; columns < 250; ++columns) {
            auto const drawn = [&](bool colours) {
                return shown(writeTerminalTimeline, record,
                             {.columns = columns, .colours = colours, .glyphs = glyphs});
            };
            std::string const text = drawn(false);
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line);) {
                ASSERT_LE(columnsOf(line), columns) << line;
            }
            ASSERT_THAT(text, Not(HasSubstr("\033"))) << columns;
            ASSERT_TRUE(columns < 20 || text.find('!') != std::string::npos) << columns;
            ASSERT_EQ(withoutColours(drawn(true)), text) << columns;
        }
    }
    EXPECT_EQ(shown(writeTerminalTimeline, recordOf({}), {}), "");
}

TEST(Report, FoldsTablesIntoItsColumnsAndLosesNoNumber) {
    Record record = recordOf(aRun());
    record.files = {"phone.toml"};
    for (int columns : {30, 45, 60, 80}) {
        std::string const text = shown(writeReport, record, {.columns = columns});
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            bool const ofATable = line.starts_with(' ') || line.starts_with('!');
            if (ofATable) {
                ASSERT_LE(columnsOf(line), columns) << line;
            }
        }
        EXPECT_THAT(text, testing::AllOf(HasSubstr(" 33.0"), HasSubstr(" 12.0"), HasSubstr("WALL")));
    }
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

TEST(TerminalTimeline, ShowsAllOfManyShortRequestsAsMarks) {
    std::vector<Happened> happened;
    for (int i = 0; i < 1000; ++i) {
        happened.push_back({i, 1, Kind::Request, "app", 0, 0, "power on"});
        happened.push_back({i, 1, Kind::Reply, "app", 0, i != 700, "power on"});
    }
    std::string const text = shown(writeTerminalTimeline, recordOf(happened), {});
    EXPECT_THAT(text, HasSubstr("app             ||||||||||"));
    EXPECT_THAT(text, HasSubstr("|!|")) << "the failed one is one of many in its cell";
}

TEST(TerminalTimeline, TakesItsGlyphsFromTheEnvironment) {
    struct Case {
        char const *all, *type, *lang;
        Glyphs glyphs;
    };
    for (Case const& it :
         {Case{"", "", "", Glyphs::Ascii}, Case{"", "", "de_DE.UTF-8", Glyphs::Utf8},
          Case{"C", "", "de_DE.UTF-8", Glyphs::Ascii}, Case{"", "en_GB.utf8", "C", Glyphs::Utf8}}) {
        // NOLINTBEGIN(concurrency-mt-unsafe): the test has one thread
        setenv("LC_ALL", it.all, 1);
        setenv("LC_CTYPE", it.type, 1);
        setenv("LANG", it.lang, 1);
        // NOLINTEND(concurrency-mt-unsafe)
        EXPECT_EQ(glyphsOfLocale(), it.glyphs) << it.all << '/' << it.type << '/' << it.lang;
    }
}

// What an XML reader finds in the file; empty when it finds the file broken.
std::string readByXml(std::string const& file, std::string const& path) {
    std::FILE* const reader = popen(("xmllint --xpath '" + path + "' " + file).c_str(), "r");
    std::string found;
    for (int c = 0; (c = std::fgetc(reader)) != EOF;) found += static_cast<char>(c);
    int const status = pclose(reader);
    if (WEXITSTATUS(status) == 127) return "no xmllint";
    return status == 0 ? found.substr(0, found.find_last_not_of('\n') + 1) : "";
}

TEST(SvgTimeline, IsXmlThatHoldsEveryNameAndMarksFailures) {
    std::string const file = testing::TempDir() + "zeqcam-" + std::to_string(getpid()) + ".svg";
    for (auto const& [name, shown] : std::vector<std::pair<std::string, std::string>>{
             {"app", "app"},
             {"<b>&amp;\"'", "<b>&amp;\"'"},
             {"]]>", "]]>"},
             {"\033[31m", "\\x1b[31m"},
             {"\xff\xed\xa0\x80 cut \xe3\x82", "\xef\xbf\xbd"},
             {"\xef\xbf\xbf", "\xef\xbf\xbd"},
             {"カメラ", "カメラ"},
         }) {
        std::ofstream(file) << ::shown(writeSvg, recordOf(aRun(name)), {.title = name});
        EXPECT_THAT(readByXml(file, "string(/*/*[local-name()=\"title\"])"), HasSubstr(shown));
        std::string const failed = "//*[local-name()=\"g\"][*[@class=\"failed\"]]";
        EXPECT_EQ(readByXml(file, "count(" + failed + "/*[@class=\"sign\"])"), "3");
        EXPECT_THAT(readByXml(file, "string(" + failed + "/*[local-name()=\"title\"])"),
                    HasSubstr("sensor 3 on\nstart 3.00 ms, took 17.0 ms, failed"));
    }
    std::remove(file.c_str());
}

TEST(SvgTimeline, StaysWithinItsBoundsAndTellsWhatItLeavesOut) {
    std::vector<Happened> happened;
    for (int i = 0; i < 400; ++i) {
        int const thread = 2 * i;
        std::string const client = "client " + std::to_string(i);
        happened.push_back({0, thread, Kind::Request, client, 0, 0, "power on", {i}});
        happened.push_back({1, thread + 1, Kind::TraceBegin, "powerOnSensor: " + std::to_string(i)});
        for (int call = 0; call < 50; ++call) {
            happened.push_back({2, thread + 1, Kind::SensorPowerOn, "", i});
            happened.push_back({2, thread + 1, Kind::SensorPowerOnDone, "", i, i != 350});
        }
    }
    Record const record = recordOf(happened, 10s);
    std::string const text = shown(writeSvg, record, {});
    EXPECT_LE(text.size(), 2'000'000U);
    EXPECT_LE(std::stod(text.substr(text.find("height=\"") + 8)), 4000);
    EXPECT_THAT(text, HasSubstr("No room for "));
    EXPECT_THAT(text, HasSubstr(">sensor 350 worker<")) << "the row that fails goes last";
    std::string const full = shown(writeSvg, record, {.full = true});
    EXPECT_THAT(full, Not(HasSubstr("No room for ")));
    EXPECT_THAT(full,
                testing::AllOf(HasSubstr(">sensor 399 worker<"), HasSubstr("<title>50 sections, 50 failed")));
}

}  // namespace
