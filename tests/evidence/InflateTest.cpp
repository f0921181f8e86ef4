#include "evidence/Compressed.h"
#include "evidence/Packet.h"
#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char kLine[] = "11-23 05:16:48.315  1234  5678 D zeqcam-PowerOnOffController: + powerOn\n";
constexpr char kItem[] = "1 wall 1972-11-23 05:16:48.315 1234/5678 D zeqcam-PowerOnOffController: + powerOn";

TEST(Inflate, ReadsWhateverIsCompressed) {
    std::string const twoMembers = gzipOf(kLine) + gzipOf(kLine);
    EXPECT_THAT(told(gzipOf(kLine)).items, ElementsAre(kItem));
    EXPECT_THAT(told(zlibOf(kLine)).items, ElementsAre(kItem));
    EXPECT_THAT(told(gzipOf(gzipOf(kLine))).items, ElementsAre(kItem));
    EXPECT_THAT(told(twoMembers).items, SizeIs(2));
    EXPECT_THAT(told(gzipOf(kLine) + std::string(512, '\0')).items, ElementsAre(kItem));
    EXPECT_THAT(told(gzipOf(gzipOf(gzipOf(kLine)))).result.found, HasSubstr("again and again"));
    EXPECT_THAT(told(gzipOf("dear diary\n")).result.found, HasSubstr("text without any line"));
}

TEST(Inflate, UsesWhatADamagedGzipStillHolds) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += kLine;
    std::string const good = gzipOf(text);
    auto const whole = told(good).items;
    ASSERT_THAT(whole, SizeIs(5000));

    auto const cut = told(good.substr(0, good.size() / 2)).items;
    ASSERT_GT(cut.size(), 1000U);
    EXPECT_LT(cut.size(), 5000U);
    EXPECT_THAT(cut.back(), HasSubstr("lost: the compressed data are cut"));

    std::string damaged = good;
    for (std::size_t i = 0; i < 32; ++i) damaged[good.size() / 2 + i] = '\xff';
    EXPECT_THAT(told(damaged).items.back(), HasSubstr("lost: the compressed data are damaged"));

    EXPECT_THAT(told(good.substr(0, 12)).result.found, HasSubstr("cut or damaged"));
}

TEST(Inflate, ReadsATraceThatWasTakenCompressed) {
    constexpr char kTrace[] =
        "# tracer: nop\n  camera-1234  ( 1230) [001] ...1  8642.315042: tracing_mark_write: B|1230|powerOn\n";
    auto const [result, items] = told("capturing trace... done\nTRACE:\n" + zlibOf(kTrace));
    EXPECT_EQ(result.format, tool::Format::Ftrace);
    EXPECT_THAT(items, ElementsAre("2 trace 8642.315042 1230/1234 is camera",
                                   "2 trace 8642.315042 1230/1234 B powerOn"));
    EXPECT_EQ(told("capturing trace... done\nTRACE:\n" + std::string(kTrace)).items.size(), 2U);
}

TEST(Inflate, ReadsPacketsThatStandCompressed) {
    auto const end = [](std::uint64_t time) { return bundle(0, event(time, 9, print("E\n"))); };
    std::string const inner = zlibOf(end(2000) + end(3000));
    EXPECT_THAT(told(end(1000) + packet(bytesField(50, inner)) + end(4000)).items,
                ElementsAre("1 boot 0.000001 -/9 E", "2 boot 0.000002 -/9 E", "3 boot 0.000003 -/9 E",
                            "4 boot 0.000004 -/9 E"));
    EXPECT_THAT(told(end(1000) + packet(bytesField(50, inner.substr(0, inner.size() - 5))) + end(4000)).items,
                testing::Contains("3 boot 0.000002 -/0 lost: the compressed data are cut"));
    // They hold no others, or a small file could be as large as it likes.
    EXPECT_THAT(told(packet(bytesField(50, zlibOf(packet(bytesField(50, inner)))))).items,
                testing::IsEmpty());
}

}  // namespace
}  // namespace zeqcam::tests
