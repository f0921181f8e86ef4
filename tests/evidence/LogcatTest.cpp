#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Items = std::vector<std::string>;

constexpr char kPower[] = "D zeqcam-PowerOnOffController: + powerOn";

std::string head(std::string_view time, std::string_view ids = " 1234  5678") {
    return std::string(time) + " " + std::string(ids) + " D zeqcam-PowerOnOffController: + ";
}

std::string line(std::string_view time, std::string_view ids = " 1234  5678") {
    return head(time, ids) + "powerOn\n";
}

TEST(Logcat, HasATimeAsItsModifiersSay) {
    struct {
        char const* name;
        std::string text;
        char const* time;
        bool known;
    } const cases[] = {
        {"none", line("11-23 05:16:48.315"), "wall 1972-11-23 05:16:48.315", false},
        {"year", line("2024-02-29 23:59:59.999"), "wall 2024-02-29 23:59:59.999", false},
        {"usec", line("11-23 05:16:48.315042"), "wall 1972-11-23 05:16:48.315042", false},
        {"nsec", line("11-23 05:16:48.315042001"), "wall 1972-11-23 05:16:48.315042001", false},
        {"zone", line("11-23 00:16:48.315 +0530"), "wall 1972-11-22 18:46:48.315", false},
        {"year, zone", line("2026-01-01 00:16:48.315 -0330"), "wall 2026-01-01 03:46:48.315", true},
        {"UTC", line("2026-11-23 05:16:48.315 +0000"), "wall 2026-11-23 05:16:48.315", true},
        {"uid", line("11-23 05:16:48.315", " 1047  1234  5678"), "wall 1972-11-23 05:16:48.315", false},
        {"uid by name", line("11-23 05:16:48.315", " root  1234  5678"), "wall 1972-11-23 05:16:48.315",
         false},
        {"epoch", line("         1700716608.315"), "wall 2023-11-23 05:16:48.315", true},
        {"monotonic", line("  8642.007"), "monotonic 8642.007", true},
        {"monotonic, usec", line("  8642.007042"), "monotonic 8642.007042", true},
        {"all", line("2026-11-23 05:16:48.315042001 +0100", " 1047  1234  5678"),
         "wall 2026-11-23 04:16:48.315042001", true},
        {"large ids", line("11-23 05:16:48.315", "1000 1234 5678"), "wall 1972-11-23 05:16:48.315", false},
    };
    for (auto const& [name, text, time, known] : cases) {
        SCOPED_TRACE(name);
        auto const [result, items] = told(text);
        EXPECT_EQ(result.format, tool::Format::Logcat);
        EXPECT_EQ(result.isWallTimeKnown, known);
        EXPECT_EQ(items, Items{"1 " + std::string(time) + " 1234/5678 " + kPower});
    }
}

TEST(Logcat, IsFoundAmongOtherTextAndOthersLines) {
    std::string const text =
        "========================================================\n"
        "== dumpstate: 2026-11-23 05:17:00\n"
        "========================================================\n"
        "Uptime: up 0 weeks, 0 days, 2 hours\n"
        "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n"
        "--------- beginning of main\n"
        "11-23 05:16:48.100  1000   812   812 I ActivityManager: a line of 9 D zeqcam-PowerOnOffController: "
        "no\n"
        "11-23 05:16:48.315  1047  1234  5678 W ZeqCam/Hal3AListener: 0[Hal3AListener::init] a: b\n"
        "11-23 05:16:48.316  1047  1234  5678 D zeqcam-PowerOnOffController2: another's\n"
        "11-23 05:16:48.316  1047  1234  5678 D zeqcam  : another's too\n"
        "11-23 05:16:48.317  1047 12345 56789 E zeqcam-PowerOnOffController: \n"
        "------ 0.345s was the duration of 'SYSTEM LOG' ------\n";
    auto const [result, items] = told(text);
    EXPECT_EQ(result.format, tool::Format::Logcat);
    EXPECT_THAT(items,
                ElementsAre("8 wall 1972-11-23 05:16:48.315 1234/5678 W ZeqCam/Hal3AListener: "
                            "0[Hal3AListener::init] a: b",
                            "11 wall 1972-11-23 05:16:48.317 12345/56789 E zeqcam-PowerOnOffController: "));
}

