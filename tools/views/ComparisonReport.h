#pragma once

#include "analysis/Selection.h"
#include "record/Record.h"
#include "series/Comparison.h"
#include "views/View.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What of a side is known besides its figures.
struct ShownSide {
    std::optional<Record> record{};  // of a single run
    Selection selection{};           // of it
    std::vector<Source> sources{};   // the scenarios that it was played from
};

// What was compared, and what it came to.
struct Compared {
    std::string nameBefore;
    std::string nameAfter;
    Series before;
    Series after;
    Comparison comparison;
    ShownSide shownBefore{};
    ShownSide shownAfter{};

    // Whether each side is a run that can be drawn.
    [[nodiscard]] bool areSingleRuns() const { return shownBefore.record && shownAfter.record; }
};

// For people: of single runs both timelines; tables of both medians, their difference with its interval and
// its cause; what appeared, went and changed its order.
void writeComparisonReport(Compared const& compared, Presentation const& presentation, std::ostream& out);

// For programs; schemas/comparison.schema.json is its form.
void writeComparisonFile(Compared const& compared, std::ostream& out);

// Both distributions of each request on one scale.
void writeComparisonSvg(Compared const& compared, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
