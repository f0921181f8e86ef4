#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace zeqcam::tool {

enum class Type : std::uint8_t {
    Boolean,
    Integer,
    Integers,  // a list
    Number,    // whole or with a fraction
    Time,      // a number, or a list of the least and the most
    Text,
    Texts,    // one, or a list
    Choice,   // one of some words
    Sensors,  // a list of sensor ids and names
    Table,
    Tables,  // a list, at least one
};

// One key of a scenario file. The reader checks a file against these and takes its defaults from them; the
// page and an editor tell what they say.
struct Key {
    std::string_view table;  // empty: the top of the file
    std::string_view name;
    Type type;
    std::string_view fallback;  // as a file would say it; empty: the key must be given
    double least = 0;           // of a number, or of a text's length
    double most = 0;
    std::string_view unit = {};  // of a number; the words of a choice
    std::string_view says = {};  // what it means, as the page and an editor tell it
    bool changes = false;        // a `change` can name it

    // Not a number is in no range.
    [[nodiscard]] constexpr bool holds(double number) const { return number >= least && number <= most; }
};

// The greatest seed of a scenario.
constexpr std::uint32_t kMostSeed = 0xffffffff;

std::span<Key const> scenarioKeys();

}  // namespace zeqcam::tool
