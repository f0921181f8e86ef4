#include "Happened.h"
#include "ToolRuns.h"
#include "views/SvgTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::HasSubstr;
using testing::Not;
using zeqcam::board::Kind;

TEST(SvgTimeline, IsXmlThatHoldsEveryNameAndMarksFailures) {
    for (auto const& [name, shown] : std::vector<std::pair<std::string, std::string>>{
             {"app", "app"},
             {"<b>&amp;\"'", "<b>&amp;\"'"},
             {"]]>", "]]>"},
             {"\033[31m", "\\x1b[31m"},
             {"\xff\xed\xa0\x80 cut \xe3\x82", "\xef\xbf\xbd"},
             {"\xef\xbf\xbf", "\xef\xbf\xbd"},
             {"カメラ", "カメラ"},
         }) {
        TemporaryFile const picture(".svg",
                                    zeqcam::tests::shown(writeSvg, recordOf(aRun(name)), {.title = name}));
        std::string const& file = picture.path;
        EXPECT_THAT(readByXml(file, "string(/*/*[local-name()=\"title\"])"), HasSubstr(shown));
        std::string const failed = "//*[local-name()=\"g\"][*[@class=\"failed\"]]";
        EXPECT_EQ(readByXml(file, "count(" + failed + "/*[@class=\"sign\"])"), "3");
        EXPECT_THAT(readByXml(file, "string(" + failed + "/*[local-name()=\"title\"])"),
                    HasSubstr("sensor 3 on\nstart 3.00 ms, took 17.0 ms, failed"));
        EXPECT_EQ(readByXml(file, "count(//*[@class=\"powering\"]/../*[.=\"powering on\"])"), "3");
    }
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
