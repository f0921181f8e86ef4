#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Items = std::vector<std::string>;

std::string const kBegin =
    R"({"args":{"sensors":["front"],"result":"true"},"cat":"request","name":"power on",)"
    R"("ph":"B","pid":7,"tid":8,"ts":1.5})";
std::string const kEnd = R"({"name":"power on","ph":"E","pid":7,"tid":8,"ts":2.0})";

Items expectedOf(int line) {
    return {std::to_string(line) +
                R"( trace 0.000001500 7/8 B power on category request {"sensors":["front"],"result":"true"})",
            std::to_string(line + 1) + " trace 0.000002 7/8 E"};
}

TEST(TraceEvents, AreReadFromEachForm) {
    for (auto const& [name, text, line] : {
             std::tuple{"an object as the tool writes it",
                        "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n" + kBegin + ",\n" + kEnd + "\n]}\n",
                        2},
             {"an object with more",
              "{\"traceEvents\":\n[" + kBegin + ",\n" + kEnd + R"(],"metadata":{"a":[{"ph":"B"}]}})", 2},
             {"an object with more before",
              R"({"systemTraceEvents":"# tracer: nop","other":{"traceEvents":[1]},"traceEvents":[)" + kBegin +
                  ",\n" + kEnd + "]}",
              1},
             {"an array", "[" + kBegin + ",\n" + kEnd + "]", 1},
             {"an array without its end", "[\n" + kBegin + ",\n" + kEnd + ",\n", 2},
         }) {
        SCOPED_TRACE(name);
        auto const [result, items] = told(text);
        EXPECT_EQ(result.format, tool::Format::TraceEvents);
        EXPECT_EQ(items, expectedOf(line));
    }
    EXPECT_EQ(told(R"({"traceEvents":[]})").result.format, tool::Format::TraceEvents);
}

TEST(TraceEvents, TellWhatIsReadOfEachPhase) {
    struct {
        char const* event;
        Items items;
    } const cases[] = {
        {R"({"ph":"X","ts":10,"dur":2.25,"pid":1,"tid":2,"name":"x","cat":"a,b"})",
         {"1 trace 0.000010 1/2 B x category a,b", "1 trace 0.000012250 1/2 E"}},
        {R"({"ph":"X","ts":10,"pid":1,"tid":2,"name":"x"})",
         {"1 trace 0.000010 1/2 B x", "1 trace 0.000010 1/2 E"}},
        {R"({"ph":"M","name":"process_name","pid":1,"tid":1,"args":{"name":"camera"}})",
         {"1 trace 0 1/1 is  of camera"}},
        {R"({"ph":"M","name":"thread_name","pid":1,"tid":2,"args":{"name":"work\u00e9r"}})",
         {"1 trace 0 1/2 is work\xc3\xa9r"}},
        {R"({"ph":"M","name":"thread_sort_index","pid":1,"tid":2,"args":{"sort_index":1}})", {}},
        {R"({"ph":"i","s":"t","cat":"log","name":"a line","ts":3,"pid":1,"tid":2,"args":{"level":"warning"}})",
         {"1 trace 0.000003 1/2 W : a line"}},
        {R"({"ph":"i","s":"t","cat":"profile","name":"a mark","ts":3,"pid":1,"tid":2})",
         {"1 trace 0.000003 1/2 profile a mark"}},
        {R"({"ph":"M","name":"process_labels","pid":1,"tid":1,"args":{"wall_clock_ns":"1700000000123456789"}})",
         {"1 trace 0 1/1 wall shows 1700000000123456789"}},
        {R"({"ph":"M","name":"process_labels","pid":1,"tid":1,"args":{"wall_clock_ns":"17x"}})", {}},
        {R"({"ph":"C","name":"x","ts":3,"pid":1,"args":{"a":1}})", {}},
        {R"({"ph":"B","ts":3,"pid":1,"tid":2,"name":"x","args":{"a":[1,{"b":null}],"c":-2.5,"name":"n","d":{}}})",
         {R"(1 trace 0.000003 1/2 B x {"a":[1,{"b":null}],"c":-2.5,"name":"n","d":{}})"}},
        {R"({"ph":"B","ts":1e300,"pid":1,"tid":2,"name":"no time"})", {}},
        {R"({"ph":"B","ts":3,"pid":1e12,"tid":-2,"name":"no ids"})", {"1 trace 0.000003 -/0 B no ids"}},
        {R"([1,"2",null,{"ph":"B"}])", {}},
    };
    for (auto const& [event, items] : cases)
        EXPECT_EQ(told(std::string("[{},") + event + "]").items, items) << event;
}

