#include "evidence/InBlocks.h"
#include "evidence/Packet.h"
#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Items = std::vector<std::string>;

std::string number(std::uint32_t field, std::uint64_t value) {
    return numberField(field, value);
}
std::string bytes(std::uint32_t field, std::string_view value) {
    return bytesField(field, value);
}

TEST(Perfetto, TellsTheKernelsEvents) {
    struct {
        std::string what;
        Items items;
    } const cases[] = {
        {print("B|1230|powerOn: [0]\n"), {"1230/1234 is ", "1230/1234 B powerOn: [0]"}},
        {print("E|1230\n"), {"1230/1234 is ", "1230/1234 E"}},
        {print("E\n"), {"-/1234 E"}},
        {print("C|1230|frames|1\n"), {}},
        {bytes(4, bytes(1, "camera") + number(2, 1234) + number(4, 1) + bytes(5, "w o") + number(6, 77)),
         {"-/1234 is camera", "-/1234 switch to 77, asleep", "-/77 is w o"}},
        {bytes(4, number(2, 1234) + number(4, 0x100) + number(6, 0)), {"-/1234 switch to 0, runnable"}},
        {bytes(4, number(2, 1234) + number(4, 0x10) + number(6, 77)), {"-/1234 switch to 77, ended"}},
        {bytes(20, bytes(1, "worker") + number(2, 1240)), {"-/1234 wakes 1240", "-/1240 is worker"}},
        {bytes(235, number(1, 1240) + bytes(2, "worker") + number(3, 0)), {"-/1234 starts 1240 worker"}},
        {bytes(999, "unknown"), {}},
        {number(3, 7), {}},
    };
    for (auto const& [what, items] : cases) {
        Items expected;
        for (std::string const& item : items) expected.push_back("1 boot 8642.315042001 " + item);
        auto const [result, found] = told(bundle(1, event(8642'315'042'001, 1234, what)));
        EXPECT_EQ(result.format, tool::Format::Perfetto);
        EXPECT_EQ(found, expected) << testing::PrintToString(items);
    }
}

TEST(Perfetto, TellsCompactSchedulingByProcessor) {
    std::string const first = packedField(1, {1000, 10, 20}) + packedField(2, {0, 1, 2}) +
                              packedField(3, {77, 0, 78}) + bytes(5, "seven") + bytes(5, "swapper") +
                              bytes(5, "eight") + packedField(6, {0, 1, 2}) + packedField(7, {1005, 15}) +
                              packedField(8, {78, 79});
    std::string const second = packedField(1, {2000}) + packedField(2, {1}) + packedField(3, {77});
    Items const expected = {
        "1 boot 0.000001 -/0 switch to 77, runnable",
        "1 boot 0.000001 -/77 is seven",
        "1 boot 0.000001005 -/77 wakes 78",
        "1 boot 0.000001010 -/77 switch to 0, asleep",
        "1 boot 0.000001020 -/0 wakes 79",
        "1 boot 0.000001030 -/0 switch to 78, asleep",
        "1 boot 0.000001030 -/78 is eight",
    };
    auto const of = [](std::string const& compact) { return bytesField(4, compact); };
    auto items = told(bundle(1, of(first)) + bundle(2, of(second)) + bundle(1, of(second)) +
                      bundle(1, number(3, 1) + of(second)))
                     .items;
    ASSERT_THAT(items, SizeIs(11));
    EXPECT_EQ(Items(items.begin(), items.begin() + 7), expected);
    // Another processor runs somebody else; and after a loss nobody knows who ran.
    EXPECT_EQ(Items(items.begin() + 7, items.end()),
              (Items{"2 boot 0.000002 -/0 switch to 77, asleep", "3 boot 0.000002 -/78 switch to 77, asleep",
                     "4 boot 0.000002 -/0 lost: events of processor 1 were lost",
                     "4 boot 0.000002 -/0 switch to 77, asleep"}));
}

TEST(Perfetto, GivesItemsByTimeThoughProcessorsAreWrittenInTurn) {
    auto const section = [](std::uint64_t time, char const* text) { return event(time, 1234, print(text)); };
    std::string const trace = bundle(1, section(3000, "B|1|second\n") + section(4000, "E|1\n")) +
                              bundle(0, section(1000, "B|1|first\n") + section(2000, "E|1\n"));
    EXPECT_THAT(told(trace).items,
                ElementsAre("2 boot 0.000001 1/1234 B first", "2 boot 0.000002 1/1234 E",
                            "1 boot 0.000003 1/1234 is ", "1 boot 0.000003 1/1234 B second",
                            "1 boot 0.000004 1/1234 E"));
}

TEST(Perfetto, NamesProcessesAndThreads) {
    std::string const tree =
        bytes(1, number(1, 1230) + number(2, 1) + bytes(3, "/vendor/bin/camera") + bytes(3, "-v")) +
        bytes(2, number(1, 1234) + bytes(2, "worker") + number(3, 1230)) + bytes(2, number(3, 5));
    EXPECT_THAT(told(packet(bytes(2, tree) + number(10, 1))).items,
                ElementsAre("1 boot 0 1230/1230 is  of /vendor/bin/camera", "1 boot 0 1230/1234 is worker"));
}

TEST(Perfetto, TellsWantedLogLinesInTheirPlaceAmongEvents) {
    auto const log = [](std::uint64_t time, std::string_view tag, std::string_view text) {
        return bytesField(1, numberField(1, 0) + numberField(2, 1230) + numberField(3, 1234) +
                                 numberField(5, time) + bytesField(6, tag) + numberField(7, 5) +
                                 bytesField(8, text));
    };
    constexpr std::uint64_t kWall = 1'700'716'608'000'000'000;
    auto const clock = [](std::uint32_t id, std::uint64_t shown) {
        return bytesField(1, numberField(1, id) + numberField(2, shown));
    };
    std::string const clocks = clock(1, kWall) + clock(3, 400'000) + clock(6, 500'000) + clock(5, 1);
    auto const section = [](std::uint64_t time, char const* text) { return event(time, 1234, print(text)); };
    std::string const trace =
        packet(bytes(6, clocks) + number(8, 500'000)) +
        packet(bytes(39, log(kWall + 100'000, "zeqcam-PowerOnOffController", "one\ntwo\n") +
                             log(kWall, "vold", "other"))) +
        bundle(0, section(590'000, "B|1230|before\n") + section(610'000, "E|1230\n"));
    EXPECT_THAT(told(trace).items,
                ElementsAre("1 boot 0.000500 -/0 wall shows 1700716608000000000",
                            "1 boot 0.000500 -/0 monotonic shows 400000", "3 boot 0.000590 1230/1234 is ",
                            "3 boot 0.000590 1230/1234 B before",
                            "2 wall 2023-11-23 05:16:48.000100 1230/1234 W zeqcam-PowerOnOffController: one",
                            "2 wall 2023-11-23 05:16:48.000100 1230/1234 W zeqcam-PowerOnOffController: two",
                            "3 boot 0.000610 1230/1234 E"));
    // A clock without that of the events says nothing.
    EXPECT_THAT(told(packet(bytes(6, clock(1, kWall) + clock(3, 1)))).items, IsEmpty());
}

TEST(Perfetto, UsesAllThatDamageLeaves) {
    auto const good = [](std::uint64_t time) {
        return bundle(0, event(time, 9, print("E\n")) + event(time, 9, print("E\n")));
    };
    auto const end = [](int number, char const* time) {
        return std::to_string(number) + " boot 0.00000" + time + " -/9 E";
    };
    std::string const one = good(1000);
    std::string const two = good(2000);
    struct {
        char const* name;
        std::string trace;
        Items items;
    } const cases[] = {
        {"cut in an event",
         one + two.substr(0, two.size() - 3),
         {end(1, "1"), end(1, "1"), end(2, "2"), "2 boot 0.000002 -/0 lost: the packet is cut"}},
        {"cut in the header",
         one + two.substr(0, 1),
         {end(1, "1"), end(1, "1"), "1 boot 0.000001 -/0 lost: 1 bytes are of no packet"}},
        {"zeros between packets",
         one + std::string(100'000, '\0') + two,
         {end(1, "1"), end(1, "1"), "1 boot 0.000001 -/0 lost: 100000 bytes are of no packet", end(2, "2"),
          end(2, "2")}},
        {"noise between packets",
         one + "\n\x20noise, more of it\n\n\n" + two,
         {end(1, "1"), end(1, "1"), "1 boot 0.000001 -/0 lost: 22 bytes are of no packet", end(2, "2"),
          end(2, "2")}},
        {"a damaged event",
         one + bundle(0, bytes(2, "\xff\xff\xff") + event(3000, 9, print("E\n"))) + two,
         {end(1, "1"), end(1, "1"), "2 boot 0.000001 -/0 lost: a part of the packet is damaged", end(3, "2"),
          end(3, "2")}},
        {"columns of different lengths",
         one + bundle(0, bytes(4, packedField(1, {5, 5}) + packedField(2, {1}) + packedField(3, {4}))) + two,
         {"2 boot 0.000000005 -/0 switch to 4, asleep", end(1, "1"), end(1, "1"), end(3, "2"), end(3, "2")}},
        {"fields in another form",
         one + packet(number(1, 7) + number(39, 7)) + two,
         {end(1, "1"), end(1, "1"), end(3, "2"), end(3, "2")}},
    };
    for (auto const& [name, trace, items] : cases) {
        SCOPED_TRACE(name);
        Items found = told(trace).items;
        // Who leaves a processor is told at the time of the columns, which no order of packets gives.
        if (std::string_view(name) == "columns of different lengths")
            std::erase_if(found,
                          [](std::string const& item) { return item.find("lost") != std::string::npos; });
        EXPECT_EQ(found, items);
    }
}

TEST(Perfetto, IsNoTextThatBeginsWithAnEmptyLine) {
    auto const [result, items] = told("\n-----------------------------------------------\n\n");
    EXPECT_EQ(result.format, tool::Format::Unknown);
    EXPECT_THAT(result.found, HasSubstr("text"));
}

// More than is held back is passed on by and by, in order where it is at all.
TEST(Perfetto, HoldsBackABoundedNumberOfItems) {
    std::string trace;
    constexpr std::uint64_t kEvents = 200'000;
    std::string events;
    for (std::uint64_t i = 0; i < kEvents; ++i) {
        // Pairs stand in the wrong order.
        events += event((i ^ 1U) * 1000 + 1000, 9, print("E\n"));
        if (i % 1000 != 999) continue;
        trace += bundle(0, events);
        events.clear();
    }
    class Ordered final : public tool::ItemSink {
      public:
        void take(tool::Item const& item) override {
            EXPECT_LE(last, item.time);
            last = item.time;
            ++count;
        }
        std::chrono::nanoseconds last{};
        std::uint64_t count = 0;
    };
    Ordered sink;
    InBlocks source(trace);
    std::uint64_t toldBefore = 0;
    tool::readEvidence(source, 0, {.tag = [](std::string_view) { return false; }}, sink,
                       [&](std::uint64_t) { toldBefore = sink.count; });
    EXPECT_EQ(sink.count, kEvents);
    EXPECT_GE(toldBefore, kEvents / 3);
}

}  // namespace
}  // namespace zeqcam::tests
