#include "rules/Sections.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {

using board::Kind;

namespace {

std::string quoted(Record const& record, std::uint32_t event) {
    std::string text = "\"";
    text += record.textOf(record.events[event].text);
    return text += '"';
}

}  // namespace

std::vector<Breach> sectionsThatDoNotNest(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<std::vector<std::uint32_t>> open(record.threads.size());  // of each thread, by their begins
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        auto& sections = open[event.thread];
        if (event.kind == Kind::TraceBegin) sections.push_back(index);
        if (event.kind != Kind::TraceEnd) continue;
        if (sections.empty()) {
            breaches.push_back({quoted(record, index) + " ends, which had not begun", {index}});
        } else if (record.events[sections.back()].text != event.text) {
            breaches.push_back({quoted(record, index) + " ends inside " + quoted(record, sections.back()),
                                {sections.back(), index}});
        } else {
            sections.pop_back();
        }
    }
    if (record.cutOff) return breaches;
    for (auto const& sections : open) {
        for (std::uint32_t const begin : sections) {
            breaches.push_back({quoted(record, begin) + " does not end", {begin}});
        }
    }
    return breaches;
}

std::vector<Breach> sectionsWithoutALook(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<bool> looked(record.threads.size());  // each thread, just now
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        bool const isEnd = event.kind == Kind::TraceEnd;
        if ((event.kind == Kind::TraceBegin || isEnd) && !looked[event.thread]) {
            breaches.push_back(
                {quoted(record, index) + (isEnd ? " ends" : " begins") + " without a look at the tags",
                 {index}});
        }
        looked[event.thread] = event.kind == Kind::TraceTags;
    }
    return breaches;
}

}  // namespace zeqcam::tool
