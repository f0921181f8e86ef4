// The page for browsers: what it is given it holds, and nothing of it gets out of its place.
#include "Happened.h"
#include "ScenarioTexts.h"
#include "ToolRuns.h"
#include "views/Page.h"
#include "views/PageTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Kind;

std::string pageOf(std::string const& title, std::vector<PagePart> const& parts) {
    std::ostringstream out;
    writePage(title, parts, out);
    return out.str();
}

// As a browser finds them: up to the first end tag.
std::string dataText(std::string const& page) {
    std::string const begin = R"(<script type="application/json" id="data">)";
    std::size_t const from = page.find(begin) + begin.size();
    return page.substr(from, page.find("</script", from) - from);
}

json timelineJson(Record const& record, Selection const& selection = {}) {
    return json::parse(pageTimelineOf(record, selection).dump());
}

// The sections with this label, in the order of the lists.
std::vector<std::size_t> sectionsCalled(json const& timeline, std::string const& label) {
    std::vector<std::size_t> found;
    json const& labels = timeline.at("sections").at("label");
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (timeline.at("texts").at(labels[i].get<std::size_t>()) == label) found.push_back(i);
    }
    return found;
}

TEST(Page, KeepsWhatItHoldsInItsPlace) {
    for (std::string const text : {"</script><script>alert(1)</script>", "<!-- <script>", "{{data}}{{title}}",
                                   "\u2028 & ]]> --> \" '", "\x01"}) {
        std::string const page = pageOf(text, {{"one", json(text).dump()}, {"two", "[1,null]"}});
        json const data = json::parse(dataText(page));
        EXPECT_EQ(data.at("title"), text);
        EXPECT_EQ(data.at("one"), text);
        EXPECT_EQ(data.at("two"), json({1, nullptr}));
        EXPECT_THAT(page.substr(0, page.find("</title>")), Not(HasSubstr("<script")));
    }
}

