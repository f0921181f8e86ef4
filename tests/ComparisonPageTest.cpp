// The pages of what was compared and of what was swept: what stands first, and what of each run they hold.
#include "Happened.h"
#include "views/ComparisonPage.h"
#include "views/SweepPage.h"
#include "views/SweepReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;
using Of = Subject::Of;

struct Asked {
    std::string what;
    double ms;
    double began = 0;
};

// Runs of the client "app", each a little longer than the one before it; the last `failing` of them fail.
Series runsOf(std::size_t runs, std::vector<Asked> const& requests, std::size_t failing = 0) {
    Series series;
    for (std::size_t i = 0; i < runs; ++i) {
        bool const fails = i + failing >= runs;
        RunFigures run{.run = i + 1,
                       .verdict = fails ? Verdict::Failed : Verdict::Passed,
                       .why = fails ? "tele did not come up" : "",
                       .figures = {}};
        for (Asked const& each : requests) {
            run.figures.push_back({.subject = {.of = Of::Request, .who = "app", .what = each.what},
                                   .line = {},
                                   .beganMs = each.began,
                                   .ms = each.ms + (each.ms > 0 ? 0.01 * static_cast<double>(i) : 0)});
        }
        series.add(std::move(run));
    }
    return series;
}

json dataOf(std::function<void(std::ostream& out)> const& write) {
    std::ostringstream out;
    write(out);
    std::string const begin = R"(id="data">)";
    std::size_t const from = out.str().find(begin) + begin.size();
    return json::parse(out.str().substr(from, out.str().find("</script", from) - from));
}

json pageOf(Compared& compared) {
    compared.comparison = compare(compared.before, compared.after);
    return dataOf([&](std::ostream& out) { writeComparisonPage(compared, {.title = "both"}, out); });
}

std::vector<std::string> told(json const& findings) {
    std::vector<std::string> texts;
    for (json const& each : findings) {
        texts.push_back(each.at("weight").get<std::string>() + ' ' + each.at("what").get<std::string>() +
                        ": " + each.at("text").get<std::string>());
    }
    return texts;
}

TEST(ComparisonPage, TellsFirstWhatIsSurelyWorseThenWhatIsNotAsItWas) {
    Compared compared{"a.toml",
                      "b.toml",
                      runsOf(20, {{"a", 10}, {"b", 50, 20}, {"c", 5, 40}, {"d", 9, 60}, {"e", 5, 80}}, 3),
                      runsOf(20, {{"e", 5}, {"a", 11, 10}, {"b", 60, 20}, {"d", 8, 60}, {"f", 5, 90}}, 2),
                      {}};
    json const page = pageOf(compared);
    EXPECT_THAT(
        told(page.at("changes")),
        ElementsAre(StartsWith("error slower: app: b: 60.1 instead of 50.1 ms, +10.0 ms or +20 %, with"),
                    StartsWith("error slower: app: a: 11.1 instead of 10.1 ms, +1.0 ms or +10 %"),
                    "warning gone: app: c", "warning appeared: app: f",
                    "warning order: app: e now begins before app: a"));
    EXPECT_THAT(told(page.at("findings")),
                ElementsAre("error 2 of 20: after: tele did not come up (seeds 19 20)"))
        << "what fails no more is not wrong";
    EXPECT_EQ(page.at("verdict"),
              json({{"passed", false},
                    {"title", "It is worse"},
                    {"text",
                     "before 3 of 20 runs failed, after 2 of 20 runs failed. 2 requests are surely "
                     "slower, 1 surely faster"}}));
    json const& table = page.at("overview")[0];
    ASSERT_EQ(table.at("rows").size(), 6U);
    for (json const& row : table.at("rows")) EXPECT_EQ(row.size(), table.at("columns").size());
    EXPECT_EQ(table.at("rows")[1][0], "app: b");
    EXPECT_NEAR(table.at("rows")[1][3].get<double>(), 10, 1e-9);
    EXPECT_EQ(page.at("distributions")[0].at("sets"), json({"before", "after"}));
    EXPECT_FALSE(page.contains("sides")) << "there is no one timeline of many runs";
}

TEST(ComparisonPage, SaysNothingOnChanceOfTooFewRuns) {
    Compared compared{"a", "b", runsOf(5, {{"a", 10}}), runsOf(40, {{"a", 90}}), {}};
    json const page = pageOf(compared);
    EXPECT_THAT(page.at("changes"), IsEmpty());
    EXPECT_EQ(page.at("verdict").at("title"), "Nothing is surely worse");
    EXPECT_THAT(page.at("verdict").at("text").get<std::string>(), HasSubstr("Fewer than 6 runs on a side"));
}

// The whole of a record, or its part from a time on.
ShownSide sideOf(std::vector<Happened> const& happened, Selection const& selection, std::string const& text) {
    ShownSide side{.record = recordOf(happened), .selection = selection, .sources = {{"phone.toml", text}}};
    side.record->files = {"phone.toml"};
    return side;
}

