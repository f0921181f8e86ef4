#pragma once

#include "record/Record.h"
#include "rules/Rule.h"
#include "rules/Strictness.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// Whether every expectation of the record held. One that was not reached did not.
bool allHeld(Record const& record);

// A breach of a rule, and where in the record it stands.
struct BrokenRule {
    Rule const* rule;  // lives as long as the program
    bool isWarning;    // it is one of the clients', and nobody asked for strictness
    Breach breach;
    Instant time;                          // of the event that broke the rule, else the record's end
    OptionalNumber<std::uint32_t> client;  // index into Record::clients: whose request it was
    OptionalNumber<std::int32_t> line;     // of that request's step
    std::vector<int> sensors;              // of the events, each once
};

// What all rules but those that are allowed to be broken make of a record, in the rules' order.
std::vector<BrokenRule> brokenRulesOf(Record const& record, Strictness const& strictness);

enum class Verdict : std::uint8_t { Passed, Failed, CutOff };

// The word for it: "cut off".
std::string_view nameOf(Verdict verdict);

Verdict verdictOn(Record const& record, Strictness const& strictness);
// The same where the broken rules are known.
Verdict verdictOn(Record const& record, std::vector<BrokenRule> const& broken);

}  // namespace zeqcam::tool