TEST(Page, IsSmallAndAsksForNoNetwork) {
    std::string const page = pageOf("", {});
    EXPECT_LT(page.size(), 300'000U);
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    for (char const* const fetched : {" src=", "<link", "@import", "url("})
        EXPECT_THAT(page, Not(HasSubstr(fetched)));
}

TEST(Page, HoldsWhatEverySectionIsPartOf) {
    auto happened = aRun();
    happened.insert(happened.begin() + 24, {60, 1, Kind::SensorListGet});
    happened.insert(happened.begin() + 15, {40, 1, Kind::TaskPost, "powerOnOffCtrl"});
    happened.insert(happened.begin() + 2, {1, 1, Kind::SensorListGet});
    json const timeline = timelineJson(recordOf(happened));
    json const& sections = timeline.at("sections");
    for (auto const& [name, list] : sections.items())
        EXPECT_EQ(list.size(), sections.at("row").size()) << name;
    struct Case {
        std::string label;
        std::size_t nth;
        json kind, depth, request, sensor, state, begin;
    };
    for (auto const& [label, nth, kind, depth, request, sensor, state, begin] :
         std::vector<Case>{{"power on 0 3", 0, 0, 0, 0, nullptr, 0, 0},
                           {"LogicalDev powerOn", 0, 2, 1, 0, nullptr, 0, 1'000'000},
                           {"sensor 3 on", 0, 3, 1, 0, 3, 1, 3'000'000},
                           {"sensor 0 off", 0, 3, 1, 1, 0, 0, 42'000'000},
                           {"powerOnSensor: 3", 1, 2, 0, 2, 3, 2, 61'000'000}}) {
        auto const found = sectionsCalled(timeline, label);
        ASSERT_GT(found.size(), nth) << label;
        std::size_t const i = found[nth];
        for (auto const& [member, expected] : std::vector<std::pair<char const*, json>>{{"kind", kind},
                                                                                        {"depth", depth},
                                                                                        {"request", request},
                                                                                        {"sensor", sensor},
                                                                                        {"state", state},
                                                                                        {"begin", begin}})
            EXPECT_EQ(sections.at(member)[i], expected) << label << ": " << member;
        bool const isOutermost = sections.at("depth")[i] == 0;
        EXPECT_EQ(sections.at("holder")[i].is_null(), isOutermost) << label;
    }
}

TEST(Page, PutsALogLineIntoTheInnermostSectionOfItsThread) {
    auto happened = aRun();
    happened.insert(happened.begin(), {0, 8, Kind::UnifiedLog, "before all", 0, 3});
    happened.push_back({62, 5, Kind::SensorPowerOnDone, "caller", 3, 1});
    happened.push_back({62, 5, Kind::UnifiedLog, "at the time of an end", 0, 3});
    json const timeline = timelineJson(recordOf(happened));
    json const& marks = timeline.at("marks");
    ASSERT_EQ(marks.at("time").size(), 3U);
    EXPECT_EQ(marks.at("section")[0], nullptr);
    EXPECT_EQ(marks.at("level")[1], "error");
    EXPECT_EQ(timeline.at("texts").at(marks.at("text")[1].get<std::size_t>()), "sensor 3 failed");
    EXPECT_EQ(marks.at("section")[1], sectionsCalled(timeline, "powerOnSensor: 3").at(0));
    EXPECT_EQ(marks.at("section")[2], sectionsCalled(timeline, "powerOnSensor: 3").at(1));
}

TEST(Page, TellsWhatAThreadDidForTheProcessor) {
    using State = Scheduling::State;
    Record record = recordOf(aRun());
    record.scheduling = {{kBegin, 0, State::Running}, {kBegin + 10ms, 0, State::Asleep}};
    json const rows = timelineJson(record).at("rows");
    EXPECT_EQ(rows[0].at("processor"), json({{"begin", {0, 10'000'000}},
                                             {"end", {10'000'000, 100'000'000}},
                                             {"state", {"running", "asleep"}}}));
    EXPECT_EQ(rows[1].at("processor"), nullptr);
}

TEST(Page, TellsTheUnknownAsNull) {
    Record record = recordOf(
        {{0, 1, Kind::Request, "app", 0, 0, "power off"}, {5, 1, Kind::Reply, "app", 0, 0, "power off"}});
    record.requests[0].sensors.reset();
    json const timeline = timelineJson(record);
    EXPECT_EQ(timeline.at("powered").at("sensors"), json::array({nullptr}));
    EXPECT_EQ(timeline.at("sections").at("sensor"), json::array({nullptr}));
    record.files = {"log"};
    std::ostringstream out;
    writeHtml(record, {}, out);
    json const data = json::parse(dataText(out.str()));
    EXPECT_EQ(data.at("result").at("requests")[0].at("sensors"), nullptr);
    EXPECT_FALSE(data.contains("scenario"));
}

TEST(Page, HoldsTheScenarioAndWhatItIncludes) {
    Folder const folder;
    std::string const board = "[[sensor]]\nid = 0\n";
    folder.put("board.toml", board);
    std::string const scenario =
        "include = 'board.toml'\n[[controller]]\nname = 'photo'\nsensors = [0]\n[[client]]\nname = 'app'\n"
        "controller = 'photo'\nsteps = [ { power_on = [0] } ]\n";
    std::string const file = folder.put("one.toml", scenario);
    auto const [status, said] = runTool("run " + file + " --html " + folder.path("page.html"));
    EXPECT_EQ(status, 0) << said;
    json const data = json::parse(dataText(folder.text("page.html")));
    EXPECT_EQ(data.at("title"), "one.toml");
    EXPECT_EQ(data.at("scenario"), json::parse(R"([{"name": "one.toml"}, {"name": "board.toml"}])")
                                       .patch({{{"op", "add"}, {"path", "/0/text"}, {"value", scenario}},
                                               {{"op", "add"}, {"path", "/1/text"}, {"value", board}}}));
}

TEST(Page, OfEachCommandHoldsWhatItTells) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a simulated run has no ThreadSanitizer beside it";
#endif
    Folder const folder;
    std::string const file =
        folder.put("one.toml", withSensor("power_on_ms = [5, 9]\npower_on_fails = { times = [2] }",
                                          "{ power_on = [0] }, { power_off = [0] }, { power_on = [0] }"));
    std::string const page = folder.path("page.html");
    struct Case {
        std::string arguments;
        std::vector<std::string> holds;
        std::vector<std::string> lacks;
    };
    for (auto const& [arguments, holds, lacks] : std::vector<Case>{
             {"run --simulate", {"result", "timeline", "chains", "blame", "scenario"}, {"distributions"}},
             {"run --simulate --repeat 3", {"distributions", "findings", "tables", "scenario"}, {"timeline"}},
             {"blame", {"result", "timeline", "blame", "scenario"}, {"distributions"}},
             {"blame --repeat 3", {"distributions", "findings", "blame"}, {"timeline"}},
             {"chain --request off", {"timeline", "chains", "blame"}, {"distributions"}}}) {
        auto const [status, said] = runTool(arguments + ' ' + file + " --html " + page);
        ASSERT_LT(status, 2) << said;
        json const data = json::parse(dataText(folder.text("page.html")));
        for (std::string const& part : holds) EXPECT_TRUE(data.contains(part)) << arguments << ": " << part;
        for (std::string const& part : lacks) EXPECT_FALSE(data.contains(part)) << arguments << ": " << part;
        if (arguments.starts_with("chain")) {
            EXPECT_THAT(data.at("blame").at("note").get<std::string>(), HasSubstr("1 request of 1 run."));
        }
    }
    EXPECT_EQ(runTool("blame " + file + " --html " + file).status, 2) << "would replace its input";
}

}  // namespace
