#include "Ways.h"

namespace zeqcam::benchmarks {
namespace {

void byHandOff(PowerBench& bench) {
    bench.byHand.powerOff();
}

template <ByHand::Run& run>
void byHandOn(PowerBench& bench) {
    bench.byHand.powerOn(run);
}

void withoutHintsOn(PowerBench& bench) {
    bench.byHand.powerOn(onPlainThreads, ByHand::Hints::None);
}

// What the sides leave behind: sensors that are off, an empty QoS file.
void leaveOff(PowerBench& bench, Way const& way) {
    way.off(bench);
    emptyQosFile();
}

}  // namespace

Way const kLibrary{"library", [](PowerBench& bench) { bench.controller->powerOn(bench.ids); },
                   [](PowerBench& bench) { bench.controller->powerOff(bench.ids); }};
Way const kPlainThreads{"plain threads", byHandOn<onPlainThreads>, byHandOff};
Way const kPlainThreadsWithoutHints{"plain threads without hints", withoutHintsOn, byHandOff};
Way const kPackagedTasks{"packaged tasks", byHandOn<onPlainThreads>, byHandOff};
Way const kOneAfterAnother{"one after another", byHandOn<oneAfterAnother>, byHandOff};
#ifdef ZEQCAM_HAVE_TBB
Way const kTaskGroup{"oneTBB task group", byHandOn<inTaskGroup>, byHandOff};
#endif

Bench benchOf(int sensors, std::chrono::microseconds powerOnTime) {
    return std::make_shared<PowerBench>(boardOf(sensors, powerOnTime), idsFrom(0, sensors));
}

Side powerOn(Bench const& bench, Way const& way) {
    return {.name = way.name,
            .job = [bench, way] { way.on(*bench); },
            .undo = [bench, way] { leaveOff(*bench, way); }};
}

Side powerOff(Bench const& bench, Way const& way) {
    return {.name = way.name,
            .job = [bench, way] { way.off(*bench); },
            .prepare = [bench, way] { way.on(*bench); },
            .undo = emptyQosFile};
}

Side cycle(Bench const& bench, Way const& way) {
    return {.name = way.name,
            .job =
                [bench, way] {
                    way.on(*bench);
                    way.off(*bench);
                },
            .undo = emptyQosFile};
}

Side withTarget(Side side, double atMostRatio) {
    side.atMostRatio = atMostRatio;
    return side;
}

}  // namespace zeqcam::benchmarks
