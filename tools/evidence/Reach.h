#pragma once

#include "record/Record.h"
#include "rules/Rule.h"

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What the evidence of one process lets one see.
struct Reach {
    bool infoLines = false;
    bool debugLines = false;
    bool sections = false;
    bool scheduling = false;
    bool starts = false;      // who started which thread
    bool ownTrace = false;    // a run's, with its clients' requests
    bool lostLines = false;   // some of ours may be missing
    bool lostEvents = false;  // the same of sections

    // The kinds of events that would stand in the record had they happened.
    [[nodiscard]] KindSet shows() const;
};

// What is seen or not, each in a line, with what it would take: "sensors of a power-off: unknown; …".
std::vector<std::string> reachLines(Reach const& reach);

// What it would take to judge the rule. Empty: nothing that a phone gives.
std::string neededFor(Rule const& rule, Reach const& reach);

// What each kind of evidence lets one see, as a table.
std::string_view reachTable();

}  // namespace zeqcam::tool
