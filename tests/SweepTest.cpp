// Values that a sweep goes through, and what it makes of the runs.
#include "series/Sweep.h"
#include "views/SweepReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tool;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Of = Subject::Of;
using Values = std::vector<std::string>;

TEST(SweepAxis, TakesRangesWordsAndBoth) {
    for (auto const& [text, values] : std::vector<std::pair<std::string, Values>>{
             {"30..50:10", {"30", "40", "50"}},
             {"30..49:10", {"30", "40"}},
             {"2..4", {"2", "3", "4"}},
             {"0..0.3:0.1", {"0", "0.1", "0.2", "0.3"}},  // none is lost to rounding
             {"-1..1", {"-1", "0", "1"}},
             {"5..5", {"5"}},
             {"true,false", {"true", "false"}},
             {"1,10..12,[3, 4]", {"1", "10", "11", "12", "[3, 4]"}},
             {"'a,b',{ chance = 0.5, times = [1, 2] }", {"'a,b'", "{ chance = 0.5, times = [1, 2] }"}},
             {"a..b", {"a..b"}}}) {
        SweepAxis const axis = sweepAxisOf("sensor.tele.x=" + text);
        EXPECT_EQ(axis.path, "sensor.tele.x");
        EXPECT_EQ(axis.values, values) << text;
    }
    for (char const* const wrong : {"x", "=3", "x=3..1", "x=1..3:0", "x=1..3:-1", "x=1..3:y", "x=0..1e9:1"})
        EXPECT_THROW(sweepAxisOf(wrong), std::invalid_argument) << wrong;
}

TEST(SweepAxis, OfSeveralEveryChoiceIsPlayedButNotTooMany) {
    EXPECT_THAT(combinationsOf({{"a", {"1", "2"}}, {"b", {"x", "y"}}}),
                ElementsAre(Values{"1", "x"}, Values{"1", "y"}, Values{"2", "x"}, Values{"2", "y"}));
    Values const hundred(100, "1");
    EXPECT_EQ(combinationsOf({{"a", hundred}, {"b", hundred}}).size(), 10'000U);
    EXPECT_THROW(combinationsOf({{"a", hundred}, {"b", hundred}, {"c", {"1", "2"}}}), std::invalid_argument);
}

Figure took(std::string what, std::optional<double> ms) {
    return {.subject = {.of = Of::Request, .who = "app", .what = std::move(what)},
            .line = {},
            .ms = ms,
            .failed = !ms};
}

// A point for each value: its runs' times of "on"; "off" takes 12 ms in all, and one run does not end it.
Sweep sweepOf(std::vector<std::pair<std::string, std::vector<double>>> const& points) {
    Sweep sweep{.file = "phone.toml", .axes = {{"sensor.tele.power_on_ms", {}}}, .points = {}};
    for (auto const& [value, times] : points) {
        sweep.axes[0].values.push_back(value);
        SweepPoint& point = sweep.points.emplace_back(SweepPoint{{value}, {}});
        for (double const ms : times)
            point.series.add({.run = point.series.runs().size() + 1,
                              .why = {},
                              .figures = {took("on", ms), took("off", 12)}});
        sweep.repeat = times.size();
    }
    sweep.points.back().series.add(
        {.run = 7, .verdict = Verdict::CutOff, .why = "the run cannot end", .figures = {took("off", {})}});
    return sweep;
}

TEST(Sweep, PutsFirstWhatChangedTheMost) {
    auto const swept = sweptRequestsOf(sweepOf({{"30", {40, 90, 41}}, {"60", {70, 69, 71}}}));
    ASSERT_EQ(swept.size(), 2U);
    EXPECT_EQ(swept[0].subject.what, "on");
    EXPECT_EQ(swept[0].least, 41) << "medians, not runs";
    EXPECT_EQ(swept[0].most, 70);
    EXPECT_EQ(swept[0].longest, 90);
    EXPECT_EQ(swept[1].change(), 0);
}

TEST(SweepReport, TellsMediansFailuresAndWhatStaysTheSame) {
    Sweep const sweep = sweepOf({{"30", {40, 41, 42}}, {"60", {70, 71, 72}}});
    std::ostringstream text;
    writeSweepReport(sweep, {.columns = 100}, text);
    EXPECT_THAT(text.str(),
                AllOf(HasSubstr("app: on, from 41.0 to 71.0 ms\n"
                                "  tele.power_on_ms  MEDIAN   90%  LONGEST  FAILED\n"
                                "                30    41.0  41.8     42.0          #######################"),
                      HasSubstr("                60    71.0  71.8     72.0"),
                      HasSubstr("The same for all values: app: off 12.0\n"), HasSubstr("7 runs, 1 failed\n"),
                      HasSubstr("  sensor.tele.power_on_ms=60: the run cannot end\n")));
    std::ostringstream file;
    writeSweepFile(sweep, file);
    json const all = json::parse(file.str());
    EXPECT_EQ(all.at("set"), json::array({{{"path", "sensor.tele.power_on_ms"}, {"values", {"30", "60"}}}}));
    json const& point = all.at("points").at(1);
    EXPECT_EQ(point.at("failed_seeds"), json::array({7}));
    json const& off = point.at("requests").at(0).at("request") == "off" ? point.at("requests").at(0)
                                                                        : point.at("requests").at(1);
    EXPECT_EQ(off.at("failed_seeds"), json::array({7}));
    EXPECT_EQ(off.at("longest_ms"), 12.0);
}

}  // namespace
