#include "diagnostics/Trace.h"

#include "PowerTest.h"

#include <cstdint>

namespace zeqcam::tests {
namespace {

using NSCam::diagnostics::ScopedTrace;
using testing::ElementsAreArray;

class TraceTest : public PowerTest {
  protected:
    void setTags(std::uint64_t tags) {
        board().change([&](board::Settings& settings) { settings.traceTags = tags; });
    }
};

TEST_F(TraceTest, AsksForTheCamerasTagAnewAtEachBeginAndEachEnd) {
    struct Case {
        std::uint64_t atBegin;
        std::uint64_t atEnd;
        std::vector<std::string> calls;
    };
    for (Case const& c : std::vector<Case>{
             {0x400, 0x400, {"TraceTags", "{ label", "TraceTags", "} label"}},
             {~std::uint64_t{0}, ~std::uint64_t{0}, {"TraceTags", "{ label", "TraceTags", "} label"}},
             {0, 0, {"TraceTags", "TraceTags"}},
             {~std::uint64_t{0x400}, ~std::uint64_t{0x400}, {"TraceTags", "TraceTags"}},
             {0, 0x400, {"TraceTags", "TraceTags", "} "}},
             {0x400, 0, {"TraceTags", "{ label", "TraceTags"}},
         }) {
        setTags(c.atBegin);
        auto const told = entriesOf([&] {
            ScopedTrace const section("label");
            setTags(c.atEnd);
        });
        EXPECT_THAT(tell(told), ElementsAreArray(c.calls)) << c.atBegin << " " << c.atEnd;
    }
    journal().clear();  // of sections that are rightly out of balance
}

}  // namespace
}  // namespace zeqcam::tests
