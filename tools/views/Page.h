#pragma once

#include "views/View.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

// A page that shows in a browser, from one file and without a network, what a record or many runs come to. It
// has no knowledge of either: it shows the parts that it is given. docs/page.md lists them and the form of
// each.
namespace zeqcam::tool {

// A part of a page: what it holds, as JSON in UTF-8.
struct PagePart {
    std::string_view name;  // "timeline"
    std::string json;
};

// `title`: what the page is of, in a few words. Parts whose names the page does not know are not shown.
void writePage(std::string_view title, std::vector<PagePart> const& parts, std::ostream& out);

// All that a page shows of a record, in no order that matters; add others to them.
std::vector<PagePart> pageParts(Record const& record, Presentation const& presentation);

// The texts that it was made from.
PagePart scenarioPart(std::vector<Source> const& sources);

// A page of the record alone.
void writeHtml(Record const& record, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
