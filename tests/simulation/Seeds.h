#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace zeqcam::tests {

// What is run: all that it chooses follows from the seed, and it tells what happened.
using SeededBody = std::function<void(std::uint64_t seed, std::ostream& told)>;

// What one seed came to.
struct Played {
    std::string told;
    std::string failure;  // how it ended, the schedule that repeats it and why; empty: it held
};

// Plays the body in the simulation; the seed chooses the order of its threads too.
Played played(SeededBody const& body, std::uint64_t seed);

// The same in a process of its own, so that what a process does once is done in each: a seed gives the same
// whichever were played before it.
Played playedApart(SeededBody const& body, std::uint64_t seed);

// Plays as many seeds, other ones each time, and tells the first that fails. Where the variable is set, plays
// just the seed that it names, in this process, where a debugger sees it. ZEQCAM_SEEDS takes fewer, or more.
void expectOfSeeds(char const* variable, int count, SeededBody const& body);

}  // namespace zeqcam::tests
