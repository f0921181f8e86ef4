// What became of requests from some runs to others, and which runs a log holds.
#include "Happened.h"
#include "series/Comparison.h"
#include "series/Cycles.h"
#include "series/ResultReading.h"
#include "views/ComparisonReport.h"
#include "views/SeriesFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using zeqcam::board::Kind;
using Of = Subject::Of;

struct Took {
    std::string what;
    double began;
    double ms;
    std::map<std::string, double> links = {};
};

// Runs of the client "app", each a little longer than the one before it.
Series runsOf(std::size_t runs, std::vector<Took> const& requests) {
    Series series;
    for (std::size_t i = 0; i < runs; ++i) {
        RunFigures run{.run = i + 1, .why = {}, .figures = {}};
        double const more = 0.1 * static_cast<double>(i);
        for (Took const& each : requests) {
            Subject const subject{.of = Of::Request, .who = "app", .what = each.what};
            run.figures.push_back(
                {.subject = subject, .line = {}, .beganMs = each.began, .ms = each.ms + more});
            for (auto const& [link, ms] : each.links)
                run.figures.push_back({.subject = {.of = Of::Link, .who = textOf(subject), .what = link},
                                       .line = {},
                                       .ms = ms});
        }
        series.add(std::move(run));
    }
    return series;
}

Difference const& find(Comparison const& comparison, std::string const& what) {
    for (Difference const& each : comparison.differences) {
        if (each.subject.what == what) return each;
    }
    throw std::runtime_error("nothing about " + what);
}

std::vector<std::string> textsOf(std::vector<Subject> const& subjects) {
    std::vector<std::string> texts;
    for (Subject const& each : subjects) texts.push_back(textOf(each));
    return texts;
}

TEST(Comparison, SaysHowMuchHowSureAndByWhat) {
    Series const before = runsOf(40, {{"on", 0, 48, {{"sensor main", 46}, {"queue", 2}}}, {"off", 90, 20}});
    Series const after =
        runsOf(40, {{"on", 0, 58, {{"sensor main", 47}, {"queue", 1}, {"controller", 10}}}, {"off", 90, 20}});
    Comparison const comparison = compare(before, after);
    Difference const& on = find(comparison, "on");
    EXPECT_NEAR(on.ms().value(), 10, 1e-9);
    EXPECT_TRUE(on.isSure());
    EXPECT_GT(on.interval->low, 8.5);
    EXPECT_LT(on.interval->high, 11.5);
    EXPECT_EQ(on.cause->link, "controller");
    EXPECT_NEAR(on.cause->ms, 10, 1e-9);
    EXPECT_FALSE(find(comparison, "off").isSure());
    EXPECT_FALSE(find(comparison, "off").cause);
    for (auto const& [share, isSlower] :
         std::vector<std::pair<double, bool>>{{0, true}, {0.15, true}, {0.25, false}})
        EXPECT_EQ(isSlowerBy(on, share), isSlower) << share;
    EXPECT_FALSE(isSlowerBy(find(compare(after, before), "on"), 0)) << "it is faster";
}

TEST(Comparison, OfTooFewRunsIsNeverSure) {
    std::vector<Took> const slow{{"on", 0, 480}};
    std::vector<Took> const fast{{"on", 0, 48}};
    for (auto const& [runs, isSure] :
         std::vector<std::pair<std::size_t, bool>>{{1, false}, {5, false}, {6, true}}) {
        Compared compared{"a", "b", runsOf(runs, fast), runsOf(40, slow), {}};
        compared.comparison = compare(compared.before, compared.after);
        EXPECT_EQ(find(compared.comparison, "on").isSure(), isSure) << runs;
        EXPECT_EQ(isSlowerBy(find(compared.comparison, "on"), 0.05), isSure) << runs;
        std::ostringstream text;
        writeComparisonReport(compared, {}, text);
        EXPECT_THAT(text.str(), HasSubstr(runs == 1 ? "A single run on a side: no statement on chance."
                                          : isSure  ? "95 %: the percentile bootstrap"
                                                    : "Fewer than 6 runs on a side: no statement"));
    }
}

TEST(Comparison, SaysWhatAppearedWhatWentAndWhatMoved) {
    struct Case {
        std::vector<Took> after;
        std::vector<std::string> appeared;
        std::vector<std::string> gone;
        std::vector<std::string> moved;
    };
    std::vector<Took> const before{{"a", 0, 1}, {"b", 10, 1}, {"c", 20, 1}, {"d", 30, 1}};
    for (auto const& [after, appeared, gone, moved] : std::vector<Case>{
             {before, {}, {}, {}},
             {{{"a", 5, 1}, {"b", 80, 1}, {"c", 85, 1}, {"d", 99, 1}}, {}, {}, {}},
             {{{"a", 0, 1}, {"e", 5, 1}, {"b", 10, 1}, {"d", 30, 1}}, {"app: e"}, {"app: c"}, {}},
             {{{"a", 0, 1}, {"d", 5, 1}, {"b", 10, 1}, {"c", 20, 1}}, {}, {}, {"app: d before app: b"}}}) {
        Series const first = runsOf(3, before);
        Series const second = runsOf(3, after);
        Comparison const comparison = compare(first, second);
        EXPECT_EQ(textsOf(comparison.appeared), appeared);
        EXPECT_EQ(textsOf(comparison.gone), gone);
        std::vector<std::string> texts;
        for (Reordered const& each : comparison.reordered) {
            texts.push_back(textOf(each.subject) + (each.isNowBefore ? " before " : " after ") +
                            textOf(each.other));
        }
        EXPECT_EQ(texts, moved);
    }
}

