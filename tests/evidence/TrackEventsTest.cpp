#include "evidence/Packet.h"
#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

// What is read of a Perfetto trace of a program that traces by itself.
namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using Items = std::vector<std::string>;

constexpr std::uint64_t kBegins = 1;
constexpr std::uint64_t kEnds = 2;
constexpr std::uint64_t kTrack = 0xfeed;

std::string on(std::uint64_t sequence, std::string const& fields) {
    return packet(numberField(10, sequence) + fields);
}
std::string threadTrack(std::uint64_t track, std::uint64_t thread, char const* name) {
    return on(1, bytesField(
                     60, numberField(1, track) + bytesField(4, numberField(1, 1230) + numberField(2, thread) +
                                                                   bytesField(5, name))));
}
std::string named(std::uint64_t id, std::string_view name) {
    return bytesField(12, bytesField(2, numberField(1, id) + bytesField(2, name)));
}
std::string begins(std::uint64_t time, std::string const& name) {
    return numberField(8, time) + bytesField(11, numberField(9, kBegins) + numberField(11, kTrack) + name);
}
std::string ends(std::uint64_t time) {
    return numberField(8, time) + bytesField(11, numberField(9, kEnds) + numberField(11, kTrack));
}
std::string byId(std::uint64_t id) {
    return numberField(10, id);
}
std::string byText(std::string_view name) {
    return bytesField(23, name);
}
std::string clocks(std::initializer_list<std::string> const& each) {
    std::string text;
    for (std::string const& one : each) text += bytesField(1, one);
    return bytesField(6, text);
}

TEST(TrackEvents, TellSectionsOfThreadsByNameAndByNumber) {
    std::string const track = threadTrack(kTrack, 1234, "worker");
    struct {
        char const* what;
        std::string trace;
        Items items;  // behind the thread's name
    } const cases[] = {
        {"by text",
         on(1, begins(1000, byText("powerOnSensor: 3"))) + on(1, ends(2000)),
         {"2 boot 0.000001 1230/1234 B powerOnSensor: 3", "3 boot 0.000002 1230/1234 E"}},
        {"by number, told in the same packet and used later",
         on(1, named(7, "LogicalDev powerOn") + begins(1000, byId(7))) + on(1, begins(1500, byId(7))),
         {"2 boot 0.000001 1230/1234 B LogicalDev powerOn",
          "3 boot 0.000001500 1230/1234 B LogicalDev powerOn"}},
        {"a number of another sequence, and one that counts no longer",
         on(1, named(7, "LogicalDev powerOn")) + on(2, begins(1000, byId(7))) +
             on(1, numberField(13, 1) + begins(1500, byId(7))),
         {"3 boot 0.000001 1230/1234 B ", "4 boot 0.000001500 1230/1234 B "}},
        {"an instant, and a track that is no thread's",
         on(1, numberField(8, 1000) + bytesField(11, numberField(9, 3) + numberField(11, kTrack))) +
             on(1, numberField(8, 1000) + bytesField(11, numberField(9, kBegins) + numberField(11, 5))),
         {}},
        {"the track and the clock that a sequence has by default",
         on(1, bytesField(59, bytesField(11, numberField(11, kTrack)) + numberField(58, 3))) +
             on(1, numberField(8, 1000) + bytesField(11, numberField(9, kBegins) + byText("x"))),
         {"3 monotonic 0.000001 1230/1234 B x"}},
    };
    for (auto const& [what, trace, items] : cases) {
        SCOPED_TRACE(what);
        Items found = told(track + trace).items;
        ASSERT_FALSE(found.empty());
        EXPECT_EQ(found.front(), "1 boot 0 1230/1234 is worker");
        found.erase(found.begin());
        EXPECT_EQ(found, items);
    }
}

TEST(TrackEvents, CountTheirTimesOnFromAClockOfTheirOwn) {
    constexpr std::uint64_t kClock = 64;
    std::string const snapshot =
        clocks({numberField(1, 6) + numberField(2, 5'000'000),
                numberField(1, kClock) + numberField(2, 100) + numberField(3, 1) + numberField(4, 1000)});
    std::string const start = on(1, numberField(13, 1) + snapshot + bytesField(59, numberField(58, kClock)));
    std::string const events = on(1, begins(10, byText("x"))) + on(1, ends(20)) +
                               on(2, numberField(58, kClock) + begins(5, byText("no such clock")));
    EXPECT_THAT(told(threadTrack(kTrack, 1234, "worker") + start + events).items,
                ElementsAre("1 boot 0 1230/1234 is worker", "3 boot 0.005010 1230/1234 B x",
                            "4 boot 0.005030 1230/1234 E"));
}

}  // namespace
}  // namespace zeqcam::tests
