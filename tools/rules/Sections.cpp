#include "rules/Sections.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {

using board::Kind;

std::vector<Breach> sectionsThatDoNotNest(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<std::vector<std::uint32_t>> open(record.threads.size());  // of each thread, by their begins
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        auto& sections = open[event.thread];
        if (event.kind == Kind::TraceBegin) sections.push_back(index);
        if (event.kind != Kind::TraceEnd) continue;
        std::string const label(record.textOf(event.text));
        if (sections.empty()) {
            breaches.push_back({"\"" + label + "\" ends, which had not begun", {index}});
        } else if (record.events[sections.back()].text != event.text) {
            std::string const innermost(record.textOf(record.events[sections.back()].text));
            breaches.push_back(
                {"\"" + label + "\" ends inside \"" + innermost + "\"", {sections.back(), index}});
        } else {
            sections.pop_back();
        }
    }
    if (record.cutOff) return breaches;
    for (auto const& sections : open) {
        for (std::uint32_t const begin : sections) {
            std::string const label(record.textOf(record.events[begin].text));
            breaches.push_back({"\"" + label + "\" does not end", {begin}});
        }
    }
    return breaches;
}

}  // namespace zeqcam::tool
