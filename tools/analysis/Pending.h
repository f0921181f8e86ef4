#pragma once

#include "analysis/Timeline.h"
#include "run/Run.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// What a thread was in when its run was cut off.
struct Pending {
    struct In {
        std::string label;  // a request, a section or a call on a sensor
        Instant since;
    };
    std::string thread;
    std::vector<In> in;  // the outermost first, at least one
};

// The threads that were in something. Clients that sleep between two requests are among them.
std::vector<Pending> pendingIn(Timeline const& timeline, Outcome const& outcome);

// A line for each thread, with the time that it had been in each by the end of the outcome.
std::string pendingText(std::vector<Pending> const& pending, Outcome const& outcome);

}  // namespace zeqcam::tool
