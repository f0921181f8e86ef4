#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zeqcam::tool {

// How long something took, in many runs of one or two kinds, in milliseconds, rising; at least one sample.
struct Distribution {
    std::string title;
    std::string note;           // beside it
    std::vector<double> above;  // its line
    std::vector<double> below;  // of the other kind; empty: there is one, or it has none
};

struct DistributionPicture {
    std::string title;
    std::string note;
    std::string above;  // what the two kinds are called; empty: there is one
    std::string below;
    std::vector<Distribution> rows;
    bool full = false;  // all of them, however tall that becomes
};

// A histogram for each, both kinds on one scale; for what took the same in all runs, its note alone.
void writeDistributions(DistributionPicture const& picture, std::ostream& out);

}  // namespace zeqcam::tool
