// What many runs came to, as people and programs are told.
#include "series/Series.h"
#include "views/SeriesFile.h"
#include "views/SeriesJUnit.h"
#include "views/SeriesReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tool;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Of = Subject::Of;

Figure took(Of of, std::string who, std::string what, std::optional<double> ms, bool failed = false) {
    return {.subject = {of, std::move(who), std::move(what), 1}, .line = {}, .ms = ms, .failed = failed};
}

// Seeds from 11 on, one for each time of the request; none: it has not ended, and the run was cut off.
Series seriesOf(std::vector<std::optional<double>> const& times) {
    Series series;
    series.file = "phone.toml";
    series.repeatedBy = "zeqcam-power run phone.toml --seed";
    for (auto const& ms : times) {
        RunFigures run{.run = 11 + series.runs().size(), .why = {}, .figures = {}};
        run.figures = {took(Of::Request, "app", "power on main", ms, !ms)};
        if (!ms) run.verdict = Verdict::CutOff;
        if (!ms) run.why = "the run cannot end";
        series.add(std::move(run));
    }
    return series;
}

std::string reportOf(Series const& series, Glyphs glyphs = Glyphs::Ascii) {
    std::ostringstream text;
    writeSeriesReport(series, {.columns = 100, .glyphs = glyphs}, text);
    return text.str();
}

json fileOf(Series const& series) {
    std::ostringstream text;
    writeSeriesFile(series, text);
    return json::parse(text.str());
}

TEST(SeriesReport, HasARowWithTheSpreadOfEach) {
    Series series = seriesOf({40, 60, {}, 50, 41});
    series.add({.run = 90,
                .why = {},
                .figures = {took(Of::Request, "app", "status", 0), took(Of::Service, "hal3a", "power on", 0),
                            took(Of::Service, "hal3a", "power off", 2, true)}});
    EXPECT_THAT(
        reportOf(series),
        AllOf(HasSubstr("  CLIENT  REQUEST        MEDIAN   90%   99%  LONGEST  SEED  SPREAD      FAILED\n"
                        "! app     power on main    45.5  57.0  59.7     60.0    12  @    =   =       1\n"
                        "  app     status            0.0   0.0   0.0      0.0     -  -                -\n"),
              HasSubstr("hal3a    power off"), Not(HasSubstr("hal3a    power on")),
              HasSubstr("\n1 call on services took no time\n"),
              HasSubstr("1 of 6 runs failed: seed 13\nthe first by: the run cannot end\n\n"
                        "The first is repeated by\n  zeqcam-power run phone.toml --seed 13\n")));
}

// Of cycles there is no seed, and no command that repeats one.
TEST(SeriesReport, NamesRunsByWhatTheyAre) {
    Series series = seriesOf({40, 41, {}});
    series.runsBy = Series::RunsBy::Cycle;
    series.repeatedBy.clear();
    EXPECT_THAT(reportOf(series), AllOf(HasSubstr("  CYCLE  "), HasSubstr("1 of 3 runs failed: cycle 13\n"),
                                        Not(HasSubstr("repeated"))));
    for (auto const& [runs, text] : std::vector<std::pair<std::size_t, std::string>>{
             {1, "cycle 11"},
             {10, "cycles 11, 12, 13, 14, 15, 16, 17, 18, 19, 20"},
             {1012, "cycles 11, 12, 13, 14, 15, 16, 17, 18, 19, 20 and 1,002 more"}}) {
        std::vector<std::uint32_t> indices(runs);
        Series many = seriesOf(std::vector<std::optional<double>>(runs, 1.0));
        many.runsBy = Series::RunsBy::Cycle;
        for (std::uint32_t i = 0; i < runs; ++i) indices[i] = i;
        EXPECT_EQ(runsText(many, indices), text);
    }
}

TEST(SeriesReport, DrawsTheSlowestWhereRunsAreManyAndDiffer) {
    std::vector<std::optional<double>> times(19, 40.0);
    EXPECT_THAT(reportOf(seriesOf(times)), Not(HasSubstr("How often")));
    times.emplace_back(50.0);
    Series series = seriesOf(times);
    EXPECT_THAT(
        reportOf(series, Glyphs::Utf8),
        AllOf(HasSubstr("How often app: power on main took how long\n"
                        "      40.0 to     41.0 ms ██████████████████████████████████████████████████ 19\n"
                        "      41.0 to     42.0 ms 0\n"),
              HasSubstr("      49.0 to     50.0 ms ███ 1\n")))
        << "what is there is seen";
    EXPECT_THAT(reportOf(seriesOf(std::vector<std::optional<double>>(30, 40.0))),
                Not(HasSubstr("How often")));
}

