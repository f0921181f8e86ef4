#pragma once

#include "series/Statistics.h"

#include <cstddef>
#include <vector>

namespace zeqcam::tool {

// When one of several things began before and when after: in nearly all runs within these.
struct Begins {
    Interval before;
    Interval after;
};

struct Move {
    std::size_t which = 0;   // index into them
    std::size_t beside = 0;  // the farthest that it has passed
};

// The fewest that must have moved for the order to be the one after, first those that have passed the most.
// Two of which one does not begin clear of the other, before or after, have not passed. They come in
// their order before. Of n, m moved ones take n log n + n m steps.
std::vector<Move> movesOf(std::vector<Begins> const& all);

}  // namespace zeqcam::tool
