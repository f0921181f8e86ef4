#pragma once

#include "analysis/Selection.h"
#include "series/RunFigures.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// The power cycles of a record, by when they began: from a power-on while no sensor is on, as far as the
// record tells, to the end of the power-off after which none is. One that has not ended is none.
struct Cycle {
    Instant begin;
    Instant end;
};
std::vector<Cycle> cyclesOf(Record const& record);

// The figures of each, as if it were a run of its own: what lies between two of them is left out. They are
// told by their numbers, from `first` on. It fails where it breaks a rule. Times of the selection are since
// the cycle's begin.
std::vector<RunFigures> figuresOfCycles(Record const& record, Strictness const& strictness,
                                        std::uint64_t first, Selection const& selection = {});

}  // namespace zeqcam::tool
