#pragma once

#include "views/View.h"

#include <string>
#include <vector>

namespace zeqcam::tool {

// The timeline as lines of text, none wider than the terminal: a time axis, a line for each thread with the
// bars of its sections, what they hold on lines below it, and the number of sensors powered. How deep it goes
// depends on the width; a failure that is deeper marks the section that holds it. Empty when nothing has
// happened.
void writeTerminalTimeline(Record const& record, Presentation const& presentation, std::ostream& out);

// A record, or what is chosen of it, under the name by which people tell it from others: "before".
struct NamedRecord {
    std::string name;
    Record const* record;  // not null
    Selection selection;
};

// Their timelines under each other on one scale: each from its own begin, all as long as the longest.
void writeTerminalTimelines(std::vector<NamedRecord> const& records, Presentation const& presentation,
                            std::ostream& out);

}  // namespace zeqcam::tool