TEST(Comparison, CallsFiguresWhatTheyAreAndTellsWhatWasNotRun) {
    struct Case {
        std::size_t before, after, asked;
        std::string told;
    };
    for (auto const& [before, after, asked, told] : std::vector<Case>{
             {1, 1, 0,
              "No timelines: of a side no more than figures is known.\n\nRequests in milliseconds, a single "
              "run on each side\n"},
             {1, 20, 0, "\nRequests in milliseconds, a single run before and medians of 20 runs after\n"},
             {20, 20, 0, "\nRequests in milliseconds, medians of 20 runs on each side\n"},
             {1, 3, 10, "after:  b, 3 runs, 7 were not run\n"}}) {
        Compared compared{"a", "b", runsOf(before, {{"on", 0, 48}}), runsOf(after, {{"on", 0, 48}}), {}};
        compared.after.asked = asked;
        compared.comparison = compare(compared.before, compared.after);
        std::ostringstream text;
        writeComparisonReport(compared, {}, text);
        EXPECT_THAT(text.str(), HasSubstr(told));
    }
}

TEST(Series, CountsOfASetWhatWasAskedForOfEach) {
    Series all = runsOf(5, {{"on", 0, 48}});
    Series cut = runsOf(3, {{"on", 0, 48}});
    all.add(cut);
    EXPECT_EQ(all.asked, 0U);
    cut.asked = 10;
    all.add(cut);
    EXPECT_EQ(all.runs().size(), 11U);
    EXPECT_EQ(all.asked, 18U);
}

class File {
  public:
    explicit File(std::string const& text) { std::ofstream(path) << text; }
    ~File() { std::remove(path.c_str()); }
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    std::string const path = testing::TempDir() + "result-" + std::to_string(getpid()) + ".json";
};

TEST(ResultReading, GivesBackTheSeriesThatWasWritten) {
    Series series = runsOf(3, {{"on", 0, 48, {{"sensor main", 46}}}, {"off", 90.25, 20}});
    series.add(
        {.run = 9,
         .verdict = Verdict::CutOff,
         .why = "the run was interrupted",
         .figures = {
             {.subject = {.of = Of::Request, .who = "app", .what = "on"}, .line = {}, .failed = true}}});
    std::ostringstream written;
    writeSeriesFile(series, written);
    File const file(written.str());
    ASSERT_TRUE(isResult(file.path));
    Series const read = readResult(file.path);
    std::ostringstream again;
    writeSeriesFile(read, again);
    EXPECT_EQ(again.str(), written.str());
}

TEST(ResultReading, RefusesWhatIsBrokenWithAReason) {
    for (auto const& [text, reason] : std::vector<std::pair<std::string, std::string>>{
             {R"({"form": 9, "runs": 1})", "its form is 9, not 1"},
             {R"({"form": 2})", "seed"},
             {R"({"form": )", "parse error"}}) {
        File const file(text);
        EXPECT_TRUE(isResult(file.path));
        try {
            readResult(file.path);
            ADD_FAILURE() << text;
        } catch (std::runtime_error const& error) {
            EXPECT_THAT(error.what(), AllOf(HasSubstr(file.path), HasSubstr(reason)));
        }
    }
    EXPECT_FALSE(isResult(File(R"({"traceEvents": [], "form": 2})").path));
}

Happened begins(int ms, int thread, std::string const& what, std::vector<int> const& sensors) {
    return {ms, thread, Kind::Request, "thread " + std::to_string(thread), 0, 0, what, sensors};
}
Happened ends(int ms, int thread) {
    return {ms, thread, Kind::Reply, "thread " + std::to_string(thread), 0, 1};
}

TEST(Cycles, LastFromTheFirstPowerOnUntilNothingIsOn) {
    Record const record = recordOf(
        {begins(0, 1, "status", {}), ends(0, 1), begins(10, 1, "power on", {0, 3}), ends(30, 1),
         begins(31, 2, "power on", {1}), begins(40, 1, "power off", {0, 3}), ends(41, 2), ends(45, 1),
         begins(50, 2, "power off", {1}), ends(56, 2), begins(56, 1, "power on", {0}), ends(67, 1),
         begins(70, 1, "power off", {0}), ends(71, 1), begins(80, 1, "power on", {0}), ends(88, 1)});
    auto const runs = figuresOfCycles(record, {}, 5);
    std::vector<std::string> told;
    for (RunFigures const& run : runs) {
        std::string line = std::to_string(run.run) + ':';
        for (Figure const& each : run.figures) {
            if (each.subject.of == Of::Request)
                line += ' ' + textOf(each.subject) + " at " + std::to_string(static_cast<int>(each.beganMs)) +
                        ',';
        }
        told.push_back(line);
    }
    EXPECT_THAT(told,
                ElementsAre("5: power on 0 3 at 0, power on 1 at 21, power off 0 3 at 30, power off 1 at 40,",
                            "6: power on 0 at 0, power off 0 at 14,"))
        << "the last has not ended; each counts its requests anew";
}

}  // namespace
