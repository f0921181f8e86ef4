#include "PowerTest.h"
#include "diagnostics/Log.h"

#include <zeqcam/platform/ULogger.h>

#define ZEQCAM_LOG_TAG "test-tag"
#define ZEQCAM_LOG_PREFIX "[LogTest::%s] "
#define ZEQCAM_LOG_PREFIX_VALUES __FUNCTION__

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;

class LogTest : public PowerTest {
  protected:
    void control(board::LogControls const& log) {
        board().change([&](board::Settings& settings) { settings.log = log; });
    }
    std::vector<Entry> statementOfEachLevel() {
        return entriesOf([] {
            logError("broken");
            logWarning("odd");
            logInfo("news");
            logDebug("detail");
        });
    }
};

std::string levels(std::vector<Entry> const& entries, Kind sink) {
    std::string seen;
    for (Entry const& entry : ofKinds(entries, {sink})) seen += std::to_string(entry.number);
    return seen;
}

TEST_F(LogTest, GatesEachLevelByDetailsLevelAndMask) {
    struct Case {
        std::uint32_t detailsLevel;
        std::uint32_t mask;
        std::string unified;  // level numbers that get through
        std::string debugPrint;
    };
    for (Case const& c : std::vector<Case>{
             {0, 0x201000, "1", "1"},
             {1, 0x201000, "1", "1"},
             {2, 0x201000, "12", "12"},
             {3, 0x201000, "123", "123"},
             {4, 0x201000, "123", "123"},
             {5, 0x201000, "1235", "1230"},
             {0xffffffff, 0xffffffff, "1235", "1230"},
             {7, 0x200000, "123", "123"},
             {7, 0x1000, "123", "123"},
             {7, 0, "123", "123"},
         }) {
        control({.detailsLevel = c.detailsLevel, .normalDetailsMask = c.mask});
        auto const told = statementOfEachLevel();
        EXPECT_EQ(levels(told, Kind::UnifiedLog), c.unified) << c.detailsLevel << " " << c.mask;
        EXPECT_EQ(levels(told, Kind::DebugPrint), c.debugPrint) << c.detailsLevel << " " << c.mask;
    }
}

TEST_F(LogTest, SelectsSinksByMode) {
    struct Case {
        std::uint32_t mode;
        std::vector<int> levelsOff;
        bool hasUnifiedLogger;
        std::string unified;
        std::string debugPrint;
        std::uint8_t otherFlags = 0;
    };
    for (Case const& c : std::vector<Case>{
             {0x0, {}, true, "", ""},
             {0x4, {}, true, "", ""},
             {0x1, {}, true, "", "1230"},
             {0x2, {}, true, "1235", ""},
             {0x8, {}, true, "1235", ""},
             {0x3, {}, true, "1235", "1230"},
             {0x1, {0, 1}, true, "", "23"},
             {0x9, {0, 1, 2, 3}, true, "1235", ""},
             {0x3, {}, false, "", "1230"},
             {0x1, {0, 1}, true, "", "23", 0x7f},
             {0x1, {0, 1, 2, 3}, true, "", "", 0x7f},
         }) {
        control({.mode = c.mode,
                 .hasUnifiedLogger = c.hasUnifiedLogger,
                 .debugPrintLevelsOff = c.levelsOff,
                 .debugPrintOtherFlags = c.otherFlags});
        auto const told = statementOfEachLevel();
        EXPECT_EQ(levels(told, Kind::UnifiedLog), c.unified) << c.mode;
        EXPECT_EQ(levels(told, Kind::DebugPrint), c.debugPrint) << c.mode;
        EXPECT_EQ(ofKinds(told, {Kind::FilenameText}).size(), c.debugPrint.size()) << c.mode;
    }
}

