#pragma once

#include "series/Sweep.h"
#include "views/View.h"

#include <cstddef>
#include <ostream>
#include <string>

namespace zeqcam::tool {

// The values that a point stands for: "60", or of several axes "60 queued".
std::string valuesText(SweepPoint const& point);

// As many as have been run, and as were to be.
struct SweptRuns {
    std::size_t done = 0;
    std::size_t failed = 0;
    std::size_t asked = 0;
};
SweptRuns runsIn(Sweep const& sweep);

// For each request that the values change: what it took with each of them, and a bar. The others in a line.
void writeSweepReport(Sweep const& sweep, Presentation const& presentation, std::ostream& out);

// The same for programs.
void writeSweepFile(Sweep const& sweep, std::ostream& out);

// A picture of the same: the medians as lines over the values.
void writeSweepSvg(Sweep const& sweep, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
