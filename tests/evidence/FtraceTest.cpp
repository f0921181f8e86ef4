#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Items = std::vector<std::string>;

constexpr char kHead[] = "          camera-1234  [001] d..3.  8642.315042: ";

// The items of a line after kHead, without those that tell who the thread is.
Items itemsOf(std::string const& line) {
    Items items = told(std::string("# tracer: nop\n#\n") + line + "\n").items;
    std::erase_if(items,
                  [](std::string const& item) { return item.find(" is camera") != std::string::npos; });
    return items;
}

TEST(Ftrace, TellsSectionsWhoeverWroteTheText) {
    std::string const begin = "tracing_mark_write: B|1230|powerOn: [0, 1]\n";
    for (auto const& [name, head, process] : {
             std::tuple{"kernel", "          camera-1234  [001] d..3.  8642.315042: ", ""},
             {"kernel with process", "  camera-1234    (   1230) [001] .....  8642.315042: ", ""},
             {"systrace", "  camera-1234  ( 1230) [001] ...1  8642.315042: ", ""},
             {"process unknown", "  camera-1234  (-----) [001] ...1  8642.315042: ", ""},
             {"trace-cmd without flags", "camera-1234  [001]  8642.315042: ", ""},
             {"trace-cmd by print", "camera-1234  [001]  8642.315042: print:                ", ""},
         }) {
        SCOPED_TRACE(name);
        auto const [result, items] = told(std::string(head) + begin + head + "tracing_mark_write: E|1230\n" +
                                          head + "tracing_mark_write: E\n");
        EXPECT_EQ(result.format, tool::Format::Ftrace);
        EXPECT_THAT(items, testing::IsSupersetOf({"1 trace 8642.315042 1230/1234 is camera",
                                                  "1 trace 8642.315042 1230/1234 B powerOn: [0, 1]",
                                                  "2 trace 8642.315042 1230/1234 E"}));
        EXPECT_THAT(items.back(), testing::MatchesRegex("3 trace 8642.315042 (1230|-)/1234 E"));
    }
}

TEST(Ftrace, TellsWhatTheSchedulerDid) {
    struct {
        char const* event;
        Items items;
    } const cases[] = {
        {"sched_switch: prev_comm=camera prev_pid=1234 prev_prio=120 prev_state=S ==> next_comm=a b "
         "next_pid=77 "
         "next_prio=100",
         {"-/1234 switch to 77, asleep", "-/77 is a b"}},
        {"sched_switch: prev_comm=camera prev_pid=1234 prev_prio=120 prev_state=R+ ==> next_comm=swapper/1 "
         "next_pid=0 "
         "next_prio=120",
         {"-/1234 switch to 0, runnable"}},
        {"sched_switch: prev_comm=camera prev_pid=1234 prev_prio=120 prev_state=X|Z ==> next_comm=x "
         "next_pid=9 "
         "next_prio=1",
         {"-/1234 switch to 9, ended", "-/9 is x"}},
        {"sched_switch:         camera:1234 [120] D ==> kworker/u:Z:99 [120]",
         {"-/1234 switch to 99, asleep"}},
        {"sched_waking: comm=worker pid=1240 prio=120 target_cpu=002", {"-/1234 wakes 1240"}},
        {"sched_wakeup:         worker:1240 [120] CPU:002", {"-/1234 wakes 1240"}},
        {"sched_wakeup_new: comm=worker pid=1240 prio=120 target_cpu=002", {"-/1234 wakes 1240"}},
        {"task_newtask: pid=1240 comm=camera HAL clone_flags=3d0f00 oom_score_adj=0",
         {"-/1234 starts 1240 camera HAL"}},
        {"sched_process_fork: comm=a pid=1234 child_comm=b c child_pid=1240", {"-/1234 starts 1240 b c"}},
        {"task_rename: pid=1240 oldcomm=camera newcomm=init0 oom_score_adj=0", {"-/1240 is init0"}},
        {"sched_switch: prev_comm=camera prev_pid=1234", {}},
        {"cpu_idle: state=1 cpu_id=1", {}},
    };
    for (auto const& [event, what] : cases) {
        Items expected;
        for (std::string const& item : what) expected.push_back("3 trace 8642.315042 " + item);
        EXPECT_EQ(itemsOf(std::string(kHead) + event), expected) << event;
    }
}

TEST(Ftrace, TellsOnceWhatTwoEventsTell) {
    std::string const head = kHead;
    EXPECT_THAT(
        itemsOf(head + "sched_waking: comm=w pid=1240 prio=1 target_cpu=1\n" + head +
                "sched_wakeup: comm=w pid=1240 prio=1 target_cpu=1\n" + head +
                "task_newtask: pid=1241 comm=w clone_flags=0 oom_score_adj=0\n" + head +
                "sched_process_fork: comm=a pid=1234 child_comm=w child_pid=1241"),
        ElementsAre("3 trace 8642.315042 -/1234 wakes 1240", "5 trace 8642.315042 -/1234 starts 1241 w"));
}

