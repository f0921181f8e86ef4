#pragma once

#include <string>
#include <vector>

namespace zeqcam::tool {

// How a record is to be judged.
struct Strictness {
    std::vector<std::string> allowed;  // the names of rules that may be broken
    bool clientsToo = false;           // a rule of the clients that is broken is no mere warning
};

}  // namespace zeqcam::tool
