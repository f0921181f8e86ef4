#pragma once

#include "analysis/Timeline.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// What a thread was in when the record ended.
struct Pending {
    struct In {
        std::string label;  // a request, a section or a call on a sensor
        Instant since;
    };
    std::string thread;
    std::vector<In> in;  // the outermost first, at least one
};

// The threads that were in something. Clients that sleep between two requests are among them.
std::vector<Pending> pendingIn(Record const& record, Timeline const& timeline);

}  // namespace zeqcam::tool
