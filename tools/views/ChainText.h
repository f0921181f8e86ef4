#pragma once

#include "analysis/Chain.h"
#include "record/Record.h"

#include <optional>
#include <string>

namespace zeqcam::tool {

// A request as a sentence names it: "power on main wide tele".
std::string requestPhrase(Record const& record, Request const& request);

// What a link was: "main's power-on", "its controller, kept by power off tele of lens test".
std::string linkText(Record const& record, Link const& link);

// What it would have taken without its slowest link, where another sensor's work was beside that: "43.0
// without main, by tele". Empty otherwise, and where the request had not ended.
std::string withoutText(Record const& record, Chain const& chain);

// What became of a sensor that failed: "tele failed after 43.1, its retry took 43.2".
std::string retryText(Record const& record, Retry const& retry);

// A chain in one line, in milliseconds: "power on main wide tele 49.7 ms: main 48.2, started 0.3 after the
// request; 44.5 without main, by tele".
std::string chainLine(Record const& record, Chain const& chain);

}  // namespace zeqcam::tool
