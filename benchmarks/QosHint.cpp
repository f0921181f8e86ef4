// The hint is file-local: its file is compiled here, and nothing of it leaves this library.
#include "utils/hw/poweronoffcontroller/PowerOnOffController.cpp"

#include "Inside.h"
#include "QosLine.h"
#include "QuietBoard.h"

namespace zeqcam::benchmarks {
namespace {

constexpr int kHints = 200;
constexpr int kHintsOfEach = 400;

void libraryHint() {
    NSCam::writeqos_scen_change();
}

Side ofOneThread(char const* name, std::function<void()> const& hint) {
    return {.name = name, .job = repeated(kHints, hint), .undo = emptyQosFile, .operations = kHints};
}

Side ofThreads(int threads, char const* name, std::function<void()> const& hint) {
    return {
        .name = name,
        .job = [threads, hints = repeated(kHintsOfEach, hint)] { onThreads(threads, [&](int) { hints(); }); },
        .undo = emptyQosFile,
        .operations = threads * kHintsOfEach};
}

Comparison hint(char const* name, int threads, int samples) {
    auto const sides = [threads] {
        auto const board = std::make_shared<QuietBoard>(deviceSettings());
        auto const line = std::make_shared<QosLine>();
        auto const library = [board] { libraryHint(); };
        auto const byHand = [board, line] { line->write(); };
        auto const side = [threads](char const* what, std::function<void()> const& call) {
            return threads == 1 ? ofOneThread(what, call) : ofThreads(threads, what, call);
        };
        std::vector<Side> both{side("library", library), side("snprintf and write", byHand)};
        both[1].atMostRatio = 1.15;
        return both;
    };
    return {.name = name, .sides = sides, .samples = samples, .counts = threads == 1};
}

}  // namespace

void addQosHint(Comparisons& all) {
    all.push_back(hint("QoS hint, 1 thread", 1, 150));
    all.push_back(hint("QoS hint, 8 threads", 8, 15));
}

}  // namespace zeqcam::benchmarks
