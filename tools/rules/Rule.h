#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// One instance of a rule that was broken.
struct Breach {
    std::string text;                   // what happened, in a sentence without its stop
    std::vector<std::uint32_t> events;  // indices into Record::events; the one that broke the rule comes last
};

// What must hold in every record. A rule reads the record alone, prints nothing and keeps nothing: it may
// judge any number of records at once. It tells only of what is beyond doubt: where the record leaves a
// choice, it holds.
struct Rule {
    enum class Of : std::uint8_t {
        Sequence,  // the library's to keep
        Clients,   // its clients' to keep
    };

    std::string_view name;      // by which it is switched off: "hints-first"
    std::string_view sentence;  // what it says
    Of of;
    KindSet needs;  // where Record::shows lacks one of these, the rule cannot be judged
    std::vector<Breach> (*breaches)(Record const& record);
};

// All rules, those of the sequence first.
std::span<Rule const> rules();

// What a rule makes of a record.
struct Judgement {
    Rule const* rule;                             // lives as long as the program
    std::optional<std::vector<Breach>> breaches;  // none: the rule cannot be judged
};

// One for each rule, in their order.
std::vector<Judgement> judge(Record const& record);

}  // namespace zeqcam::tool
