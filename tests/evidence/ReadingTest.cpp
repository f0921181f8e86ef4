#include "evidence/Told.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kLine[] = "11-23 05:16:48.315  1234  5678 D zeqcam-PowerOnOffController: + powerOn\n";

TEST(Reading, SaysWhatItFoundInstead) {
    for (auto const& [bytes, found] : {
             std::pair<std::string, char const*>{"", "empty"},
             {"dear diary\n", "text without any line of a log or a trace"},
             {std::string("\x00\x01\x02\n", 4), "no text and no trace"},
             {"PK\x03\x04 and so on", "zip"},
             {"\x17\x08\x44tracing and so on", "trace-cmd report"},
             {"\xff\xfe-\0-\0", "UTF-16"},
         }) {
        auto const [result, items] = told(bytes);
        EXPECT_EQ(result.format, tool::Format::Unknown) << found;
        EXPECT_THAT(result.found, HasSubstr(found));
        EXPECT_THAT(items, IsEmpty()) << found;
    }
}

TEST(Reading, TellsHowFarItIs) {
    class Counting final : public tool::ItemSink {
      public:
        void take(tool::Item const&) override { ++count; }
        int count = 0;
    };
    class Slow final : public tool::ByteSource {
      public:
        std::size_t read(char* into, std::size_t) override {
            return lines-- > 0 ? std::string_view(kLine).copy(into, sizeof(kLine)) : 0;
        }
        int lines = 3;
    };
    Counting sink;
    Slow source;
    std::vector<std::pair<std::uint64_t, int>> steps;
    tool::Wanted const all{.tag = [](std::string_view) { return true; }};
    tool::readEvidence(source, 0, all, sink,
                       [&](std::uint64_t bytes) { steps.emplace_back(bytes, sink.count); });
    // Each line is told of before the next one is waited for.
    std::uint64_t const length = sizeof(kLine) - 1;
    EXPECT_THAT(steps, ElementsAre(std::pair{0, 0}, std::pair{length, 1}, std::pair{2 * length, 2},
                                   std::pair{3 * length, 3}));
}

}  // namespace
}  // namespace zeqcam::tests