// Most lines are only looked at where the line before had its tag: whatever stands there must not mislead.
TEST(Logcat, FindsALineAfterOthersOfAnotherShape) {
    for (char const* before : {
             "11-23 05:16:48.100   812   812 I vold    : x\n",
             "11-23 05:16:48.100 123456 812345 I vold  : x\n",
             "11-23 05:16:48.100  1000   812   812 I vold: x\n",
             "11-23 05:16:48.100  a_long_name   812   812 I vold: x\n",
             "no log at all\n",
             "\n",
             "11-23 05:16:48.100   812   812 I x 5 D vold: x\n",
         }) {
        std::string const repeated = std::string(before) + before;
        EXPECT_THAT(
            told(repeated + line("11-23 05:16:48.315") + repeated + line("11-23 05:16:48.316", "1 2")).items,
            ElementsAre("3 wall 1972-11-23 05:16:48.315 1234/5678 " + std::string(kPower),
                        "6 wall 1972-11-23 05:16:48.316 1/2 " + std::string(kPower)))
            << before;
    }
}

TEST(Logcat, CountsYearsOverNewYear) {
    struct {
        char const* name;
        Items times;
        Items years;
    } const cases[] = {
        {"midnight", {"12-31 23:59:59.999", "01-01 00:00:00.001"}, {"1972", "1973"}},
        {"the first line of the last day", {"12-31 00:00:01.000", "01-01 11:00:00.000"}, {"1972", "1973"}},
        {"out of order",
         {"12-31 23:59:59.998", "01-01 00:00:00.001", "12-31 23:59:59.999", "01-01 00:00:00.002"},
         {"1972", "1973", "1972", "1973"}},
        {"a clock set back", {"12-31 23:59:59.999", "11-23 05:00:00.000"}, {"1972", "1972"}},
        {"a clock not yet set", {"11-23 23:59:59.999", "01-01 00:00:09.000"}, {"1972", "1972"}},
        {"a leap day", {"02-29 12:00:00.000", "03-01 12:00:00.000"}, {"1972", "1972"}},
    };
    for (auto const& [name, times, years] : cases) {
        SCOPED_TRACE(name);
        std::string text;
        Items expected;
        for (std::size_t i = 0; i < times.size(); ++i) {
            text += line(times[i]);
            expected.push_back(std::to_string(i + 1) + " wall " + years[i] + "-" + times[i] + " 1234/5678 " +
                               kPower);
            if (expected.back().find(".000 ") != std::string::npos)
                expected.back().erase(expected.back().find(".000 "), 4);
        }
        EXPECT_EQ(told(text).items, expected);
    }
}

TEST(Logcat, TellsWhatIsMissing) {
    std::string const at = "11-23 05:16:48.315  1234  5678 ";
    std::string const lost = "1 wall 1972-11-23 05:16:48.315 1234/5678 lost: ";
    struct {
        std::string text;
        Items items;
    } const cases[] = {
        {at + "I chatty  : uid=1047(cameraserver) Binder:1234_2 identical 3 lines\n",
         {lost + "3 lines like the one before were left out"}},
        {at + "I chatty  : uid=1047(cameraserver) expire 41 lines\n",
         {lost + "41 lines were dropped: the process wrote too many"}},
        {at + "I chatty  : uid=1047 something else\n", {}},
        {at + "I other   : x\nread: unexpected EOF!\n",
         {"2 wall 1972-11-23 05:16:48.315 -/0 lost: logcat was too slow: lines were dropped"}},
    };
    for (auto const& [text, items] : cases) EXPECT_EQ(told(text).items, items) << text;
}

