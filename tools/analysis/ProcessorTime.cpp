#include "analysis/ProcessorTime.h"

#include "analysis/Timeline.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace zeqcam::tool {
namespace {

using State = Scheduling::State;

void add(std::vector<ProcessorPart>& parts, Scheduling const& from, Instant end) {
    bool const tells = from.state != State::Ended && from.state != State::Unknown;
    if (!tells || end <= from.time) return;
    bool const goesOn = !parts.empty() && parts.back().state == from.state && parts.back().end == from.time;
    if (goesOn) {
        parts.back().end = end;
    } else {
        parts.push_back({from.time, end, from.thread, from.state});
    }
}

// Of each thread, by begin.
std::vector<std::vector<ProcessorPart>> processorPartsOf(Record const& record) {
    std::vector<std::vector<ProcessorPart>> parts(record.threads.size());
    std::vector<Scheduling const*> last(record.threads.size());
    for (Scheduling const& each : record.scheduling) {
        if (last[each.thread] != nullptr) add(parts[each.thread], *last[each.thread], each.time);
        last[each.thread] = &each;
    }
    for (Scheduling const* const each : last) {
        if (each != nullptr) add(parts[each->thread], *each, record.end);
    }
    return parts;
}

// The rows in which each thread has begun something, by when.
std::vector<std::vector<std::pair<Instant, std::size_t>>> rowsOf(Record const& record,
                                                                 std::vector<Row> const& rows) {
    std::vector<std::vector<std::pair<Instant, std::size_t>>> all(record.threads.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        for (Section const& section : rows[row].sections)
            all[section.thread].emplace_back(section.begin, row);
    }
    // One that has begun nothing has log marks.
    for (std::size_t row = 0; row < rows.size(); ++row) {
        for (std::uint32_t const thread : rows[row].threads) {
            if (all[thread].empty()) all[thread].emplace_back(record.begin, row);
        }
    }
    for (auto& ofThread : all) std::stable_sort(ofThread.begin(), ofThread.end());
    return all;
}

}  // namespace

std::string_view nameOf(State state) {
    switch (state) {
        case State::Running:
            return "running";
        case State::Runnable:
            return "waiting for a processor";
        case State::Asleep:
            return "asleep";
        case State::Ended:
            return "ended";
        case State::Unknown:
            break;
    }
    return "unknown";
}

void addProcessorTimes(Record const& record, std::vector<Row>& rows) {
    auto const ofThreads = rowsOf(record, rows);
    for (std::vector<ProcessorPart> const& parts : processorPartsOf(record)) {
        for (ProcessorPart const& part : parts) {
            auto const& known = ofThreads[part.thread];
            auto const after =
                std::lower_bound(known.begin(), known.end(), std::pair(part.end, std::size_t{0}));
            if (!known.empty())
                rows[(after == known.begin() ? after : std::prev(after))->second].processor.push_back(part);
        }
    }
    for (Row& row : rows) {
        std::stable_sort(row.processor.begin(), row.processor.end(),
                         [](ProcessorPart const& a, ProcessorPart const& b) { return a.begin < b.begin; });
    }
}

}  // namespace zeqcam::tool
