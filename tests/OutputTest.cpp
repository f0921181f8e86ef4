#include "ToolRuns.h"
#include "files/OutputFile.h"
#include "text/TimeText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char const* kScenario =
    "[[sensor]]\nid = 0\n[[controller]]\nname = 'photo'\nsensors = [0]\n[[client]]\nname = 'app'\n"
    "controller = 'photo'\nsteps = [ { power_on = [0] } ]\n";

// In a folder with a scenario "a" that ends and one "hangs" that does not; $tool is the tool.
Ran shellIn(Folder const& folder, std::string const& command) {
    folder.put("a", kScenario);
    folder.put("hangs", std::string(kScenario).insert(18, "power_on_hangs = true\n"));
    folder.put("script", "tool='" ZEQCAM_POWER_PATH "'\ncd '" + folder.path() + "'\n" + command + '\n');
    return runCommand("bash " + folder.path("script"));
}

TEST(OutputFile, TakesItsPlaceAsAWholeOrNotAtAll) {
    Folder const folder;
    folder.put("real", "before");
    ASSERT_EQ(chmod(folder.path("real").c_str(), 0640), 0);
    std::filesystem::create_symlink("real", folder.path("link"));
    OutputFile file(folder.path("link"));
    EXPECT_THROW(file.write([&](std::ostream& out) {
        out << std::string(200'000, 'x') << std::flush;
        EXPECT_EQ(folder.text("real"), "before");
        throw std::runtime_error("broken off");
    }),
                 std::runtime_error);
    EXPECT_EQ(folder.text("real"), "before");
    EXPECT_THAT(folder.names(), ElementsAre("link", "real"));
    file.write([](std::ostream& out) { out << "after"; });
    EXPECT_EQ(folder.text("real"), "after");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
    struct stat status {};
    ASSERT_EQ(stat(folder.path("real").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_THROW(OutputFile{folder.path("no/file")}, CannotOpen);
    EXPECT_THROW(OutputFile{folder.path()}, CannotOpen);
}

TEST(Output, IsWholeOrToldWhateverBecomesOfTheStandardStreams) {
    struct Case {
        std::string command;
        int status;
        std::string told;
    };
    for (auto const& [command, expected, told] : std::vector<Case>{
             {"$tool run a --trace t >&- 2>e", 1, "the output cannot be written"},
             {"$tool run a --trace t 2>e <&- >/dev/null", 0, ""},
             {"$tool run a --trace t 2>e | true; (exit ${PIPESTATUS[0]})", 1, "the output cannot be written"},
             {"$tool run a --trace - 2>e >t", 0, "expectations held"},
             {"$tool run a --trace /dev/stdout 2>e >t", 0, "expectations held"},
         }) {
        Folder const folder;
        EXPECT_EQ(shellIn(folder, command).status, expected) << command;
        EXPECT_TRUE(nlohmann::json::accept(folder.text("t"))) << command << '\n' << folder.text("t");
        EXPECT_THAT(folder.text("e"), HasSubstr(told)) << command;
        EXPECT_THAT(folder.names(), ElementsAre("a", "e", "hangs", "script", "t")) << command;
    }
}

TEST(Output, IsRefusedWhereItsPlaceIsTakenOrNone) {
    Folder const folder;
    for (std::string const arguments :
         {"run a --trace ''", "run a --trace - --json", "run a --trace - --svg -",
          "run a --trace t --svg ./t", "run a --json --trace /dev/stdout >t", "run a --trace /dev/stderr",
          "run a --trace ."}) {
        auto const [status, output] =
            shellIn(folder, "exec 2>e; $tool " + arguments + "; s=$?; cat e; exit $s");
        EXPECT_EQ(status, 2) << arguments;
        EXPECT_THAT(output, testing::MatchesRegex("zeqcam-power: [^\n]*\n")) << arguments;
        EXPECT_EQ(folder.text("t"), "") << arguments;
    }
    for (std::string const arguments : {"--help", "run --help", "--version"}) {
        EXPECT_EQ(shellIn(folder, "$tool " + arguments + " >/dev/full 2>/dev/null").status, 1) << arguments;
    }
}

TEST(Output, IsWrittenWhenASignalEndsTheRun) {
    for (auto const& [signal, status] :
         std::vector<std::pair<std::string, int>>{{"HUP", 129}, {"INT", 130}, {"QUIT", 131}, {"TERM", 143}}) {
        Folder const folder;
        // A shell lets what it starts in the background ignore INT and QUIT.
        std::string const run = "env --default-signal=HUP,INT,QUIT $tool run hangs --trace t >log 2>e &\n";
        std::string const begun = "until grep -qs 'powerOn +' log; do kill -0 $! || exit; done; ";
        EXPECT_EQ(shellIn(folder, run + begun + "kill -" + signal + " $!; wait $!").status, status) << signal;
        EXPECT_TRUE(nlohmann::json::accept(folder.text("t"))) << signal;
        EXPECT_THAT(folder.names(), ElementsAre("a", "e", "hangs", "log", "script", "t")) << signal;
    }
    // As nohup does.
    Folder const folder;
    EXPECT_EQ(shellIn(folder,
                      "trap '' HUP; $tool run hangs --timeout 0.3 >log 2>&1 &\n"
                      "until grep -qs 'powerOn +' log; do kill -0 $! || exit; done; kill -HUP $!; wait $!")
                  .status,
              3);
}

TEST(TimeText, HasAUnitForEveryTime) {
    for (auto const& [time, text] :
         std::vector<std::pair<std::chrono::nanoseconds, std::string>>{{0ns, "0.00 us"},
                                                                       {1ns, "1.00 ns"},
                                                                       {999ns, "999 ns"},
                                                                       {1us, "1.00 us"},
                                                                       {48'100us, "48.1 ms"}}) {
        EXPECT_EQ(timeText(time), text);
    }
}

}  // namespace