TEST(ComparisonPage, HoldsBothTimelinesOfSingleRunsAndTheirScenarios) {
    std::string const hostile = "</script><script>alert(1)</script>";
    Compared compared{hostile, "b", runsOf(1, {{"a", 10}}), runsOf(1, {{"a", 90}}), {}};
    compared.shownBefore = sideOf(aRun(hostile), {}, hostile);
    compared.shownAfter = sideOf(aRun(), {.from = std::chrono::milliseconds(40)}, "after");
    json const page = pageOf(compared);
    ASSERT_THAT(page.at("sides"), SizeIs(2));
    for (auto const& [side, name, begin] :
         std::vector<std::tuple<std::size_t, std::string, int>>{{0, "before", 0}, {1, "after", 40'000'000}}) {
        json const& shown = page.at("sides")[side];
        EXPECT_EQ(shown.at("name"), name);
        EXPECT_EQ(shown.at("timeline").at("begin"), begin);
        EXPECT_EQ(shown.at("result").at("requests").size(), shown.at("chains").size());
        EXPECT_EQ(page.at("scenario")[side].at("name"), name + ": phone.toml");
        EXPECT_EQ(page.at("scenario")[side].at("side"), name);
    }
    EXPECT_EQ(page.at("sides")[0].at("timeline").at("rows")[0].at("name"), hostile);
    EXPECT_FALSE(page.contains("findings")) << "the result of the run tells more";
    EXPECT_EQ(page.at("distributions")[0].at("rows")[0].at("note"), "+80.00 ms");
    compared.shownBefore.record.reset();
    EXPECT_FALSE(pageOf(compared).contains("sides")) << "one cannot be compared with none";
}

Sweep sweepOf(std::vector<std::string> const& values, std::function<Series(double value)> const& play) {
    Sweep sweep{"phone.toml", {{"sensor.tele.power_on_ms", values}}, 10, {}};
    for (std::string const& value : values) sweep.points.push_back({{value}, play(std::stod(value))});
    return sweep;
}

TEST(SweepPage, DrawsWhatChangesTheMostAndTellsWithWhichValueRunsFail) {
    Sweep sweep = sweepOf({"30", "60"}, [](double value) {
        std::vector<Asked> requests{{"none", 0}, {"same", 7}};
        for (int i = 1; i <= 7; ++i) requests.push_back({std::to_string(i), value * i});
        return runsOf(10, requests, value > 50 ? 4 : 0);
    });
    auto const page = [&] {
        return dataOf([&](std::ostream& out) { writeSweepPage(sweep, {.title = "phone.toml"}, out); });
    };
    json data = page();
    json const& plot = data.at("plots")[0];
    std::vector<std::string> lines;
    for (json const& line : plot.at("series")) lines.push_back(line.at("name"));
    EXPECT_THAT(lines, ElementsAre("app: 7", "app: 6", "app: 5", "app: 4", "app: 3", "app: 2"));
    EXPECT_THAT(plot.at("note").get<std::string>(), HasSubstr("2 requests that change less are left out"));
    EXPECT_EQ(plot.at("x").at("values"), json({30, 60}));
    EXPECT_THAT(told(data.at("findings")),
                ElementsAre(StartsWith("error 4 of 10: 60: tele did not come up")));
    EXPECT_EQ(data.at("verdict"), json({{"passed", false}, {"text", "4 of 20 runs failed"}}));
    EXPECT_EQ(data.at("distributions")[0].at("sets"), json({"30", "60"}));
    EXPECT_EQ(data.at("overview")[0].at("rows")[0][0], "app: 7");

    sweep.points.pop_back();  // a signal came
    EXPECT_EQ(page().at("verdict").at("text"), "0 of 10 runs failed, and 10 were not run");
    std::ostringstream text;
    writeSweepReport(sweep, {}, text);
    EXPECT_THAT(text.str(), HasSubstr("10 runs, 0 failed, and 10 were not run\n"));
}

TEST(SweepPage, TellsOfManyValuesInATable) {
    json const data = dataOf([&](std::ostream& out) {
        writeSweepPage(sweepOf({"1", "2", "3", "4", "5", "6", "7"},
                               [](double value) {
                                   return runsOf(3, {{"on", value}, {"none", 0}});
                               }),
                       {}, out);
    });
    EXPECT_FALSE(data.contains("distributions"));
    json const& table = data.at("values");
    ASSERT_EQ(table.at("rows").size(), 7U);
    EXPECT_EQ(table.at("rows")[6], json({"app: on", "7", 0, 7.01, 7.018, 7.02}));
    EXPECT_EQ(table.at("rows")[6].size(), table.at("columns").size());
}

}  // namespace
