#include "Happened.h"
#include "commands/Terminal.h"
#include "text/TextWidth.h"
#include "views/TerminalTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Kind;

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

TEST(TerminalTimeline, DrawsSeveralUnderEachOtherOnOneScale) {
    Record const longer = recordOf(aRun());
    Record const shorter = recordOf({{0, 1, Kind::Request, "a client of long name", 0, 0, "power on", {0}},
                                     {1, 2, Kind::SensorPowerOn, "", 0},
                                     {40, 2, Kind::SensorPowerOnDone, "", 0, 1},
                                     {50, 1, Kind::Reply, "a client of long name", 0, 1, "power on"}});
    std::ostringstream out;
    writeTerminalTimelines({{"before", &longer, {}}, {"after", &shorter, {}}}, {.columns = 90}, out);
    std::string const text = out.str();
    std::vector<std::string> const parts{text.substr(0, text.find("\nafter\n")),
                                         text.substr(text.find("\nafter\n"))};
    auto const lineOf = [&](std::size_t part, std::string const& begin) {
        std::size_t const at = parts[part].find('\n' + begin) + 1;
        return parts[part].substr(at, parts[part].find('\n', at) - at);
    };
    EXPECT_EQ(lineOf(0, "monotonic clock"), lineOf(1, "monotonic clock"));
    std::size_t const at50 = lineOf(0, "monotonic clock").find("50 ms");
    EXPECT_EQ(lineOf(1, "a client of long").rfind(']'), at50 - 1) << text;
    EXPECT_EQ(lineOf(1, "sensors powered").find_last_not_of(' '), at50) << "nothing is known of after it\n"
                                                                        << text;
    EXPECT_GT(lineOf(0, "sensors powered").size(), at50);

    std::ostringstream chosen;  // from its own begin, whenever that is
    writeTerminalTimelines({{"before", &longer, {.from = 40ms}}, {"after", &shorter, {}}}, {.columns = 90},
                           chosen);
    EXPECT_THAT(chosen.str(), HasSubstr("before\nmonotonic clock       0 ms"));
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
        // Each narrow width has its own way to fold; wide ones are much alike.
        for (int columns = 0; columns < 250; columns += columns < 90 ? 1 : 9) {
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

TEST(TerminalTimeline, LeavesRowsOutAndCountsThemUnlessAllAreAskedFor) {
    std::vector<Happened> happened;
    for (int i = 0; i < 300; ++i) {
        std::string const client = "client " + std::to_string(i);
        happened.push_back({0, i, Kind::Request, client, 0, 0, "power on", {i}});
        happened.push_back({1, 300 + i, Kind::SensorPowerOn, "", i});
        happened.push_back({2, 300 + i, Kind::SensorPowerOnDone, "", i, i != 250});
        happened.push_back({3, i, Kind::Reply, client, 0, 1, "power on"});
    }
    Record const record = recordOf(happened);
    std::string const text = shown(writeTerminalTimeline, record, {});
    EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 108);
    EXPECT_THAT(text, testing::AllOf(HasSubstr("\nsensor 250 worker"), HasSubstr("\nsensor 250  "),
                                     HasSubstr("\nclient 0 "), HasSubstr(" thread rows, "),
                                     HasSubstr(" sensor lanes\n")));
    std::string const full = shown(writeTerminalTimeline, record, {.full = true});
    EXPECT_THAT(full, testing::AllOf(HasSubstr("\nclient 299 "), HasSubstr("\nsensor 299 worker"),
                                     Not(HasSubstr("left out"))));
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

}  // namespace
