#pragma once

#include "series/Comparison.h"
#include "views/View.h"

#include <ostream>
#include <string>

namespace zeqcam::tool {

// What was compared, and what it came to.
struct Compared {
    std::string nameBefore;
    std::string nameAfter;
    Series before;
    Series after;
    Comparison comparison;
};

// For people: tables of both medians, their difference with its interval and its cause; what appeared, went
// and changed its order.
void writeComparisonReport(Compared const& compared, Presentation const& presentation, std::ostream& out);

// For programs; schemas/comparison.schema.json is its form.
void writeComparisonFile(Compared const& compared, std::ostream& out);

// Both distributions of each request on one scale.
void writeComparisonSvg(Compared const& compared, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