TEST_F(LogTest, ComposesTheDebugPrintFormatWithoutExpandingTheMessage) {
    auto const told = entriesOf([] {
        logError("fault %d", 7);
        logWarning("fixed");
        logLine(Info, "[own] %s", "value");
    });
    auto const printed = ofKinds(told, {Kind::DebugPrint});
    ASSERT_EQ(printed.size(), 3U);
    EXPECT_THAT(printed[0].format, EndsWith("operator()() [LogTest::%s] fault %d (%s){#%d:%s}"));
    EXPECT_THAT(printed[0].shown, MatchesRegex(".*operator\\(\\)\\(\\) \\[LogTest::operator\\(\\)\\] fault 7 "
                                               "\\(operator\\(\\)\\)\\{#[0-9]+:/.*tests/LogTest.cpp\\}"));
    EXPECT_THAT(
        printed[1].format,
        MatchesRegex(".+\\[test-tag\\] LogTest.cpp:[0-9]+ operator\\(\\)\\(\\) \\[LogTest::%s\\] %s"));
    EXPECT_THAT(printed[2].format, EndsWith("operator()() [own] %s"));
    EXPECT_EQ(printed[0].text, "test-tag");
}

TEST_F(LogTest, ComposesEachLevelsPrefixAndTheFilesTextWhole) {
    for (std::size_t const size : {10U, 256U, 900U, 5000U}) {
        std::string const file(size, 'f');
        control({.debugPrintPrefixes = {"<debug>", "<error>", "<warning>", "<info>"}, .fileText = file});
        auto const printed = ofKinds(statementOfEachLevel(), {Kind::DebugPrint});
        ASSERT_EQ(printed.size(), 4U);
        std::vector<std::string> const prefixes = {"<error>", "<warning>", "<info>", "<debug>"};
        for (std::size_t i = 0; i < printed.size(); ++i) {
            std::string const start = prefixes[i] + "[test-tag] " + file + ":";
            EXPECT_EQ(printed[i].format.substr(0, start.size()), start.substr(0, 1023));
            EXPECT_EQ(printed[i].format.size() == 1023, size > 1023) << printed[i].format.size();
        }
    }
}

TEST_F(LogTest, RecordsNothingThatCannotBeFormatted) {
    wchar_t const noCharacter[] = {wchar_t{0xd800}, 0};
    auto const told = entriesOf([&] { logError("%ls", noCharacter); });
    EXPECT_THAT(ofKinds(told, {Kind::DebugPrint}), testing::SizeIs(1));
    EXPECT_THAT(logLines(told), IsEmpty());
}

TEST_F(LogTest, GivesTheUnifiedLoggerTheMessageAlone) {
    auto const told = entriesOf([] { logError("fault %d", 7); });
    auto const lines = ofKinds(told, {Kind::UnifiedLog});
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].shown, "[LogTest::operator()] fault 7");
    EXPECT_EQ(lines[0].length, lines[0].shown.size());
    EXPECT_EQ(lines[0].module, 0x201002U);
    EXPECT_EQ(lines[0].text, "test-tag");
}

TEST_F(LogTest, CutsALongTextForTheUnifiedLoggerAndTellsItsLength) {
    std::size_t const prefix = std::string("[LogTest::operator()] ").size();
    for (std::size_t const size : {1023U, 1024U, 5000U}) {
        std::string const text(size - prefix, 'x');
        auto const told = entriesOf([&] { logInfo("%s", text.c_str()); });
        auto const line = ofKinds(told, {Kind::UnifiedLog}).at(0);
        EXPECT_EQ(line.shown.size(), 1023U) << size;
        EXPECT_EQ(line.length, size);
    }
}

TEST_F(LogTest, ReadsTheModeAnewAfterTheDebugPrint) {
    LineWatch stream([](std::string const&) {
        __atomic_store_n(&NSCam::Utils::ULog::ULogger::sMode, 0x1U, __ATOMIC_RELAXED);
    });
    board().change([&](board::Settings& settings) {
        settings.log.mode = 0x3;
        settings.logStream = &stream;
    });
    auto const told = entriesOf([] { logInfo("news"); });
    EXPECT_EQ(levels(told, Kind::DebugPrint), "3");
    EXPECT_THAT(logLines(told), IsEmpty());
    board().change([](board::Settings& settings) { settings.logStream = nullptr; });
}

TEST_F(LogTest, EvaluatesNoValueOfAStatementThatItsGateDrops) {
    control({.detailsLevel = 0});
    int evaluated = 0;
    logInfo("%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    logError("%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
}

}  // namespace
}  // namespace zeqcam::tests