TEST(SeriesReport, SparklineShowsWhateverIsThere) {
    for (auto const& [counts, line] : std::vector<std::pair<std::vector<std::size_t>, std::string>>{
             {{0, 0}, "  "}, {{8, 4, 1, 0}, "@=. "}, {{1000, 1}, "@."}, {{3}, "@"}})
        EXPECT_EQ(sparkline(counts, Glyphs::Ascii), line);
    EXPECT_EQ(sparkline({8, 4, 1, 0}, Glyphs::Utf8), "█▄▁ ");
}

TEST(SeriesFile, HoldsTheFiguresOfEachRunAtItsPlace) {
    Series series = seriesOf({40, {}, 60, 50.0625});
    json const all = fileOf(series);
    EXPECT_EQ(all.at("runs"), 4);
    EXPECT_EQ(all.at("seeds"), json({11, 12, 13, 14}));
    EXPECT_EQ(all.at("verdict"), "failed");
    EXPECT_EQ(all.at("failed_runs"),
              json::array({{{"seed", 12}, {"cut_off", true}, {"reason", "the run cannot end"}}}));
    json const& each = all.at("requests").at(0);
    for (auto const& [key, value] :
         std::vector<std::pair<std::string, json>>{{"runs", 4},
                                                   {"shortest_ms", 40.0},
                                                   {"median_ms", 50.063},
                                                   {"p90_ms", 58.013},
                                                   {"p99_ms", 59.801},
                                                   {"longest_ms", 60.0},
                                                   {"longest_seed", 13},
                                                   {"failed_seeds", json::array({12})},
                                                   {"samples_ms", {40.0, nullptr, 60.0, 50.0625}}})
        EXPECT_EQ(each.at(key), value) << key;
    json const none = fileOf(seriesOf({{}})).at("requests").at(0);
    for (char const* const key : {"shortest_ms", "median_ms", "p99_ms", "longest_ms", "longest_seed"})
        EXPECT_EQ(none.at(key), nullptr) << key;
    EXPECT_EQ(fileOf(seriesOf({1})).at("verdict"), "passed");
}

// Each case is repeated by the seed of a run in which it failed itself.
TEST(SeriesJUnit, TellsOfEachFailureWhatRepeatsIt) {
    Series series;
    series.repeatedBy = "run --seed";
    auto const expected = [](std::int32_t line, bool failed) {
        Figure figure = took(Of::Expectation, "app", "power on", 48, failed);
        figure.line = line;
        figure.subject.nth = line;
        return figure;
    };
    series.add({.run = 1,
                .verdict = Verdict::Failed,
                .why = {},
                .figures = {expected(1, true), expected(2, false)}});
    series.add(
        {.run = 2, .verdict = Verdict::Failed, .why = {}, .figures = {expected(1, true), expected(2, true)}});
    series.add({.run = 3, .verdict = Verdict::CutOff, .why = "the run cannot end", .figures = {}});
    std::ostringstream text;
    writeSeriesJUnit(series, {}, text);
    auto const between = [&](std::string const& from, std::string const& to) {
        std::size_t const begin = text.str().find(from);
        return text.str().substr(begin, text.str().find(to, begin) - begin);
    };
    EXPECT_THAT(between("line 1: power on", "</testcase>"),
                AllOf(HasSubstr("2 of 3 runs: seeds 1, 2"), HasSubstr("run --seed 1")));
    EXPECT_THAT(between("line 2: power on", "</testcase>"),
                AllOf(HasSubstr("1 of 3 runs: seed 2"), HasSubstr("run --seed 2")));
    EXPECT_THAT(
        between("name=\"ends\"", "</testcase>"),
        AllOf(HasSubstr("1 of 3 runs: seed 3"), HasSubstr("run --seed 3"), HasSubstr("the run cannot end")));
}

}  // namespace
