// docs/latency.md shows what the tool says: its commands are run, one after another, and their output is
// held against the page.
#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

struct Shown {
    std::string command;
    std::vector<std::string> output;
};

// What stands behind "$ " further in than the text, with the lines below it.
std::vector<Shown> shownBy(char const* page) {
    constexpr std::size_t kIndent = 4;
    std::vector<Shown> all;
    bool isInside = false;
    std::ifstream file(page);
    for (std::string line; std::getline(file, line);) {
        bool const isIndented = line.starts_with("    ");
        if (isIndented && line.starts_with("    $ ")) {
            all.push_back({line.substr(kIndent + 2), {}});
            isInside = true;
        } else if (isInside && (isIndented || line.empty())) {
            all.back().output.push_back(isIndented ? line.substr(kIndent) : "");
        } else {
            isInside = false;
        }
    }
    for (Shown& each : all) {
        while (!each.output.empty() && each.output.back().empty()) each.output.pop_back();
    }
    return all;
}

// The first line of what is shown that the output does not have, in this order; a line of "…" stands for any
// that are left out.
std::string missingIn(std::string const& output, std::vector<std::string> const& shown) {
    std::istringstream lines(output);
    std::string line;
    bool leavesOut = false;
    for (std::string const& each : shown) {
        if (each.find_first_not_of(' ') == each.find("…") && each.ends_with("…")) {
            leavesOut = true;
            continue;
        }
        bool isThere = false;
        do {
            if (!std::getline(lines, line)) return each;
            line.erase(line.find_last_not_of(' ') + 1);
            isThere = line == each;
        } while (!isThere && leavesOut);
        if (!isThere) return each + "\nbut: " + line;
        leavesOut = false;
    }
    return {};
}

TEST(LatencyPage, ShowsWhatTheToolSays) {
#ifndef __GLIBCXX__
    GTEST_SKIP() << "the order that a seed chooses is the build's, and the page is of the one with g++";
#endif
    Folder const folder;
    std::string const before =
        "cd '" + folder.path() + "' && PATH=\"$(dirname '" ZEQCAM_POWER_PATH "'):$PATH\" LC_ALL=C.UTF-8 && ";
    ASSERT_EQ(runCommand("ln -s '" ZEQCAM_EXAMPLES_DIR "' '" + folder.path("examples") + "'").status, 0);
    auto const all = shownBy(ZEQCAM_LATENCY_PAGE);
    EXPECT_GE(all.size(), 6U);
    for (auto const& [command, shown] : all) {
        Ran const ran = runCommand(before + "{ " + command + "; } 2>&1");
        EXPECT_EQ(missingIn(ran.output, shown), "") << "$ " << command << '\n' << ran.output;
    }
}

TEST(LatencyPage, IsHeldAgainstEachLine) {
    std::string const output = "a\n\nb  \nc\nd\n";
    struct {
        std::vector<std::string> shown;
        char const* missing;
    } const cases[] = {
        {{"a", "", "b"}, ""},           {{"…", "c"}, ""},     {{"a", "  …", "d"}, ""}, {{}, ""},
        {{"…", "b", "a"}, "a\nbut: c"}, {{"b"}, "b\nbut: a"}, {{"…", "e"}, "e"},       {{"…", "d", "e"}, "e"},
    };
    for (auto const& [shown, missing] : cases) EXPECT_EQ(missingIn(output, shown), missing);
}

}  // namespace
}  // namespace zeqcam::tests
