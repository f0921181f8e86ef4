// Values of a scenario that a command line puts in place of the files'.
#include "ToolRuns.h"
#include "scenario/ScenarioReader.h"
#include "scenario/SettingPaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <variant>
#include <vector>

namespace zeqcam::tool {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A board in a file of its own, of which the scenario says something besides.
class Settings : public testing::Test {
  protected:
    Reading with(std::vector<std::string> const& settings) { return readScenarioFile(mFile, settings); }

    std::string wrongWith(std::string const& setting) {
        Reading const reading = with({setting});
        return reading.faults.empty() ? "" : faultText(reading.faults.front(), mFile);
    }

    tests::Folder mFolder;
    std::string const mBoard =
        mFolder.put("board.toml",
                    "[[sensor]]\nid = 0\nname = 'main'\npower_on_ms = 40\n[[sensor]]\nid = 3\nname = 'tele'\n"
                    "[[controller]]\nname = 'photo'\nsensors = [0, 3]\n");
    std::string const mFile = mFolder.put(
        "run.toml",
        "include = 'board.toml'\n[[sensor]]\nid = 3\npower_on_ms = 50\n[[client]]\nname = 'camera "
        "app'\ncontroller = 'photo'\nsteps = [\n{ sleep_ms = 1 },\n{ repeat = 2, steps = [{ "
        "sleep_ms = 2 }] } ]\n");
};

TEST_F(Settings, StandInPlaceOfWhatTheFilesSay) {
    Reading const reading =
        with({"sensor.main.power_on_ms=45.5", "sensor.3.power_on_ms=[60, 70]", "sensor.tele.hal3a.on_ms=4",
              "sensor.main.power_on_fails=always", "sensor.tele.power_on_fails.every=2", "board.seed=9",
              "client.camera app.steps.1.sleep_ms=7", "client.1.steps.2.steps.1.sleep_ms=8"});
    ASSERT_THAT(reading.faults, IsEmpty()) << faultText(reading.faults.front(), "");
    auto const& board = reading.scenario.settings;
    EXPECT_EQ(board.sensors.at(0).powerOnTime.least, 45500us);
    EXPECT_EQ(board.sensors.at(3).powerOnTime.least, 60ms) << "what stands before the board says it too";
    EXPECT_EQ(board.sensors.at(3).powerOnTime.most, 70ms);
    EXPECT_EQ(board.seed, 9U);
    EXPECT_THAT(with({"sensor.main.power_on_ms=1", "sensor.main.power_on_ms=2"})
                    .scenario.settings.sensors.at(0)
                    .powerOnTime.least,
                2ms)
        << "the last one counts";
}

TEST_F(Settings, TellWhatIsWrongByTheirOwnName) {
    struct {
        char const* setting;
        char const* told;
    } const cases[] = {
        {"sensor.tele.power_on_ms=-1",
         "--set sensor.tele.power_on_ms=-1: sensor.power_on_ms: must be from 0"},
        {"sensor.tele.power_on_ms=slow", ": sensor.power_on_ms: must be a number"},
        {"sensor.tele.power_on=60", "no value stands there; nearest are sensor.tele.power_on_ms"},
        {"tele.power_on_ms=60", "sensor.tele.power_on_ms"},
        {"sensor.tel.power_off_ms=60", "nearest are sensor.tele.power_off_ms"},
        {"sensor.2.power_on_ms=60", "no value stands there"},
        {"client.camera app.steps.3.sleep_ms=1", "nearest are client.camera app.steps.1.sleep_ms"},
        {"client.camera app.steps.0.sleep_ms=1", "no value stands there"},
        {"bord.seed=1", "nearest are board.seed"},
        {"sensor=1", "no value stands there"},
        {"sensor.tele=1", "no value stands there"},
        {"board.seed", "must be PATH=VALUE"},
        {"=1", "must be PATH=VALUE"},
        {"board.queue=la\nte", "board.queue: "},
        {"board.queue=\xff", "board.queue: the value is no text in UTF-8"},
    };
    for (auto const& [setting, told] : cases) EXPECT_THAT(wrongWith(setting), HasSubstr(told)) << setting;
}

TEST_F(Settings, LeaveTheLinesOfTheFilesAlone) {
    mFolder.put("board.toml",
                "[[sensor]]\nid = 0\nname = 'main'\npower_off_ms = -1\n[[controller]]\nname = "
                "'photo'\nsensors = [0]\n");
    Reading const reading = with({"sensor.main.power_on_ms=-2"});
    std::vector<std::string> told;
    for (Fault const& fault : reading.faults) told.push_back(faultText(fault, mFile));
    EXPECT_THAT(told, testing::Contains(HasSubstr("board.toml:4: sensor.power_off_ms: ")));
    EXPECT_THAT(told, testing::Contains(HasSubstr("power_on_ms=-2: sensor.power_on_ms: ")));
}

TEST(EditDistance, CountsTheFewestChanges) {
    struct {
        char const* one;
        char const* other;
        std::size_t distance;
    } const cases[] = {{"", "", 0},         {"", "abc", 3},           {"tele", "tele", 0}, {"tel", "tele", 1},
                       {"tale", "tele", 1}, {"kitten", "sitting", 3}, {"abcd", "bcde", 2}};
    for (auto const& [one, other, distance] : cases) {
        EXPECT_EQ(editDistance(one, other), distance) << one << ' ' << other;
        EXPECT_EQ(editDistance(other, one), distance) << other << ' ' << one;
    }
}

}  // namespace
}  // namespace zeqcam::tool
