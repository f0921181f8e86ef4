#pragma once

#include "series/Series.h"
#include "views/Page.h"
#include "views/View.h"

#include <ostream>
#include <string>
#include <vector>

// What a page shows of many runs.
namespace zeqcam::tool {

// Runs under the name by which people tell them from others: "before", "60 ms".
struct NamedSeries {
    std::string name;
    Series const* series;  // not null
};

// The figures of each of these, side by side on one scale; of two, how the medians differ too. What failed,
// and in which runs.
std::vector<PagePart> pageParts(std::vector<NamedSeries> const& sets);

// What runs failed by, each with those that did, told with their name before it.
PagePart findingsPart(NamedSeries const& set);

// How the medians change with a value, from 10 % to 90 % of the runs around them, of the requests that change
// the most. `what`: what was set, with
// its unit; each name is a value of it, in their order. Where all are numbers, the axis is theirs.
PagePart plotsPart(std::string const& what, std::vector<NamedSeries> const& values);

// A page of the runs alone.
void writeSeriesHtml(Series const& series, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