TEST(Ftrace, BringsOtherClocks) {
    EXPECT_THAT(itemsOf(std::string(kHead) + "tracing_mark_write: trace_event_clock_sync: parent_ts=8640.5"),
                ElementsAre("3 trace 8642.315042 -/0 monotonic shows 8640500000000"));
    EXPECT_THAT(
        itemsOf(std::string(kHead) + "tracing_mark_write: trace_event_clock_sync: realtime_ts=1700716608315"),
        ElementsAre("3 trace 8642.315042 -/0 wall shows 1700716608315000000"));
}

TEST(Ftrace, TellsWhatWasLost) {
    std::string const section = std::string(kHead) + "tracing_mark_write: B|1230|x\n";
    struct {
        char const* line;
        Items items;
    } const cases[] = {
        {"CPU:2 [LOST 41 EVENTS]", {"2 trace 8642.315042 -/0 lost: 41 events lost"}},
        {"CPU:2 [LOST EVENTS]", {"2 trace 8642.315042 -/0 lost: events lost"}},
        {"CPU:2 [EVENTS DROPPED]", {"2 trace 8642.315042 -/0 lost: events lost"}},
        {"# entries-in-buffer/entries-written: 140080/250280   #P:4",
         {"2 trace 8642.315042 -/0 lost: 110200 events before the first were overwritten"}},
        {"# entries-in-buffer/entries-written: 140080/140080   #P:4", {}},
        {"          camera-1234  [001] d..3.  8642.3: tracing_mark_write: B|1230|pow",
         {"2 trace 8642.315042 -/0 lost: the line is cut"}},
    };
    for (auto const& [line, lost] : cases) {
        bool const isCut = std::string_view(line).substr(0, 1) == " ";
        Items items = told(section + line + (isCut ? "" : "\n")).items;
        ASSERT_GE(items.size(), 2U);
        items.erase(items.begin(), items.begin() + 2);
        EXPECT_EQ(items, lost) << line;
    }
}

TEST(Ftrace, IsFoundInAPage) {
    std::string const trace = std::string(kHead) + "tracing_mark_write: B|1230|x\r\n";
    Items const expected = {"1230/1234 is camera", "1230/1234 B x"};
    for (std::string const& page : {
             "<!DOCTYPE html>\n<html><script>\nlet a = b[0] - 1; // 5.5: x\n</script>\n"
             "<script class=\"trace-data\" type=\"application/text\">\n# tracer: nop\n" +
                 trace + "</script>\n</body>\n</html>",
             "<html>" + std::string(100'000, 'x') + "\n\n\n\n\n# tracer: nop\\n\\\n" + std::string(kHead) +
                 "tracing_mark_write: B|1230|x\\n\\\n\";\n</html>",
         }) {
        auto const [result, items] = told(page);
        EXPECT_EQ(result.format, tool::Format::Ftrace);
        EXPECT_THAT(items, ElementsAre("7 trace 8642.315042 1230/1234 is camera",
                                       "7 trace 8642.315042 1230/1234 B x"));
    }
}

TEST(Ftrace, TakesNothingFromWhatIsNoEvent) {
    for (char const* line : {
             "camera-1234 [001] 8642.315042",
             "camera-1234 [001] 8642.315042: ",
             "camera-1234 [] 8642.315042: tracing_mark_write: B|1|x",
             "camera [001] 8642.315042: tracing_mark_write: B|1|x",
             "camera-99999999999 [001] 8642.315042: tracing_mark_write: B|1|x",
             "camera-1234 [001] 99999999999999999999.1: tracing_mark_write: B|1|x",
             "camera-1234 [001] 8642.315042: tracing_mark_write: C|1|x|1",
             "camera-1234 [001] 8642.315042: tracing_mark_write: B|x|1",
             "camera-1234 [001] 8642.315042: tracing_mark_write: End",
         }) {
        EXPECT_THAT(told(std::string("# tracer: nop\n") + line + "\n").items, IsEmpty()) << line;
    }
}

TEST(Ftrace, KnowsAnIdGivenAnew) {
    std::string const start =
        std::string(kHead) + "task_newtask: pid=1240 comm=a clone_flags=0 oom_score_adj=0\n";
    std::string const run = "  a-1240 [001] d..3.  8643.1: tracing_mark_write: E|1230\n";
    EXPECT_THAT(itemsOf(start + run + run + start + run.substr(0, run.size() - 1)),
                ElementsAre("3 trace 8642.315042 -/1234 starts 1240 a", "4 trace 8643.100 1230/1240 is a",
                            "4 trace 8643.100 1230/1240 E", "5 trace 8643.100 1230/1240 E",
                            "6 trace 8642.315042 -/1234 starts 1240 a", "7 trace 8643.100 1230/1240 is a",
                            "7 trace 8643.100 1230/1240 E"));
}

}  // namespace
}  // namespace zeqcam::tests
