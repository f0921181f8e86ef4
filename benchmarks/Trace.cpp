#include "diagnostics/Trace.h"

#include "Inside.h"
#include "QuietBoard.h"

#include <memory>

namespace zeqcam::benchmarks {
namespace {

constexpr int kSections = 1000;

}  // namespace

void addTrace(Comparisons& all) {
    auto const sides = [] {
        auto const board = std::make_shared<QuietBoard>(deviceSettings());
        auto const library =
            repeated(kSections, [] { NSCam::diagnostics::ScopedTrace const section("label"); });
        // Leaves out what the answers are for.
        auto const queries = repeated(kSections, [] {
            atrace_get_enabled_tags();
            atrace_get_enabled_tags();
        });
        return std::vector<Side>{
            {.name = "library", .job = [board, library] { library(); }, .operations = kSections},
            {.name = "two queries of the tags",
             .job = [board, queries] { queries(); },
             .operations = kSections,
             .atMostRatio = 1.1}};
    };
    all.push_back({.name = "section, tracing off", .sides = sides, .samples = 300});
}

}  // namespace zeqcam::benchmarks
