// What a page holds of many runs.
#include "views/SeriesPage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tool;
using nlohmann::json;
using testing::HasSubstr;
using Of = Subject::Of;

Figure took(std::string what, double ms, bool failed = false) {
    return {.subject = {.of = Of::Request, .who = "app", .what = std::move(what)},
            .line = {},
            .ms = ms,
            .failed = failed};
}

// One request for each of these times; that of a seed above `lastGood` fails.
Series seriesOf(std::vector<double> const& times, std::uint64_t lastGood = 1'000) {
    Series series;
    series.file = "phone.toml";
    std::uint64_t seed = 0;
    for (double const ms : times) {
        bool const failed = ++seed > lastGood;
        series.add({.run = seed,
                    .verdict = failed ? Verdict::Failed : Verdict::Passed,
                    .why = failed ? "tele did not come up" : "",
                    .figures = {took("power on", ms, failed)}});
    }
    return series;
}

json partOf(std::vector<PagePart> const& parts, std::string_view name) {
    for (PagePart const& part : parts) {
        if (part.name == name) return json::parse(part.json);
    }
    return {};
}

TEST(SeriesPage, TellsWhichRunsFailedAndHowManyThatAre) {
    Series const well = seriesOf({48, 49});
    EXPECT_EQ(partOf(pageParts(std::vector<NamedSeries>{{"", &well}}), "verdict").at("passed"), true);
    EXPECT_EQ(partOf(pageParts(std::vector<NamedSeries>{{"", &well}}), "tables"), nullptr);
    Series const fails = seriesOf(std::vector<double>(30, 48.0), 5);
    auto const parts = pageParts(std::vector<NamedSeries>{{"", &fails}});
    EXPECT_EQ(partOf(parts, "verdict"), json({{"passed", false}, {"text", "25 of 30 runs failed"}}));
    json const findings = partOf(parts, "findings");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].at("what"), "25 of 30");
    EXPECT_THAT(findings[0].at("text").get<std::string>(),
                testing::AllOf(HasSubstr("tele did not come up (seeds 6 7 8"), HasSubstr(" 25 and 5 more)")));
    json const failures = partOf(parts, "tables")[0];
    EXPECT_EQ(failures.at("rows")[0][0], "app: power on");
    EXPECT_EQ(failures.at("rows")[0][1], 25);
    EXPECT_EQ(failures.at("rows")[0].size(), failures.at("columns").size());
}

TEST(SeriesPage, PutsWhatTwoHaveMeasuredSideBySide) {
    std::vector<double> const fast{40, 41, 42, 43, 44, 45, 46};
    std::vector<double> slow = fast;
    for (double& ms : slow) ms += 10;
    Series const before = seriesOf(fast);
    Series after = seriesOf(slow);
    after.add({.run = 99, .why = {}, .figures = {took("power off", 7), took("status", 0)}});
    json const all =
        partOf(pageParts(std::vector<NamedSeries>{{"before", &before}, {"after", &after}}), "distributions");
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].at("sets"), json({"before", "after"}));
    std::map<std::string, json> rows;
    for (json const& row : all[0].at("rows")) rows[row.at("name")] = row;
    EXPECT_EQ(rows.size(), 2U) << "what takes no time is left out";
    EXPECT_EQ(rows.at("app: power on").at("samples"), json({fast, slow}));
    EXPECT_THAT(rows.at("app: power on").at("note").get<std::string>(),
                testing::MatchesRegex(R"(\+10\.00 ms, with 95 % between \+[0-9.]+ and \+[0-9.]+)"));
    EXPECT_EQ(rows.at("app: power off").at("samples"), json({json::array(), {7.0}}));
    EXPECT_EQ(rows.at("app: power off").at("note"), nullptr);
    Series const one = seriesOf({40});
    json const few = partOf(pageParts(std::vector<NamedSeries>{{"a", &one}, {"b", &after}}), "distributions");
    EXPECT_THAT(few[0].at("rows")[0].at("note").get<std::string>(), HasSubstr("too few runs"));
}

TEST(SeriesPage, PlotsMediansOverAValueByItsNumberWhereItIsOne) {
    Series const fast = seriesOf({40, 42, 44});
    Series const none;
    struct Case {
        std::vector<NamedSeries> values;
        json axis, medians;
    };
    for (auto const& [values, axis, medians] :
         std::vector<Case>{{{{"30", &fast}, {"40.5", &fast}}, {30, 40.5}, {42.0, 42.0}},
                           {{{"queued", &fast}, {"40", &none}}, {"queued", "40"}, {42.0, nullptr}}}) {
        PagePart const part = plotsPart("sensor.tele.power_on_ms", values);
        json const plot = json::parse(part.json)[0];
        EXPECT_EQ(part.name, "plots");
        EXPECT_THAT(plot.at("note").get<std::string>(), HasSubstr("from 10 % to 90 %"));
        EXPECT_EQ(plot.at("x").at("values"), axis);
        EXPECT_EQ(plot.at("series")[0].at("y"), medians);
        EXPECT_EQ(plot.at("series")[0].at("low").size(), axis.size());
    }
    Series const one = seriesOf({40});
    EXPECT_EQ(json::parse(plotsPart("", {{"1", &one}, {"2", &one}}).json)[0].at("note"),
              "Of a single run with each value.");
}

TEST(SeriesPage, TellsWhereTheTimeWentWhereLinksAreKnown) {
    Series series = seriesOf({48, 49});
    auto const page = [&] {
        std::ostringstream text;
        writeSeriesHtml(series, {}, text);
        return text.str();
    };
    EXPECT_THAT(page(), testing::Not(HasSubstr("\"blame\":")));
    series.add({.run = 3,
                .why = {},
                .figures = {{.subject = {.of = Of::Link, .who = "app: power on", .what = "main's power-on"},
                             .line = {},
                             .ms = 47}}});
    EXPECT_THAT(page(), HasSubstr("\"rows\":[[\"main's power-on\",47.0,100.0,0.0,47.0,1]]"));
}

}  // namespace
