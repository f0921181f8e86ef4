#pragma once

#include "ByHand.h"
#include "SideBySide.h"

#include <chrono>
#include <memory>
#include <string>

namespace zeqcam::benchmarks {

using Bench = std::shared_ptr<PowerBench>;

Bench benchOf(int sensors, std::chrono::microseconds powerOnTime = {});

// Who powers the sensors of a bench on and off.
struct Way {
    std::string name;
    void (*on)(PowerBench&);
    void (*off)(PowerBench&);
};

extern Way const kLibrary;
extern Way const kPlainThreads;
extern Way const kPlainThreadsWithoutHints;
extern Way const kPackagedTasks;
extern Way const kOneAfterAnother;
#ifdef ZEQCAM_HAVE_TBB
extern Way const kTaskGroup;
#endif

Side powerOn(Bench const& bench, Way const& way);
Side powerOff(Bench const& bench, Way const& way);
Side cycle(Bench const& bench, Way const& way);

Side withTarget(Side side, double atMostRatio);

}  // namespace zeqcam::benchmarks
