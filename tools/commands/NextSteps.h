#pragma once

#include "record/Record.h"
#include "rules/Verdict.h"
#include "views/View.h"

#include <ostream>
#include <string>
#include <vector>

namespace zeqcam::tool {

// How a run was asked for.
struct Played {
    std::string file;
    std::vector<std::string> settings;
    bool isSimulated = false;
    std::string schedule;  // empty: the seed's
};

// The end of a run for who sits at a terminal: the chain of the slowest request in a line, and the commands
// that tell more, or that repeat what failed.
void tellNextSteps(Record const& record, Verdict verdict, Played const& played,
                   Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
