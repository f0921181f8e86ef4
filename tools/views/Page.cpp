#include "views/Page.h"

#include "analysis/Blame.h"
#include "analysis/Chain.h"
#include "text/JsonText.h"
#include "text/Markup.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/BlamePart.h"
#include "views/ChainText.h"
#include "views/PageTimeline.h"
#include "views/ResultFile.h"

#include <embedded/page.html.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;

// JSON as it stands inside a script element: there a "<" could end the element or begin a comment. It stands
// in texts alone, where an escape says the same.
void writeForScript(std::string_view json, std::ostream& out) {
    for (std::size_t from = 0;;) {
        std::size_t const at = json.find('<', from);
        out << json.substr(from, at - from);
        if (at == std::string_view::npos) return;
        out << "\\u003c";
        from = at + 1;
    }
}

// Cuts the page at a place that its sources leave for what is written here.
std::pair<std::string_view, std::string_view> cutAt(std::string_view page, std::string_view place) {
    std::size_t const at = page.find(place);
    if (at == std::string_view::npos) throw std::logic_error("the page has no place " + std::string(place));
    return {page.substr(0, at), page.substr(at + place.size())};
}

// What each request waited for.
ordered_json chainsIn(Record const& record, std::vector<Chain> const& all) {
    ordered_json chains = ordered_json::array();
    for (Chain const& chain : all) {
        ordered_json links = ordered_json::array();
        for (Link const& link : chain.links) {
            links.push_back({{"what", linkText(record, link)}, {"ms", millisecondsOf(link.time())}});
        }
        chains.push_back({{"text", chainLine(record, chain)}, {"links", std::move(links)}});
    }
    return chains;
}

// Sleeps are their clients' own.
Blame blameOf(Record const& record, std::vector<Chain> const& all) {
    std::vector<Chain const*> chains;
    for (Chain const& chain : all) {
        if (record.requests[chain.request].kind != RequestKind::Sleep) chains.push_back(&chain);
    }
    Blame blame;
    blame.add(record, chains);
    return blame;
}

}  // namespace

void writePage(std::string_view title, std::vector<PagePart> const& parts, std::ostream& out) {
    auto const [head, behindTitle] = cutAt(embedded::kPageHtml, "{{title}}");
    auto const [body, end] = cutAt(behindTitle, "{{data}}");
    out << head << escaped(printable(title)) << body;
    writeForScript("{\"title\":" + jsonText(std::string(title)), out);
    for (auto const& [name, json] : parts) {
        writeForScript(",\n" + jsonText(std::string(name)) + ':', out);
        writeForScript(json, out);
    }
    out << '}' << end;
}

std::vector<PagePart> pageParts(Record const& record, Presentation const& presentation) {
    auto const chains = chainsOf(record);
    std::vector<PagePart> parts{
        {"result", jsonText(resultOf(record, presentation.strictness))},
        {"timeline", jsonText(pageTimelineOf(record, presentation.selection))},
        {"chains", jsonText(chainsIn(record, chains))},
        blamePart(blameOf(record, chains)),
    };
    if (!presentation.sources.empty()) parts.push_back(scenarioPart(presentation.sources));
    return parts;
}

PagePart scenarioPart(std::vector<Source> const& sources) {
    ordered_json files = ordered_json::array();
    for (auto const& [name, text] : sources) files.push_back({{"name", name}, {"text", text}});
    return {"scenario", jsonText(files)};
}

void writeHtml(Record const& record, Presentation const& presentation, std::ostream& out) {
    writePage(presentation.title, pageParts(record, presentation), out);
}

}  // namespace zeqcam::tool