TEST(Logcat, KnowsThatThePhoneStartedAnew) {
    std::string const one = line("11-23 05:16:48.315");
    std::string const item = " wall 1972-11-23 05:16:48.315 1234/5678 " + std::string(kPower);
    std::string const boot = " wall 1972-11-23 05:16:48.315 -/0 boot";
    std::string const begin = "--------- beginning of ";
    EXPECT_THAT(told(begin + "main\n" + one + begin + "system\n" + one).items,
                ElementsAre("2" + item, "4" + item));
    EXPECT_THAT(told(begin + "main\n" + one + begin + "main\n" + begin + "system\n" + one).items,
                ElementsAre("2" + item, "3" + boot, "5" + item));
    EXPECT_THAT(told(one + "------ LAST LOGCAT (logcat -L -b all -v threadtime -d *:v) ------\n" + one).items,
                ElementsAre("1" + item, "2" + boot, "3" + item));
    EXPECT_THAT(
        told(one + "11-23 05:16:48.315     0     0 I         : Booting Linux on physical CPU 0x0\n" + one)
            .items,
        ElementsAre("1" + item, "2" + boot, "3" + item));
}

TEST(Logcat, SurvivesDamage) {
    std::string const one = line("11-23 05:16:48.315");
    std::string const item = " wall 1972-11-23 05:16:48.315 1234/5678 " + std::string(kPower);
    std::string const cut = " wall 1972-11-23 05:16:48.315 -/0 lost: the line is cut";
    std::string const windows = one.substr(0, one.size() - 1) + "\r\r\n";
    struct {
        char const* name;
        std::string text;
        Items items;
    } const cases[] = {
        {"CRLF", windows + windows, {"1" + item, "2" + item}},
        {"zeros of a block that was not written",
         one + std::string(4096, '\0') + one,
         {"1" + item, "2" + item}},
        {"bytes that are not UTF-8",
         head("11-23 05:16:48.315") + "\xff\xc3(\n" + one,
         {"1" + item.substr(0, item.size() - 7) + "\xff\xc3(", "2" + item}},
        {"a cut in the text", one + one.substr(0, one.size() - 3), {"1" + item, "2" + cut}},
        {"a cut in the time", one + "11-23 05:1", {"1" + item, "2" + cut}},
        {"a cut in another's line", one + "11-23 05:16:48.315  1  2 I vold: a", {"1" + item}},
        {"a text without an end",
         one + head("11-23 05:16:48.315") + std::string(300'000, 'x') + "\n" + one,
         {"1" + item, "2" + cut, "3" + item}},
        {"a line without an end that is none",
         one + std::string(300'000, 'x') + "\n" + one,
         {"1" + item, "3" + item}},
        {"no date", one + "13-40 05:16:48.315  1234  5678 D zeqcam-PowerOnOffController: x\n", {"1" + item}},
        {"ids that no kernel gives", one + line("11-23 05:16:48.315", "99999999999 1"), {"1" + item}},
    };
    for (auto const& [name, text, items] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(told(text).items, items);
    }
}

TEST(Logcat, IsRefusedWithoutThreads) {
    for (auto const& [format, text] : {
             std::pair{"brief", "D/zeqcam-PowerOnOffController( 1234): + powerOn\n"},
             {"process", "D( 1234) + powerOn  (zeqcam-PowerOnOffController)\n"},
             {"tag", "D/zeqcam-PowerOnOffController: + powerOn\n"},
             {"thread", "D( 1234: 5678) + powerOn\n"},
             {"time", "11-23 05:16:48.315 D/zeqcam-PowerOnOffController( 1234): + powerOn\n"},
             {"long", "[ 11-23 05:16:48.315  1234: 5678 D/zeqcam-PowerOnOffController ]\n+ powerOn\n\n"},
         }) {
        auto const [result, items] = told(std::string("--------- beginning of main\n") + text);
        EXPECT_EQ(result.format, tool::Format::Unknown) << format;
        EXPECT_THAT(result.found, HasSubstr("\"" + std::string(format) + "\"")) << text;
        EXPECT_THAT(result.found, HasSubstr("adb logcat -v threadtime")) << text;
        EXPECT_THAT(items, IsEmpty());
    }
}

}  // namespace
}  // namespace zeqcam::tests