TEST(TraceEvents, AreOfTheKernelsThreadsAndLeadFromOneToAnother) {
    EXPECT_THAT(
        told(R"([{"ph":"M","name":"thread_name","pid":1,"tid":900,"args":{"name":"w","kernel_tid":3}},
{"ph":"B","ts":5,"pid":1,"tid":900,"name":"work"},
{"ph":"s","cat":"cause","id":7,"ts":1,"pid":1,"tid":2},{"ph":"f","cat":"cause","id":7,"ts":5,"pid":1,"tid":900},
{"ph":"f","cat":"cause","id":7,"ts":6,"pid":1,"tid":900},{"ph":"f","cat":"other","id":7,"ts":6,"pid":1,"tid":900}])")
            .items,
        ElementsAre("1 trace 0 1/3 is w", "2 trace 0.000005 1/3 B work", "3 trace 0.000005 1/3 works for 2"));
}

TEST(TraceEvents, ComeByTimeHoweverTheyAreWritten) {
    EXPECT_THAT(
        told(R"([{"ph":"X","ts":5,"dur":5,"pid":1,"tid":2,"name":"inner"},
                         {"ph":"X","ts":1,"dur":10,"pid":1,"tid":2,"name":"outer"},
                         {"ph":"X","ts":11,"dur":1,"pid":1,"tid":2,"name":"next"}])")
            .items,
        ElementsAre("2 trace 0.000001 1/2 B outer", "1 trace 0.000005 1/2 B inner", "1 trace 0.000010 1/2 E",
                    "2 trace 0.000011 1/2 E", "3 trace 0.000011 1/2 B next", "3 trace 0.000012 1/2 E"));
}

TEST(TraceEvents, AreReadAroundDamage) {
    std::string const event = R"({"ph":"E","ts":1,"pid":1,"tid":2})";
    auto const end = [](int line) { return std::to_string(line) + " trace 0.000001 1/2 E"; };
    auto const lost = [](int line) {
        return std::to_string(line) + " trace 0.000001 -/0 lost: an event is cut or damaged";
    };
    struct {
        char const* name;
        std::string text;
        Items items;
    } const cases[] = {
        {"cut in an event", "[" + event + ",\n" + event.substr(0, 20), {end(1), lost(2)}},
        {"cut in an object", "{\"traceEvents\":[" + event + ",\n" + event, {end(1), end(2), lost(2)}},
        {"cut between events of an array", "[" + event + ",\n", {end(1)}},
        {"no JSON between events",
         "[" + event + ",\n{\"ph\":oops},\n" + event + ",\n" + event + "]",
         {end(1), lost(2), end(3), end(4)}},
        {"twice",
         "{\"traceEvents\":[" + event + ",\n{\"ph\":},\n" + event + ",\n:,\n" + event + "\n]}",
         {end(1), lost(2), end(3), lost(4), end(5)}},
        {"all on one line", "[" + event + ",{\"ph\":oops}," + event + "]", {end(1), lost(1), end(1)}},
        {"zeros", "[" + event + ",\n" + std::string(5000, '\0') + event + "]", {end(1), end(2)}},
        {"nested without end",
         "[" + event + ",\n" + std::string(100'000, '[') + "\n,\n" + event + "]",
         {end(1), lost(2), end(4)}},
        {"a text without end",
         "[" + event + ",\n{\"name\":\"" + std::string(1'100'000, 'x') + "\"},\n" + event + "]",
         {end(1), lost(2), end(3)}},
    };
    for (auto const& [name, text, items] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(told(text).items, items);
    }
}

TEST(TraceEvents, MayHoldBytesThatAreNoText) {
    for (auto const& [bytes, shown] : {
             std::pair<std::string, char const*>{"caf\xc3\xa9", "caf\xc3\xa9"},
             {"\xe2\x82\xac \xf0\x9f\x93\xb7", "\xe2\x82\xac \xf0\x9f\x93\xb7"},
             {"\xff\xfe", "??"},
             {"\xc3(", "?("},
             {"\xe0\x80\x80", "???"},
             {"\xed\xa0\x80", "???"},
             {"\xf4\x90\x80\x80", "????"},
             {"a\x01z", "a z"},
         }) {
        EXPECT_THAT(told(R"([{"ph":"B","ts":1,"pid":1,"tid":2,"name":")" + bytes + "\"}]").items,
                    ElementsAre("1 trace 0.000001 1/2 B " + std::string(shown)));
    }
}

TEST(TraceEvents, AreNotAnyJson) {
    for (char const* text : {R"({"results":[{"ph":"B"}]})", "{}", R"({"a":)"}) {
        auto const [result, items] = told(text);
        EXPECT_EQ(result.format, tool::Format::Unknown) << text;
        EXPECT_THAT(result.found, HasSubstr("JSON")) << text;
        EXPECT_THAT(items, IsEmpty()) << text;
    }
    EXPECT_THAT(told("[    0.000000] Booting Linux\n").result.found, HasSubstr("text without any line"));
}

}  // namespace
}  // namespace zeqcam::tests
